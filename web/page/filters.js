// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** The sheet that changes a text, with a preview. The computer does the changing. */

import {copyText} from './copying.js';
import {button, make} from './elements.js';
import {Refused} from './link.js';
import {announce} from './notices.js';
import {closeSheet, openSheet} from './sheet.js';
import {say, sayLimit} from './texts.js';

export class Filters {
    /** As the program offers them. @type {{name: string, label: string}[]} */
    offered = [];

    #link;
    #asked = 0;
    #hint;
    #preview;
    #use;
    #result = null;

    /** @param {import('./link.js').Link} link */
    constructor(link) { this.#link = link; }

    /**
     * Of a clip that is listed: the result is copied.
     * @param {{id: string}} clip
     */
    openForClip(clip) {
        this.#open({clip: clip.id}, null, 'copy', async () => {
            const copied = await copyText(this.#result);
            this.#hint.textContent = say(copied ? 'copied' : 'copyFailed');
            announce(this.#hint.textContent);
            if (copied) {
                closeSheet();
            }
        });
    }

    /**
     * Of what is being written: the result takes its place.
     * @param {string} text
     * @param {(text: string) => void} used
     */
    openForText(text, used) {
        this.#open({}, text, 'use', () => {
            closeSheet();
            used(this.#result);
        });
    }

    /** @param {?string} text null: that of the clip which the message names */
    #open(message, text, use, used) {
        this.#result = null;
        this.#hint = make('p', {className: 'hint', role: 'status'}, say('filterChoose'));
        this.#preview = make('pre', {className: 'preview', dir: 'auto', hidden: true, tabIndex: 0});
        this.#preview.setAttribute('aria-label', say('preview'));
        this.#preview.setAttribute('role', 'region');
        this.#use = button(use === 'copy' ? 'copy' : 'done', say(use), used, 'primary wide');
        this.#use.disabled = true;
        const choices = make('div', {className: 'choices', role: 'group'});
        choices.setAttribute('aria-label', say('filterTitle'));
        for (const {name, label} of this.offered) {
            const choice =
                button('', label, () => this.#choose(choice, name, message, text), 'choice');
            choice.setAttribute('aria-pressed', 'false');
            choices.append(choice);
        }
        openSheet(say('filterTitle'), choices, this.#hint, this.#preview, this.#use);
    }

    async #choose(choice, filter, message, text) {
        const asked = ++this.#asked;
        for (const other of choice.parentElement.children) {
            other.setAttribute('aria-pressed', String(other === choice));
        }
        this.#use.disabled = true;
        const limit = this.#link.limits?.text;
        if (text !== null && limit !== undefined && text.length > limit) {
            this.#fail(sayLimit('text', limit));
            return;
        }
        try {
            const bytes = text === null ? null : new TextEncoder().encode(text);
            const answer = await this.#link.request({is: 'filter', filter, ...message}, bytes);
            if (asked === this.#asked) {
                this.#show(new TextDecoder().decode(answer.bytes));
            }
        } catch (error) {
            if (asked === this.#asked) {
                this.#fail(say(Filters.#reason(error)));
            }
        }
    }

    /** @param {Error} error @returns {string} the key of what is said about it */
    static #reason(error) {
        if (!(error instanceof Refused)) {
            return 'filterLost';
        }
        return error.why === 'gone' ? 'gone' : 'filterFailed';
    }

    #show(text) {
        this.#result = text;
        this.#preview.textContent = text;
        this.#preview.hidden = false;
        this.#hint.textContent = say('preview');
        this.#use.disabled = false;
    }

    #fail(text) {
        this.#preview.hidden = true;
        this.#hint.textContent = text;
    }
}
