// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"

#include <QString>

namespace clipmule {

/// Something that the agent did not pass on, and why. Holds nothing of a clip's contents, so that
/// it may be shown, logged and told to other programs.
struct Refusal {
    enum class Direction {
        CopiedHere, ///< copied on this desk, for the phones
        FromPhone,  ///< sent by a phone, for this desk
        ForPhone,   ///< waited to be written to a phone
    };
    enum class Reason {
        TooLarge,     ///< `size` is above `limit`
        MixedKinds,   ///< texts and images in one clip cannot be pasted together
        Secret,       ///< its owner marked it as not to be kept
        NoContent,    ///< no text, link or image in it
        Damaged,      ///< it is not what it should be; `detail` says what is wrong
        QueueFull,    ///< `size` waited already, and `limit` is the most that may
        Overtaken,    ///< a newer clip arrived before it was its turn
        Disconnected, ///< the sync with its phone ended before it was its turn
        Failed,       ///< this desk's clipboard failed; `detail` says how
    };
    enum class Kind {
        Clip, ///< of any kind, or not known
        Text,
        Image,
        DeviceRecord, ///< what a phone tells of itself
    };

    Direction direction = Direction::CopiedHere;
    Reason reason = Reason::Failed;
    Kind kind = Kind::Clip;
    /// The name that the user gave the phone; empty for what was copied here.
    QString phone = {};
    /// The size in bytes, as clips are measured; both 0 where size is not the reason.
    quint64 size = 0;
    quint64 limit = 0;
    /// How often the same happened in a row; `size` and `date` are those of the last time.
    quint64 count = 1;
    /// The detail in plain English, for the log and bug reports; may be empty.
    QString detail = {};
    Date date = {};

    friend bool operator==(const Refusal &, const Refusal &) = default;
};

/// One or two sentences in the user's language, without the detail. Fit for a label or a terminal:
/// the phone's name went through onOneLine().
[[nodiscard]] QString userText(const Refusal &refusal);
/// The same in plain English with the detail, for the log and for bug reports.
[[nodiscard]] QString englishText(const Refusal &refusal);

// How the bus and the commands name them; an unknown name reads as the fallback.
[[nodiscard]] QString nameOf(Refusal::Direction direction);
[[nodiscard]] QString nameOf(Refusal::Reason reason);
[[nodiscard]] QString nameOf(Refusal::Kind kind);
[[nodiscard]] Refusal::Direction refusalDirection(const QString &name);
[[nodiscard]] Refusal::Reason refusalReason(const QString &name);
[[nodiscard]] Refusal::Kind refusalKind(const QString &name);

} // namespace clipmule
