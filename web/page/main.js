// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/** Puts the page together, and shows in which state it is. */

import {watchCode} from './code.js';
import {Clips} from './clips.js';
import {Compose} from './compose.js';
import {button, byId, make, scriptUrl} from './elements.js';
import {Filters} from './filters.js';
import {Link} from './link.js';
import {announce} from './notices.js';
import {Outbox} from './outbox.js';
import {Settings} from './settings.js';
import {takeShared} from './store.js';
import {language, say, translatePage} from './texts.js';
import {vault} from './vault.js';

/** @returns {string} what the computer shall list, until the person says something better */
function suggestedName() {
    const names = {
        iPhone: 'iPhone',
        iPad: 'iPad',
        Android: say('android'),
        Macintosh: 'Mac',
        Windows: 'Windows',
        Linux: 'Linux'
    };
    const known = Object.keys(names).find(name => navigator.userAgent.includes(name));
    return names[known] ?? 'Browser';
}

translatePage();
document.documentElement.dataset.started = 'yes';

const link = new Link({
    url: `${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}/socket`,
    language,
    suggestedName: suggestedName()
});
const filters = new Filters(link);
const outbox = new Outbox(link);
const clips = new Clips(link, clip => filters.openForClip(clip));
const compose =
    new Compose(outbox, text => filters.openForText(text, changed => compose.text = changed));
const settings = new Settings(link, forget);
/** A code was scanned, and the program has not said yet how it calls this browser. */
let paired = false;

/** Leaves nothing behind in this browser. */
async function forget() {
    link.forget();
    await wipe();
    announce(say('forgotten'));
}

async function wipe() {
    vault.wipe();
    clips.clear();
    compose.clear();
    await outbox.wipe();
    for (const registration of await navigator.serviceWorker?.getRegistrations() ?? []) {
        await registration.unregister();
    }
    for (const name of await globalThis.caches?.keys() ?? []) {
        await caches.delete(name);
    }
}

const STATE_TEXTS = {
    none: 'stateNone',
    connecting: 'stateConnecting',
    lost: 'stateLost',
    unknown: 'stateUnknown',
    spent: 'stateNone',
    revoked: 'stateNone'
};
const DESK_TEXTS = {
    connected: 'stateConnected',
    away: 'stateAway',
    off: 'stateOff'
};

function showStatus() {
    const text =
        link.state === 'connected' ? DESK_TEXTS[link.desk] ?? 'stateAway' : STATE_TEXTS[link.state];
    byId('status-text').textContent = say(text);
    byId('status').dataset.state = link.state === 'connected' ? `desk-${link.desk}` : link.state;
    byId('computer').textContent = link.computer || 'Clipmule';
}

/** @param {Node[]} content nothing: it goes away */
function showBanner(...content) {
    byId('banner').replaceChildren(...content);
    byId('banner').hidden = content.length === 0;
}

/** What stands where the clips would be. */
function showStart() {
    const pages = {
        none: ['startTitle', 'startText'],
        spent: ['spentTitle', 'spentText'],
        revoked: ['revokedTitle', 'revokedText']
    };
    const page = pages[link.state];
    const lists = !page && clips.count > 0;
    const empty = !page && !lists && link.state === 'connected' &&
        ['emptyTitle', link.desk === 'connected' ? 'emptyText' : 'emptyAway'];
    const shown = page || empty;
    byId('welcome').hidden = !shown;
    byId('clips').hidden = !lists;
    byId('asleep').hidden = !lists;
    byId('compose').hidden = Boolean(page);
    byId('menu').hidden = Boolean(page);
    if (shown) {
        const [title, text] = shown;
        byId('welcome').replaceChildren(
            make('h2', {}, say(title)), make('p', {}, say(text, {computer: link.computer})));
    }
}

function showState() {
    showStatus();
    showStart();
    if (link.state === 'unknown') {
        showBanner(
            make('p', {}, say('unknownText')),
            make(
                'div', {className: 'row'}, button('', say('again'), () => link.wake()),
                button('', say('forget'), forget)));
    } else if (byId('banner').dataset.state === 'unknown') {
        showBanner();
    }
    byId('banner').dataset.state = link.state;
}

link.onState = () => {
    showState();
    if (link.state === 'connected' && link.desk === 'connected') {
        outbox.retry();
    }
};

link.onWelcome = message => {
    filters.offered = message.filters;
    settings.keeps = message.keeps !== false;
    settings.name = message.name;
    compose.offerTargets(message.computer);
    clips.reconnected();
    outbox.reconnected();
    if (paired) {
        paired = false;
        showBanner(
            make('p', {}, say('paired', message)),
            make('div', {className: 'row'}, button('edit', say('rename'), () => {
                     showBanner();
                     settings.open();
                 }), button('', say('fine'), () => showBanner())));
    }
};

const hearers = {
    clips: message => clips.take(message),
    clip: message => clips.take(message),
    gone: message => clips.take(message),
    sent: message => outbox.arrived(message.for),
    revoked: wipe,
    renamed: ({name}) => {
        vault.rename(name);
        settings.renamed(name);
    }
};
link.onMessage = message => hearers[message.is]?.(message);
link.onProgress = (transfer, sent) => outbox.progress(transfer, sent);
clips.onCount = showStart;
outbox.onBack = text => compose.append(text);
outbox.onAnnounce = announce;
byId('menu').addEventListener('click', () => settings.open());

compose.offerTargets(vault.names().computer ?? '');
await outbox.start();
if (navigator.serviceWorker) {
    navigator.serviceWorker.register(scriptUrl('sw.js'), {type: 'module'}).catch(() => {});
    for (const {text, files} of await takeShared().catch(() => [])) {
        compose.append(text);
        await compose.attach(files);
    }
}
watchCode(code => {
    paired = code !== null;
    link.start(code);
});
