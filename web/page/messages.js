// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** What the program may say, and how a sealed message is built. */

import {ProtocolError} from './handshake.js';

const JSON_MESSAGE = 0;
const PIECE = 1;
const PIECE_HEAD = 5;

/** Content of one message; what seals it and names it comes on top, within 66,000 bytes. */
export const MOST_JSON_BYTES = 65000;
export const MOST_PIECE_BYTES = 65000;
/** A whole WebSocket message. */
export const MOST_MESSAGE_BYTES = 66000;

/** @param {*} value */
const isText = value => typeof value === 'string';
/** @param {*} value */
const isFlag = value => typeof value === 'boolean';
/** @param {*} value */
const isCount = value => Number.isSafeInteger(value) && value >= 0;
/** @param {(value: *) => boolean} rule */
const listOf = rule => value => Array.isArray(value) && value.every(rule);
/** @param {(value: *) => boolean} rule */
const perhaps = rule => value => value === undefined || rule(value);
/** @param {Object<string, (value: *) => boolean>} rules */
const like = rules => value => typeof value === 'object' && value !== null &&
    !Array.isArray(value) && Object.entries(rules).every(([key, rule]) => rule(value[key]));

const isClip = like({
    id: isText,
    at: isCount,
    from: perhaps(isText),
    kind: isText,
    text: perhaps(isText),
    length: perhaps(isCount),
    url: perhaps(isText),
    title: perhaps(isText),
    picture: perhaps(
        like({type: isText, size: isCount, width: perhaps(isCount), height: perhaps(isCount)}))
});

/** What each known message must have; one that is not here is a newer program's and passed over. */
const KNOWN = {
    welcome: like({
        computer: isText,
        name: isText,
        filters: listOf(like({name: isText, label: isText})),
        limits: like({text: isCount, picture: isCount})
    }),
    state: like({desk: isText}),
    clips: like({clips: listOf(isClip), more: perhaps(isFlag)}),
    clip: like({clip: isClip}),
    gone: like({clips: listOf(isText)}),
    data:
        like({ transfer: value => isCount(value) && value % 2 === 0, for: isCount, size: isCount }),
    refused: like({for: isCount, why: isText
    }),
    sent: like({for: isCount
    }),
    waiting: like({for: isCount
    }),
    notSent: like({for: isCount, why: isText
    }),
    cancel: like({transfer: isCount}),
    renamed: like({name: isText}),
    revoked: like({}),
    pong: like({})
};

/**
 * @param {Object} message
 * @returns {Uint8Array} its plain form
 */
export function plainJson(message) {
    const text = new TextEncoder().encode(JSON.stringify(message));
    if (text.length > MOST_JSON_BYTES) {
        throw new RangeError('a message of ours is too long');
    }
    const plain = new Uint8Array(1 + text.length);
    plain[0] = JSON_MESSAGE;
    plain.set(text, 1);
    return plain;
}

/**
 * @param {number} transfer
 * @param {Uint8Array} bytes at least one, at most MOST_PIECE_BYTES
 * @returns {Uint8Array} its plain form
 */
export function plainPiece(transfer, bytes) {
    const plain = new Uint8Array(PIECE_HEAD + bytes.length);
    plain[0] = PIECE;
    new DataView(plain.buffer).setUint32(1, transfer);
    plain.set(bytes, PIECE_HEAD);
    return plain;
}

/**
 * @param {Uint8Array} plain
 * @returns {{message: Object}|{transfer: number, bytes: Uint8Array}|null} null: to be passed over
 * @throws {ProtocolError} when it is no message, or a known one with something wrong in it
 */
export function readPlain(plain) {
    if (plain[0] === PIECE) {
        if (plain.length <= PIECE_HEAD || plain.length > PIECE_HEAD + MOST_PIECE_BYTES) {
            throw new ProtocolError('a piece has no such length');
        }
        const view = new DataView(plain.buffer, plain.byteOffset);
        return {transfer: view.getUint32(1), bytes: plain.subarray(PIECE_HEAD)};
    }
    if (plain[0] !== JSON_MESSAGE || plain.length > 1 + MOST_JSON_BYTES) {
        throw new ProtocolError('not a message');
    }
    let message;
    try {
        message = JSON.parse(new TextDecoder('utf-8', {fatal: true}).decode(plain.subarray(1)));
    } catch {
        throw new ProtocolError('not JSON');
    }
    if (typeof message !== 'object' || message === null || !isText(message.is)) {
        throw new ProtocolError('a message without a name');
    }
    if (!Object.hasOwn(KNOWN, message.is)) {
        return null;
    }
    if (!KNOWN[message.is](message)) {
        throw new ProtocolError(`a wrong ${message.is}`);
    }
    return {message};
}
