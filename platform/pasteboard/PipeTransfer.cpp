// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PipeTransfer.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace clipmule {

void PipeTransfer::start(const Request &request, Ended ended, Piece piece) {
    abandon();
    _request = request;
    _ended = std::move(ended);
    _piece = std::move(piece);
    _received = 0;
    _isCurrent = std::make_shared<bool>(true);
    waitFor(_request.patience);
    _open(_request.target, [this, current = std::weak_ptr(_isCurrent)](FileHandle pipe) {
        if (!current.expired())
            follow(std::move(pipe));
    });
}

void PipeTransfer::abandon() {
    _isCurrent.reset();
    _timer.cancel();
    _readable.reset();
    _pipe.close();
    _ended = nullptr;
    _piece = nullptr;
    _bytes = QByteArray();
}

void PipeTransfer::follow(FileHandle pipe) {
    if (!pipe.isOpen()) {
        // Never from inside start().
        _timer =
            RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { end(Outcome::Refused); });
        return;
    }
    _pipe = std::move(pipe);
    _readable.emplace(_pipe.descriptor(), QSocketNotifier::Read, [this] { read(); });
}

void PipeTransfer::read() {
    QByteArray piece(pieceBytes, Qt::Uninitialized);
    const ssize_t count = ::read(_pipe.descriptor(), piece.data(), size_t(piece.size()));
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        end(_received > 0 ? Outcome::Received : Outcome::Refused);
        return;
    }
    _received += count;
    if (_received > _request.mostBytes) {
        end(Outcome::TooLarge);
        return;
    }
    waitFor(stepLimit);
    if (_piece)
        _piece(QByteArrayView(piece).first(count), _request.target);
    else
        _bytes.append(piece.constData(), count);
}

void PipeTransfer::end(Outcome outcome) {
    const Ended ended = std::exchange(_ended, nullptr);
    const QByteArray bytes = outcome == Outcome::Received ? _bytes : QByteArray();
    abandon();
    ended(outcome, bytes.isNull() ? QByteArray("") : bytes);
}

void PipeTransfer::waitFor(RunLoop::Seconds patience) {
    _timer = RunLoop::current().performAfter(patience, [this] { end(Outcome::TimedOut); });
}

} // namespace clipmule
