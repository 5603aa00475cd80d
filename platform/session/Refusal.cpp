// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Refusal.h"

#include "platform/foundation/Log.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>
#include <array>
#include <utility>

namespace clipmule {

namespace {

using Direction = Refusal::Direction;
using Reason = Refusal::Reason;
using Kind = Refusal::Kind;

template <typename Value, size_t count>
using Names = std::array<std::pair<Value, const char *>, count>;

constexpr Names<Direction, 3> directionNames{{{Direction::CopiedHere, "copied here"},
                                              {Direction::FromPhone, "from phone"},
                                              {Direction::ForPhone, "for phone"}}};
constexpr Names<Reason, 9> reasonNames{{{Reason::TooLarge, "too large"},
                                        {Reason::MixedKinds, "mixed kinds"},
                                        {Reason::Secret, "secret"},
                                        {Reason::NoContent, "no content"},
                                        {Reason::Damaged, "damaged"},
                                        {Reason::QueueFull, "queue full"},
                                        {Reason::Overtaken, "overtaken"},
                                        {Reason::Disconnected, "disconnected"},
                                        {Reason::Failed, "failed"}}};
constexpr Names<Kind, 4> kindNames{{{Kind::Clip, "clip"},
                                    {Kind::Text, "text"},
                                    {Kind::Image, "image"},
                                    {Kind::DeviceRecord, "device record"}}};

template <typename Value, size_t count>
QString nameIn(const Names<Value, count> &names, Value value) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [&](const auto &entry) { return entry.first == value; });
    return found == names.end() ? QString() : QString::fromLatin1(found->second);
}

template <typename Value, size_t count>
Value valueIn(const Names<Value, count> &names, const QString &name, Value fallback) {
    const auto found = std::find_if(names.begin(), names.end(), [&](const auto &entry) {
        return name == QLatin1String(entry.second);
    });
    return found == names.end() ? fallback : found->first;
}

// %1 stands for the phone, %2 for the size, %3 for the limit.
const char *sentenceOnCopies(Reason reason, Kind kind) {
    switch (reason) {
    case Reason::TooLarge:
        return kind == Kind::Text
                   ? QT_TRANSLATE_NOOP("Clipmule",
                                       "Not sent: the text you copied is too large. It has %2 "
                                       "characters, and at most %3 are sent.")
                   : QT_TRANSLATE_NOOP("Clipmule",
                                       "Not sent: what you copied is too large. It has %2 bytes, "
                                       "and at most %3 are sent.");
    case Reason::Secret:
        return QT_TRANSLATE_NOOP("Clipmule", "Not sent: what you copied is marked as secret.");
    case Reason::NoContent:
        return QT_TRANSLATE_NOOP("Clipmule",
                                 "Not sent: there is no text, link or image in what you copied.");
    default:
        return QT_TRANSLATE_NOOP("Clipmule", "Not sent: what you copied could not be read.");
    }
}

const char *sentenceOnRecords(Reason reason) {
    return reason == Reason::TooLarge
               ? QT_TRANSLATE_NOOP("Clipmule",
                                   "Not used: what %1 tells about itself is too large: at most "
                                   "%3 bytes are kept.")
               : QT_TRANSLATE_NOOP("Clipmule", "Not used: what %1 tells about itself is damaged.");
}

const char *sentenceOnReceived(Reason reason) {
    switch (reason) {
    case Reason::TooLarge:
        return QT_TRANSLATE_NOOP("Clipmule",
                                 "Not pasted: the clip from %1 is too large. It has %2 bytes, and "
                                 "at most %3 are accepted.");
    case Reason::MixedKinds:
        return QT_TRANSLATE_NOOP(
            "Clipmule", "Not pasted: the clip from %1 has both text and images, which cannot be "
                        "pasted together.");
    case Reason::Overtaken:
        return QT_TRANSLATE_NOOP("Clipmule",
                                 "Not pasted: a newer clip arrived right after the one from %1.");
    case Reason::Disconnected:
        return QT_TRANSLATE_NOOP(
            "Clipmule", "Not pasted: the sync ended before it was the turn of the clip from %1.");
    case Reason::Failed:
        return QT_TRANSLATE_NOOP("Clipmule",
                                 "Not pasted: the clip from %1 could not be put on the clipboard.");
    default:
        return QT_TRANSLATE_NOOP("Clipmule", "Not pasted: the clip from %1 is damaged.");
    }
}

const char *sentenceOnQueued(Reason reason) {
    return reason == Reason::QueueFull
               ? QT_TRANSLATE_NOOP("Clipmule",
                                   "Not sent to %1: it does not take what is sent. %2 bytes are "
                                   "waiting for it, and at most %3 are kept.")
               : QT_TRANSLATE_NOOP("Clipmule", "Not sent to %1: the clip could not be written.");
}

const char *sentenceOn(const Refusal &refusal) {
    if (refusal.direction == Direction::CopiedHere)
        return sentenceOnCopies(refusal.reason, refusal.kind);
    if (refusal.direction == Direction::ForPhone)
        return sentenceOnQueued(refusal.reason);
    return refusal.kind == Kind::DeviceRecord ? sentenceOnRecords(refusal.reason)
                                              : sentenceOnReceived(refusal.reason);
}

// The places are filled in one pass: a phone may be called "%2".
QString filledIn(const QString &sentence, const Refusal &refusal, const QLocale &locale) {
    QString text;
    for (qsizetype i = 0; i < sentence.size(); ++i) {
        const QStringView rest = QStringView(sentence).sliced(i);
        if (rest.startsWith(u"%1"))
            text += onOneLine(refusal.phone, shownInLabel);
        else if (rest.startsWith(u"%2"))
            text += locale.toString(refusal.size);
        else if (rest.startsWith(u"%3"))
            text += locale.toString(refusal.limit);
        else {
            text += sentence[i];
            continue;
        }
        ++i;
    }
    return text;
}

// UTF-16 units of a detail: a line of a log.
constexpr qsizetype longestDetail = 256;

const char *const repeated = QT_TRANSLATE_NOOP("Clipmule", "(%2 times)");

} // namespace

QString userText(const Refusal &refusal) {
    const QLocale locale;
    QString text =
        filledIn(QCoreApplication::translate("Clipmule", sentenceOn(refusal)), refusal, locale);
    if (refusal.count > 1)
        text += u' ' + QCoreApplication::translate("Clipmule", repeated)
                           .replace(QStringLiteral("%2"), locale.toString(refusal.count));
    return text;
}

QString englishText(const Refusal &refusal) {
    const QLocale locale(QLocale::English, QLocale::UnitedStates);
    QString text = filledIn(QString::fromLatin1(sentenceOn(refusal)), refusal, locale);
    if (refusal.count > 1)
        text += u' ' + QString::fromLatin1(repeated).replace(QStringLiteral("%2"),
                                                             locale.toString(refusal.count));
    if (!refusal.detail.isEmpty())
        text += QStringLiteral(" [") + onOneLine(refusal.detail, longestDetail) + u']';
    return text;
}

QString nameOf(Refusal::Direction direction) {
    return nameIn(directionNames, direction);
}
QString nameOf(Refusal::Reason reason) {
    return nameIn(reasonNames, reason);
}
QString nameOf(Refusal::Kind kind) {
    return nameIn(kindNames, kind);
}
Refusal::Direction refusalDirection(const QString &name) {
    return valueIn(directionNames, name, Direction::CopiedHere);
}
Refusal::Reason refusalReason(const QString &name) {
    return valueIn(reasonNames, name, Reason::Failed);
}
Refusal::Kind refusalKind(const QString &name) {
    return valueIn(kindNames, name, Kind::Clip);
}

} // namespace clipmule
