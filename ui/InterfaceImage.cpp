// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/InterfaceImage.h"

#include "platform/bundle/Bundle.h"
#include "platform/foundation/Log.h"

#include <QFontInfo>
#include <QImageReader>
#include <QPainter>

#include <cmath>
#include <utility>

namespace clipmule {

namespace {

// Between 1 and 2 pixels a point the larger picture, reduced, is the sharper one.
constexpr qreal largestRatioOfNormal = 1.01;

// Whether a length of the picture is one point, or is drawn without being scaled.
bool isExact(qreal source, qreal target, qreal scale) {
    return source <= 1 || qFuzzyCompare(target * scale, source);
}

QString pathOf(const Bundle &bundle, const QString &name) {
    return bundle.pathForResource(QStringLiteral("images/") + name, QStringLiteral("png"));
}

QImage read(const Bundle &bundle, const QString &name) {
    const QString path = pathOf(bundle, name);
    QImageReader reader(path, "png");
    // Else every plug-in for pictures is loaded and asked whether it would like to have this one.
    reader.setAutoDetectImageFormat(false);
    const QImage image = path.isEmpty() ? QImage() : reader.read();
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

InterfaceImage InterfaceImage::namedIfPresent(const Bundle &bundle, const QString &name) {
    return pathOf(bundle, name).isEmpty() ? InterfaceImage() : named(bundle, name);
}

const QImage &InterfaceImage::forPixelRatio(qreal ratio) const {
    return ratio > largestRatioOfNormal && !_doubled.isNull() ? _doubled : _normal;
}

void InterfaceImage::draw(QPainter &painter, const QRectF &target, const QRectF &source) const {
    // The painter may be scaled, by the screen or by whoever paints.
    const QTransform transform = painter.deviceTransform();
    const qreal ratio = std::sqrt(std::abs(transform.determinant()));
    const QImage &image = forPixelRatio(ratio);
    if (image.isNull())
        return;
    const qreal pixels = image.devicePixelRatio();
    // Smoothing is inexact even where a pixel becomes a pixel; nor does a single column need it.
    const qreal scale = ratio / pixels;
    const bool smooth = transform.type() > QTransform::TxScale ||
                        !isExact(source.width(), target.width(), scale) ||
                        !isExact(source.height(), target.height(), scale);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, smooth);
    painter.drawImage(target, image, {source.topLeft() * pixels, source.size() * pixels});
    painter.restore();
}

void InterfaceImage::draw(QPainter &painter, const QPointF &at) const {
    draw(painter, {at, QSizeF(size())}, {{0, 0}, QSizeF(size())});
}

QFont interfaceFont(int size, bool isBold) {
    QFont font(QStringLiteral("Lucida Grande"));
    // The toolkit would take any other family instead.
    if (QFontInfo(font).family() != font.family())
        font = QFont();
    font.setPixelSize(size);
    font.setBold(isBold);
    return font;
}

} // namespace clipmule
