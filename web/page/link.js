// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Keeps the page connected, and knows at any time whether it is. */

import {scriptUrl} from './elements.js';
import {vault} from './vault.js';

/** @typedef {import('./handshake.js').Credential} Credential */
/**
 * @typedef {'none'|'connecting'|'connected'|'lost'|'unknown'|'spent'|'revoked'} State
 *     none: not paired; unknown: the program does not know this browser; spent: nor the code.
 */

const FIRST_RETRY_MS = 500;
const LAST_RETRY_MS = 15000;
/** Nothing heard for so long: ask. */
const QUIET_MS = 20000;
/** No sign of life within this: the connection is dead, though nobody said so. */
const PONG_WITHIN_MS = 5000;
/** Away for less than this, a phone does not put a page to sleep. */
const NAP_MS = 2000;
/** The program serves four transfers at a time; one is left for what the person asks for. */
const MOST_FETCHES = 3;

/** The program's no to a request; `why` is the word of the protocol. */
export class Refused extends Error {
    constructor(why) {
        super(why);
        this.why = why;
    }
}

/** The connection ended before the answer. */
export class Lost extends Error {}

export class Link {
    /** @type {State} */
    state = 'none';
    /** @type {'connected'|'away'|'off'} whether clips reach the desk, once connected */
    desk = 'away';

    /**
     * Of the last welcome: what it is called, and the most that it takes, in UTF-16 units and bytes.
     */
    computer = vault.names().computer ?? '';
    /** @type {?{text: number, picture: number}} */
    limits = null;

    onState = () => {};
    onWelcome = () => {};
    /** Any other message that answers no request. */
    onMessage = () => {};
    onProgress = () => {};

    #worker;
    #number = 0;
    #open = false;
    /** What is tried in turn; the first of it until it fails. @type {Credential[]} */
    #candidates = [];
    /** What the connection under way was made with, or for. @type {?Credential} */
    #current = null;
    #code = null;
    /** Whether each candidate of this round was refused as unknown. */
    #allUnknown = true;
    #welcomed = false;
    #retries = 0;
    #timer = 0;
    #pulse = 0;
    #hiddenAt = 0;
    #transfer = 1;
    #answers = new Map();
    #fetching = 0;
    #fetches = [];

    /**
     * @param {{url: string, language: string, suggestedName: string}} about url: of the socket
     */
    constructor(about) {
        this.about = about;
        this.#startWorker();
        addEventListener('online', () => this.wake());
        addEventListener('offline', () => this.#drop());
        addEventListener('pageshow', () => this.wake());
        document.addEventListener('visibilitychange', () => this.#turn());
        vault.watch(() => this.#adopt());
    }

    /** @param {?Uint8Array} code of the link that was scanned */
    start(code) {
        this.#code = code && {kind: 'P', key: code};
        this.#begin();
    }

    /** Connects now, or makes sure that the connection lives. */
    wake() {
        if (this.#open) {
            this.#ask();
        } else if (['lost', 'unknown'].includes(this.state)) {
            this.#retries = 0;
            this.#begin();
        }
    }

    /** @param {Object} message that is not answered, or not waited for */
    say(message) {
        if (this.#open) {
            this.#order({order: 'say', message});
        }
    }

    /**
     * @param {Object} message gets the number of its transfer
     * @param {?Uint8Array} bytes that go with it
     * @param {(number: number) => void} numbered is told the number
     * @returns {Promise<{message: Object, bytes: ?Uint8Array}>} rejects with Refused or Lost
     */
    async request(message, bytes = null, numbered = () => {}) {
        if (!this.#open) {
            throw new Lost();
        }
        const transfer = this.#transfer;
        this.#transfer += 2;
        numbered(transfer);
        const size = bytes ? {size: bytes.length} : {};
        this.#order({order: 'say', message: {...message, transfer, ...size}, bytes});
        return new Promise((resolve, reject) => this.#answers.set(transfer, {resolve, reject}));
    }

    /** @param {number} transfer of ours, which nobody wants any more */
    cancel(transfer) {
        const answer = this.#answers.get(transfer);
        if (answer) {
            this.#answers.delete(transfer);
            this.#order({order: 'cancel', transfer});
            answer.reject(new Refused('cancelled'));
        }
    }

    /**
     * @param {string} clip
     * @param {'text'|'picture'} what
     * @returns {Promise<Uint8Array>} rejects with Refused or Lost
     */
    async fetch(clip, what) {
        if (this.#fetching >= MOST_FETCHES) {
            await new Promise(go => this.#fetches.push(go));
        }
        this.#fetching++;
        try {
            return (await this.request({is: 'fetch', clip, what})).bytes;
        } finally {
            this.#fetching--;
            this.#fetches.shift()?.();
        }
    }

    /** Has the program forget this browser, and ends. What is stored is the caller's to wipe. */
    forget() {
        this.say({is: 'forget'});
        this.#stop('none');
    }

    #startWorker() {
        this.#worker = new Worker(scriptUrl('worker.js'), {type: 'module'});
        this.#worker.onmessage = ({data}) => this.#hear(data);
        // A part of it did not come, or it failed: whatever it was, there is no connection any more.
        this.#worker.onerror = () => {
            this.#worker.terminate();
            this.#startWorker();
            this.#drop();
        };
    }

    #begin() {
        const candidates = [vault.tentative(), vault.credential(), this.#code];
        this.#candidates = candidates.filter(candidate => candidate);
        this.#allUnknown = true;
        if (this.#candidates.length === 0) {
            this.#stop('none');
        } else {
            this.#connect();
        }
    }

    #connect() {
        clearTimeout(this.#timer);
        this.#current = this.#candidates[0];
        this.#welcomed = false;
        this.#number++;
        this.#order({order: 'open', url: this.about.url, credential: this.#current});
        this.#setState('connecting');
    }

    #order(order) { this.#worker.postMessage({...order, number: this.#number}); }

    #setState(state) {
        this.state = state;
        this.onState();
    }

    #hear(note) {
        if (note.number !== this.#number) {
            return;
        }
        const hearers = {
            pairing: () => this.#pair(note.browser),
            open: () => this.#introduce(),
            message: () => this.#take(note.message, note.bytes),
            progress: () => this.onProgress(note.transfer, note.sent),
            end: () => this.#ended(note.why)
        };
        hearers[note.event]();
    }

    /** @param {Credential} browser */
    #pair(browser) {
        // First kept, then used: a break of the connection cannot leave the program with a browser
        // that does not know itself.
        vault.keepTentative(browser);
        this.#current = browser;
        this.#order({order: 'stored'});
    }

    #introduce() {
        const {language, suggestedName} = this.about;
        const pairs = this.#candidates[0].kind === 'P';
        this.#open = true;
        this.#transfer = 1;
        this.say(pairs ? {is: 'pair', name: suggestedName, language} : {is: 'resume', language});
        this.#beat();
    }

    #take(message, bytes) {
        clearTimeout(this.#pulse);
        this.#beat();
        if (message.is === 'welcome') {
            this.#welcome(message);
        } else if (message.is === 'revoked') {
            vault.wipe();
            this.#stop('revoked');
            this.onMessage(message);
        } else if (message.is === 'state') {
            this.desk = message.desk;
            this.onState();
        } else if (this.#answers.has(message.for)) {
            const {resolve, reject} = this.#answers.get(message.for);
            this.#answers.delete(message.for);
            if (message.is === 'refused') {
                reject(new Refused(message.why));
            } else {
                resolve({message, bytes});
            }
        } else if (message.is !== 'pong') {
            this.onMessage(message);
        } else if (this.state === 'connecting') {
            this.#setState('connected');
        }
    }

    #welcome(message) {
        vault.confirm(this.#current, message);
        this.#code = null;
        this.#welcomed = true;
        this.#retries = 0;
        this.desk = 'away';
        this.computer = message.computer;
        this.limits = message.limits;
        this.onWelcome(message);
        this.#setState('connected');
    }

    /** @param {'unknown'|'garbled'|'lost'} why */
    #ended(why) {
        this.#close();
        if (this.#welcomed) {
            this.#retryLater();
            return;
        }
        this.#allUnknown &&= why === 'unknown';
        this.#candidates.shift();
        if (this.#candidates.length > 0) {
            this.#connect();
        } else if (this.#allUnknown) {
            // Nobody has proved to be the program, so nothing is wiped.
            this.#setState(vault.credential() || vault.tentative() ? 'unknown' : 'spent');
        } else {
            this.#retryLater();
        }
    }

    #retryLater() {
        this.#setState('lost');
        const wait = Math.min(FIRST_RETRY_MS * 2 ** this.#retries, LAST_RETRY_MS);
        this.#retries++;
        // Many pages do not come back in one moment.
        this.#timer = setTimeout(() => this.#begin(), wait * (0.75 + Math.random() / 2));
    }

    /** The next sign of life is due. */
    #beat() {
        clearTimeout(this.#pulse);
        if (!document.hidden) {
            this.#pulse = setTimeout(() => this.#ask(), QUIET_MS);
        }
    }

    /** A connection that does not answer is none. */
    #ask() {
        clearTimeout(this.#pulse);
        this.say({is: 'ping'});
        this.#pulse = setTimeout(() => this.#drop(), PONG_WITHIN_MS);
    }

    #turn() {
        if (document.hidden) {
            this.#hiddenAt = performance.now();
            clearTimeout(this.#pulse);
            return;
        }
        // What was true before a sleep has to show itself again.
        if (this.#open && performance.now() - this.#hiddenAt > NAP_MS) {
            this.#setState('connecting');
        }
        this.wake();
    }

    /** Nothing comes from there any more. */
    #drop() {
        if (this.#open || this.state === 'connecting') {
            this.#order({order: 'close'});
            this.#close();
            this.#number++;
            this.#retryLater();
        }
    }

    /** Another tab has paired, or forgotten. */
    #adopt() {
        const kept = vault.credential();
        if (!kept && !['none', 'spent', 'revoked'].includes(this.state)) {
            this.#stop('none');
        } else if (kept && !this.#open) {
            this.#begin();
        }
    }

    /** @param {State} state that stays until the person does something */
    #stop(state) {
        clearTimeout(this.#timer);
        this.#order({order: 'close'});
        this.#close();
        this.#number++;
        this.#code = null;
        this.#setState(state);
    }

    #close() {
        clearTimeout(this.#pulse);
        this.#open = false;
        const answers = [...this.#answers.values()];
        this.#answers.clear();
        answers.forEach(({reject}) => reject(new Lost()));
    }
}
