// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>

namespace clipmule {

/// Resized copies of images. Sizes are in pixels.
namespace ZRKNSImageCategory {

/// A copy of exactly this size, scaled smoothly, without regard to the proportions. Null when the
/// size is empty or there is no memory for it.
[[nodiscard]] QImage copyWithSize(const QImage &image, QSize size);

/// A copy no larger than this size, in the image's proportions: reduced where it must be, never
/// enlarged. No side becomes less than one pixel.
[[nodiscard]] QImage copyWithMaxSize(const QImage &image, QSize size);

/// A new image of this size, made of the nine pieces of another with these caps; see NinePartImage.
/// Here sizes are in points, and the new image has the other's device pixel ratio. Null when the
/// size is empty or the caps do not fit into the image.
[[nodiscard]] QImage sizeStretchLeftCapWidthTopCapHeight(const QImage &image, QSize size,
                                                         int leftCapWidth, int topCapHeight);

} // namespace ZRKNSImageCategory

} // namespace clipmule
