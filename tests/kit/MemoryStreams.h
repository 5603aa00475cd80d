// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/streams/Stream.h"

#include <QByteArray>
#include <QList>

#include <limits>

namespace clipmule::kit {

/// A connection without a socket. The code under test gets the streams; the test is the peer at the
/// other end, and the wire. Events come on the next turn of the current run loop.
class MemoryConnection {
public:
    static constexpr qint64 unlimited = std::numeric_limits<qint64>::max();

    MemoryConnection();

    /// Once.
    [[nodiscard]] StreamPair takeStreams();

    // What the wire and the peer do. All of it may be done before the streams are opened.

    /// Open streams are connected only after connect(); without it they are from the start.
    void holdConnection();
    void connect();
    void feed(const QByteArray &bytes);
    /// Bytes fed one read at a time: each part is all that a read finds.
    void feedInParts(const QList<QByteArray> &parts);
    void end();
    void fail();
    /// How many more bytes the output takes before it is full.
    void setRoom(qint64 bytes);
    /// Every write from now on is an error.
    void breakOutput();

    // What the code under test did.

    [[nodiscard]] const QByteArray &written() const;
    [[nodiscard]] QByteArray takeWritten();
    /// The bytes offered in each write, in order.
    [[nodiscard]] const QList<qsizetype> &offers() const;
    /// The most that each read asked for, in order.
    [[nodiscard]] const QList<qint64> &requests() const;
    /// Drops both of these lists.
    void forgetCalls();
    [[nodiscard]] bool isOpen() const;
    /// Both directions were closed or destroyed.
    [[nodiscard]] bool isClosed() const;

    struct Wire;

private:
    std::shared_ptr<Wire> _wire;
};

} // namespace clipmule::kit
