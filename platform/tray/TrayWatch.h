// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <memory>

namespace clipmule {

struct Session;

/// Knows whether the desktop has a status area of one kind, and tells when that changes.
class TrayWatch {
public:
    TrayWatch() = default;
    virtual ~TrayWatch() = default;
    TrayWatch(const TrayWatch &) = delete;
    TrayWatch &operator=(const TrayWatch &) = delete;

    /// The callback comes from the run loop whenever the answer is another one; it is no at first.
    virtual void start(std::function<void()> changed) = 0;
    [[nodiscard]] virtual bool isPresent() const = 0;
};

/// Trays that embed windows: the owner of a selection of the display. Null without one.
[[nodiscard]] std::unique_ptr<TrayWatch> makeEmbeddingTrayWatch(const Session &session);
/// Hosts of StatusNotifierItems, on the session bus. A host counts when it answers, so that nobody
/// has to wait for one that hangs.
[[nodiscard]] std::unique_ptr<TrayWatch> makeNotifierHostWatch();

} // namespace clipmule
