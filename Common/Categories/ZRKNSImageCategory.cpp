// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

QSizeF points(const QImage &image) {
    return QSizeF(image.size()) / image.devicePixelRatio();
}

// Repeats the piece from the area's upper left corner on; the last ones are cut.
void tile(QPainter &painter, const QImage &piece, const QRectF &area) {
    if (piece.isNull() || area.isEmpty())
        return;
    const QSizeF size = points(piece);
    const int columns = int(std::ceil(area.width() / size.width()));
    const int rows = int(std::ceil(area.height() / size.height()));
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const QPointF at = area.topLeft() + QPointF(column * size.width(), row * size.height());
            const QSizeF part(std::min(size.width(), area.right() - at.x()),
                              std::min(size.height(), area.bottom() - at.y()));
            painter.drawImage({at, part}, piece, {{0, 0}, part * piece.devicePixelRatio()});
        }
    }
}

} // namespace

NinePartImage::NinePartImage(const QImage &image, int leftCapWidth, int topCapHeight) {
    const QSizeF size = points(image);
    const qreal pixels = image.devicePixelRatio();
    if (image.isNull() || leftCapWidth < 0 || topCapHeight < 0 || leftCapWidth > size.width() ||
        topCapHeight > size.height() / 2)
        return;
    const int left = int(std::lround(leftCapWidth * pixels));
    const int top = int(std::lround(topCapHeight * pixels));
    const int right = image.width() - left;
    const int bottom = image.height() - top;
    const int middle = image.height() - 2 * top;
    const auto piece = [&image](int x, int y, int width, int height) {
        return width > 0 && height > 0 ? image.copy(x, y, width, height) : QImage();
    };
    _topLeftCorner = piece(0, 0, left, top);
    _topEdgeFill = piece(left, 0, left, top);
    _topRightCorner = piece(right, 0, left, top);
    _bottomLeftCorner = piece(0, bottom, left, top);
    _bottomEdgeFill = piece(left, bottom, left, top);
    _bottomRightCorner = piece(right, bottom, left, top);
    _leftEdgeFill = piece(0, top, left, middle);
    _centerFill = piece(left, top, left, middle);
    _rightEdgeFill = piece(right, top, left, middle);
}

void NinePartImage::drawPieces(QPainter &painter, const QRectF &bounds) const {
    const QSizeF corner = points(_topLeftCorner);
    const qreal left = bounds.left() + corner.width();
    const qreal right = bounds.right() - corner.width();
    const qreal top = bounds.top() + corner.height();
    const qreal bottom = bounds.bottom() - corner.height();
    painter.save();
    painter.setClipRect(bounds, Qt::IntersectClip);
    painter.drawImage(bounds.topLeft(), _topLeftCorner);
    painter.drawImage(QPointF(right, bounds.top()), _topRightCorner);
    painter.drawImage(QPointF(bounds.left(), bottom), _bottomLeftCorner);
    painter.drawImage(QPointF(right, bottom), _bottomRightCorner);
    const auto area = [](qreal x1, qreal y1, qreal x2, qreal y2) {
        return QRectF(QPointF(x1, y1), QPointF(x2, y2));
    };
    tile(painter, _topEdgeFill, area(left, bounds.top(), right, top));
    tile(painter, _bottomEdgeFill, area(left, bottom, right, bounds.bottom()));
    tile(painter, _leftEdgeFill, area(bounds.left(), top, left, bottom));
    tile(painter, _rightEdgeFill, area(right, top, bounds.right(), bottom));
    tile(painter, _centerFill, area(left, top, right, bottom));
    painter.restore();
}

void NinePartImage::draw(QPainter &painter, const QRectF &bounds) const {
    if (isNull() || bounds.isEmpty())
        return;
    const QTransform device = painter.deviceTransform();
    const qreal pixels = _topLeftCorner.devicePixelRatio();
    const bool inStep = device.type() <= QTransform::TxScale &&
                        qFuzzyCompare(device.m11(), pixels) && qFuzzyCompare(device.m22(), pixels);
    if (inStep) {
        drawPieces(painter, bounds);
        return;
    }
    // Pieces that are scaled one by one show seams; the whole frame does not.
    const QImage whole = image(bounds.size().toSize());
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(bounds, whole);
    painter.restore();
}

QImage NinePartImage::image(QSize size) const {
    if (isNull() || size.isEmpty())
        return {};
    const qreal pixels = _topLeftCorner.devicePixelRatio();
    QImage image(size * pixels, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    image.setDevicePixelRatio(pixels);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawPieces(painter, {{0, 0}, QSizeF(size)});
    return image;
}

namespace ZRKNSImageCategory {

namespace {

int scaled(int side, double factor) {
    return std::max(1, int(std::lround(side * factor)));
}

} // namespace

QImage copyWithSize(const QImage &image, QSize size) {
    if (image.isNull() || size.isEmpty())
        return {};
    // The smooth scaler works in these formats only; others take six times as long.
    const auto format =
        image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    return image.convertToFormat(format).scaled(size, Qt::IgnoreAspectRatio,
                                                Qt::SmoothTransformation);
}

QSize sizeWithMaxSize(QSize image, QSize most) {
    const double factor =
        std::min(double(most.width()) / image.width(), double(most.height()) / image.height());
    return factor >= 1 ? image
                       : QSize(scaled(image.width(), factor), scaled(image.height(), factor));
}

QImage copyWithMaxSize(const QImage &image, QSize size) {
    if (image.isNull() || size.isEmpty())
        return {};
    const QSize reduced = sizeWithMaxSize(image.size(), size);
    return reduced == image.size() ? image : copyWithSize(image, reduced);
}

QImage sizeStretchLeftCapWidthTopCapHeight(const QImage &image, QSize size, int leftCapWidth,
                                           int topCapHeight) {
    return NinePartImage(image, leftCapWidth, topCapHeight).image(size);
}

} // namespace ZRKNSImageCategory

} // namespace clipmule
