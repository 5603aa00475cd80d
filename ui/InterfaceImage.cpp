// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/InterfaceImage.h"

#include "platform/foundation/Bundle.h"
#include "ui/Log.h"

#include <QPainter>

#include <cmath>
#include <utility>

namespace clipmule {

namespace {

// Between 1 and 2 pixels a point the larger picture, reduced, is the sharper one.
constexpr qreal largestRatioOfNormal = 1.01;

QImage read(const Bundle &bundle, const QString &name) {
    const QString path =
        bundle.pathForResource(QStringLiteral("images/") + name, QStringLiteral("png"));
    const QImage image = path.isEmpty() ? QImage() : QImage(path);
    if (image.isNull())
        qCWarning(logUi).noquote() << "no picture" << name << "in" << bundle.path();
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace

InterfaceImage::InterfaceImage(QImage normal, QImage doubled)
    : _normal(std::move(normal))
    , _doubled(std::move(doubled)) {
    _normal.setDevicePixelRatio(1);
    _doubled.setDevicePixelRatio(2);
}

InterfaceImage InterfaceImage::named(const Bundle &bundle, const QString &name) {
    return {read(bundle, name), read(bundle, name + QStringLiteral("@2x"))};
}

const QImage &InterfaceImage::forPixelRatio(qreal ratio) const {
    return ratio > largestRatioOfNormal && !_doubled.isNull() ? _doubled : _normal;
}

void InterfaceImage::draw(QPainter &painter, const QRectF &target, const QRectF &source) const {
    // The painter may be scaled, by the screen or by whoever paints.
    const qreal ratio = std::sqrt(std::abs(painter.deviceTransform().determinant()));
    const QImage &image = forPixelRatio(ratio);
    if (image.isNull())
        return;
    const qreal pixels = image.devicePixelRatio();
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, image, {source.topLeft() * pixels, source.size() * pixels});
    painter.restore();
}

void InterfaceImage::draw(QPainter &painter, const QPointF &at) const {
    draw(painter, {at, QSizeF(size())}, {{0, 0}, QSizeF(size())});
}

} // namespace clipmule
