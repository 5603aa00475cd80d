// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/pasteboard/TargetTransfer.h"
#include "platform/streams/SocketNotifier.h"

#include <memory>
#include <optional>

namespace clipmule {

/// Takes what the clipboard's owner says out of a pipe, to its end. An owner that says nothing at
/// all has refused: there is no other way for it to say so.
class PipeTransfer final : public TargetTransfer {
public:
    /// What one turn of the run loop takes. Pipes hold a quarter of it.
    static constexpr qsizetype pieceBytes = 256 * 1024;

    /// Asks the owner for a target; hands over the end of the pipe to read from, which does not
    /// block, at once or later. A closed one is a refusal.
    using Opened = std::function<void(FileHandle)>;
    using Open = std::function<void(const QString &target, Opened opened)>;

    explicit PipeTransfer(Open open)
        : _open(std::move(open)) {}

    void start(const Request &request, Ended ended, Piece piece = {}) override;
    /// Closes the pipe; the owner finds out when it writes on.
    void abandon() override;
    [[nodiscard]] qint64 receivedBytes() const override { return _received; }

private:
    void follow(FileHandle pipe);
    void read();
    void end(Outcome outcome);
    void waitFor(RunLoop::Seconds patience);

    Open _open;
    Request _request;
    Ended _ended;
    Piece _piece;
    // Of the transfer under way; an answer to an earlier one finds another.
    std::shared_ptr<bool> _isCurrent;
    FileHandle _pipe;
    std::optional<SocketNotifier> _readable; // goes before the pipe does
    RunLoop::Timer _timer;
    qint64 _received = 0;
    QByteArray _bytes;
};

} // namespace clipmule
