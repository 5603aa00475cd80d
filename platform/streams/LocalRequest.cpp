// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/LocalRequest.h"

#include "platform/foundation/Callbacks.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>

namespace clipmule {

LocalFolder::Answer LocalRequest::start(const QByteArray &runtimeFolder,
                                        const QByteArray &socketName, const QByteArray &line) {
    const auto folder = LocalFolder::open(runtimeFolder);
    if (!folder)
        return LocalFolder::Answer::Refused;
    auto [answer, socket] = (*folder)->connect(socketName, SOCK_STREAM);
    if (answer != LocalFolder::Answer::Connected)
        return answer;
    const QByteArray bytes = line + '\n';
    // One that has hung up already is found out by reading.
    (void)::send(socket.descriptor(), bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL);
    _socket = std::move(socket);
    _notifier = std::make_unique<SocketNotifier>(_socket.descriptor(), QSocketNotifier::Read,
                                                 [this] { read(); });
    _deadline = RunLoop::current().performAfter(patience, [this] { end(); });
    return answer;
}

void LocalRequest::read() {
    std::array<char, longestLine> bytes;
    const ssize_t count = ::recv(_socket.descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        _unread.append(bytes.data(), count);
    const std::weak_ptr<bool> alive = _alive;
    for (qsizetype length = _unread.indexOf('\n'); length >= 0 && length <= longestLine;
         length = _unread.indexOf('\n')) {
        _deadline.cancel();
        const QByteArray line = _unread.first(length);
        _unread.remove(0, length + 1);
        callCopyOf(onLine, line);
        if (alive.expired())
            return;
    }
    if (count <= 0 || _unread.size() > longestLine)
        end();
}

void LocalRequest::end() {
    _deadline.cancel();
    _notifier.reset();
    _socket.close();
    callCopyOf(onEnd);
}

} // namespace clipmule
