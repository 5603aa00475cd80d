// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** The list of what was copied on the computer, newest first. */

import {Card} from './card.js';
import {byId} from './elements.js';
import {announceArrival} from './notices.js';
import {age, say} from './texts.js';
import {vault} from './vault.js';

/** The program keeps 50; one of a newer kind may keep more, but a page has to end somewhere. */
const MOST_CARDS = 100;
const AGE_TICK_MS = 30000;

export class Clips {
    /** Called after the number of clips has changed. */
    onCount = () => {};

    #link;
    #list = byId('clips');
    /** @type {Map<string, Card>} */
    #cards = new Map();
    /** A listing that comes in several messages. @type {Object[]} */
    #listing = [];
    #watcher = new IntersectionObserver(
        entries => entries.filter(entry => entry.isIntersecting)
                       .forEach(entry => this.#seen(entry.target)),
        {rootMargin: '100%'});

    /**
     * @param {import('./link.js').Link} link
     * @param {(clip: Object) => void} onFilter
     */
    constructor(link, onFilter) {
        this.#link = link;
        this.onFilter = onFilter;
        setInterval(() => document.hidden || this.#showAges(), AGE_TICK_MS);
        document.addEventListener('visibilitychange', () => this.#showAges());
        addEventListener('resize', () => this.#cards.forEach(card => card.placed()));
    }

    get count() { return this.#cards.size; }

    /** A new connection lists anew. */
    reconnected() { this.#listing = []; }

    /** @param {Object} message */
    take(message) {
        if (message.is === 'clips') {
            this.#listing.push(...message.clips);
            if (!message.more) {
                this.#replace(this.#listing.slice(0, MOST_CARDS));
                this.#listing = [];
            }
        } else if (message.is === 'clip') {
            this.#add(message.clip);
        } else {
            message.clips.forEach(id => this.#remove(id));
        }
        this.onCount();
        this.#cards.forEach(card => card.placed());
    }

    clear() {
        [...this.#cards.keys()].forEach(id => this.#remove(id));
        this.onCount();
    }

    /** @param {Object[]} clips all that there are; a card that is here already stays as it is */
    #replace(clips) {
        const there = new Set(clips.map(clip => clip.id));
        [...this.#cards.keys()].filter(id => !there.has(id)).forEach(id => this.#remove(id));
        const seen = vault.seen();
        const fresh = clips.filter(clip => !this.#cards.has(clip.id));
        // From the oldest on, so that each goes to the top.
        for (const clip of [...clips].reverse()) {
            const card = this.#cards.get(clip.id) ?? this.#make(clip);
            this.#list.prepend(card.element);
            this.#watcher.observe(card.element);
        }
        const missed = fresh.filter(clip => seen !== null && clip.at > seen);
        missed.forEach(clip => this.#cards.get(clip.id).markFresh());
        if (missed.length > 0) {
            this.#announce(missed[0]);
        }
        this.#see(clips[0]);
    }

    #add(clip) {
        this.#remove(clip.id);
        const card = this.#make(clip);
        card.markFresh();
        this.#list.prepend(card.element);
        this.#watcher.observe(card.element);
        this.#announce(clip);
        this.#see(clip);
        while (this.#cards.size > MOST_CARDS) {
            this.#remove(this.#list.lastElementChild.dataset.clip);
        }
    }

    #make(clip) {
        const card = new Card(clip, this.#link, {
            onFilter: () => this.onFilter(clip),
            onRemove: () => this.#discard(clip.id),
        });
        this.#cards.set(clip.id, card);
        return card;
    }

    /** @param {HTMLElement} element that is on the screen, or nearly */
    #seen(element) {
        this.#watcher.unobserve(element);
        this.#cards.get(element.dataset.clip)?.load();
    }

    #discard(id) {
        if (this.#link.state === 'connected') {
            this.#link.say({is: 'remove', clip: id});
            this.#remove(id);
            this.onCount();
        }
    }

    #remove(id) {
        const card = this.#cards.get(id);
        if (card) {
            this.#watcher.unobserve(card.element);
            this.#cards.delete(id);
            card.discard();
        }
    }

    #announce(clip) {
        const {from} = clip;
        announceArrival(say(from ? 'arrivedFrom' : 'arrived', {from, what: Card.describe(clip)}));
    }

    #see(clip) {
        if (clip && clip.at > (vault.seen() ?? 0)) {
            vault.see(clip.at);
        }
    }

    #showAges() { this.#cards.forEach(card => card.showAge(age)); }
}
