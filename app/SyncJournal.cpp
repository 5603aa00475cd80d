// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/SyncJournal.h"

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"
#include "support/RegisteredPhones.h"
#include "support/ZRKNotificationCenter.h"
#include "ui/SyncStatusSource.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace clipmule {

namespace {

const QString statisticsIdentifier = QStringLiteral("com.zendrik.ClipmuleSync.stats");

} // namespace

bool Refusals::add(Refusal refusal) {
    const auto sourceOf = [](const Refusal &one) {
        return Source{one.direction, one.reason, one.kind, one.phone};
    };
    const Source source = sourceOf(refusal);
    refusal.date = Date::now();
    const auto same = std::find_if(_newestFirst.begin(), _newestFirst.end(),
                                   [&](const Refusal &one) { return sourceOf(one) == source; });
    // Each copy is a matter of its own, unless nothing else happened in between.
    const bool repeats =
        same != _newestFirst.end() &&
        (refusal.direction != Refusal::Direction::CopiedHere || same == _newestFirst.begin());
    if (repeats) {
        refusal.count += same->count;
        _newestFirst.erase(same);
    }
    _newestFirst.prepend(refusal);
    while (_newestFirst.size() > mostKept)
        _newestFirst.removeLast();
    std::erase_if(_told, [&](const auto &entry) {
        return std::none_of(_newestFirst.begin(), _newestFirst.end(),
                            [&](const Refusal &one) { return sourceOf(one) == entry.first; });
    });

    const RunLoop::Seconds now = RunLoop::current().now();
    const auto told = _told.find(source);
    if (refusal.direction != Refusal::Direction::CopiedHere && told != _told.end() &&
        now - told->second < noticeInterval)
        return false;
    _told[source] = now;
    return true;
}

SyncJournal::SyncJournal(std::function<void(const QString &text)> notice,
                         ZRKUserDefaults &sharedDefaults)
    : _notice(std::move(notice))
    , _sharedDefaults(sharedDefaults)
    , _statistics(ZRKUserDefaults::initWithIdentifier(statisticsIdentifier)) {}

void SyncJournal::refuse(Refusal refusal, const QString &message) {
    if (enter(std::move(refusal)))
        _notice(message.isEmpty() ? userText(refusals().constFirst()) : message);
}

bool SyncJournal::enter(Refusal refusal) {
    if (!refusal.phone.isEmpty()) {
        const auto phone = RegisteredPhones::phone(
            _sharedDefaults.objectForKey(RegisteredPhones::key()), refusal.phone);
        if (phone)
            refusal.phone = phone->shownName();
    }
    const bool isNews = _refusals.add(std::move(refusal));
    if (isNews)
        qCInfo(logApp).noquote() << englishText(refusals().constFirst());
    ZRKNotificationCenter::platformDefault().postNotificationName(ZRKClipmuleSyncDidRefuse);
    if (onChange)
        onChange();
    return isNews;
}

void SyncJournal::noteConnection(const QString &phone, const QString &failure) {
    Contact &contact = _contacts[phone];
    contact.lastError = failure;
    if (failure.isEmpty()) {
        contact.lastSeen = Date::now();
        contact.lastErrorDate.reset();
    } else {
        contact.lastErrorDate = Date::now();
    }
    if (onChange)
        onChange();
}

void SyncJournal::count(ZRKClipmuleData &clip, Settings::Key sizeKey) {
    const quint64 size = clip.size();
    const quint64 total = Settings::count(*_statistics, sizeKey);
    std::ignore = _statistics->setObjectForKey(PropertyList(quint64(total + size)),
                                               Settings::nameOf(sizeKey));
    const Settings::Key items =
        clip.hasImageData() ? Settings::Key::ImageItems : Settings::Key::TextItems;
    // The sum is made unsigned, where passing the largest number is defined.
    const quint32 count = quint32(Settings::count32(*_statistics, items)) + 1U;
    _statistics->setIntegerForKey(qint32(count), Settings::nameOf(items));
}

void SyncJournal::warnAbout(const QString &phone, const QString &line) {
    const auto limit = _warnings.try_emplace(phone, [phone](int leftOut) {
        qCWarning(logApp).noquote() << QStringLiteral("%1 more lines about \"%2\" were left out")
                                           .arg(QString::number(leftOut), cutForLog(phone));
    });
    if (limit.first->second.allows())
        qCWarning(logApp).noquote() << line;
}

Refusal::Kind kindOf(const ZRKClipmuleData &clip) {
    if (clip.hasImageData())
        return Refusal::Kind::Image;
    return clip.hasString() ? Refusal::Kind::Text : Refusal::Kind::Clip;
}

QString descriptionForLog(const ZRKClipmuleData &clip) {
    return QStringLiteral("%1 of %2 bytes").arg(nameOf(kindOf(clip))).arg(clip.size());
}

} // namespace clipmule
