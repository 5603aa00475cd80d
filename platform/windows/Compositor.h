// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

namespace clipmule {

struct Session;

/// What blends translucent windows with what is behind them, where the desktop has such a thing.
class Compositor {
public:
    Compositor() = default;
    virtual ~Compositor() = default;
    Compositor(const Compositor &) = delete;
    Compositor &operator=(const Compositor &) = delete;

    /// Whether it runs at this moment: users turn it on and off.
    [[nodiscard]] virtual bool isRunning() const = 0;
};

/// The compositor of the display, asked in one round trip to the server. Without a display, and
/// after its loss, it is taken to run: displays of other kinds always blend.
[[nodiscard]] std::unique_ptr<Compositor> makeCompositor(const Session &session);

} // namespace clipmule
