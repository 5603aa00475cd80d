// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>

namespace clipmule {

/// Asks the clipboard's owner for one target at a time and takes the answer, whole or in pieces.
/// The owner is another program and may be slow, half dead or hostile: every wait has its end,
/// every size its limit, and a late answer is never taken for the next one.
class TargetTransfer {
public:
    /// Between two signs of life of the owner. A target that is waited for longer is given up.
    static constexpr RunLoop::Seconds stepLimit{5.0};

    struct Request {
        QString target;
        /// An answer of more bytes is too large.
        qint64 mostBytes = 0;
        /// How long the first sign of life may take.
        RunLoop::Seconds patience = stepLimit;
    };
    enum class Outcome { Received, Refused, TooLarge, TimedOut };
    /// Called once, unless the transfer is abandoned; may start the next one. The bytes, never
    /// null, are those that nobody took on the way.
    using Ended = std::function<void(Outcome outcome, const QByteArray &bytes)>;
    /// Takes the bytes as they arrive, with the type that the owner gives them.
    using Piece = std::function<void(QByteArrayView bytes, const QString &type)>;

    TargetTransfer() = default;
    virtual ~TargetTransfer() = default;
    TargetTransfer(const TargetTransfer &) = delete;
    TargetTransfer &operator=(const TargetTransfer &) = delete;

    /// Abandons what is under way. With `piece` the bytes go there and are not kept.
    virtual void start(const Request &request, Ended ended, Piece piece = {}) = 0;
    /// Nothing more is heard of it.
    virtual void abandon() = 0;
    /// The bytes of the last answer so far, taken on the way or not.
    [[nodiscard]] virtual qint64 receivedBytes() const = 0;
};

} // namespace clipmule
