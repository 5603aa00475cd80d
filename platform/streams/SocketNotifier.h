// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace clipmule {

/// Calls back as long as a descriptor can be read or written. May be destroyed in its own callback,
/// and must be before the descriptor is closed.
class SocketNotifier {
public:
    SocketNotifier(int descriptor, QSocketNotifier::Type type, std::function<void()> callback);
    ~SocketNotifier() = default;
    SocketNotifier(const SocketNotifier &) = delete;
    SocketNotifier &operator=(const SocketNotifier &) = delete;
    SocketNotifier(SocketNotifier &&) = delete;
    SocketNotifier &operator=(SocketNotifier &&) = delete;

    void setEnabled(bool enabled) { _notifier->setEnabled(enabled); }

private:
    struct Release {
        void operator()(QSocketNotifier *notifier) const;
    };
    std::unique_ptr<QSocketNotifier, Release> _notifier;
};

} // namespace clipmule
