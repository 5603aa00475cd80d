// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "web/PageKeys.h"

#include <optional>

namespace clipmule {

/// The program's end of one sealed connection with a page: bytes in, bytes out, no socket and no
/// clock. The page says hello with a key that both know, both add a secret of their own that lasts
/// as long as the connection, and from then on everything is sealed and numbered.
///
/// The page has proved that it knows the key with the first message that opens; nothing is sealed
/// before. Whatever is wrong ends the connection for good.
class PageChannel final {
public:
    enum class Kind : char { Pair = 'P', Resume = 'R' };

    /// Bytes that sealing adds to a message.
    static constexpr qsizetype overhead = 16;
    /// A message of the page before it has proved its key, in bytes: the hello has 90, and the
    /// first sealed one holds a name.
    static constexpr qsizetype largestUnproved = 256;
    /// Any message later on, sealed: a piece of a transfer with its head.
    static constexpr qsizetype largest = 66'000;
    static constexpr qsizetype helloSize = 90;

    /// The key of that id, which comes from outside; nothing when there is none.
    using KeyOf = std::function<std::optional<SecretKey>(Kind kind, QByteArrayView id)>;
    explicit PageChannel(KeyOf keyOf, Randomness randomness = systemRandomness());

    /// What a message came to.
    struct Step {
        /// What to send now, as it stands; empty for nothing.
        QByteArray answer = {};
        /// What the message says, once messages are sealed.
        std::optional<QByteArray> opened = {};
        /// The connection is to be closed, after the answer.
        bool isOver = false;
    };
    [[nodiscard]] Step receive(QByteArrayView message);

    /// The next message to the page. To be called only when the page has proved its key, and the
    /// messages must go out in this order.
    [[nodiscard]] QByteArray seal(QByteArrayView plain);

    [[nodiscard]] bool isProved() const { return _state == State::Proved; }
    // What the page said hello with.
    [[nodiscard]] Kind kind() const { return _kind; }
    [[nodiscard]] const QByteArray &id() const { return _id; }
    /// What the browser will be known by, when it was to be paired and has proved the code.
    [[nodiscard]] PageKey browser() const { return PageKeys::ofBrowser(_key, _shared); }

private:
    enum class State { Hello, Answered, Proved, Over };

    [[nodiscard]] Step over(QByteArray answer = {});
    [[nodiscard]] Step takeHello(QByteArrayView message);
    [[nodiscard]] QByteArray answerTo(const SecretKey &clientPublic);

    KeyOf _keyOf;
    Randomness _randomness;
    State _state = State::Hello;
    Kind _kind = Kind::Resume;
    QByteArray _id;
    SecretKey _key;
    SecretKey _shared;
    SecretKey _fromPage;
    SecretKey _toPage;
    quint64 _received = 0;
    quint64 _sent = 0;
};

} // namespace clipmule
