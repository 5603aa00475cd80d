// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Taking a clip into the phone's clipboard, as far as the browser lets a page. */

import {make} from './elements.js';

/**
 * Without HTTPS this is the only way, and it works within the tap only: some browsers refuse as
 * soon as anything was waited for.
 * @param {string} text
 * @returns {boolean}
 */
function copyBySelection(text) {
    const field =
        make('textarea', {className: 'unseen', readOnly: true, value: text, 'aria-hidden': 'true'});
    const focused = document.activeElement;
    // A dialog makes everything outside itself unselectable.
    (document.querySelector('dialog[open]') ?? document.body).append(field);
    // Not what the selection would add to it: its looks.
    const put = event => {
        event.clipboardData.setData('text/plain', text);
        event.preventDefault();
    };
    document.addEventListener('copy', put, {once: true});
    field.focus({preventScroll: true});
    field.setSelectionRange(0, text.length);
    try {
        return document.execCommand('copy');
    } finally {
        document.removeEventListener('copy', put);
        field.remove();
        focused?.focus?.({preventScroll: true});
    }
}

/**
 * To be called within the tap.
 * @param {string} text
 * @returns {Promise<boolean>} whether it was copied
 */
export async function copyText(text) {
    if (navigator.clipboard?.writeText) {
        try {
            await navigator.clipboard.writeText(text);
            return true;
        } catch {
            // Forbidden by a setting; the other way may be allowed.
        }
    }
    return copyBySelection(text);
}

/** Whether this browser lets a page copy pictures. Only over HTTPS. */
export const canCopyPictures = Boolean(navigator.clipboard?.write && globalThis.ClipboardItem);

/** @param {Blob} picture @returns {Promise<Blob>} as the only form that every browser takes */
async function asPng(picture) {
    if (picture.type === 'image/png') {
        return picture;
    }
    const bitmap = await createImageBitmap(picture);
    const canvas = make('canvas', {width: bitmap.width, height: bitmap.height});
    canvas.getContext('2d').drawImage(bitmap, 0, 0);
    bitmap.close();
    return new Promise(
        (resolve, reject) => canvas.toBlob(
            png => png ? resolve(png) : reject(new Error('no picture')), 'image/png'));
}

/**
 * To be called within the tap.
 * @param {Blob} picture
 * @returns {Promise<boolean>}
 */
export async function copyPicture(picture) {
    try {
        await navigator.clipboard.write([new ClipboardItem({'image/png': asPng(picture)})]);
        return true;
    } catch {
        return false;
    }
}
