// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <atomic>
#include <functional>
#include <optional>

namespace clipmule {

/// What becomes of a copied picture before it travels: a PNG, or a JPEG where that is too large,
/// and of many pixels a reduced JPEG. It sees nothing but the bytes; any thread may call.
namespace PortablePicture {

/// A PNG larger than this many bytes becomes JPEG.
inline constexpr qsizetype largestPng = 1'500'000;
inline constexpr double jpegCompressionFactor = 0.9;
/// A picture of more pixels is reduced to fit into a square of `reducedSide`.
inline constexpr qint64 mostPixels = 1'920'000;
/// The side, in pixels, of the square that a reduced picture fits into.
inline constexpr int reducedSide = 1600;

struct Forms {
    /// For the phones.
    QByteArray portable;
    /// The same in the picture's own size, where the portable one is reduced and this one was asked
    /// for. No bytes where they are too many.
    std::optional<QByteArray> full = {};
};

/// The number of bytes that the full form may have, for the size of the portable one; negative for
/// none.
using LargestFull = std::function<qint64(qsizetype portable)>;

/// Nothing when the bytes are no picture, or another thread has said that nobody wants it any more.
/// A PlatformException named "InvalidImage" when it is damaged or too large. Without the function
/// no full form is made.
[[nodiscard]] std::optional<Forms> make(const QByteArray &picture, const LargestFull &largestFull,
                                        const std::atomic_bool &isAbandoned);

} // namespace PortablePicture

} // namespace clipmule
