// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/streams/LocalSockets.h"
#include "platform/streams/SocketNotifier.h"

namespace clipmule {

/// Asks another program of this user something, over its socket in the local folder, and hears what
/// it answers, line by line, until one of the two hangs up. Nothing waits: the answer comes from
/// the event loop.
class LocalRequest final {
public:
    /// Bytes of a line of the answer; who sends a longer one is hung up on. The picture of a code
    /// takes some 3,000.
    static constexpr qsizetype longestLine = 64 * 1024;
    /// Whoever takes longer for the first line does not answer.
    static constexpr RunLoop::Seconds patience{5.0};

    /// The socket of the program that serves the page for browsers.
    static constexpr const char *pageControl = "page-control";
    /// What that program says last when it cannot serve for this reason.
    static constexpr const char *portIsTaken = "another program has it";

    LocalRequest() = default;
    ~LocalRequest() = default;
    Q_DISABLE_COPY_MOVE(LocalRequest)

    // May destroy this object.
    /// A line of the answer, without its end.
    std::function<void(const QByteArray &)> onLine;
    /// It has hung up, or was hung up on. Nothing is called after it.
    std::function<void()> onEnd;

    /// Connects, and sends the line, which has no end of its own and fits into a socket's buffer.
    /// To be called once; nothing is called back unless the answer is Connected.
    [[nodiscard]] LocalFolder::Answer start(const QByteArray &runtimeFolder,
                                            const QByteArray &socketName, const QByteArray &line);

private:
    void read();
    void end();

    FileHandle _socket;
    QByteArray _unread;
    RunLoop::Timer _deadline;
    // After the socket it watches, so that it is destroyed first.
    std::unique_ptr<SocketNotifier> _notifier;
    // Gone with this object, which a callback may destroy.
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

} // namespace clipmule
