// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/streams/LocalSockets.h"
#include "tests/kit/Await.h"
#include "tests/kit/LoopbackSockets.h"

#include <QTemporaryDir>

#include <vector>

namespace clipmule::kit {

/// A program of this user that others ask over a socket of the session's folder, which is its own.
/// A test says what it answers.
class LocalAnswerer final {
public:
    LocalAnswerer() {
        QFile::setPermissions(_folder.path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    [[nodiscard]] QByteArray folder() const { return QFile::encodeName(_folder.path()); }
    /// Nobody answers before.
    void start(const QByteArray &socketName) {
        auto [claim, name] = LocalName::claim(*LocalFolder::open(folder()), socketName);
        _listener = std::move(*SocketListener::open(callsFor(name, SOCK_STREAM)));
        acceptNext();
    }
    /// Ends with all its connections.
    void stop() {
        _listener.reset();
        _sockets.clear();
    }

    [[nodiscard]] size_t connections() const { return _sockets.size(); }
    /// What the newest connection asks, as soon as it has; empty when none comes.
    [[nodiscard]] QByteArray question() {
        QByteArray asked;
        std::ignore = await([&] {
            if (!_sockets.empty())
                asked += loopback::receiveWithoutWaiting(_sockets.back());
            return asked.endsWith('\n');
        });
        return asked;
    }
    /// Over the newest connection.
    void say(const QByteArray &bytes) { loopback::send(_sockets.back(), bytes); }
    void hangUp() { _sockets.back().close(); }
    /// Whether the newest connection was ended by the other side.
    [[nodiscard]] bool wasHungUpOn() const {
        char byte = 0;
        return ::recv(_sockets.back().descriptor(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }

private:
    void acceptNext() {
        _listener->acceptInBackground([this](FileHandle socket) {
            _sockets.push_back(std::move(socket));
            acceptNext();
        });
    }

    QTemporaryDir _folder;
    std::unique_ptr<SocketListener> _listener;
    std::vector<FileHandle> _sockets;
};

} // namespace clipmule::kit
