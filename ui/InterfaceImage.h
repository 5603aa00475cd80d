// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFont>
#include <QImage>
#include <QRectF>
#include <QString>

class QPainter;

namespace clipmule {

class Bundle;

/// One of the interface's pictures, in its normal resolution and, for dense screens, in twice that.
/// Sizes and rectangles are in points; y is downwards, as painters have it. A value.
class InterfaceImage {
public:
    /// Draws nothing and has no size.
    InterfaceImage() = default;
    /// The second one may be null.
    InterfaceImage(QImage normal, QImage doubled);
    /// "images/NAME.png" and "images/NAME@2x.png" of the bundle. What is missing is said in the
    /// log.
    [[nodiscard]] static InterfaceImage named(const Bundle &bundle, const QString &name);
    /// The same, for a picture that a bundle may do without.
    [[nodiscard]] static InterfaceImage namedIfPresent(const Bundle &bundle, const QString &name);

    [[nodiscard]] bool isNull() const { return _normal.isNull(); }
    [[nodiscard]] QSize size() const { return _normal.size(); }
    /// The pixels for a screen with that many pixels a point. Their device pixel ratio is set.
    [[nodiscard]] const QImage &forPixelRatio(qreal ratio) const;

    /// Draws a part of the picture, stretched where the rectangles differ in size.
    void draw(QPainter &painter, const QRectF &target, const QRectF &source) const;
    void draw(QPainter &painter, const QPointF &at) const;

private:
    QImage _normal;
    QImage _doubled;
};

/// The interface was laid out with the origin at the bottom left and y upwards; painters and
/// widgets have it at the top left and y downwards. Maps a rectangle from the one into the other,
/// inside a view of that height; in points. The same function maps back.
[[nodiscard]] constexpr QRectF flipped(const QRectF &rect, qreal viewHeight) {
    return {rect.x(), viewHeight - rect.y() - rect.height(), rect.width(), rect.height()};
}

/// The font of the interface's texts, bold or not, where it is installed, else the desktop's. A
/// point is a pixel here, as in every other measure.
[[nodiscard]] QFont interfaceFont(int size, bool isBold = false);

} // namespace clipmule
