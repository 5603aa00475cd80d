// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/session/Refusal.h"

#include <QList>

#include <compare>
#include <map>

namespace clipmule {

/// The journal of what was refused while the agent runs. A phone that has everything refused pushes
/// nothing else out: the same again counts up the entry that it repeats.
class Refusals {
public:
    /// How many refusals are kept: more than anybody reads. The oldest go first.
    static constexpr qsizetype mostKept = 20;
    /// A phone can have a refusal a millisecond; the user is told of the same one once in this
    /// time.
    static constexpr RunLoop::Seconds noticeInterval{10};

    /// Adds a refusal, dated now. Tells whether the user is to hear of it: always of what was
    /// copied here, since each copy is an act of the user's, and of the same from or for a phone
    /// once in noticeInterval.
    [[nodiscard]] bool add(Refusal refusal);
    [[nodiscard]] const QList<Refusal> &newestFirst() const { return _newestFirst; }

private:
    QList<Refusal> _newestFirst;
    struct Source {
        Refusal::Direction direction;
        Refusal::Reason reason;
        Refusal::Kind kind;
        QString phone;
        friend std::weak_ordering operator<=>(const Source &, const Source &) = default;
    };
    // When the user was told last. No larger than the journal: what left it is forgotten here too.
    std::map<Source, RunLoop::Seconds> _told;
};

} // namespace clipmule
