// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Loopback.h"

#include "platform/streams/SocketStreams.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>

namespace clipmule::bench {

LoopbackConnection connectOverLoopback() {
    const FileHandle listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    LoopbackConnection connection;
    if (::bind(listener.descriptor(), generic, length) == 0 &&
        ::listen(listener.descriptor(), 1) == 0 &&
        ::getsockname(listener.descriptor(), generic, &length) == 0) {
        connection.near = FileHandle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(connection.near.descriptor(), generic, length) == 0)
            connection.far =
                FileHandle(::accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    }
    if (!connection.far.isOpen()) {
        std::perror("no connection over loopback");
        std::exit(1);
    }
    setAcceptedSocketOptions(connection.far.descriptor());
    return connection;
}

bool sendAll(int descriptor, const char *bytes, qsizetype count) {
    while (count > 0) {
        const ssize_t sent = ::send(descriptor, bytes, size_t(count), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes += sent;
        count -= sent;
    }
    return true;
}

bool receiveAll(int descriptor, char *bytes, qsizetype count) {
    while (count > 0) {
        const ssize_t received = ::recv(descriptor, bytes, size_t(count), 0);
        if (received < 0 && errno == EINTR)
            continue;
        if (received <= 0)
            return false;
        bytes += received;
        count -= received;
    }
    return true;
}

} // namespace clipmule::bench
