// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

namespace clipmule {

class X11Connection;

/// What windows of ours may expect of the desktop.
class WindowSystem {
public:
    WindowSystem() = default;
    virtual ~WindowSystem() = default;
    WindowSystem(const WindowSystem &) = delete;
    WindowSystem &operator=(const WindowSystem &) = delete;

    /// Whether a window appears where we put it.
    [[nodiscard]] virtual bool canPlaceWindows() const = 0;
    /// Whether what is behind a translucent window shines through, now.
    [[nodiscard]] virtual bool blendsWindows() const = 0;
};

/// Needs a running application with windows. The connection may be null.
[[nodiscard]] std::unique_ptr<WindowSystem>
makeWindowSystem(std::shared_ptr<X11Connection> connection);

} // namespace clipmule
