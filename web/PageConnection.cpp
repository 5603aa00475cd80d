// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageConnection.h"

#include <QJsonDocument>
#include <QtEndian>

#include <algorithm>

namespace clipmule {

namespace {

// The first byte of what was sealed.
constexpr char jsonByte = 0;
constexpr char pieceByte = 1;
constexpr qsizetype numberSize = 4;
static_assert(1 + numberSize + PageConnection::largestPiece + PageChannel::overhead <=
              PageChannel::largest);

} // namespace

PageConnection::PageConnection(PageChannel::KeyOf keyOf, Randomness randomness)
    : _channel(std::move(keyOf), std::move(randomness))
    , _proofTimer(RunLoop::current().performAfter(proofTime, [this] { breakOff(); })) {}

void PageConnection::receive(QByteArrayView message) {
    if (_isOver)
        return;
    PageChannel::Step step = _channel.receive(message);
    if (!step.answer.isEmpty())
        _answer = std::move(step.answer);
    if (step.isOver) {
        _isOver = true;
        _incoming.clear();
    }
    if (step.isOver || !_answer.isEmpty())
        tellToWrite();
    if (step.opened) {
        _proofTimer.cancel();
        take(*step.opened);
    }
}

void PageConnection::take(const QByteArray &plain) {
    if (plain.startsWith(pieceByte))
        return takePiece(QByteArrayView(plain).sliced(1));
    if (!plain.startsWith(jsonByte) || plain.size() > 1 + largestJson)
        return breakOff();
    const QJsonDocument document = QJsonDocument::fromJson(plain.sliced(1));
    if (!document.isObject())
        return breakOff();
    onMessage(document.object());
}

void PageConnection::takePiece(QByteArrayView piece) {
    if (piece.size() <= numberSize || piece.size() > numberSize + largestPiece)
        return breakOff();
    const auto number = qFromBigEndian<quint32>(piece.data());
    const QByteArrayView bytes = piece.sliced(numberSize);
    if (number % 2 == 0 || number > _lastBegun)
        return breakOff();
    const auto incoming = _incoming.find(number);
    // One that was refused or cancelled while its pieces were on their way.
    if (incoming == _incoming.end())
        return;
    Incoming &transfer = incoming->second;
    if (bytes.size() > transfer.size - transfer.bytes.size())
        return breakOff();
    transfer.bytes.append(bytes);
    if (transfer.bytes.size() < transfer.size)
        return;
    const QByteArray whole = std::move(transfer.bytes);
    _incoming.erase(incoming);
    onTransfer(number, whole);
}

bool PageConnection::begin(quint32 transfer) {
    if (transfer % 2 == 1 && transfer > _lastBegun) {
        _lastBegun = transfer;
        return true;
    }
    breakOff();
    return false;
}

bool PageConnection::expect(quint32 transfer, qsizetype size) {
    qsizetype expected = size;
    for (const auto &[number, incoming] : _incoming)
        expected += incoming.size;
    if (_incoming.size() >= mostTransfers || expected > mostExpected)
        return false;
    if (size == 0)
        onTransfer(transfer, {});
    else
        _incoming.emplace(transfer, Incoming{size, {}});
    return true;
}

void PageConnection::cancel(quint32 transfer) {
    _incoming.erase(transfer);
    _outgoing.erase(transfer);
}

void PageConnection::send(const QJsonObject &message) {
    if (_isOver)
        return;
    QByteArray plain = jsonByte + QJsonDocument(message).toJson(QJsonDocument::Compact);
    Q_ASSERT(plain.size() <= 1 + largestJson);
    _waitingBytes += plain.size();
    _waiting.push_back(std::move(plain));
    if (_waitingBytes > mostWaiting)
        return breakOff();
    tellToWrite();
}

void PageConnection::sendData(quint32 answered, const QByteArray &bytes) {
    _lastSent += 2;
    send({{QStringLiteral("is"), QStringLiteral("data")},
          {QStringLiteral("transfer"), qint64(_lastSent)},
          {QStringLiteral("for"), qint64(answered)},
          {QStringLiteral("size"), bytes.size()}});
    if (!bytes.isEmpty() && !_isOver)
        _outgoing.emplace(_lastSent, Outgoing{bytes});
}

bool PageConnection::hasNext() const {
    return !_answer.isEmpty() || (_channel.isProved() && (!_waiting.empty() || !_outgoing.empty()));
}

std::optional<QByteArray> PageConnection::next() {
    if (!_answer.isEmpty())
        return std::exchange(_answer, {});
    if (!hasNext())
        return std::nullopt;
    // Messages go before pieces: one says what the pieces belong to, and none waits for a picture.
    if (_waiting.empty())
        return _channel.seal(nextPiece());
    const QByteArray plain = std::move(_waiting.front());
    _waiting.pop_front();
    _waitingBytes -= plain.size();
    return _channel.seal(plain);
}

// From each transfer in its turn.
QByteArray PageConnection::nextPiece() {
    auto turn = _outgoing.upper_bound(_lastPiece);
    if (turn == _outgoing.end())
        turn = _outgoing.begin();
    _lastPiece = turn->first;
    Outgoing &transfer = turn->second;
    const QByteArrayView rest = QByteArrayView(transfer.bytes).sliced(transfer.sent);
    const QByteArrayView bytes = rest.first(std::min(rest.size(), largestPiece));
    QByteArray plain(1 + numberSize, pieceByte);
    qToBigEndian(turn->first, plain.data() + 1);
    plain.append(bytes);
    transfer.sent += bytes.size();
    if (transfer.sent == transfer.bytes.size())
        _outgoing.erase(turn);
    return plain;
}

void PageConnection::end() {
    _isOver = true;
    _proofTimer.cancel();
    _incoming.clear();
    _outgoing.clear();
    tellToWrite();
}

void PageConnection::breakOff() {
    _answer.clear();
    _waiting.clear();
    end();
}

void PageConnection::tellToWrite() {
    if (onWrite)
        onWrite();
}

} // namespace clipmule
