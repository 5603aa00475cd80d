// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/web/PageClient.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <sodium.h>

namespace clipmule::web_test {

namespace {

unsigned char *bytes(QByteArray &array) {
    return reinterpret_cast<unsigned char *>(array.data());
}

const unsigned char *bytes(const QByteArray &array) {
    return reinterpret_cast<const unsigned char *>(array.constData());
}

std::optional<QByteArray> unbox(const QByteArray &box, const QByteArray &nonce,
                                const QByteArray &key) {
    QByteArray plain(std::max<qsizetype>(box.size() - 16, 0), Qt::Uninitialized);
    if (crypto_secretbox_open_easy(bytes(plain), bytes(box), size_t(box.size()), bytes(nonce),
                                   bytes(key)) != 0)
        return std::nullopt;
    return plain;
}

} // namespace

QByteArray PageClient::randomBytes(int count) {
    QByteArray result(count, Qt::Uninitialized);
    for (char &byte : result)
        byte = char(QRandomGenerator::global()->bounded(256));
    return result;
}

// By another implementation than the program's.
QByteArray PageClient::digest(const QByteArray &label, const QByteArray &parts) {
    return QCryptographicHash::hash(label + '\0' + parts, QCryptographicHash::Sha512);
}

PageClient::Secrets PageClient::withCode(const QByteArray &code) {
    return {.kind = 'P', .id = digest("clipmule page code id", code).first(16), .key = code};
}

QByteArray PageClient::box(const QByteArray &plain, const QByteArray &nonce,
                           const QByteArray &key) {
    QByteArray result(plain.size() + 16, Qt::Uninitialized);
    crypto_secretbox_easy(bytes(result), bytes(plain), size_t(plain.size()), bytes(nonce),
                          bytes(key));
    return result;
}

QByteArray PageClient::nonceOf(quint64 number) {
    QByteArray nonce(24, '\0');
    for (int at = 23; number > 0; --at, number >>= 8)
        nonce[at] = char(number & 0xff);
    return nonce;
}

QByteArray PageClient::publicKey() const {
    QByteArray result(32, Qt::Uninitialized);
    crypto_scalarmult_base(bytes(result), bytes(_secrets.secret));
    return result;
}

QByteArray PageClient::hello() const {
    return QByteArray(1, '\1') + _secrets.kind + _secrets.id + _secrets.nonce +
           box(publicKey(), _secrets.nonce, _secrets.key);
}

bool PageClient::takeAnswer(const QByteArray &answer) {
    if (answer.size() != 1 + 24 + 80 || answer[0] != '\2')
        return false;
    const auto publics = unbox(answer.sliced(25), answer.sliced(1, 24), _secrets.key);
    if (!publics || publics->last(32) != publicKey())
        return false;
    const QByteArray serverPublic = publics->first(32);
    _shared = QByteArray(32, Qt::Uninitialized);
    if (crypto_scalarmult(bytes(_shared), bytes(_secrets.secret), bytes(serverPublic)) != 0)
        return false;
    const QByteArray session =
        digest("clipmule page session", _secrets.key + _shared + publicKey() + serverPublic);
    _toProgram = session.first(32);
    _toPage = session.last(32);
    return true;
}

QByteArray PageClient::seal(const QByteArray &plain) {
    return box(plain, nonceOf(_sent++), _toProgram);
}

std::optional<QByteArray> PageClient::open(const QByteArray &sealed) {
    auto plain = unbox(sealed, nonceOf(_received), _toPage);
    if (plain)
        ++_received;
    return plain;
}

QByteArray PageClient::browserId() const {
    return digest("clipmule page browser id", _secrets.key + _shared).first(16);
}

QByteArray PageClient::browserKey() const {
    return digest("clipmule page browser key", _secrets.key + _shared).first(32);
}

} // namespace clipmule::web_test
