// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QImage>
#include <QSize>

#include <functional>
#include <memory>

namespace clipmule {

class WaylandConnection;

/// A picture in the upper right corner of the screen that the user is at, above the windows and
/// below the desktop's bars, where the compositor lets programs put one. Neither the focus nor the
/// pointer reaches it.
///
/// At most one picture is under way: what is asked for meanwhile is drawn when the compositor has
/// seen that one. Callbacks come from the run loop, onDraw from inside show() as well.
class WaylandLayer {
public:
    /// Points of a side; a screen has no more.
    static constexpr int longestSide = 2048;
    /// Pixels a point. No screen is denser, and what says so would cost memory.
    static constexpr int largestScale = 4;
    /// Outputs that are followed. Few computers have ten.
    static constexpr qsizetype mostOutputs = 64;
    /// Pictures that the compositor may keep beside the newest. A good one keeps one or two.
    static constexpr qsizetype mostKept = 3;

    /// Null when the compositor does not offer it.
    [[nodiscard]] static std::unique_ptr<WaylandLayer>
    make(const std::shared_ptr<WaylandConnection> &connection);

    WaylandLayer() = default;
    virtual ~WaylandLayer() = default;
    WaylandLayer(const WaylandLayer &) = delete;
    WaylandLayer &operator=(const WaylandLayer &) = delete;

    /// Draws what is to be shown, with so many pixels a point. Must not call this object.
    std::function<QImage(int scale)> onDraw;
    /// The compositor has taken it away. Must not destroy this object.
    std::function<void()> onClosed;

    /// Shows a picture of that size, in points, so far from the right edge; or draws it anew. False
    /// when it cannot: no such size, the compositor has gone or does not offer it any more.
    [[nodiscard]] virtual bool show(QSize points, int fromRight) = 0;
    virtual void hide() = 0;
};

} // namespace clipmule
