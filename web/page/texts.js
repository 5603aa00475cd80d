// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** What the page says, in the reader's language. Each language is a module of its own. */

import {texts as de} from './texts-de.js';
import {texts as en} from './texts-en.js';
import {texts as ja} from './texts-ja.js';

/** The first is for everybody else. */
const LANGUAGES = {
    en,
    de,
    ja
};

export const language = (navigator.languages ?? [])
                            .map(tag => tag.slice(0, 2).toLowerCase())
                            .find(tag => Object.hasOwn(LANGUAGES, tag)) ??
    'en';

const texts = LANGUAGES[language];

const ages = new Intl.RelativeTimeFormat(language, {numeric: 'auto', style: 'short'});
const days = new Intl.DateTimeFormat(language, {dateStyle: 'medium', timeStyle: 'short'});
const numbers = new Intl.NumberFormat(language, {maximumFractionDigits: 1});

const MINUTE_MS = 60000;
const HOUR_MS = 60 * MINUTE_MS;
const DAY_MS = 24 * HOUR_MS;

/**
 * @param {string} key
 * @param {Object<string, *>} values for the names in braces
 * @returns {string}
 */
export function say(key, values = {}) {
    return texts[key].replace(/\{(\w+)\}/g, (_, name) => values[name]);
}

/** @param {number} at milliseconds since 1970; the computer's clock may be ahead of ours */
export function age(at) {
    const past = Date.now() - at;
    if (past < MINUTE_MS) {
        return say('now');
    }
    if (past < HOUR_MS) {
        return ages.format(-Math.floor(past / MINUTE_MS), 'minute');
    }
    return past < DAY_MS ? ages.format(-Math.floor(past / HOUR_MS), 'hour') : days.format(at);
}

/** @param {number} bytes */
export function size(bytes) {
    if (bytes < 1000) {
        return say('bytes', {count: numbers.format(bytes)});
    }
    return bytes < 1e6 ? `${numbers.format(bytes / 1e3)} kB` : `${numbers.format(bytes / 1e6)} MB`;
}

/**
 * @param {'text'|'picture'} kind
 * @param {number} limit of a text in units of UTF-16, of a picture in bytes
 */
export function sayLimit(kind, limit) {
    return kind === 'text' ? say('tooLong', {count: numbers.format(limit)}) :
                             say('tooLarge', {size: size(limit)});
}

/** Fills in what index.html leaves open. */
export function translatePage() {
    document.documentElement.lang = language;
    for (const element of document.querySelectorAll('[data-text]')) {
        element.textContent = say(element.dataset.text);
    }
    for (const element of document.querySelectorAll('[data-label]')) {
        const text = say(element.dataset.label);
        element.setAttribute('aria-label', text);
        if (element.matches('button')) {
            element.title = text;
        }
    }
}
