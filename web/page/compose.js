// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** The box for the other way: what is written, pasted, chosen or photographed, until it is sent. */

import {byId, iconButton, make} from './elements.js';
import {prepared} from './pictures.js';
import {say} from './texts.js';

/** As many as one looks through before sending them. */
const MOST_PICTURES = 10;

/**
 * Browsers disagree about what an empty line is in words, not about what they put into the box: a
 * block for a line, a line break at its end to give it a height, or line breaks alone.
 * @param {Node} node
 * @returns {string} as it was written; after it, perhaps the line break of an empty last line
 */
function writtenIn(node) {
    let text = '';
    for (const child of node.childNodes) {
        if (child.nodeName === 'DIV' && child !== node.firstChild) {
            text += '\n';
        }
        if (child.nodeName !== 'BR') {
            text += child.data?.replace(/\u00a0/g, ' ') ?? writtenIn(child);
        } else if (child !== node.lastChild) {
            text += '\n';
        }
    }
    return text;
}

export class Compose {
    #outbox;
    #box = byId('box');
    #attached = byId('attached');
    #error = byId('compose-error');
    /** @type {Map<HTMLElement, {blob: Blob, url: string}>} */
    #pictures = new Map();
    #preparing = 0;

    /**
     * @param {import('./outbox.js').Outbox} outbox
     * @param {(text: string) => void} onFilter
     */
    constructor(outbox, onFilter) {
        this.#outbox = outbox;
        this.onFilter = onFilter;
        byId('compose').addEventListener('submit', event => {
            event.preventDefault();
            this.#send();
        });
        this.#box.addEventListener('paste', event => this.#paste(event));
        this.#box.addEventListener('drop', event => this.#drop(event));
        this.#box.addEventListener('input', () => this.#input());
        this.#box.addEventListener('keydown', event => this.#key(event));
        for (const id of ['choose', 'take']) {
            byId(id).addEventListener('change', ({target}) => {
                this.attach([...target.files]);
                // The same one can be chosen again.
                target.value = '';
            });
        }
        byId('filter-box').addEventListener('click', () => this.onFilter(this.text));
        this.#show();
    }

    get text() {
        // A line break at the very end is what browsers show an empty last line with.
        return writtenIn(this.#box).replace(/\n$/, '');
    }

    /** @param {string} text instead of what is there */
    set text(text) {
        this.#box.textContent = text;
        this.#show();
    }

    /** @param {string} text behind what is there */
    append(text) { this.text = this.text ? `${this.text}\n${text}` : text; }

    /** @param {string} computer by its name */
    offerTargets(computer) {
        const target = byId('target');
        const chosen = target.value;
        target.replaceChildren(
            make('option', {value: 'desk'}, say('toDesk', {computer})),
            make('option', {value: 'phones'}, say('toPhones')));
        target.value = chosen || 'desk';
    }

    /** @param {Blob[]} files */
    async attach(files) {
        this.#complain(null);
        const room = MOST_PICTURES - this.#pictures.size - this.#preparing;
        const taken = files.slice(0, Math.max(0, room));
        this.#preparing += taken.length;
        this.#show();
        for (const file of taken) {
            try {
                this.#add(await prepared(file));
            } catch {
                this.#complain(say('notPicture'));
            }
            this.#preparing--;
            this.#show();
        }
        if (taken.length < files.length) {
            this.#complain(say('tooManyPictures', {count: MOST_PICTURES}));
        }
    }

    clear() {
        this.text = '';
        [...this.#pictures.keys()].forEach(element => this.#remove(element));
        this.#complain(null);
    }

    #add(blob) {
        const url = URL.createObjectURL(blob);
        const picture = make('img', {src: url, alt: say('kindPicture')});
        const element = make(
            'li', {}, picture,
            iconButton('close', say('removeOf', {what: say('kindPicture')}), () => {
                this.#remove(element);
                this.#box.focus();
            }));
        this.#pictures.set(element, {blob, url});
        this.#attached.append(element);
    }

    #remove(element) {
        URL.revokeObjectURL(this.#pictures.get(element).url);
        this.#pictures.delete(element);
        element.remove();
        this.#show();
    }

    #paste(event) {
        const files = [...event.clipboardData.files].filter(({type}) => type.startsWith('image/'));
        const text = event.clipboardData.getData('text/plain');
        if (files.length > 0) {
            event.preventDefault();
            this.attach(files);
        } else if (text) {
            event.preventDefault();
            document.execCommand('insertText', false, text);
        }
        // Else it may be a picture that this browser only shows when it is in the box: see #input.
    }

    #drop(event) {
        event.preventDefault();
        const files = [...event.dataTransfer.files].filter(({type}) => type.startsWith('image/'));
        if (files.length > 0) {
            this.attach(files);
        } else {
            this.append(event.dataTransfer.getData('text/plain'));
        }
    }

    async #input() {
        this.#complain(null);
        const pasted = [...this.#box.querySelectorAll('img')];
        if (pasted.length > 0) {
            const sources = pasted.map(({src}) => src).filter(src => /^(blob|data):/.test(src));
            pasted.forEach(image => image.remove());
            this.#show();
            try {
                const answers = await Promise.all(sources.map(source => fetch(source)));
                await this.attach(await Promise.all(answers.map(answer => answer.blob())));
            } catch {
                this.#complain(say('notPicture'));
            }
        }
        if (this.#box.querySelector(':not(br, div)')) {
            this.#box.textContent = writtenIn(this.#box);
        }
        this.#show();
    }

    #key(event) {
        if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) {
            event.preventDefault();
            this.#send();
        }
    }

    async #send() {
        if (this.#preparing > 0 || this.sending) {
            return;
        }
        this.sending = true;
        this.#complain(null);
        const relay = byId('target').value === 'phones';
        try {
            const {text} = this;
            let why = null;
            if (text.trim() !== '') {
                const content = new Blob([text], {type: 'text/plain'});
                why = await this.#outbox.add('text', content, relay, text.trim());
                if (why === null && this.text === text) {
                    this.text = '';
                }
            }
            for (const [element, {blob}] of why === null ? [...this.#pictures] : []) {
                why = await this.#outbox.add('picture', blob, relay, say('kindPicture'));
                if (why !== null) {
                    break;
                }
                this.#remove(element);
            }
            this.#complain(why);
        } finally {
            this.sending = false;
        }
    }

    /** @param {?string} text null: nothing is wrong any more */
    #complain(text) {
        this.#error.hidden = text === null;
        this.#error.textContent = text ?? '';
    }

    #show() {
        const empty = this.#box.textContent === '' && !this.#box.querySelector('br + br, div');
        this.#box.classList.toggle('empty', empty);
        this.#attached.hidden = this.#pictures.size === 0 && this.#preparing === 0;
        this.#attached.classList.toggle('preparing', this.#preparing > 0);
        byId('compose').classList.toggle('filled', !empty || this.#pictures.size > 0);
        byId('filter-box').hidden = empty;
        byId('send').disabled = (empty && this.#pictures.size === 0) || this.#preparing > 0;
    }
}
