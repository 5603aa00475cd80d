// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Building the page's elements. A text only ever becomes a text node, never markup. */

const SVG = 'http://www.w3.org/2000/svg';
/** A link of any other kind is text. */
const OPENABLE = new Set(['http:', 'https:', 'mailto:', 'tel:']);

const policy = globalThis.trustedTypes?.createPolicy('clipmule-page', {
    createScriptURL: name => {
        if (!['worker.js', 'sw.js'].includes(name)) {
            throw new TypeError('not a script of ours');
        }
        return name;
    }
});

/** @param {'worker.js'|'sw.js'} name @returns {*} as a browser with trusted types wants it */
export function scriptUrl(name) { return policy ? policy.createScriptURL(name) : name; }

/** @param {string} id @returns {HTMLElement} */
export const byId = id => document.getElementById(id);

/**
 * @param {string} tag
 * @param {Object<string, *>} properties of the element; `aria…`, `role`, `dir` and the like too
 * @param {...(Node|string)} children
 * @returns {HTMLElement}
 */
export function make(tag, properties = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name.includes('-')) {
            made.setAttribute(name, value);
        } else {
            made[name] = value;
        }
    }
    made.append(...children);
    return made;
}

/** @param {string} name of a symbol in index.html @returns {SVGElement} */
export function icon(name) {
    const svg = document.createElementNS(SVG, 'svg');
    const use = document.createElementNS(SVG, 'use');
    use.setAttribute('href', `#icon-${name}`);
    svg.setAttribute('aria-hidden', 'true');
    svg.append(use);
    return svg;
}

/**
 * @param {string} symbol
 * @param {string} label seen
 * @param {() => void} pressed called within the tap
 * @param {string} className
 */
export function button(symbol, label, pressed, className = 'quiet') {
    const made = make(
        'button', {type: 'button', className}, ...(symbol ? [icon(symbol)] : []),
        make('span', {}, label));
    made.addEventListener('click', pressed);
    return made;
}

/**
 * @param {string} symbol
 * @param {string} label for those who do not see the icon
 * @param {() => void} pressed
 */
export function iconButton(symbol, label, pressed) {
    const made = make(
        'button', {type: 'button', className: 'plain round', title: label, 'aria-label': label},
        icon(symbol));
    made.addEventListener('click', pressed);
    return made;
}

/** @param {?string} url @returns {?string} the same, if a tap may open it */
export function openable(url) {
    try {
        return OPENABLE.has(new URL(url).protocol) ? url : null;
    } catch {
        return null;
    }
}
