// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

namespace clipmule {

class X11Connection;

/// What blends translucent windows with what is behind them, where the desktop has such a thing.
class Compositor {
public:
    Compositor() = default;
    virtual ~Compositor() = default;
    Compositor(const Compositor &) = delete;
    Compositor &operator=(const Compositor &) = delete;

    /// At this moment: users turn it on and off.
    [[nodiscard]] virtual bool isRunning() const = 0;
};

/// The display's, asked in one round trip to the server. Without a connection, and after its loss,
/// it is taken to run: displays of other kinds always blend.
[[nodiscard]] std::unique_ptr<Compositor> makeCompositor(std::shared_ptr<X11Connection> connection);

} // namespace clipmule
