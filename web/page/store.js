// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * What waits to be sent, kept across a closed page and shared by all tabs; and what another app has
 * shared with this one (the service worker puts it there).
 */

/**
 * @typedef {{id: number, kind: 'text'|'picture', type: string, bytes: ArrayBuffer, relay: boolean,
 *     label: string, failed?: string, owner?: string, until?: number}} Item
 *     failed: why it is not tried any more; owner: the tab that sends it, until then.
 */

const NAME = 'clipmule';
const VERSION = 1;
const OUTBOX = 'outbox';
const SHARED = 'shared';
/** More than somebody would send without looking whether it arrives. */
export const MOST_ITEMS = 20;
export const MOST_BYTES = 40 << 20;

/**
 * @template T
 * @param {IDBRequest<T>} request
 * @returns {Promise<T>}
 */
function result(request) {
    return new Promise((resolve, reject) => {
        request.onsuccess = () => resolve(request.result);
        request.onerror = () => reject(request.error);
    });
}

let database = null;

function opened() {
    database ??= new Promise((resolve, reject) => {
        const request = indexedDB.open(NAME, VERSION);
        request.onupgradeneeded = () => {
            request.result.createObjectStore(OUTBOX, {keyPath: 'id', autoIncrement: true});
            request.result.createObjectStore(SHARED, {autoIncrement: true});
        };
        request.onerror = () => reject(request.error);
        request.onsuccess = () => {
            // Another tab forgets the computer.
            request.result.onversionchange = () => {
                request.result.close();
                database = null;
            };
            resolve(request.result);
        };
    });
    return database;
}

/**
 * @template T
 * @param {string} name
 * @param {(store: IDBObjectStore) => Promise<T>} work
 * @returns {Promise<T>} once it is on the disk
 */
async function within(name, work) {
    const transaction = (await opened()).transaction(name, 'readwrite');
    const ended = new Promise((resolve, reject) => {
        transaction.oncomplete = resolve;
        transaction.onabort = () => reject(transaction.error);
    });
    // Whichever of the two fails, it is told once.
    ended.catch(() => {});
    const answer = await work(transaction.objectStore(name));
    await ended;
    return answer;
}

/** Where the browser stores nothing: as long as the page lives. @type {?Map<number, Item>} */
let memory = null;
let lastInMemory = 0;

/** @param {Item[]} items @returns {boolean} whether one of so many bytes still fits */
function fits(items, bytes) {
    const held = items.reduce((sum, item) => sum + item.bytes.byteLength, 0);
    return items.length < MOST_ITEMS && held + bytes <= MOST_BYTES;
}

/** @returns {Promise<Item[]>} oldest first */
async function all() {
    return memory ? [...memory.values()] : within(OUTBOX, store => result(store.getAll()));
}

export const outboxStore = {
    all,

    /** Whether what is kept outlives the page. */
    lasts: () => memory === null,

    /** Looks whether the browser stores anything. To be called first. */
    async probe() {
        try {
            await all();
        } catch {
            memory = new Map();
        }
    },

    /** @param {Item} item without id @returns {Promise<?number>} its id; null: it is full */
    async add(item) {
        if (memory) {
            if (!fits(await all(), item.bytes.byteLength)) {
                return null;
            }
            memory.set(++lastInMemory, {...item, id: lastInMemory});
            return lastInMemory;
        }
        return within(OUTBOX, async store => {
            const room = fits(await result(store.getAll()), item.bytes.byteLength);
            return room ? result(store.add(item)) : null;
        });
    },

    /**
     * The oldest that nobody sends, marked as this tab's.
     * @param {string} owner
     * @param {number} leaseMs
     * @param {Set<number>} passedOver
     * @returns {Promise<{item: ?Item, next: number}>} next: when to look again, where another tab
     *     has one in hand; else Infinity
     */
    async claim(owner, leaseMs, passedOver) {
        const now = Date.now();
        const choose = items => {
            const open = items.filter(item => !item.failed && !passedOver.has(item.id));
            const free = item => !item.owner || item.owner === owner || item.until < now;
            const item = open.find(free) ?? null;
            return {item, next: Math.min(...open.filter(one => !free(one)).map(one => one.until))};
        };
        if (memory) {
            return choose(await all());
        }
        return within(OUTBOX, async store => {
            const choice = choose(await result(store.getAll()));
            if (choice.item) {
                Object.assign(choice.item, {owner, until: now + leaseMs});
                await result(store.put(choice.item));
            }
            return choice;
        });
    },

    /** @param {Item} item with what has changed; nothing when it is gone meanwhile */
    async update(item) {
        if (memory) {
            memory.set(item.id, item);
            return;
        }
        await within(OUTBOX, async store => {
            if (await result(store.getKey(item.id)) !== undefined) {
                await result(store.put(item));
            }
        });
    },

    /** @param {number} id */
    async remove(id) {
        if (memory) {
            memory.delete(id);
            return;
        }
        await within(OUTBOX, store => result(store.delete(id)));
    },

    /** Leaves no trace of either kind. */
    async wipe() {
        memory?.clear();
        if (memory) {
            return;
        }
        await within(OUTBOX, store => result(store.clear()));
        await within(SHARED, store => result(store.clear()));
        (await opened()).close();
        database = null;
        // What another tab still holds open was emptied above; it is deleted when that closes.
        indexedDB.deleteDatabase(NAME);
    }
};

/** @param {{text: string, files: Blob[]}} shared @returns {Promise<void>} */
export async function keepShared(shared) {
    await within(SHARED, store => result(store.add(shared)));
}

/** @returns {Promise<{text: string, files: Blob[]}[]>} and nothing of it a second time */
export async function takeShared() {
    return within(SHARED, async store => {
        const kept = await result(store.getAll());
        await result(store.clear());
        return kept;
    });
}
