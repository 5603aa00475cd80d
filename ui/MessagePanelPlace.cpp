// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/MessagePanelPlace.h"

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

constexpr double distanceOfCentres = 100;

} // namespace

MessagePanelPlace placeOfMessagePanel(QSize panel, const QRect &statusItem, const QRect &screen) {
    MessagePanelPlace place;
    const double centre = statusItem.left() + statusItem.width() / 2.0;
    const double half = panel.width() / 2.0;
    double left = std::floor(centre - half - distanceOfCentres);
    if (left < screen.left()) {
        place.isMirrored = true;
        left = std::ceil(centre - half + distanceOfCentres);
    }
    left = std::max(std::min(left, double(screen.left() + screen.width() - panel.width())),
                    double(screen.left()));

    const int itemBottom = statusItem.top() + statusItem.height();
    place.isAbove = statusItem.top() + itemBottom > 2 * screen.top() + screen.height();
    place.frame = {
        QPoint(int(left), place.isAbove ? statusItem.top() - panel.height() : itemBottom), panel};
    return place;
}

} // namespace clipmule
