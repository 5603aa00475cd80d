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

struct Decoding {
    /// A JPEG becomes an image of this size, in pixels before it is turned upright, in less time
    /// and memory than it takes to decode all of it and scale that. Invalid for its own size.
    QSize jpegSize = {};
    /// Where it is given, another thread may say meanwhile that nobody wants the image any more.
    const std::atomic_bool *isAbandoned = nullptr;
};
/// The first image in the bytes, upright, in a 32-bit format: RGB32 when it is opaque, else ARGB32.
/// Nothing when the bytes are no raster image of a format known here, or nobody wants it any more.
/// A PlatformException named "InvalidImage" when they are one that is too large or damaged.
[[nodiscard]] std::optional<QImage> decode(const QByteArray &bytes, const Decoding &decoding = {});

/// The image as PNG; nothing, as soon as that is known, when that takes more than so many bytes,
/// or when nobody wants it any more, as another thread may say.
/// The image is in one of decode()'s formats. A PlatformException named "InvalidImage" when it
/// cannot be written.
[[nodiscard]] std::optional<QByteArray> png(const QImage &image, qsizetype largest,
                                            const std::atomic_bool *isAbandoned = nullptr);

/// A PNG that somebody else wrote, without what is not the picture: texts, dates, resolution.
struct WrittenPng {
    /// Empty when it is larger than was asked for.
    QByteArray bytes;
    /// Whether it was compressed with the least effort or none, so that ours may be much smaller.
    bool isInHaste;
};
/// The PNG in the bytes, of so many bytes at most; nothing when they are no PNG, or not a whole
/// one by its chunks and their check sums. Pixels are not looked at.
[[nodiscard]] std::optional<WrittenPng> writtenPng(QByteArrayView bytes, qsizetype largest);

/// The same in half the time and some percent larger, for somebody who waits. Another thread may
/// say meanwhile that nobody does any more: then nothing, soon.
[[nodiscard]] std::optional<QByteArray> quickPng(const QImage &image, qsizetype largest,
                                                 const std::atomic_bool &isAbandoned);

/// The image as JPEG, on white where it is transparent; the factor is between 0 (smallest) and 1
/// (best). A PlatformException named "InvalidImage" when it cannot be written: no side may be
/// longer than 65,500 pixels.
[[nodiscard]] QByteArray jpeg(const QImage &image, double compressionFactor);
/// The same; nothing, as soon as that is known, when it takes more than so many bytes, or when
/// nobody wants it any more, as another thread may say.
[[nodiscard]] std::optional<QByteArray> jpeg(const QImage &image, double compressionFactor,
                                             qint64 largest, const std::atomic_bool &isAbandoned);

} // namespace ImageCodec

} // namespace clipmule
