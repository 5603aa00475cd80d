// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** One clip as it is shown, and what can be done with it. */

import {canCopyPictures, copyPicture, copyText} from './copying.js';
import {button, icon, iconButton, make, openable} from './elements.js';
import {Refused} from './link.js';
import {announce} from './notices.js';
import {age, say, size} from './texts.js';

const KINDS = {
    text: 'kindText',
    link: 'kindLink',
    picture: 'kindPicture',
    other: 'kindOther'
};
/** What the browser shows by itself, and nothing that could hold a script. */
const PICTURES = new Set(['image/png', 'image/jpeg', 'image/gif', 'image/webp']);
/** A longer text is loaded when it is wanted. In units of UTF-16. */
const LOADED_UNASKED = 200000;
const DESCRIBED_LENGTH = 80;
const DONE_SHOWN_MS = 2000;
const ENDINGS = {
    'image/png': 'png',
    'image/jpeg': 'jpg',
    'image/gif': 'gif',
    'image/webp': 'webp'
};

export class Card {
    #clip;
    #link;
    #text;
    #url;
    #when;
    #body;
    #fold;
    #copy;
    #picture = null;
    /** @type {?Blob} */
    #blob = null;
    #blobUrl = '';
    #loadingText = false;
    #loadingPicture = false;
    #place;
    #actions;
    #complaint = null;
    /** What a button that says "Copied" said before, and until when. */
    #before = null;
    #doneTimer = 0;

    /**
     * @param {Object} clip as the program tells it
     * @param {import('./link.js').Link} link
     * @param {{onFilter: () => void, onRemove: () => void}} listener
     */
    constructor(clip, link, listener) {
        this.#clip = clip;
        this.#link = link;
        this.#text = clip.text ?? '';
        this.#url = clip.kind === 'link' ? openable(clip.url) : null;
        this.#when = make('time', {dateTime: new Date(clip.at).toISOString()}, age(clip.at));
        const words = make(
            'span', {className: 'words', id: `clip-${clip.id}`},
            make('span', {className: 'kind'}, this.#kind()), ' · ', this.#when);
        if (clip.from) {
            words.append(' · ', make('bdi', {}, say('from', {from: clip.from})));
        }
        const meta = make(
            'div', {className: 'meta'}, icon(clip.kind in KINDS ? clip.kind : 'other'), words,
            iconButton('remove', say('remove'), listener.onRemove));
        const article = make('article', {'aria-labelledby': `clip-${clip.id}`}, meta);
        this.element = make('li', {className: `card is-${clip.kind}`}, article);
        this.element.dataset.clip = clip.id;
        this.#build(article, listener);
    }

    /** @param {Object} clip @returns {string} in a few words */
    static describe(clip) {
        const text = (clip.title || clip.text || clip.url || '').trim();
        return text.slice(0, DESCRIBED_LENGTH) || say(KINDS[clip.kind] ?? 'kindOther');
    }

    markFresh() {
        const meta = this.element.querySelector('.meta');
        this.element.classList.add('fresh');
        meta.prepend(make('span', {className: 'mark'}, say('fresh')));
    }

    /** It stands in the page now: whether its text is too long for it shows only there. */
    placed() {
        if (this.#body && !this.#body.classList.contains('whole')) {
            this.#fold.hidden = this.#body.scrollHeight <= this.#body.clientHeight + 1;
        }
    }

    /** It is on the screen: gets what it shows, so that it can be copied within a tap. */
    load() {
        if (this.#picture) {
            this.#loadPicture();
        }
        if (!this.#isWhole() && this.#clip.length <= LOADED_UNASKED) {
            this.#loadText();
        }
    }

    /** @param {(at: number) => string} words */
    showAge(words) { this.#when.textContent = words(this.#clip.at); }

    discard() {
        this.element.remove();
        URL.revokeObjectURL(this.#blobUrl);
    }

    #kind() {
        return say(
            this.#clip.kind === 'link' && !this.#url ? 'kindText' :
                                                       KINDS[this.#clip.kind] ?? 'kindOther');
    }

    #isWhole() { return this.#text.length >= (this.#clip.length ?? 0); }

    #build(article, listener) {
        const {title, picture} = this.#clip;
        const actions = make('div', {className: 'actions'});
        if (title) {
            article.append(make('p', {className: 'title', dir: 'auto'}, title));
        }
        if (picture && PICTURES.has(picture.type)) {
            this.#buildPicture(article, picture);
        }
        if (this.#text) {
            this.#buildText(article, actions);
        }
        if (this.#url) {
            actions.append(this.#openLink());
        }
        if (!this.#text && !this.#picture) {
            article.append(make('p', {className: 'hint'}, say('otherText')));
        }
        const more = make('div', {className: 'more'});
        if (this.#text && navigator.share) {
            more.append(iconButton('share', say('share'), () => this.#shareText()));
        }
        if (this.#text) {
            more.append(iconButton('filter', say('filter'), listener.onFilter));
        }
        if (more.childElementCount > 0) {
            actions.append(more);
        }
        article.append(actions);
        this.#actions = actions;
    }

    #buildText(article, actions) {
        this.#body = make('p', {className: 'text', dir: 'auto'}, this.#text);
        this.#body.addEventListener('click', () => this.#tapped());
        this.#fold = button('', say('more'), () => this.#turnFold(), 'quiet fold');
        this.#fold.setAttribute('aria-expanded', 'false');
        this.#copy = button('copy', '', () => this.#copyOrLoad(), 'primary');
        article.append(this.#body, this.#fold);
        actions.append(this.#copy);
        this.#showCopy();
    }

    #openLink() {
        return make(
            'a', {
                className: 'button quiet',
                href: this.#url,
                target: '_blank',
                rel: 'noopener noreferrer'
            },
            icon('open'), make('span', {}, say('open')));
    }

    #turnFold() {
        const whole = this.#body.classList.toggle('whole');
        this.#fold.setAttribute('aria-expanded', String(whole));
        this.#fold.lastElementChild.textContent = say(whole ? 'less' : 'more');
    }

    #tapped() {
        // Somebody who selects a part wants that.
        if (getSelection().isCollapsed) {
            this.#copyOrLoad();
        }
    }

    #showCopy(text = say('copy'), symbol = 'copy') {
        const shown = this.#isWhole() ? text : say('load', {size: size(this.#clip.length)});
        this.#copy.replaceChildren(
            icon(this.#isWhole() ? symbol : 'save'), make('span', {}, shown));
    }

    /** Within the tap: the text is in the page, or this tap only gets it. */
    #copyOrLoad() {
        if (!this.#isWhole()) {
            this.#loadText();
            return;
        }
        copyText(this.#text)
            .then(copied => copied ? this.#showCopied(this.#copy) : this.#complain());
    }

    #showCopied(pressed) {
        announce(say('copied'));
        navigator.vibrate?.(10);
        const before = [...pressed.childNodes];
        pressed.replaceChildren(icon('done'), make('span', {}, say('copied')));
        pressed.classList.add('done');
        clearTimeout(this.#doneTimer);
        this.#before ??= before;
        this.#doneTimer = setTimeout(() => {
            pressed.replaceChildren(...this.#before);
            this.#before = null;
            pressed.classList.remove('done');
        }, DONE_SHOWN_MS);
    }

    #complain(text = say('copyFailed')) {
        this.#complaint ??= make('p', {className: 'hint error'});
        this.#complaint.textContent = text;
        this.#actions.before(this.#complaint);
        announce(text);
    }

    async #loadText() {
        if (this.#loadingText) {
            return;
        }
        this.#loadingText = true;
        this.#copy.replaceChildren(make('span', {}, say('loading')));
        try {
            const bytes = await this.#link.fetch(this.#clip.id, 'text');
            this.#text = new TextDecoder().decode(bytes);
            this.#clip.length = this.#text.length;
            this.#body.textContent = this.#text;
            this.placed();
        } catch (error) {
            this.#failed(error);
        }
        this.#loadingText = false;
        this.#showCopy();
    }

    #failed(error) {
        // What was lost with the connection is loaded again with the next.
        if (error instanceof Refused) {
            this.#complain(say(error.why === 'gone' ? 'gone' : 'loadFailed'));
        }
    }

    #buildPicture(article, picture) {
        const {width = 0, height = 0} = picture;
        const {from} = this.#clip;
        const what = from ? say('pictureFrom', {from}) : say('kindPicture');
        const alt = width && height ? say('sized', {what, width, height}) : what;
        this.#picture = make('img', {alt, decoding: 'async'});
        if (width && height) {
            // Its place is there before it is.
            this.#picture.width = width;
            this.#picture.height = height;
        }
        this.#picture.hidden = true;
        this.#place = make(
            'div', {className: 'picture'}, make('p', {className: 'hint'}, say('loading')),
            this.#picture);
        if (width && height) {
            this.#place.style.aspectRatio = `${width} / ${height}`;
        }
        article.append(this.#place);
    }

    async #loadPicture() {
        if (this.#loadingPicture || this.#blob) {
            return;
        }
        this.#loadingPicture = true;
        const note = this.#place.firstElementChild;
        try {
            const bytes = await this.#link.fetch(this.#clip.id, 'picture');
            this.#blob = new Blob([bytes], {type: this.#clip.picture.type});
            this.#blobUrl = URL.createObjectURL(this.#blob);
            this.#picture.src = this.#blobUrl;
            this.#picture.hidden = false;
            note.remove();
            this.#offerPicture();
        } catch (error) {
            const again = button('', say('again'), () => {
                this.#place.firstElementChild.replaceWith(
                    make('p', {className: 'hint'}, say('loading')));
                this.#loadPicture();
            });
            note.replaceWith(again);
            this.#failed(error);
        }
        this.#loadingPicture = false;
    }

    #offerPicture() {
        const offers = [];
        if (canCopyPictures) {
            const copy = button('copy', say('copyPicture'), async () => {
                const copied = await copyPicture(this.#blob);
                copied ? this.#showCopied(copy) : this.#complain(say('holdPicture'));
            }, 'primary');
            offers.push(copy);
        } else {
            this.#place.after(make('p', {className: 'hint'}, say('holdPicture')));
        }
        offers.push(make(
            'a', {className: 'button quiet', href: this.#blobUrl, download: this.#fileName()},
            icon('save'), make('span', {}, say('save'))));
        const file = new File([this.#blob], this.#fileName(), {type: this.#blob.type});
        if (navigator.canShare?.({files: [file]})) {
            offers.push(button('share', say('share'), () => this.#share({files: [file]})));
        }
        this.#actions.prepend(...offers);
    }

    #fileName() {
        const when = new Date(this.#clip.at).toISOString().slice(0, 19).replace(/[:T]/g, '-');
        return `clip-${when}.${ENDINGS[this.#clip.picture.type]}`;
    }

    #shareText() { this.#share(this.#url ? {url: this.#url} : {text: this.#text}); }

    #share(what) {
        // Rejects when the person thinks better of it.
        navigator.share(what).catch(() => {});
    }
}
