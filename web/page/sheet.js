// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** The one sheet that comes up from below over the list. */

import {byId} from './elements.js';

const sheet = byId('sheet');

/**
 * @param {string} title
 * @param {...Node} content
 */
export function openSheet(title, ...content) {
    byId('sheet-title').textContent = title;
    byId('sheet-body').replaceChildren(...content);
    if (!sheet.open) {
        sheet.showModal();
    }
    byId('sheet-body').scrollTop = 0;
}

export function closeSheet() { sheet.close(); }

byId('sheet-close').addEventListener('click', closeSheet);
sheet.addEventListener('close', () => byId('sheet-body').replaceChildren());
sheet.addEventListener('click', event => {
    // The dialog itself is hit beside its content only: on what lies behind it.
    if (event.target === sheet) {
        closeSheet();
    }
});
