// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>

class QPainter;

namespace clipmule {

/// A frame of any size made of the nine pieces of one image: the corners keep their size, the edges
/// and the centre fill what is between. A value.
class NinePartImage {
public:
    /// Draws nothing.
    NinePartImage() = default;
    /// Cuts the image, whose device pixel ratio counts; the caps are in points. The middle column
    /// and the right one are as wide as the left cap, the bottom row is as high as the top one, so
    /// that an image made for it is three caps wide. Caps that the image has no room for, and
    /// negative ones, leave no pieces.
    NinePartImage(const QImage &image, int leftCapWidth, int topCapHeight);

    [[nodiscard]] bool isNull() const { return _topLeftCorner.isNull(); }
    /// Draws the pieces over the bounds, repeating those that fill.
    void draw(QPainter &painter, const QRectF &bounds) const;
    /// A new image of that size in points, with the pieces' pixel ratio. Null when the size is
    /// empty, there are no pieces, or there is no memory for it.
    [[nodiscard]] QImage image(QSize size) const;

    [[nodiscard]] const QImage &topLeftCorner() const { return _topLeftCorner; }
    [[nodiscard]] const QImage &topEdgeFill() const { return _topEdgeFill; }
    [[nodiscard]] const QImage &topRightCorner() const { return _topRightCorner; }
    [[nodiscard]] const QImage &leftEdgeFill() const { return _leftEdgeFill; }
    [[nodiscard]] const QImage &centerFill() const { return _centerFill; }
    [[nodiscard]] const QImage &rightEdgeFill() const { return _rightEdgeFill; }
    [[nodiscard]] const QImage &bottomLeftCorner() const { return _bottomLeftCorner; }
    [[nodiscard]] const QImage &bottomEdgeFill() const { return _bottomEdgeFill; }
    [[nodiscard]] const QImage &bottomRightCorner() const { return _bottomRightCorner; }

private:
    void drawPieces(QPainter &painter, const QRectF &bounds) const;

    QImage _topLeftCorner;
    QImage _topEdgeFill;
    QImage _topRightCorner;
    QImage _leftEdgeFill;
    QImage _centerFill;
    QImage _rightEdgeFill;
    QImage _bottomLeftCorner;
    QImage _bottomEdgeFill;
    QImage _bottomRightCorner;
};

/// Resized copies of images. Sizes are in pixels.
namespace ZRKNSImageCategory {

/// A copy of exactly this size, scaled smoothly, without regard to the proportions. Null when the
/// size is empty or there is no memory for it.
[[nodiscard]] QImage copyWithSize(const QImage &image, QSize size);

/// The size of an image reduced to be no larger than `most`, in its proportions; its own where it
/// is not. No side becomes less than one pixel.
[[nodiscard]] QSize sizeWithMaxSize(QSize image, QSize most);

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
