// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QuitSignals.h"

#include "platform/foundation/Log.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace clipmule {

QuitSignals::QuitSignals(std::function<void(int)> callback)
    : _callback(std::move(callback)) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    // Blocked, they wait to be read; threads started later inherit the mask.
    pthread_sigmask(SIG_BLOCK, &signals, &_previousMask);
    _descriptor = FileHandle(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!_descriptor.isOpen()) {
        qCWarning(logFoundation) << "cannot watch for signals:" << strerror(errno);
        pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
        return;
    }
    _notifier = std::make_unique<QSocketNotifier>(_descriptor.descriptor(), QSocketNotifier::Read);
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(),
                     [this] { deliver(); });
}

QuitSignals::~QuitSignals() {
    if (_descriptor.isOpen())
        pthread_sigmask(SIG_SETMASK, &_previousMask, nullptr);
}

void QuitSignals::deliver() {
    signalfd_siginfo information{};
    if (read(_descriptor.descriptor(), &information, sizeof information) == sizeof information)
        _callback(int(information.ssi_signo));
}

} // namespace clipmule
