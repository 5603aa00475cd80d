// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** One connection to the program, from the hello to its end. Runs in the worker. */

import {Handshake, ProtocolError, UnknownCredential} from './handshake.js';
import {
    MOST_MESSAGE_BYTES,
    MOST_PIECE_BYTES,
    plainJson,
    plainPiece,
    readPlain
} from './messages.js';

/** @typedef {import('./handshake.js').Credential} Credential */

const SUBPROTOCOL = 'clipmule-page-1';
/** The program gives a hello this long, too; a network that lost us gives no sign at all. */
const ANSWER_WITHIN_MS = 10000;
/** What the browser may hold unsent: enough for a quick network, little enough to be taken back. */
const MOST_UNSENT_BYTES = 1 << 20;
/** No event tells that it was sent. */
const UNSENT_TICK_MS = 10;
/** The program shows 50 MB in all. */
const MOST_RECEIVED_BYTES = 64 << 20;
const MOST_TRANSFERS = 4;

export class Connection {
    #socket;
    #handshake;
    #session = null;
    #proved = false;
    #ended = false;
    #deadline;
    /** What waits for the socket: plain messages, and transfers as far as they have not gone. */
    #waiting = [];
    #pumping = 0;
    /**
     * Of the program, by number.
     * @type {Map<number, {message: Object, bytes: Uint8Array, got: number}>}
     */
    #incoming = new Map();

    /**
     * @param {string} url of the socket
     * @param {Credential} credential
     * @param {{onPairing: (browser: Credential) => void, onOpen: () => void,
     *     onMessage: (message: Object, bytes: ?Uint8Array) => void,
     *     onProgress: (transfer: number, sent: number) => void,
     *     onEnd: (why: 'unknown'|'garbled'|'lost') => void}} listener
     *     onPairing: the browser's own credential has to be stored, then call stored(). onOpen: the
     *     first message may go. onEnd is the last call.
     */
    constructor(url, credential, listener) {
        this.listener = listener;
        this.#handshake = new Handshake(credential);
        this.#socket = new WebSocket(url, SUBPROTOCOL);
        this.#socket.binaryType = 'arraybuffer';
        this.#socket.onopen = () => this.#socket.send(this.#handshake.hello);
        this.#socket.onmessage = ({data}) => this.#receive(data);
        this.#socket.onclose = () => this.end('lost');
        this.#deadline = setTimeout(() => this.end('lost'), ANSWER_WITHIN_MS);
    }

    /** The browser's own credential is kept now; what seals with it may go. */
    stored() { this.#open(); }

    /**
     * @param {Object} message goes out after what went before
     * @param {?Uint8Array} bytes that follow it as its transfer
     */
    say(message, bytes = null) {
        this.#waiting.push({plain: plainJson(message)});
        if (bytes && bytes.length > 0) {
            this.#waiting.push({transfer: message.transfer, bytes, at: 0});
        }
        this.#pump();
    }

    /** @param {number} transfer of which nothing more goes out */
    cancel(transfer) {
        this.#waiting = this.#waiting.filter(entry => entry.transfer !== transfer);
        this.say({is: 'cancel', transfer});
    }

    /** @param {'unknown'|'garbled'|'lost'} why */
    end(why) {
        if (this.#ended) {
            return;
        }
        this.#ended = true;
        clearTimeout(this.#deadline);
        clearTimeout(this.#pumping);
        this.#socket.onopen = this.#socket.onmessage = this.#socket.onclose = null;
        this.#socket.close();
        this.listener.onEnd(why);
    }

    #open() {
        if (!this.#ended && this.#session && !this.#proved) {
            this.#proved = true;
            this.listener.onOpen();
        }
    }

    /** @param {string|ArrayBuffer} data */
    #receive(data) {
        try {
            if (!(data instanceof ArrayBuffer) || data.byteLength > MOST_MESSAGE_BYTES) {
                throw new ProtocolError('no message of ours');
            }
            if (this.#session) {
                this.#take(readPlain(this.#session.open(new Uint8Array(data))));
                return;
            }
            const {session, browser} = this.#handshake.finish(new Uint8Array(data));
            clearTimeout(this.#deadline);
            this.#session = session;
            if (browser) {
                this.listener.onPairing(browser);
            } else {
                this.#open();
            }
        } catch (error) {
            this.end(error instanceof UnknownCredential ? 'unknown' : 'garbled');
            if (!(error instanceof UnknownCredential || error instanceof ProtocolError)) {
                throw error;
            }
        }
    }

    /** @param {?{message: Object}|{transfer: number, bytes: Uint8Array}} read */
    #take(read) {
        if (!read) {
            return;
        }
        if (!this.#proved) {
            throw new ProtocolError('nothing may come before our first message');
        }
        if (read.bytes) {
            this.#takePiece(read.transfer, read.bytes);
        } else if (read.message.is === 'data') {
            this.#announce(read.message);
        } else if (read.message.is === 'cancel') {
            this.#incoming.delete(read.message.transfer);
            this.#waiting =
                this.#waiting.filter(({transfer}) => transfer !== read.message.transfer);
        } else {
            this.listener.onMessage(read.message, null);
        }
    }

    /** @param {{transfer: number, size: number}} message */
    #announce(message) {
        if (message.size > MOST_RECEIVED_BYTES || this.#incoming.size >= MOST_TRANSFERS ||
            this.#incoming.has(message.transfer)) {
            throw new ProtocolError('a transfer that cannot be');
        }
        if (message.size === 0) {
            this.listener.onMessage(message, new Uint8Array());
            return;
        }
        this.#incoming.set(
            message.transfer, {message, bytes: new Uint8Array(message.size), got: 0});
    }

    /**
     * @param {number} transfer
     * @param {Uint8Array} bytes
     */
    #takePiece(transfer, bytes) {
        const whole = this.#incoming.get(transfer);
        // Of one that was cancelled, pieces may still be on their way.
        if (!whole) {
            return;
        }
        if (whole.got + bytes.length > whole.bytes.length) {
            throw new ProtocolError('more than was announced');
        }
        whole.bytes.set(bytes, whole.got);
        whole.got += bytes.length;
        if (whole.got === whole.bytes.length) {
            this.#incoming.delete(transfer);
            this.listener.onMessage(whole.message, whole.bytes);
        }
    }

    #pump() {
        clearTimeout(this.#pumping);
        while (this.#proved && !this.#ended && this.#waiting.length > 0) {
            if (this.#socket.bufferedAmount > MOST_UNSENT_BYTES) {
                this.#pumping = setTimeout(() => this.#pump(), UNSENT_TICK_MS);
                return;
            }
            const first = this.#waiting[0];
            if (first.plain) {
                this.#waiting.shift();
                this.#socket.send(this.#session.seal(first.plain));
            } else {
                this.#sendPiece(first);
            }
        }
    }

    /** @param {{transfer: number, bytes: Uint8Array, at: number}} entry */
    #sendPiece(entry) {
        const piece = entry.bytes.subarray(entry.at, entry.at + MOST_PIECE_BYTES);
        this.#socket.send(this.#session.seal(plainPiece(entry.transfer, piece)));
        entry.at += piece.length;
        this.listener.onProgress(entry.transfer, entry.at);
        if (entry.at === entry.bytes.length) {
            this.#waiting.shift();
        }
    }
}
