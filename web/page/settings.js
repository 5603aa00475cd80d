// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** The sheet with the phone's name, what is protected and what is not, and forgetting. */

import {button, make} from './elements.js';
import {closeSheet, openSheet} from './sheet.js';
import {say} from './texts.js';

/** The program takes no longer one: it has to fit into a menu. In characters. */
const LONGEST_NAME = 60;

/**
 * @param {string} title
 * @param {...string} paragraphs
 */
function told(title, ...paragraphs) {
    return make(
        'details', {}, make('summary', {}, say(title)),
        ...paragraphs.map(text => make('p', {}, say(text))));
}

export class Settings {
    /** Whether the program keeps clips for a closed page. */
    keeps = true;
    name = '';

    #link;
    #forget;
    #saved = null;

    /**
     * @param {import('./link.js').Link} link
     * @param {() => Promise<void>} forget
     */
    constructor(link, forget) {
        this.#link = link;
        this.#forget = forget;
    }

    open() {
        const address = make('p', {className: 'hint'}, location.host);
        openSheet(
            say('settingsTitle'), make('p', {className: 'title', dir: 'auto'}, this.#link.computer),
            address, this.#nameForm(),
            told('security', 'securitySealed', isSecureContext ? 'securityHttps' : 'securityHttp'),
            told('sleeping', this.keeps ? 'sleepingText' : 'sleepingNone'),
            button('remove', say('forget'), () => this.#ask(), 'danger wide'));
    }

    /** @param {string} name that the program took */
    renamed(name) {
        this.name = name;
        if (this.#saved?.isConnected) {
            this.#saved.textContent = say('saved');
        }
    }

    #nameForm() {
        const field = make('input', {
            id: 'name',
            value: this.name,
            maxLength: LONGEST_NAME,
            autocomplete: 'off',
            dir: 'auto'
        });
        this.#saved = make('p', {className: 'hint', role: 'status'}, say('nameHint'));
        const form = make(
            'form', {}, make('label', {htmlFor: 'name'}, say('name')),
            make(
                'div', {className: 'row'}, field,
                make('button', {className: 'quiet'}, say('saveName'))),
            this.#saved);
        form.addEventListener('submit', event => {
            event.preventDefault();
            if (this.#link.state !== 'connected') {
                this.#saved.textContent = say('stateLost');
            } else if (field.value.trim() !== '') {
                this.#link.say({is: 'rename', name: field.value.trim()});
            }
        });
        return form;
    }

    #ask() {
        const offline =
            this.#link.state === 'connected' ? [] : [make('p', {}, say('forgetOffline'))];
        openSheet(
            say('forget'), make('p', {}, say('forgetText')), ...offline,
            button('remove', say('forgetSure'), async () => {
                await this.#forget();
                closeSheet();
            }, 'danger wide'), button('', say('cancel'), closeSheet, 'quiet wide'));
    }
}
