// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <optional>

namespace clipmule::web_test {

/// The page's end of a sealed connection, written from the protocol's description and not with the
/// program's own functions. Every secret may be given, so that all its bytes are known beforehand.
class PageClient final {
public:
    struct Secrets {
        char kind = 'P';
        QByteArray id;
        QByteArray key;
        /// 32 bytes; and 24 for the hello.
        QByteArray secret = randomBytes(32);
        QByteArray nonce = randomBytes(24);
    };

    /// Says hello with a code that was just read.
    [[nodiscard]] static Secrets withCode(const QByteArray &code);
    explicit PageClient(Secrets secrets)
        : _secrets(std::move(secrets)) {}

    [[nodiscard]] static QByteArray randomBytes(int count);
    [[nodiscard]] static QByteArray digest(const QByteArray &label, const QByteArray &parts);

    [[nodiscard]] QByteArray hello() const;
    /// False when the answer is none.
    [[nodiscard]] bool takeAnswer(const QByteArray &answer);
    [[nodiscard]] QByteArray seal(const QByteArray &plain);
    /// Nothing when it does not open.
    [[nodiscard]] std::optional<QByteArray> open(const QByteArray &sealed);

    [[nodiscard]] QByteArray publicKey() const;
    [[nodiscard]] const QByteArray &shared() const { return _shared; }
    [[nodiscard]] const QByteArray &toProgram() const { return _toProgram; }
    [[nodiscard]] const QByteArray &toPage() const { return _toPage; }
    // What the page keeps after it was paired.
    [[nodiscard]] QByteArray browserId() const;
    [[nodiscard]] QByteArray browserKey() const;

    [[nodiscard]] static QByteArray box(const QByteArray &plain, const QByteArray &nonce,
                                        const QByteArray &key);
    [[nodiscard]] static QByteArray nonceOf(quint64 number);

private:
    Secrets _secrets;
    QByteArray _shared;
    QByteArray _toProgram;
    QByteArray _toPage;
    quint64 _sent = 0;
    quint64 _received = 0;
};

} // namespace clipmule::web_test
