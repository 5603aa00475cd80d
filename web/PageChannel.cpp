// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageChannel.h"

#include <QtEndian>

#include <sodium.h>

namespace clipmule {

namespace {

constexpr char helloByte = 1;
constexpr char answerByte = 2;
constexpr char unknownByte = 3;
constexpr qsizetype nonceSize = crypto_secretbox_NONCEBYTES;
constexpr qsizetype publicSize = crypto_scalarmult_BYTES;
static_assert(crypto_secretbox_KEYBYTES == SecretKey::size);
static_assert(crypto_secretbox_MACBYTES == PageChannel::overhead);
static_assert(1 + 1 + PageKey::idSize + nonceSize + PageChannel::overhead + publicSize ==
              PageChannel::helloSize);

const unsigned char *bytesOf(QByteArrayView view) {
    return reinterpret_cast<const unsigned char *>(view.data());
}

QByteArray sealed(QByteArrayView plain, QByteArrayView nonce, const SecretKey &key) {
    QByteArray result(plain.size() + PageChannel::overhead, Qt::Uninitialized);
    crypto_secretbox_easy(reinterpret_cast<unsigned char *>(result.data()), bytesOf(plain),
                          size_t(plain.size()), bytesOf(nonce), key.data());
    return result;
}

std::optional<QByteArray> opened(QByteArrayView box, QByteArrayView nonce, const SecretKey &key) {
    if (box.size() < PageChannel::overhead)
        return std::nullopt;
    QByteArray result(box.size() - PageChannel::overhead, Qt::Uninitialized);
    if (crypto_secretbox_open_easy(reinterpret_cast<unsigned char *>(result.data()), bytesOf(box),
                                   size_t(box.size()), bytesOf(nonce), key.data()) != 0)
        return std::nullopt;
    return result;
}

// Each number once a direction, whose keys differ.
QByteArray nonceOf(quint64 number) {
    QByteArray nonce(nonceSize, '\0');
    qToBigEndian(number, nonce.data() + nonceSize - qsizetype(sizeof number));
    return nonce;
}

} // namespace

PageChannel::PageChannel(KeyOf keyOf, Randomness randomness)
    : _keyOf(std::move(keyOf))
    , _randomness(std::move(randomness)) {}

PageChannel::Step PageChannel::receive(QByteArrayView message) {
    const qsizetype limit = _state == State::Proved ? largest : largestUnproved;
    if (_state == State::Over || message.size() > limit)
        return over();
    if (_state == State::Hello)
        return takeHello(message);
    auto plain = opened(message, nonceOf(_received), _fromPage);
    if (!plain)
        return over();
    ++_received;
    _state = State::Proved;
    return {.opened = std::move(plain)};
}

PageChannel::Step PageChannel::over(QByteArray answer) {
    _state = State::Over;
    return {.answer = std::move(answer), .isOver = true};
}

PageChannel::Step PageChannel::takeHello(QByteArrayView message) {
    if (message.size() != helloSize || message[0] != helloByte ||
        (message[1] != char(Kind::Pair) && message[1] != char(Kind::Resume)))
        return over();
    _kind = Kind(message[1]);
    _id = message.sliced(2, PageKey::idSize).toByteArray();
    const auto key = _keyOf(_kind, _id);
    if (!key)
        return over(QByteArray(1, unknownByte));
    _key = *key;
    const QByteArrayView nonce = message.sliced(2 + PageKey::idSize, nonceSize);
    const auto clientPublic = opened(message.last(publicSize + overhead), nonce, _key);
    if (!clientPublic)
        return over();
    QByteArray answer = answerTo(SecretKey(*clientPublic));
    if (answer.isEmpty())
        return over();
    _state = State::Answered;
    return {.answer = std::move(answer)};
}

// Empty when the page's key is one of the few that lead to the same secret whatever ours is.
QByteArray PageChannel::answerTo(const SecretKey &clientPublic) {
    SecretKey serverSecret;
    _randomness({serverSecret.data(), SecretKey::size});
    SecretKey serverPublic;
    crypto_scalarmult_base(serverPublic.data(), serverSecret.data());
    if (crypto_scalarmult(_shared.data(), serverSecret.data(), clientPublic.data()) != 0)
        return {};
    PageKeys::Digest session =
        PageKeys::digest("clipmule page session",
                         {_key.view(), _shared.view(), clientPublic.view(), serverPublic.view()});
    _fromPage = SecretKey(QByteArrayView(session.data(), SecretKey::size));
    _toPage = SecretKey(QByteArrayView(session.data() + SecretKey::size, SecretKey::size));
    sodium_memzero(session.data(), session.size());

    QByteArray nonce(nonceSize, Qt::Uninitialized);
    _randomness({reinterpret_cast<unsigned char *>(nonce.data()), size_t(nonceSize)});
    const QByteArray publics =
        serverPublic.view().toByteArray() + clientPublic.view().toByteArray();
    return QByteArray(1, answerByte) + nonce + sealed(publics, nonce, _key);
}

QByteArray PageChannel::seal(QByteArrayView plain) {
    Q_ASSERT(isProved() && plain.size() + overhead <= largest);
    return sealed(plain, nonceOf(_sent++), _toPage);
}

} // namespace clipmule
