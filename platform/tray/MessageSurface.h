// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QImage>

#include <functional>
#include <memory>

namespace clipmule {

struct Session;

/// A place for messages on desktops that leave no window to be placed by its program, and have
/// something else: in the upper right corner of the screen that the user is at, near where a status
/// area is, above the windows. It takes neither the focus nor the pointer.
class MessageSurface {
public:
    /// How long the desktop may take until it lets a message be drawn. One that works takes a few
    /// milliseconds.
    static constexpr RunLoop::Seconds patience{1};

    MessageSurface() = default;
    virtual ~MessageSurface() = default;
    Q_DISABLE_COPY_MOVE(MessageSurface)

    /// Draws what is to be shown, in the size that was last asked for, with so many pixels a point.
    std::function<QImage(int pixelRatio)> onDraw;
    /// Nothing is shown any more: the desktop has taken it away, or has not let it be drawn in
    /// time, so that nobody has seen it. From the run loop.
    std::function<void(bool wasDrawn)> onClosed;

    /// Shows something of that size, in points, or draws it anew; onDraw is called now or later.
    /// False when that is not possible, and nothing is shown.
    [[nodiscard]] virtual bool show(QSize points) = 0;
    virtual void hide() = 0;
};

/// The place of the session's compositor; null where it has none, or windows can be placed. Needs
/// an installed run loop.
[[nodiscard]] std::unique_ptr<MessageSurface> makeMessageSurface(const Session &session);

} // namespace clipmule
