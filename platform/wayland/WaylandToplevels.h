// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class WaylandConnection;

/// The windows of all programs, where the compositor tells of them; of these, the active one.
class WaylandToplevels {
public:
    /// Windows that are followed. Who has more has lost sight of them long before us.
    static constexpr qsizetype mostWindows = 4096;
    /// UTF-16 units; a longer identifier is none.
    static constexpr qsizetype longestIdentifier = 256;

    /// Null when the compositor does not tell.
    [[nodiscard]] static std::unique_ptr<WaylandToplevels>
    make(const std::shared_ptr<WaylandConnection> &connection);

    WaylandToplevels() = default;
    virtual ~WaylandToplevels() = default;
    WaylandToplevels(const WaylandToplevels &) = delete;
    WaylandToplevels &operator=(const WaylandToplevels &) = delete;

    /// The identifier that the program of the active window gives itself, or the class of an X11
    /// window; nothing when no window is active or it gives itself none.
    [[nodiscard]] virtual std::optional<QString> active() const = 0;
    /// It answers otherwise than before. From the run loop.
    std::function<void()> onChange;
};

} // namespace clipmule
