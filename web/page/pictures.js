// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

/**
 * Pictures on their way to the computer: turned upright, without what a camera writes beside the
 * picture (the place, the time, the device), and reduced as the computer reduces its own.
 */

import {make} from './elements.js';

/** A picture of more pixels is reduced to fit into a square of REDUCED_SIDE. */
const MOST_PIXELS = 1920000;
const REDUCED_SIDE = 1600;
/** A larger PNG becomes JPEG. */
const LARGEST_PNG_BYTES = 1500000;
const JPEG_QUALITY = 0.9;
/** What no phone's camera makes; reading it could end the page. */
const LARGEST_FILE_BYTES = 100 << 20;

/** Formats that may be drawings, of which JPEG would blur the letters. */
const SHARP = new Set(['image/png', 'image/gif', 'image/webp', 'image/bmp', 'image/svg+xml']);

/**
 * @param {HTMLCanvasElement} canvas
 * @param {string} type
 * @returns {Promise<Blob>}
 */
function encoded(canvas, type) {
    return new Promise(
        (resolve, reject) => canvas.toBlob(
            blob => blob ? resolve(blob) : reject(new Error('not encoded')), type, JPEG_QUALITY));
}

/**
 * @param {number} width
 * @param {number} height
 * @returns {[number, number]} the size in pixels to send it in
 */
export function reduced(width, height) {
    if (width * height <= MOST_PIXELS) {
        return [width, height];
    }
    const scale = Math.min(1, REDUCED_SIDE / Math.max(width, height));
    return [Math.max(1, Math.round(width * scale)), Math.max(1, Math.round(height * scale))];
}

/**
 * @param {Blob} file
 * @returns {Promise<Blob>} image/png or image/jpeg; rejects when the browser cannot read it
 */
export async function prepared(file) {
    if (file.size > LARGEST_FILE_BYTES) {
        throw new RangeError('too large to be read');
    }
    const bitmap = await createImageBitmap(file, {imageOrientation: 'from-image'});
    const [width, height] = reduced(bitmap.width, bitmap.height);
    const canvas = make('canvas', {width, height});
    const context = canvas.getContext('2d');
    context.imageSmoothingQuality = 'high';
    context.drawImage(bitmap, 0, 0, width, height);
    bitmap.close();
    if (SHARP.has(file.type)) {
        const png = await encoded(canvas, 'image/png');
        if (png.size <= LARGEST_PNG_BYTES) {
            return png;
        }
    }
    // JPEG knows no transparency; what was clear becomes white, not black.
    context.globalCompositeOperation = 'destination-over';
    context.fillStyle = '#fff';
    context.fillRect(0, 0, width, height);
    return encoded(canvas, 'image/jpeg');
}
