// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Telling that something arrived: to the eye, the hand, and those who do not see the page. */

import {byId, make} from './elements.js';

const VIBRATION_MS = 30;
/** Lines that a screen reader may still be about to read. */
const MOST_ANNOUNCED = 5;

const title = document.title;
let unseen = 0;

function showUnseen() {
    document.title = unseen > 0 ? `(${unseen}) ${title}` : title;
    const badge = unseen > 0 ? navigator.setAppBadge?.(unseen) : navigator.clearAppBadge?.();
    // Only a page installed as an app has one.
    badge?.catch(() => {});
}

/** @param {string} text for a screen reader */
export function announce(text) {
    const announcer = byId('announcer');
    announcer.append(make('span', {}, `${text} `));
    while (announcer.childElementCount > MOST_ANNOUNCED) {
        announcer.firstElementChild.remove();
    }
}

/** @param {string} text what has come, and from where */
export function announceArrival(text) {
    announce(text);
    navigator.vibrate?.(VIBRATION_MS);
    if (document.hidden) {
        unseen++;
        showUnseen();
    }
}

document.addEventListener('visibilitychange', () => {
    if (!document.hidden) {
        unseen = 0;
        showUnseen();
    }
});
