// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "web/PageChannel.h"

#include <QJsonObject>

#include <deque>
#include <map>

namespace clipmule {

/// One connection with a page, without its socket: messages of JSON and transfers of bytes in
/// pieces, both ways, through a sealed channel.
///
/// What goes out is sealed when the socket has room for it, so that a page that reads slowly costs
/// no memory beyond what it asked for. No callback may destroy the connection.
class PageConnection final {
public:
    /// How long a page has to prove that it knows a key.
    static constexpr RunLoop::Seconds proofTime{10.0};
    /// In bytes of UTF-8, and of a transfer's bytes in one message.
    static constexpr qsizetype largestJson = 65'000;
    static constexpr qsizetype largestPiece = 65'000;
    /// Transfers at once, each way.
    static constexpr size_t mostTransfers = 4;
    /// Bytes that the transfers of the page may announce together: a text of the largest size, all
    /// of whose characters take three, and something beside it.
    static constexpr qsizetype mostExpected = 40'000'000;
    /// Bytes of JSON that wait for a page which does not read. Beyond that the connection ends; the
    /// page is told everything when it comes again.
    static constexpr qsizetype mostWaiting = 4 * 1024 * 1024;

    explicit PageConnection(PageChannel::KeyOf keyOf, Randomness randomness = systemRandomness());
    Q_DISABLE_COPY_MOVE(PageConnection)

    // Set before the first message.
    std::function<void(const QJsonObject &message)> onMessage;
    /// All bytes of a transfer that was expected have come.
    std::function<void(quint32 transfer, const QByteArray &bytes)> onTransfer;
    /// next() has something, or the connection is over. Never called from inside next().
    std::function<void()> onWrite;

    /// A whole message of the page came.
    void receive(QByteArrayView message);
    /// The next message to the page; nothing when there is none for now.
    [[nodiscard]] std::optional<QByteArray> next();
    [[nodiscard]] bool hasNext() const;
    /// The connection is to be closed, as soon as next() has nothing more.
    [[nodiscard]] bool isOver() const { return _isOver; }

    /// Queues a message. A connection that is over takes none.
    void send(const QJsonObject &message);
    /// Announces a transfer as the answer to the page's of that number, and queues its pieces; not
    /// more than mostTransfers.
    void sendData(quint32 answered, const QByteArray &bytes);
    [[nodiscard]] bool canSendData() const { return _outgoing.size() < mostTransfers; }
    /// Bytes of the page's transfer are waited for from now on. False when there are too many, or
    /// when they are too much together; what comes of it is passed over then.
    [[nodiscard]] bool expect(quint32 transfer, qsizetype size);
    /// Notes the number of a request of the page. False, and the connection is over, unless it is
    /// odd and higher than all before.
    [[nodiscard]] bool begin(quint32 transfer);
    /// Ends a transfer of either side, if there is one of that number.
    void cancel(quint32 transfer);
    /// Ends the connection after what is queued.
    void end();
    /// Ends it for a page that does not keep to the protocol.
    void breakOff();

    [[nodiscard]] const PageChannel &channel() const { return _channel; }

private:
    struct Incoming {
        qsizetype size;
        QByteArray bytes;
    };
    struct Outgoing {
        QByteArray bytes;
        qsizetype sent = 0;
    };

    void take(const QByteArray &plain);
    void takePiece(QByteArrayView piece);
    [[nodiscard]] QByteArray nextPiece();
    void tellToWrite();

    PageChannel _channel;
    // What goes out unsealed: the answer to the hello.
    QByteArray _answer;
    std::deque<QByteArray> _waiting;
    qsizetype _waitingBytes = 0;
    std::map<quint32, Outgoing> _outgoing;
    std::map<quint32, Incoming> _incoming;
    quint32 _lastBegun = 0;
    quint32 _lastSent = 0;
    quint32 _lastPiece = 0;
    bool _isOver = false;
    RunLoop::Timer _proofTimer;
};

} // namespace clipmule
