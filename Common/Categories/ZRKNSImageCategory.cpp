// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"

#include "Common/Categories/NinePartImage.h"

#include <algorithm>
#include <cmath>

namespace clipmule::ZRKNSImageCategory {

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

QImage copyWithMaxSize(const QImage &image, QSize size) {
    if (image.isNull() || size.isEmpty())
        return {};
    const double factor =
        std::min(double(size.width()) / image.width(), double(size.height()) / image.height());
    if (factor >= 1)
        return image;
    return copyWithSize(image, {scaled(image.width(), factor), scaled(image.height(), factor)});
}

QImage sizeStretchLeftCapWidthTopCapHeight(const QImage &image, QSize size, int leftCapWidth,
                                           int topCapHeight) {
    return NinePartImage(image, leftCapWidth, topCapHeight).image(size);
}

} // namespace clipmule::ZRKNSImageCategory
