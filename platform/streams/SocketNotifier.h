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
    SocketNotifier(int descriptor, QSocketNotifier::Type type, std::function<void()> callback)
        : _notifier(std::make_unique<QSocketNotifier>(descriptor, type).release()) {
        QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(),
                         std::move(callback));
    }
    ~SocketNotifier() = default;
    Q_DISABLE_COPY_MOVE(SocketNotifier)

    void setEnabled(bool enabled) { _notifier->setEnabled(enabled); }

private:
    struct Release {
        // The notifier may be in the middle of its signal, so it is deleted later; it lets go of
        // the descriptor at once.
        void operator()(QSocketNotifier *notifier) const {
            notifier->setEnabled(false);
            notifier->disconnect();
            notifier->deleteLater();
        }
    };
    std::unique_ptr<QSocketNotifier, Release> _notifier;
};

} // namespace clipmule
