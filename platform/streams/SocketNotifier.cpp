// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketNotifier.h"

namespace clipmule {

SocketNotifier::SocketNotifier(int descriptor, QSocketNotifier::Type type,
                               std::function<void()> callback)
    : _notifier(std::make_unique<QSocketNotifier>(descriptor, type).release()) {
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(),
                     std::move(callback));
}

// It may be in the middle of its signal; what it watches is let go at once all the same.
void SocketNotifier::Release::operator()(QSocketNotifier *notifier) const {
    notifier->setEnabled(false);
    notifier->disconnect();
    notifier->deleteLater();
}

} // namespace clipmule
