// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Sends what was put into it, one after the other, as soon as it can; and shows how far it is. */

import {byId, icon, iconButton, make} from './elements.js';
import {Lost, Refused} from './link.js';
import {outboxStore} from './store.js';
import {say, sayLimit} from './texts.js';

/** @typedef {import('./store.js').Item} Item */

/** How long one tab has an item in hand without a sign that it is still there. */
const LEASE_MS = 30000;
/** How long one sees that it has arrived. */
const SENT_SHOWN_MS = 4000;
const LABEL_LENGTH = 60;

/** @param {string} text that something waits @returns {string} and how long it can */
const asKept = text => outboxStore.lasts() ? text : `${text} · ${say('notKept')}`;

export class Outbox {
    /**
     * A text that could not be sent goes back to where it was written.
     * @type {(text: string) => void}
     */
    onBack = () => {};
    /** @type {(text: string) => void} for who does not see it */
    onAnnounce = () => {};

    #link;
    #me = Array.from(crypto.getRandomValues(new Uint8Array(8)), byte => byte.toString(16)).join('');
    #others = new BroadcastChannel('clipmule-outbox');
    /** What is shown, by id: what it says, and whether something can still be done about it. */
    #rows = new Map();
    /** The program has it, the desk not yet. @type {Map<number, number>} transfer to id */
    #kept = new Map();
    /** To be tried again when the desk is there. @type {Set<number>} */
    #held = new Set();
    #sending = null;
    #busy = false;
    #timer = 0;

    /** @param {import('./link.js').Link} link */
    constructor(link) {
        this.#link = link;
        this.#others.onmessage = () => this.#refresh();
    }

    async start() {
        await outboxStore.probe();
        await this.#refresh();
    }

    /**
     * @param {'text'|'picture'} kind
     * @param {Blob} content
     * @param {boolean} relay for the other phones only
     * @param {string} label by which one knows it again
     * @returns {Promise<?string>} why not; nothing when it is kept or gone
     */
    async add(kind, content, relay, label) {
        const limit = this.#link.limits?.[kind];
        const length = kind === 'text' ? (await content.text()).length : content.size;
        if (limit !== undefined && length > limit) {
            return sayLimit(kind, limit);
        }
        const id = await outboxStore.add({
            kind,
            type: content.type,
            bytes: await content.arrayBuffer(),
            relay,
            label: label.slice(0, LABEL_LENGTH)
        });
        if (id === null) {
            return say('full');
        }
        await this.#refresh();
        this.#others.postMessage('changed');
        return null;
    }

    /** The desk takes again what it did not before. */
    retry() {
        this.#held.clear();
        this.#pump();
    }

    /** A new connection counts its transfers anew; what the program kept before is its business. */
    reconnected() {
        this.#kept.forEach(id => this.#forgetRow(id));
        this.#kept.clear();
        this.retry();
    }

    /** @param {number} transfer that the program kept, and the desk has now */
    arrived(transfer) {
        const id = this.#kept.get(transfer);
        if (this.#kept.delete(transfer)) {
            this.#arrive(id);
        }
    }

    /** @param {number} transfer @param {number} sent bytes */
    progress(transfer, sent) {
        if (transfer === this.#sending?.transfer) {
            const {item} = this.#sending;
            const percent = Math.floor(100 * sent / item.bytes.byteLength);
            this.#show(item, say('sending', {percent}));
            this.#renew(item);
        }
    }

    async wipe() {
        this.#rows.forEach(({element}) => element.remove());
        this.#rows.clear();
        this.#kept.clear();
        await outboxStore.wipe();
    }

    /** What is stored is what is shown, and what was sent a moment ago. */
    async #refresh() {
        const items = await outboxStore.all();
        for (const item of items) {
            if (item.failed) {
                this.#showFailed(item);
            } else if (!this.#rows.has(item.id)) {
                this.#show(item, asKept(say('waiting')));
            }
        }
        const stored = new Set(items.map(item => item.id));
        for (const [id, row] of this.#rows) {
            if (!stored.has(id) && !row.over) {
                this.#forgetRow(id);
            }
        }
        this.#pump();
    }

    async #pump() {
        clearTimeout(this.#timer);
        if (this.#busy || this.#link.state !== 'connected') {
            return;
        }
        this.#busy = true;
        try {
            for (;;) {
                const {item, next} = await outboxStore.claim(this.#me, LEASE_MS, this.#held);
                if (!item) {
                    this.#waitFor(next);
                    return;
                }
                await this.#send(item);
            }
        } catch (error) {
            if (!(error instanceof Lost)) {
                throw error;
            }
        } finally {
            this.#busy = false;
        }
    }

    /** @param {number} next moment at which what another tab has in hand may be ours */
    #waitFor(next) {
        if (next < Infinity) {
            this.#timer = setTimeout(() => this.#pump(), Math.max(0, next - Date.now()) + 1);
        }
    }

    /** @param {Item} item */
    async #send(item) {
        this.#show(item, say('sending', {percent: 0}));
        const {kind, type, relay} = item;
        this.#sending = {item, transfer: 0, renewed: performance.now()};
        try {
            const {message} = await this.#link.request(
                {is: 'send', kind, type, relay}, new Uint8Array(item.bytes.slice(0)),
                transfer => this.#sending.transfer = transfer);
            await this.#settle(item, message, this.#sending.transfer);
        } catch (error) {
            if (error instanceof Refused) {
                return;  // the person took it back
            }
            this.#show(item, asKept(say('waiting')));
            await outboxStore.update({...item, owner: undefined});
            throw error;
        } finally {
            this.#sending = null;
        }
    }

    /** @param {Item} item @param {Object} message the program's word @param {number} transfer */
    async #settle(item, message, transfer) {
        if (message.is === 'sent' || message.is === 'waiting') {
            await outboxStore.remove(item.id);
            this.#others.postMessage('changed');
            if (message.is === 'sent') {
                this.#arrive(item.id);
            } else {
                this.#kept.set(transfer, item.id);
                this.#show(item, say('keptThere', {computer: this.#link.computer}), true);
            }
        } else if (message.why === 'noDesk' || message.why === 'off') {
            this.#held.add(item.id);
            this.#show(item, asKept(say(message.why)));
            this.onAnnounce(say(message.why));
            await outboxStore.update({...item, owner: undefined});
        } else {
            const failed = {...item, failed: message.why ?? 'malformed', owner: undefined};
            await outboxStore.update(failed);
            this.#showFailed(failed);
            this.#others.postMessage('changed');
        }
    }

    /** @param {Item} item while it goes, it stays this tab's */
    #renew(item) {
        const now = performance.now();
        if (now - this.#sending.renewed > LEASE_MS / 3) {
            this.#sending.renewed = now;
            outboxStore.update({...item, until: Date.now() + LEASE_MS});
        }
    }

    /** @param {Item} item @param {string} text @param {boolean} over nothing is stored any more */
    #show(item, text, over = false) {
        const row = this.#rows.get(item.id) ?? this.#addRow(item);
        row.over = over;
        row.status.textContent = text;
        return row;
    }

    /** @param {Item} item */
    #addRow(item) {
        const status = make('span', {className: 'status'});
        const buttons = make('span', {className: 'buttons'});
        const element = make(
            'li', {}, icon(item.kind), make('span', {className: 'what', dir: 'auto'}, item.label),
            status, buttons);
        const row = {element, status, buttons, over: false, item};
        this.#rows.set(item.id, row);
        byId('outbox').append(element);
        buttons.append(
            iconButton('close', say('removeOf', {what: item.label}), () => this.#remove(item.id)));
        return row;
    }

    /** @param {Item} item */
    #showFailed(item) {
        const limit = this.#link.limits?.[item.kind];
        const text = item.failed === 'tooLarge' && limit !== undefined ?
            sayLimit(item.kind, limit) :
            say('refusedSend');
        const row = this.#show(item, text);
        row.element.classList.add('failed');
        if (item.kind === 'text' && !row.back) {
            row.back = iconButton('edit', say('back'), () => {
                this.onBack(new TextDecoder().decode(item.bytes));
                this.#remove(item.id);
            });
            row.buttons.prepend(row.back);
        }
        this.onAnnounce(text);
    }

    /** @param {number} id of what is where it should be */
    #arrive(id) {
        const row = this.#rows.get(id);
        if (row) {
            const text =
                row.item.relay ? say('sentPhones') : say('sent', {computer: this.#link.computer});
            this.#show(row.item, text, true);
            this.onAnnounce(text);
            row.element.classList.add('arrived');
            row.buttons.replaceChildren();
            setTimeout(() => this.#forgetRow(id), SENT_SHOWN_MS);
        }
    }

    /** @param {number} id */
    async #remove(id) {
        const sending = this.#sending;
        this.#forgetRow(id);
        await outboxStore.remove(id);
        this.#others.postMessage('changed');
        if (sending?.item.id === id) {
            this.#link.cancel(sending.transfer);
        }
    }

    /** @param {number} id */
    #forgetRow(id) {
        this.#rows.get(id)?.element.remove();
        this.#rows.delete(id);
    }
}
