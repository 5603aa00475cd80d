// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * Connections live here, so that sealing ten megabytes does not stop the page. The page's end is
 * Link; every note carries the connection's number, and those of an older one are passed over.
 */

import {Connection} from './connection.js';
import {credentialOfCode} from './handshake.js';

/** @type {?Connection} */
let connection = null;
let number = 0;

/**
 * @param {Object} note
 * @param {?Uint8Array} bytes handed over, not copied
 */
function tell(note, bytes = null) {
    self.postMessage({...note, bytes, number}, bytes ? [bytes.buffer] : []);
}

/** @param {{number: number, url: string, credential: Object}} order */
function open(order) {
    connection?.end('lost');
    number = order.number;
    const {kind, key} = order.credential;
    const credential = kind === 'P' ? credentialOfCode(key) : order.credential;
    connection = new Connection(order.url, credential, {
        onPairing: browser => tell({event: 'pairing', browser}),
        onOpen: () => tell({event: 'open'}),
        onMessage: (message, bytes) => tell({event: 'message', message}, bytes),
        onProgress: (transfer, sent) => tell({event: 'progress', transfer, sent}),
        onEnd: why => {
            connection = null;
            tell({event: 'end', why});
        }
    });
}

const orders = {
    open,
    stored: () => connection?.stored(),
    say: ({message, bytes}) => connection?.say(message, bytes),
    cancel: ({transfer}) => connection?.cancel(transfer),
    close: () => connection?.end('lost')
};

self.onmessage = ({data}) => {
    if (data.order === 'open' || data.number === number) {
        orders[data.order](data);
    }
};
