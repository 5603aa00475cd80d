// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * Who is at the other end, and how everything between page and program is sealed. Bytes only; the
 * connection carries them.
 */

import './nacl-fast.min.js';

/**
 * @typedef {{kind: 'P'|'R', id: Uint8Array, key: Uint8Array}} Credential  of a code (pair) or of a
 *     browser (resume)
 */

const {nacl} = globalThis;
const ID_BYTES = 16;
const KEY_BYTES = nacl.secretbox.keyLength;
const NONCE_BYTES = nacl.secretbox.nonceLength;
const PUBLIC_BYTES = nacl.box.publicKeyLength;

const HELLO = 1;
const ANSWER = 2;
const UNKNOWN = 3;

/** What the peer did is not what it may do; the connection has to end. */
export class ProtocolError extends Error {}

/** The program says that it does not know the id. Nothing proves that it was the program. */
export class UnknownCredential extends Error {}

/**
 * @param {...Uint8Array} parts
 * @returns {Uint8Array}
 */
function joined(...parts) {
    const whole = new Uint8Array(parts.reduce((size, part) => size + part.length, 0));
    let at = 0;
    for (const part of parts) {
        whole.set(part, at);
        at += part.length;
    }
    return whole;
}

/**
 * SHA-512 of the label, a zero byte, and the parts.
 * @param {string} label ASCII
 * @param {...Uint8Array} parts
 * @returns {Uint8Array} 64 bytes
 */
export function digest(label, ...parts) {
    return nacl.hash(joined(new TextEncoder().encode(`${label}\0`), ...parts));
}

/**
 * @param {Uint8Array} code the 32 bytes of the link
 * @returns {Credential}
 */
export function credentialOfCode(code) {
    return {kind: 'P', id: digest('clipmule page code id', code).slice(0, ID_BYTES), key: code};
}

/** The keys of one connection, and the numbers of its messages. */
export class Session {
    #sendKey;
    #receiveKey;
    #sent = 0;
    #received = 0;

    /**
     * @param {Uint8Array} keys 64 bytes: page to program, then program to page
     */
    constructor(keys) {
        this.#sendKey = keys.slice(0, KEY_BYTES);
        this.#receiveKey = keys.slice(KEY_BYTES, 2 * KEY_BYTES);
    }

    /**
     * @param {number} number of the message; as JavaScript's integers stay exact, it can never come
     *     round
     */
    static #nonce(number) {
        const nonce = new Uint8Array(NONCE_BYTES);
        new DataView(nonce.buffer).setBigUint64(NONCE_BYTES - 8, BigInt(number));
        return nonce;
    }

    /**
     * @param {Uint8Array} plain
     * @returns {Uint8Array}
     */
    seal(plain) { return nacl.secretbox(plain, Session.#nonce(this.#sent++), this.#sendKey); }

    /**
     * @param {Uint8Array} sealed
     * @returns {Uint8Array}
     * @throws {ProtocolError} when it is not the peer's next message
     */
    open(sealed) {
        const plain = nacl.secretbox.open(sealed, Session.#nonce(this.#received), this.#receiveKey);
        if (!plain) {
            throw new ProtocolError('a message does not open');
        }
        this.#received++;
        return plain;
    }
}

/** The first message of the page, and what it makes of the answer. */
export class Handshake {
    #credential;
    #pair;

    /** What goes out first. @type {Uint8Array} */
    hello;

    /**
     * @param {Credential} credential
     * @param {{publicKey: Uint8Array, secretKey: Uint8Array}} pair fresh
     * @param {Uint8Array} nonce random
     */
    constructor(credential, pair = nacl.box.keyPair(), nonce = nacl.randomBytes(NONCE_BYTES)) {
        this.#credential = credential;
        this.#pair = pair;
        this.hello = joined(
            Uint8Array.of(HELLO, credential.kind.charCodeAt(0)), credential.id, nonce,
            nacl.secretbox(pair.publicKey, nonce, credential.key));
    }

    /**
     * @param {Uint8Array} answer of the program to the hello
     * @returns {{session: Session, browser: ?Credential}} the browser's own credential for the next
     *     connections, after a code
     * @throws {UnknownCredential|ProtocolError}
     */
    finish(answer) {
        if (answer.length === 1 && answer[0] === UNKNOWN) {
            throw new UnknownCredential();
        }
        const {id, key, kind} = this.#credential;
        const own = this.#pair.publicKey;
        const length = 1 + NONCE_BYTES + nacl.secretbox.overheadLength + 2 * PUBLIC_BYTES;
        if (answer.length !== length || answer[0] !== ANSWER) {
            throw new ProtocolError('no answer to a hello');
        }
        const nonce = answer.subarray(1, 1 + NONCE_BYTES);
        const keys = nacl.secretbox.open(answer.subarray(1 + NONCE_BYTES), nonce, key);
        if (!keys || !nacl.verify(keys.subarray(PUBLIC_BYTES), own)) {
            throw new ProtocolError('the answer is not for this hello');
        }
        const theirs = keys.slice(0, PUBLIC_BYTES);
        const shared = nacl.scalarMult(this.#pair.secretKey, theirs);
        // As with a public key of small order: then anybody knows it.
        if (shared.every(byte => byte === 0)) {
            throw new ProtocolError('the shared secret is none');
        }
        const session = new Session(digest('clipmule page session', key, shared, own, theirs));
        if (kind === 'R') {
            return {session, browser: null};
        }
        return {
            session,
            browser: {
                kind: 'R',
                id: digest('clipmule page browser id', key, shared).slice(0, id.length),
                key: digest('clipmule page browser key', key, shared).slice(0, KEY_BYTES)
            }
        };
    }
}
