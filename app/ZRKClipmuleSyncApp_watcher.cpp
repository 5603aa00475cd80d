// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"
#include "model/ClipNotice.h"
#include "model/MessageEnvelope.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"
#include "platform/foundation/PlatformException.h"
#include "platform/pasteboard/Pasteboard.h"

#include <QCoreApplication>

#include <utility>

namespace clipmule {

static_assert(ZRKClipmuleSyncApp::largestClipSent == ZRKClipmuleData::largestTravelling);

namespace {

quint64 sizeOf(const Pasteboard &pasteboard) {
    quint64 size = 0;
    for (const QString &type : pasteboard.types())
        size += quint64(pasteboard.dataForType(type).value_or(QByteArray()).size());
    return size;
}

} // namespace

void ZRKClipmuleSyncApp::clientServiceDidOpen(NetService &service) {
    _contacts[service.name()].lastSeen = Date::now();
    startClipboardPoll();
    postStatusDidChange();
}

// What was copied while no phone was connected is not sent: the count starts from here.
void ZRKClipmuleSyncApp::startClipboardPoll() {
    _services.pasteboard.pasteboard.setWatching(true);
    _lastChangeCount = _services.pasteboard.pasteboard.changeCount();
    _lastUnansweredCount = _services.pasteboard.pasteboard.unansweredCount();
    scheduleCheck();
}

// The poll ends at the first tick at which nothing is connected, and only a phone's first
// connection starts it. A phone that lost its connection and came back would get nothing more.
void ZRKClipmuleSyncApp::clientServiceDidReconnect(NetService &) {
    const bool alive = std::any_of(_pendingChecks.begin(), _pendingChecks.end(),
                                   [](const RunLoop::Timer &check) { return check.isPending(); });
    if (!alive)
        startClipboardPoll();
}

void ZRKClipmuleSyncApp::scheduleCheck() {
    std::erase_if(_pendingChecks, [](const RunLoop::Timer &check) { return !check.isPending(); });
    _pendingChecks.push_back(
        RunLoop::current().performAfter(pollInterval, [this] { checkForData(); }));
}

void ZRKClipmuleSyncApp::checkForData() {
    if (!isConnected()) {
        // Nobody will read what is copied from here on.
        _services.pasteboard.pasteboard.setWatching(false);
        return;
    }
    lookForUnanswered();
    const qint64 changeCount = _services.pasteboard.pasteboard.changeCount();
    if (changeCount != _lastChangeCount) {
        quint64 sizeRead = 0;
        try {
            sizeRead = sizeOf(_services.pasteboard.pasteboard);
            const auto clip = ZRKClipmuleData::initFromPasteboard(_services.pasteboard);
            const size_t hash = clip ? clip->contentHash() : 0;
            const bool isNews = hash != 0 && hash != _lastHash && !_lastPicture.isIn(*clip);
            if (isNews)
                sendClip(*clip, hash);
            else
                lookWhyNotSent(clip.get(), hash);
        } catch (const PlatformException &exception) {
            qCWarning(logApp).noquote() << "ERROR CREATING DATA" << exception.what();
            refuse({.direction = Refusal::Direction::CopiedHere,
                    .reason = Refusal::Reason::Failed,
                    .detail = exception.reason()});
        }
        _services.pasteboard.pasteboard.releaseContents();
        // Whatever became of it: it was in memory, with what was made of it.
        trimHeapAfterClip(sizeRead);
        // Also after a refusal, so that the same contents are looked at only once.
        _lastChangeCount = changeCount;
    }
    _pendingChecks.clear();
    scheduleCheck();
}

// Told in the journal only: a program that hangs may have copied long ago.
void ZRKClipmuleSyncApp::lookForUnanswered() {
    const qint64 count = _services.pasteboard.pasteboard.unansweredCount();
    if (std::exchange(_lastUnansweredCount, count) != count)
        enter({.direction = Refusal::Direction::CopiedHere,
               .reason = Refusal::Reason::Failed,
               .detail = QStringLiteral("the program that copied it does not answer")});
}

void ZRKClipmuleSyncApp::sendClip(ZRKClipmuleData &clip, size_t hash) {
    if (clip.size() > largestClipSent) {
        refuse({.direction = Refusal::Direction::CopiedHere,
                .reason = Refusal::Reason::TooLarge,
                .kind = kindOf(clip),
                .size = clip.size(),
                .limit = largestClipSent},
               QCoreApplication::translate(
                   "Clipmule", "The item you copied is too large to send to Clipmule."));
        return;
    }
    _lastHash = hash;
    qCDebug(logApp).noquote() << "sending" << descriptionForLog(clip)
                              << "to phones:" << _clientsDictionary.size();
    _lastPicture = PictureEcho();
    sendToAll(OutputObject::fixed(
        MessageEnvelope::make(MessageEnvelope::Type::Clip, PropertyList(clip.toDictionary()))));
    countClip(clip, Settings::Key::DataSent);
}

// A copy that is the last clip again is no refusal. One that gave no clip, or a clip that holds
// nothing, is.
void ZRKClipmuleSyncApp::lookWhyNotSent(const ZRKClipmuleData *clip, size_t hash) {
    if (!clip && ZRKClipmuleData::isSecret(_services.pasteboard.pasteboard))
        refuse({.direction = Refusal::Direction::CopiedHere, .reason = Refusal::Reason::Secret});
    else if (clip && hash == 0)
        refuse({.direction = Refusal::Direction::CopiedHere, .reason = Refusal::Reason::NoContent});
    else if (clip)
        qCDebug(logApp, "copied here: the last clip again, which is not sent twice");
}

void ZRKClipmuleSyncApp::sendConnectedClients() {
    sendToAll(OutputObject::live([records = _clientsDataDictionary] {
        return MessageEnvelope::make(MessageEnvelope::Type::ConnectedDevices,
                                     PropertyList(*records));
    }));
}

void ZRKClipmuleSyncApp::sendToAll(const OutputObject &object) {
    const auto clients = _clientsDictionary;
    for (const auto &client : clients)
        client->outputObject(object);
}

// The clip is sent or pasted by now: whatever is stored, this raises nothing.
void ZRKClipmuleSyncApp::countClip(ZRKClipmuleData &clip, Settings::Key sizeKey) {
    const quint64 size = clip.size();
    const quint64 total = Settings::count(*_statisticDefaults, sizeKey);
    _statisticDefaults->setObjectForKey(PropertyList(quint64(total + size)),
                                        Settings::nameOf(sizeKey));
    const Settings::Key items =
        clip.hasImageData() ? Settings::Key::ImageItems : Settings::Key::TextItems;
    // Through unsigned, where passing the largest number is defined.
    const quint32 count = quint32(Settings::count32(*_statisticDefaults, items)) + 1U;
    _statisticDefaults->setIntegerForKey(qint32(count), Settings::nameOf(items));
    trimHeapAfterClip(size);
}

} // namespace clipmule
