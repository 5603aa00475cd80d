// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketConnector.h"

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace clipmule {

namespace {

struct Address {
    sockaddr_storage storage{};
    socklen_t length = 0;
};

quint32 scopeNumber(const QString &scope) {
    bool isNumber = false;
    const quint32 number = scope.toUInt(&isNumber);
    return isNumber ? number : if_nametoindex(scope.toUtf8().constData());
}

Address addressOf(const SocketEndpoint &endpoint) {
    Address result;
    bool isIPv4 = false;
    const quint32 ipv4 = endpoint.address.toIPv4Address(&isIPv4);
    if (isIPv4) {
        sockaddr_in in{};
        in.sin_family = AF_INET;
        in.sin_port = htons(endpoint.port);
        in.sin_addr.s_addr = htonl(ipv4);
        std::memcpy(&result.storage, &in, sizeof in);
        result.length = sizeof in;
    } else if (endpoint.address.protocol() == QAbstractSocket::IPv6Protocol) {
        sockaddr_in6 in{};
        in.sin6_family = AF_INET6;
        in.sin6_port = htons(endpoint.port);
        const Q_IPV6ADDR ipv6 = endpoint.address.toIPv6Address();
        std::memcpy(&in.sin6_addr, &ipv6, sizeof in.sin6_addr);
        in.sin6_scope_id = scopeNumber(endpoint.address.scopeId());
        std::memcpy(&result.storage, &in, sizeof in);
        result.length = sizeof in;
    }
    return result;
}

} // namespace

SocketConnector::SocketConnector(QList<SocketEndpoint> endpoints, RunLoop::Seconds timeout,
                                 Done done)
    : _endpoints(std::move(endpoints))
    , _timeout(timeout)
    , _done(std::move(done)) {}

void SocketConnector::start() {
    _deadline = RunLoop::current().now() + _timeout;
    _timer = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { tryNext(); });
}

void SocketConnector::tryNext() {
    _notifier.reset();
    _socket.close();
    while (_next < _endpoints.size()) {
        const auto left = _deadline - RunLoop::current().now();
        if (left <= RunLoop::Seconds(0))
            break;
        // An address where nobody answers must not use up the time of those after it.
        const auto share = left / double(_endpoints.size() - _next);
        if (!tryToConnect(_endpoints[_next++]))
            continue;
        _timer = RunLoop::current().performAfter(share, [this] { tryNext(); });
        _notifier = std::make_unique<SocketNotifier>(_socket.descriptor(), QSocketNotifier::Write,
                                                     [this] { connectEnded(); });
        return;
    }
    _socket.close();
    finish();
}

bool SocketConnector::tryToConnect(const SocketEndpoint &endpoint) {
    const Address address = addressOf(endpoint);
    if (address.length == 0)
        return false;
    _socket = FileHandle(
        ::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!_socket.isOpen())
        return false;
    // Interrupted or not, a non-blocking connect goes on by itself.
    return ::connect(_socket.descriptor(), reinterpret_cast<const sockaddr *>(&address.storage),
                     address.length) == 0 ||
           errno == EINPROGRESS || errno == EINTR;
}

void SocketConnector::connectEnded() {
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(_socket.descriptor(), SOL_SOCKET, SO_ERROR, &error, &length) != 0 ||
        error != 0) {
        tryNext();
        return;
    }
    noticeVanishedPeer(_socket.descriptor());
    finish();
}

void SocketConnector::finish() {
    _notifier.reset();
    _timer.cancel();
    const Done done = std::move(_done);
    done(std::move(_socket));
}

} // namespace clipmule
