// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/streams/SocketNotifier.h"
#include "platform/streams/SocketStreams.h"

namespace clipmule {

/// Makes one TCP connection to whichever of several addresses answers first in turn. Destroying it
/// ends the attempt.
class SocketConnector {
public:
    /// Gets the connected socket, or a handle without a descriptor when nobody answered in time.
    /// May destroy the connector.
    using Done = std::function<void(FileHandle)>;

    SocketConnector(QList<SocketEndpoint> endpoints, RunLoop::Seconds timeout, Done done);
    /// Calls back from the run loop, never from inside this call.
    void start();

private:
    void tryNext();
    /// False when this address failed at once.
    [[nodiscard]] bool tryToConnect(const SocketEndpoint &endpoint);
    void connectEnded();
    void finish();

    QList<SocketEndpoint> _endpoints;
    RunLoop::Seconds _timeout;
    Done _done;
    RunLoop::Seconds _deadline{};
    qsizetype _next = 0;
    FileHandle _socket;
    // The notifier stands after the socket it watches, so that it is destroyed first.
    std::unique_ptr<SocketNotifier> _notifier;
    RunLoop::Timer _timer;
};

} // namespace clipmule
