// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * Over HTTPS only: keeps the page's own files, so that it opens without the computer and says what
 * waits to be sent; and takes what another app shares. Clips never pass through here.
 */

import {keepShared} from './store.js';

const FILES = 'clipmule-files';
const SHARE = '/share';

/** @param {Request} request @returns {Promise<Response>} the newest, or what was kept */
async function answer(request) {
    const kept = await caches.open(FILES);
    try {
        const fresh = await fetch(request);
        if (fresh.ok) {
            await kept.put(request, fresh.clone());
        }
        return fresh;
    } catch (error) {
        const old = await kept.match(request, {ignoreSearch: true});
        if (!old) {
            throw error;
        }
        return old;
    }
}

/**
 * @param {Request} request
 * @returns {Promise<Response>} to the page, which shows it before it sends it
 */
async function take(request) {
    const form = await request.formData();
    const words = ['title', 'text', 'url'].map(name => form.get(name)).filter(word => word);
    const files = form.getAll('pictures').filter(file => file instanceof Blob && file.size > 0);
    await keepShared({text: words.join('\n'), files});
    return Response.redirect('/', 303);
}

self.addEventListener('install', () => self.skipWaiting());
self.addEventListener('activate', event => event.waitUntil(self.clients.claim()));
self.addEventListener('fetch', event => {
    const {request} = event;
    const url = new URL(request.url);
    if (url.origin !== location.origin) {
        return;
    }
    if (request.method === 'POST' && url.pathname === SHARE) {
        event.respondWith(take(request));
    } else if (request.method === 'GET') {
        event.respondWith(answer(request));
    }
});
