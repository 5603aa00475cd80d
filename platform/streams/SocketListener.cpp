// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketListener.h"

#include "platform/foundation/Log.h"
#include "platform/streams/SocketNotifier.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

namespace clipmule {

namespace {

/// Errors of a connection that was lost before it was accepted; the listening socket is well.
bool isOfOneConnection(int error) {
    constexpr int errors[] = {EAGAIN,       EINTR,       ECONNABORTED, EPERM,
                              EPROTO,       ENETDOWN,    ENETUNREACH,  EHOSTDOWN,
                              EHOSTUNREACH, ENOPROTOOPT, EOPNOTSUPP};
    return std::find(std::begin(errors), std::end(errors), error) != std::end(errors);
}

} // namespace

SocketListener::Calls SocketListener::systemCalls() {
    return {
        .socket = [] { return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); },
        .bind =
            [](int descriptor) {
                sockaddr_in any{};
                any.sin_family = AF_INET;
                any.sin_addr.s_addr = htonl(INADDR_ANY);
                return ::bind(descriptor, reinterpret_cast<const sockaddr *>(&any), sizeof any);
            },
        .getsockname =
            [](int descriptor, quint16 &port) {
                sockaddr_in bound{};
                socklen_t length = sizeof bound;
                const int result =
                    ::getsockname(descriptor, reinterpret_cast<sockaddr *>(&bound), &length);
                port = ntohs(bound.sin_port);
                return result;
            },
        .listen = [](int descriptor, int connections) { return ::listen(descriptor, connections); },
        .accept =
            [](int descriptor) {
                const int accepted =
                    ::accept4(descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                return accepted < 0 ? -errno : accepted;
            },
    };
}

Result<std::unique_ptr<SocketListener>> SocketListener::open(Calls calls) {
    const auto failed = [](const char *step, int result) {
        return failure(QStringLiteral("%1 FAILED %2").arg(QLatin1String(step)).arg(result));
    };
    const int descriptor = calls.socket();
    // 0 is standard input in every sane process: nothing that we opened.
    if (descriptor < 1)
        return failed("SOCKET", descriptor);
    FileHandle socket(descriptor);
    const int on = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    if (const int result = calls.bind(descriptor); result != 0)
        return failed("BIND", result);
    quint16 port = 0;
    if (const int result = calls.getsockname(descriptor, port); result != 0)
        return failed("LISTEN", result);
    if (const int result = calls.listen(descriptor, backlog); result != 0)
        return failed("LISTEN", result);
    return std::make_unique<SocketListener>(Private(), std::move(calls), std::move(socket), port);
}

SocketListener::SocketListener(Private, Calls calls, FileHandle socket, quint16 port)
    : _calls(std::move(calls))
    , _socket(std::move(socket))
    , _port(port) {}

SocketListener::~SocketListener() = default;

void SocketListener::acceptInBackground(std::function<void(FileHandle)> handler) {
    _handler = std::move(handler);
    if (!_notifier)
        _notifier = std::make_unique<SocketNotifier>(_socket.descriptor(), QSocketNotifier::Read,
                                                     [this] { acceptOne(); });
    _notifier->setEnabled(!_pause.isPending());
}

void SocketListener::acceptOne() {
    const int accepted = _calls.accept(_socket.descriptor());
    if (accepted >= 0) {
        _exhausted = false;
        _notifier->setEnabled(false);
        const auto handler = std::exchange(_handler, nullptr);
        handler(FileHandle(accepted));
        return;
    }
    if (isOfOneConnection(-accepted))
        return;
    // Said once, not every second.
    if (!std::exchange(_exhausted, true))
        qCWarning(logStreams).noquote() << QStringLiteral("cannot accept connections for now: %1")
                                               .arg(QString::fromLocal8Bit(strerror(-accepted)));
    _notifier->setEnabled(false);
    _pause = RunLoop::current().performAfter(pauseWhenExhausted,
                                             [this] { _notifier->setEnabled(true); });
}

} // namespace clipmule
