// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QRectF>

namespace clipmule {

/// The interface was laid out with the origin at the bottom left and y upwards; painters and
/// widgets have it at the top left and y downwards. Maps a rectangle from the one into the other,
/// inside a view of that height; in points. The same function maps back.
[[nodiscard]] constexpr QRectF flipped(const QRectF &rect, qreal viewHeight) {
    return {rect.x(), viewHeight - rect.y() - rect.height(), rect.width(), rect.height()};
}

} // namespace clipmule
