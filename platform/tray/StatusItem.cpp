// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/tray/StatusItem.h"

#include <algorithm>

namespace clipmule {

namespace {

// The strip that panels take from the screen's upper or lower edge, as wide as the screen; at the
// upper edge and without height when they take none.
QRect panelStrip(const QRect &screen, const QRect &available) {
    const int above = available.top() - screen.top();
    const int below = screen.bottom() - available.bottom();
    if (above <= 0 && below > 0)
        return {screen.left(), available.bottom() + 1, screen.width(), below};
    return {screen.left(), screen.top(), screen.width(), std::max(above, 0)};
}

} // namespace

QRect placeOfStatusItem(const StatusItemWhereabouts &whereabouts) {
    if (!whereabouts.geometry.isEmpty())
        return whereabouts.geometry;
    const QRect strip = panelStrip(whereabouts.screen, whereabouts.available);
    const int length = whereabouts.length;
    const QRect screen = whereabouts.screen;
    if (whereabouts.click) {
        const QPoint click = *whereabouts.click;
        const int left = std::clamp(click.x() - length / 2, screen.left(),
                                    std::max(screen.left(), screen.right() + 1 - length));
        if (strip.contains(click))
            return {left, strip.top(), length, strip.height()};
        // A panel at a side of the screen, or one that lies over the windows.
        return {left, click.y(), length, 1};
    }
    return {screen.right() + 1 - length, strip.top(), length, strip.height()};
}

QPoint placeOfMenu(const QRect &item, const QSize &menu, const QRect &screen) {
    const int left =
        std::max(screen.left(), std::min(item.left(), screen.right() + 1 - menu.width()));
    const bool inLowerHalf = item.center().y() > screen.center().y();
    return {left, inLowerHalf ? item.top() - menu.height() : item.top() + item.height()};
}

} // namespace clipmule
