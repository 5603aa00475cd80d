// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** What this browser keeps about its computer; all tabs share it. */

/** @typedef {import('./handshake.js').Credential} Credential */

const KEPT = 'clipmule';
/** Made with a code, not yet confirmed by the program. */
const TENTATIVE = 'clipmule-tentative';
/** When the newest clip was copied that was shown. */
const SEEN = 'clipmule-seen';

/** @param {Uint8Array} bytes */
const hex = bytes => Array.from(bytes, byte => byte.toString(16).padStart(2, '0')).join('');
/** @param {string} text */
const bytesOf = text => Uint8Array.from(text.match(/../g), pair => parseInt(pair, 16));

/** What a browser does not store, or not any more: it lasts as long as the page. */
const memory = new Map();

/** @param {string} name */
function read(name) {
    if (memory.has(name)) {
        return memory.get(name);
    }
    try {
        return localStorage.getItem(name);
    } catch {
        return null;
    }
}

/**
 * @param {string} name
 * @param {?string} value null: removed
 */
function write(name, value) {
    try {
        if (value === null) {
            localStorage.removeItem(name);
        } else {
            localStorage.setItem(name, value);
        }
        memory.delete(name);
    } catch {
        memory.set(name, value);
    }
}

/** @param {string} name @returns {?Object} */
function entry(name) {
    try {
        const value = JSON.parse(read(name));
        return /^[0-9a-f]{32}$/.test(value?.id) && /^[0-9a-f]{64}$/.test(value?.key) ? value : null;
    } catch {
        return null;
    }
}

/** @param {string} name @returns {?Credential} */
function credential(name) {
    const value = entry(name);
    return value && {kind: 'R', id: bytesOf(value.id), key: bytesOf(value.key)};
}

export const vault = {
    /** Of the confirmed pairing. */
    credential: () => credential(KEPT),
    tentative: () => credential(TENTATIVE),

    /** @returns {{computer?: string, name?: string}} what both call each other */
    names: () => entry(KEPT) ?? {},

    /** @param {Credential} browser before anything is sealed with what it belongs to */
    keepTentative(
        browser) { write(TENTATIVE, JSON.stringify({id: hex(browser.id), key: hex(browser.key)}));},

    /**
     * The program has welcomed this credential: it is the one, and no other is needed.
     * @param {Credential} browser
     * @param {{computer: string, name: string}} names
     */
    confirm(browser, {computer, name}) {
        write(KEPT, JSON.stringify({id: hex(browser.id), key: hex(browser.key), computer, name}));
        write(TENTATIVE, null);
    },

    /** @param {string} name that the program knows this browser by now */
    rename(name) { write(KEPT, JSON.stringify({...entry(KEPT), name}));},

    /** @returns {?number} milliseconds since 1970; null before the first clip */
    seen: () => Number(read(SEEN)) || null,
    /** @param {number} at */
    see: at => write(SEEN, String(at)),

    wipe() { [KEPT, TENTATIVE, SEEN].forEach(name => write(name, null));},

    /** @param {() => void} changed by another tab */
    watch(changed) {
        addEventListener('storage', ({key}) => {
            if (key === null || key === KEPT) {
                changed();
            }
        });
    }
};
