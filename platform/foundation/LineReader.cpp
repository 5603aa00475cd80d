// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/LineReader.h"

#include "platform/foundation/Callbacks.h"

#include <QString>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace clipmule {

void LineReader::start() {
    _notifier = std::make_unique<QSocketNotifier>(_descriptor, QSocketNotifier::Read);
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(),
                     [this] { readSome(); });
}

void LineReader::readSome() {
    std::array<char, 65536> buffer{};
    const ssize_t count = read(_descriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (count > 0) {
        const qsizetype searched = _pending.size();
        _pending.append(buffer.data(), count);
        takeLines(searched);
        return;
    }
    _notifier->setEnabled(false);
    if (!_pending.isEmpty() && !_skipping)
        callCopyOf(onLine, std::exchange(_pending, {}));
    callCopyOf(onEnd);
}

// No line ends before what is searched already.
void LineReader::takeLines(qsizetype searched) {
    qsizetype start = 0;
    for (;;) {
        const qsizetype end = _pending.indexOf('\n', std::max(start, searched));
        if (end < 0)
            break;
        if (!std::exchange(_skipping, false))
            callCopyOf(onLine, _pending.sliced(start, end - start));
        start = end + 1;
    }
    _pending.remove(0, start);
    if (_pending.size() > longestLine) {
        _pending.clear();
        if (!std::exchange(_skipping, true))
            callCopyOf(onError, QStringLiteral("a line of more than %1 bytes").arg(longestLine));
    } else if (_skipping) {
        _pending.clear();
    }
}

} // namespace clipmule
