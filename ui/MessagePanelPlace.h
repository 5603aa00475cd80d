// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QRect>

namespace clipmule {

/// Where the message panel is, and which way it hangs.
struct MessagePanelPlace {
    QRect frame;
    /// Over the status item, because that is in the lower half of the screen.
    bool isAbove = false;
    /// To the right of the status item, because there is no room on the left.
    bool isMirrored = false;
};

/// A panel of that size hangs from the status item's window, most of it to the left, so that the
/// tip of its background points at the item: its centre is 100 points left of the item's. All of it
/// stays on the screen. Everything is in device-independent pixels, y downwards.
[[nodiscard]] MessagePanelPlace placeOfMessagePanel(QSize panel, const QRect &statusItem,
                                                    const QRect &screen);

} // namespace clipmule
