// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Result.h"
#include "platform/foundation/RunLoop.h"

#include <QtGlobal>

#include <functional>
#include <memory>

namespace clipmule {

class SocketNotifier;

/// A listening IPv4 TCP socket on a port that the system picks. Accepts one connection a turn of
/// the run loop, so that a flood of them does not hold up the rest of the program.
class SocketListener {
    struct Private {
        explicit Private() = default;
    };

public:
    /// The system calls that it makes, each with the call's own result; a test replaces one to see
    /// it fail.
    struct Calls {
        std::function<int()> socket;
        /// To the wildcard address, port 0.
        std::function<int(int descriptor)> bind;
        std::function<int(int descriptor, quint16 &port)> getsockname;
        std::function<int(int descriptor, int backlog)> listen;
        /// A negative errno when there is no connection.
        std::function<int(int descriptor)> accept;
    };
    [[nodiscard]] static Calls systemCalls();

    /// Connections that the kernel completes while nobody accepts.
    static constexpr int backlog = 8;
    /// How long accepting rests when the system has no descriptor or memory left for a connection,
    /// which stays in the backlog meanwhile: trying again at once would spin.
    static constexpr RunLoop::Seconds pauseWhenExhausted{1.0};

    /// Opens, binds and listens; nothing is accepted yet. A failure names the step and what its
    /// call returned.
    [[nodiscard]] static Result<std::unique_ptr<SocketListener>> open(Calls calls = systemCalls());
    SocketListener(Private, Calls calls, FileHandle socket, quint16 port);
    ~SocketListener();
    Q_DISABLE_COPY_MOVE(SocketListener)

    [[nodiscard]] quint16 port() const { return _port; }
    /// Accepts one connection, as soon as there is one, and hands it over non-blocking; call it
    /// again for the next. The handler may destroy the listener.
    void acceptInBackground(std::function<void(FileHandle)> handler);

private:
    void acceptOne();

    Calls _calls;
    FileHandle _socket;
    quint16 _port;
    std::function<void(FileHandle)> _handler;
    // The notifier stands after the socket it watches, so that it is destroyed first.
    std::unique_ptr<SocketNotifier> _notifier;
    RunLoop::Timer _pause;
    bool _exhausted = false;
};

} // namespace clipmule
