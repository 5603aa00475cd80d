// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QRect>

#include <optional>

namespace clipmule {

/// What is known of where a status item is.
struct StatusItemWhereabouts {
    /// The item's place as the tray tells it; empty when it does not.
    QRect geometry;
    /// Where the item was clicked last.
    std::optional<QPoint> click;
    QRect screen;
    /// The screen without the desktop's panels.
    QRect available;
    /// The item's own width.
    int length = 0;
};

/// Where to hang something from the item. Without a geometry it is as wide as the item and as high
/// as the panel that it is thought to be in; of no height when the screen has no panel.
[[nodiscard]] QRect placeOfStatusItem(const StatusItemWhereabouts &whereabouts);

/// The upper left corner of a menu that belongs to something at that place: under it, or above it
/// in the lower half of the screen.
[[nodiscard]] QPoint placeOfMenu(const QRect &item, const QSize &menu, const QRect &screen);

} // namespace clipmule
