// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QuitSignals.h"

#include "platform/foundation/Log.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace clipmule {

namespace {

// The descriptor that the handler writes to: a global, since the handler can reach nothing else.
std::atomic<int> handlersDescriptor = -1;

// Runs in whatever thread the signal finds, in the middle of anything.
void handle(int signal) {
    const int error = errno;
    const auto number = static_cast<unsigned char>(signal);
    // A full pipe holds enough of them already.
    [[maybe_unused]] const ssize_t written = write(handlersDescriptor, &number, sizeof number);
    errno = error;
}

} // namespace

QuitSignals::QuitSignals(std::function<void(int)> callback)
    : _callback(std::move(callback)) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        qCWarning(logFoundation) << "cannot watch for signals:" << strerror(errno);
        return;
    }
    _readEnd = FileHandle(ends[0]);
    _writeEnd = FileHandle(ends[1]);
    handlersDescriptor = _writeEnd.descriptor();
    // A handler, and no blocked signals: whatever this process starts would inherit the blockade.
    struct sigaction action {};
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (size_t index = 0; index < signals.size(); ++index)
        sigaction(signals[index], &action, &_previous[index]);
    _notifier = std::make_unique<QSocketNotifier>(_readEnd.descriptor(), QSocketNotifier::Read);
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(),
                     [this] { deliver(); });
}

QuitSignals::~QuitSignals() {
    if (!_writeEnd.isOpen())
        return;
    for (size_t index = 0; index < signals.size(); ++index)
        sigaction(signals[index], &_previous[index], nullptr);
    handlersDescriptor = -1;
}

void QuitSignals::deliver() {
    unsigned char number = 0;
    if (read(_readEnd.descriptor(), &number, sizeof number) == sizeof number)
        _callback(number);
}

} // namespace clipmule
