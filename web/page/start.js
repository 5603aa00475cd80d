// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * A page of which a part did not come, because the network broke or the program was busy, would stay
 * empty. This is loaded first and needs no other part: it loads the page again.
 */
(() => {
    'use strict';
    const AGAIN_AFTER_MS = 2000;
    let waits = false;

    function again() {
        if (!waits && !document.documentElement.dataset.started) {
            waits = true;
            // No part runs before all have come, so that a code is still in the address.
            setTimeout(() => location.reload(), AGAIN_AFTER_MS);
        }
    }

    addEventListener('error', again, true);
})();
