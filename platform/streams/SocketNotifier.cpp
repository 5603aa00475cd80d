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

// The notifier may be in the middle of its signal, so it is deleted later; it lets go of the
// descriptor at once.
void SocketNotifier::Release::operator()(QSocketNotifier *notifier) const {
    notifier->setEnabled(false);
    notifier->disconnect();
    notifier->deleteLater();
}

} // namespace clipmule
