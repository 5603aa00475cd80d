// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/LogLimit.h"
#include "platform/session/Refusal.h"
#include "support/Settings.h"
#include "support/ZRKUserDefaults.h"

#include <QList>
#include <QMap>

#include <compare>
#include <functional>
#include <map>
#include <memory>
#include <optional>

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
        // NOLINTNEXTLINE(modernize-use-nullptr): means what the compiler makes of it.
        friend std::weak_ordering operator<=>(const Source &, const Source &) = default;
    };
    // When the user was told last. No larger than the journal: what left it is forgotten here too.
    std::map<Source, RunLoop::Seconds> _told;
};

class ZRKClipmuleData;

/// What the agent writes down of its work: what was refused, when each phone was there and why it
/// was not, and how much went to and fro. Phones are named by their services.
class SyncJournal {
public:
    struct Contact {
        /// When the phone was on the network last, while this agent ran.
        std::optional<Date> lastSeen = {};
        /// Why it could not be reached, or its connection ended; empty since it was reached.
        QString lastError = {};
        std::optional<Date> lastErrorDate = {};
    };

    /// The shared settings hold what the user calls the phones. Both outlive the journal.
    SyncJournal(std::function<void(const QString &text)> notice, ZRKUserDefaults &sharedDefaults);

    /// Called after a refusal or another contact. May be empty.
    std::function<void()> onChange;

    /// Enters it, with the name that the user gave the phone, and tells the user: in the refusal's
    /// own words unless a message is given.
    void refuse(Refusal refusal, const QString &message = {});
    /// Enters the refusal without telling the user. Returns whether the user should hear of it.
    bool enter(Refusal refusal);
    [[nodiscard]] const QList<Refusal> &refusals() const { return _refusals.newestFirst(); }

    /// The phone is, or was a moment ago, on the network.
    void noteSeen(const QString &phone) { _contacts[phone].lastSeen = Date::now(); }
    /// Notes that the phone was reached (no failure), could not be reached, or lost its connection.
    void noteConnection(const QString &phone, const QString &failure);
    [[nodiscard]] Contact contact(const QString &phone) const { return _contacts.value(phone); }

    /// Counts a clip that was sent or pasted, its size under the given key. Raises nothing,
    /// whatever is stored there.
    void count(ZRKClipmuleData &clip, Settings::Key sizeKey);

    /// Writes a log line about what a phone sent; only so many in a while, however much the phone
    /// sends.
    void warnAbout(const QString &phone, const QString &line);

private:
    std::function<void(const QString &text)> _notice;
    ZRKUserDefaults &_sharedDefaults;
    std::shared_ptr<ZRKUserDefaults> _statistics;
    Refusals _refusals;
    QMap<QString, Contact> _contacts;
    std::map<QString, LogLimit> _warnings;
};

/// What kind of clip it is, for a refusal.
[[nodiscard]] Refusal::Kind kindOf(const ZRKClipmuleData &clip);
/// Kind and size, for a log line; nothing of the contents.
[[nodiscard]] QString descriptionForLog(const ZRKClipmuleData &clip);

} // namespace clipmule
