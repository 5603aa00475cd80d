// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Names on the session bus, by which the programs of one session know of each other.
class SessionNames {
public:
    SessionNames();
    ~SessionNames();
    SessionNames(const SessionNames &) = delete;
    SessionNames &operator=(const SessionNames &) = delete;
    SessionNames(SessionNames &&) = delete;
    SessionNames &operator=(SessionNames &&) = delete;

    /// Whether some program has the name; nothing when there is no bus to ask, or it does not
    /// answer within two seconds. The answer comes from the run loop, never from inside the call,
    /// and not at all once this object is destroyed.
    void findOwner(const QString &name, std::function<void(std::optional<bool> owned)> answer);

private:
    class Private;
    std::unique_ptr<Private> _private;
};

} // namespace clipmule
