// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <atomic>
#include <optional>

namespace clipmule {

/// Raster images as bytes. The bytes are foreign: what they claim is checked before it is believed.
/// Any thread may call.
namespace ImageCodec {

/// An image whose pixels would take more bytes of memory than this is refused before it is decoded:
/// 67 million pixels, more than any camera of these phones makes, and a small part of what a
/// desktop has.
inline constexpr qint64 largestDecoded = 256LL * 1024 * 1024;

/// Whether bytes begin like a JPEG as cameras and programs write it: with a JFIF or an Exif header.
[[nodiscard]] bool isJpeg(QByteArrayView bytes);
[[nodiscard]] bool isPng(QByteArrayView bytes);
/// The MIME type of an image's bytes, by their first ones; empty when they are of none of the
/// formats that programs exchange.
[[nodiscard]] QString typeOf(QByteArrayView bytes);

struct Description {
    /// "png", "jpeg", …
    QByteArray format;
    /// The size in pixels; invalid when the format tells it only with the picture.
    QSize size;
};
/// What the bytes are, by their header alone. Nothing when they are no raster image of a format
/// known here.
[[nodiscard]] std::optional<Description> describe(const QByteArray &bytes);

/// The first image in the bytes, upright, in a 32-bit format: RGB32 when it is opaque, else ARGB32.
/// Nothing when the bytes are no raster image of a format known here. A PlatformException named
/// "InvalidImage" when they are, and are too large or damaged.
[[nodiscard]] std::optional<QImage> decode(const QByteArray &bytes);

/// The image as PNG; nothing, as soon as that is known, when that takes more than so many bytes.
/// The image is in one of decode()'s formats. A PlatformException named "InvalidImage" when it
/// cannot be written.
[[nodiscard]] std::optional<QByteArray> png(const QImage &image, qsizetype largest);

/// The same in half the time and some percent larger, for somebody who waits. Another thread may
/// say meanwhile that nobody does any more: then nothing, soon.
[[nodiscard]] std::optional<QByteArray> quickPng(const QImage &image, qsizetype largest,
                                                 const std::atomic_bool &isAbandoned);

/// The image as JPEG, on white where it is transparent; the factor is between 0 (smallest) and 1
/// (best). A PlatformException named "InvalidImage" when it cannot be written: no side may be
/// longer than 65,500 pixels.
[[nodiscard]] QByteArray jpeg(const QImage &image, double compressionFactor);

} // namespace ImageCodec

} // namespace clipmule
