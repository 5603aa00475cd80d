// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// Plain blocking sockets on the loopback interface, for the far end of a test's connection.
namespace clipmule::kit::loopback {

inline sockaddr_in address(quint16 port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return result;
}

inline quint16 portOf(int descriptor) {
    sockaddr_in bound{};
    socklen_t length = sizeof bound;
    ::getsockname(descriptor, reinterpret_cast<sockaddr *>(&bound), &length);
    return ntohs(bound.sin_port);
}

inline FileHandle listener(int backlog = 8) {
    FileHandle socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in any = address(0);
    if (::bind(socket.descriptor(), reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0 ||
        ::listen(socket.descriptor(), backlog) != 0)
        qFatal("no listening socket on loopback");
    return socket;
}

/// A port where nobody listens.
inline quint16 unusedPort() {
    FileHandle socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in any = address(0);
    if (::bind(socket.descriptor(), reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0)
        qFatal("no port on loopback");
    return portOf(socket.descriptor());
}

inline FileHandle connectTo(quint16 port) {
    FileHandle socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in to = address(port);
    if (::connect(socket.descriptor(), reinterpret_cast<const sockaddr *>(&to), sizeof to) != 0)
        return {};
    return socket;
}

/// The next connection, waiting for it.
inline FileHandle accept(const FileHandle &listener) {
    return FileHandle(::accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
}

struct Pair {
    FileHandle near;
    FileHandle far;
};

inline Pair pair() {
    const FileHandle socket = listener();
    Pair result;
    result.near = connectTo(portOf(socket.descriptor()));
    result.far = accept(socket);
    return result;
}

/// What has arrived; waits for at least one byte, empty at the end of the stream.
inline QByteArray receive(const FileHandle &socket) {
    QByteArray bytes(65536, Qt::Uninitialized);
    const ssize_t count = ::recv(socket.descriptor(), bytes.data(), size_t(bytes.size()), 0);
    bytes.resize(count > 0 ? count : 0);
    return bytes;
}

inline QByteArray receiveWithoutWaiting(const FileHandle &socket) {
    QByteArray bytes(65536, Qt::Uninitialized);
    const ssize_t count =
        ::recv(socket.descriptor(), bytes.data(), size_t(bytes.size()), MSG_DONTWAIT);
    bytes.resize(count > 0 ? count : 0);
    return bytes;
}

inline void send(const FileHandle &socket, const QByteArray &bytes) {
    if (::send(socket.descriptor(), bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) !=
        bytes.size())
        qFatal("the loopback socket did not take the bytes");
}

/// Ends the connection as a program does that crashes: with a reset, not an end of stream.
inline void reset(FileHandle &socket) {
    const linger now{1, 0};
    ::setsockopt(socket.descriptor(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket.close();
}

} // namespace clipmule::kit::loopback
