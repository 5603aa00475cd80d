// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/bundle/Bundle.h"

#include <QColor>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <functional>

namespace clipmule::kit {

/// A bundle with pictures of one colour each, so that a test sees which one is drawn, and where.
class PlainPictures {
public:
    PlainPictures() { QDir(_folder.path()).mkdir(QStringLiteral("images")); }

    /// The picture for dense screens is twice the size, and darker.
    void add(const QString &name, QSize size, const QColor &color) {
        write(name, size, color);
        write(name + QStringLiteral("@2x"), 2 * size, color.darker());
    }
    [[nodiscard]] Bundle bundle() const { return Bundle(_folder.path()); }

private:
    void write(const QString &name, QSize size, const QColor &color) {
        QImage image(size, QImage::Format_ARGB32);
        image.fill(color);
        image.save(_folder.path() + QStringLiteral("/images/") + name + QStringLiteral(".png"));
    }

    QTemporaryDir _folder;
};

/// The program's own pictures.
[[nodiscard]] inline Bundle ownPictures() {
    return Bundle(QStringLiteral(CLIPMULE_RESOURCES));
}

/// What paints, on a background, on a screen with that many pixels a point.
[[nodiscard]] inline QImage painted(QSize size, const QColor &background,
                                    const std::function<void(QPainter &)> &paint, qreal ratio = 1) {
    QImage image(size * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(background);
    QPainter painter(&image);
    paint(painter);
    return image;
}

/// The smallest rectangle that holds every pixel which has not that colour.
[[nodiscard]] inline QRect boundsOfOthers(const QImage &image, const QColor &color) {
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).rgba() != color.rgba())
                bounds |= QRect(x, y, 1, 1);
        }
    }
    return bounds;
}

} // namespace clipmule::kit
