// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * The code of the link that was scanned. It leaves the address bar and the history before anything
 * else happens; so this module needs no other.
 */

/** 32 bytes in base64url, without padding. */
const CODE = /^#([A-Za-z0-9_-]{43})$/;

/** @returns {?Uint8Array} what the address carried */
function takeCode() {
    const match = CODE.exec(location.hash);
    if (location.hash) {
        history.replaceState(null, '', location.pathname);
    }
    if (!match) {
        return null;
    }
    const binary = atob(match[1].replace(/-/g, '+').replace(/_/g, '/'));
    return Uint8Array.from(binary, letter => letter.charCodeAt(0));
}

let code = takeCode();
let listener = null;

// A camera that finds the page open gives it the new code without loading it again.
addEventListener('hashchange', () => {
    const next = takeCode();
    if (next) {
        code = next;
        listener?.(code);
    }
});

/** @param {(code: ?Uint8Array) => void} taken called at once, and with each code that follows */
export function watchCode(taken) {
    listener = taken;
    taken(code);
    code = null;
}
