// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"
#include "model/MessageEnvelope.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace clipmule {

namespace {

// The platform's codes: a character, and a key by its place on the keyboard.
constexpr quint16 noCharacter = 0;
constexpr quint16 letterV = 118;
constexpr quint16 commandKey = 55;
constexpr quint16 keyThatTypesV = 9;
// Local mouse, local keyboard and system-defined events all pass…
constexpr quint32 permitAllEvents = 7;
// …during the suppression interval.
constexpr quint32 suppressionInterval = 0;

QString originOf(const OutputObject &object) {
    return object.isRelay() ? QStringLiteral("sent by another phone")
                            : QStringLiteral("from this desk");
}

// Without writing more of it than may be kept.
bool isSmallEnough(const PropertyList &deviceData) {
    try {
        (void)PropertyListSerialization::xml(deviceData, 0,
                                             ZRKClipmuleSyncApp::largestDeviceRecord);
        return true;
    } catch (const PlatformException &) {
        return false;
    }
}

} // namespace

void ZRKClipmuleSyncApp::clientServiceDidReceiveObject(NetService &service,
                                                       const PropertyList &object) {
    try {
        const PropertyList *const payload = MessageEnvelope::payload(object);
        switch (MessageEnvelope::type(object)) {
        case MessageEnvelope::Type::Clip:
            clientServiceDidReceiveClipmuleData(service, *payload);
            return;
        case MessageEnvelope::Type::ClipForDevices:
            clientServiceDidReceiveClipmuleDataForDevices(service, *payload);
            return;
        case MessageEnvelope::Type::DeviceRecord:
            clientServiceDidReceiveDeviceData(service, *payload);
            return;
        default:
            warnAbout(service, QStringLiteral("COULDN'T HANDLE ") + object.description());
        }
    } catch (const PlatformException &exception) {
        warnAbout(service,
                  QStringLiteral("ERROR DECODING DATA ") + QString::fromUtf8(exception.what()));
        refuse({.direction = Refusal::Direction::FromPhone,
                .reason = Refusal::Reason::Damaged,
                .phone = displayName(service.name()),
                .detail = exception.reason()});
    }
}

void ZRKClipmuleSyncApp::warnAbout(const NetService &service, const QString &line) {
    const QString name = service.name();
    const auto limit = _warnings.try_emplace(name, [name](int leftOut) {
        qCWarning(logApp).noquote() << QStringLiteral("%1 more lines about \"%2\" were left out")
                                           .arg(QString::number(leftOut), cutForLog(name));
    });
    if (limit.first->second.allows())
        qCWarning(logApp).noquote() << line;
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveClipmuleData(NetService &service,
                                                             const PropertyList &dictionary) {
    try {
        const auto clip = ZRKClipmuleData::initWithDictionary(dictionary.dictionary());
        qCDebug(logApp).noquote() << "received" << descriptionForLog(*clip) << "from"
                                  << cutForLog(service.name());
        waitForPaste({service.name(), clip});
    } catch (const PlatformException &exception) {
        warnAbout(service,
                  QStringLiteral("ERROR DECODING DATA ") + QString::fromUtf8(exception.what()));
        refuse({.direction = Refusal::Direction::FromPhone,
                .reason = Refusal::Reason::Damaged,
                .phone = displayName(service.name()),
                .detail = exception.reason()});
    }
}

// A clip that comes alone is pasted at once.
void ZRKClipmuleSyncApp::waitForPaste(ReceivedClip received) {
    if (!_nextPaste.isPending()) {
        applyClip(received);
        return;
    }
    _waitingClips.push_back(std::move(received));
    const auto size = [this] {
        return std::accumulate(
            _waitingClips.begin(), _waitingClips.end(), quint64(0),
            [](quint64 sum, const ReceivedClip &one) { return sum + one.clip->size(); });
    };
    while (_waitingClips.size() > mostWaitingClips ||
           (_waitingClips.size() > 1 && size() > largestWaitingClips)) {
        const QString phone = _waitingClips.front().phone;
        _waitingClips.pop_front();
        _clipsOvertaken = true;
        refuse({.direction = Refusal::Direction::FromPhone,
                .reason = Refusal::Reason::Overtaken,
                .phone = displayName(phone)});
    }
}

void ZRKClipmuleSyncApp::applyNextClip() {
    if (_waitingClips.empty())
        return;
    const ReceivedClip received = std::move(_waitingClips.front());
    _waitingClips.pop_front();
    applyClip(received);
}

void ZRKClipmuleSyncApp::forgetWaitingClips(const QString &phone) {
    const size_t count = std::erase_if(
        _waitingClips, [&](const ReceivedClip &received) { return received.phone == phone; });
    if (count > 0)
        enter({.direction = Refusal::Direction::FromPhone,
               .reason = Refusal::Reason::Disconnected,
               .phone = displayName(phone),
               .count = count});
}

void ZRKClipmuleSyncApp::applyClip(const ReceivedClip &received) {
    ZRKClipmuleData &clip = *received.clip;
    Refusal refusal{.direction = Refusal::Direction::FromPhone,
                    .reason = Refusal::Reason::Failed,
                    .kind = kindOf(clip),
                    .phone = displayName(received.phone)};
    try {
        if (!clip.writeToPasteboard(_services.pasteboard)) {
            // The clip has told the user.
            refusal.reason = Refusal::Reason::MixedKinds;
            refusal.kind = Refusal::Kind::Clip;
            enter(refusal);
            return;
        }
        // The watcher must not send it back.
        _lastChangeCount = _services.pasteboard.pasteboard.changeCount();
        _lastHash = clip.contentHash();
        _lastPicture = PictureEcho(clip);
        if (pasteModeOf(received.phone) == PasteMode::Paste)
            paste();
        else
            qCDebug(logApp, "put on the clipboard, not pasted: so the settings say");
        countClip(clip, Settings::Key::DataReceived);
    } catch (const PlatformException &exception) {
        qCWarning(logApp).noquote() << "ERROR DECODING DATA" << exception.what();
        refusal.detail = exception.reason();
        refuse(refusal);
    }
    // From here, not from when it came: an image takes its time.
    const bool isFlood = std::exchange(_clipsOvertaken, false);
    _nextPaste = RunLoop::current().performAfter(isFlood ? pasteIntervalInFlood : pasteInterval,
                                                 [this] { applyNextClip(); });
}

void ZRKClipmuleSyncApp::paste() {
    if (_services.prepareToPaste)
        _services.prepareToPaste();
    KeyboardEvents &keyboard = _services.keyboard;
    keyboard.inhibitLocalEvents(true);
    keyboard.enableEventStateCombining(false);
    keyboard.setLocalEventsFilterDuringSuppressionState(permitAllEvents, suppressionInterval);
    keyboard.postKeyboardEvent(noCharacter, commandKey, true);
    keyboard.postKeyboardEvent(letterV, keyThatTypesV, true);
    keyboard.postKeyboardEvent(letterV, keyThatTypesV, false);
    keyboard.postKeyboardEvent(noCharacter, commandKey, false);
    keyboard.enableEventStateCombining(true);
    keyboard.inhibitLocalEvents(false);
    qCDebug(logApp, "pasted");
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveClipmuleDataForDevices(
    NetService &service, const PropertyList &dictionary) {
    try {
        const OutputObject envelope =
            OutputObject::relay(MessageEnvelope::make(MessageEnvelope::Type::Clip, dictionary));
        const QString &sender = service.name();
        const auto clients = _clientsDictionary;
        for (const auto &[name, client] : clients.asKeyValueRange()) {
            if (name == sender || !client->isConnected())
                continue;
            qCDebug(logApp).noquote()
                << "passing a clip from" << cutForLog(sender) << "on to" << cutForLog(name);
            client->outputObject(envelope);
        }
    } catch (const PlatformException &exception) {
        warnAbout(service, QStringLiteral("ERROR SENDING TO OTHER CLIENT ") +
                               QString::fromUtf8(exception.what()));
    }
}

void ZRKClipmuleSyncApp::clientServiceDidRefuseInput(NetService &service,
                                                     const ZRKStreamHandler::RefusedInput &input) {
    refuse({.direction = Refusal::Direction::FromPhone,
            .reason = input.limit > 0 ? Refusal::Reason::TooLarge : Refusal::Reason::Damaged,
            .phone = displayName(service.name()),
            .size = input.size,
            .limit = input.limit,
            .detail = input.error});
}

void ZRKClipmuleSyncApp::clientServiceDidDropObject(NetService &service,
                                                    const OutputObject &object) {
    refuse({.direction = Refusal::Direction::ForPhone,
            .reason = Refusal::Reason::Damaged,
            .phone = displayName(service.name()),
            .detail = originOf(object)});
}

void ZRKClipmuleSyncApp::clientServiceDidRefuseObject(NetService &service,
                                                      const OutputObject &object,
                                                      qsizetype waiting) {
    refuse({.direction = Refusal::Direction::ForPhone,
            .reason = Refusal::Reason::QueueFull,
            .phone = displayName(service.name()),
            .size = quint64(waiting),
            .limit = quint64(ZRKNetServiceClient::largestQueue),
            .detail = originOf(object)});
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveDeviceData(NetService &service,
                                                           const PropertyList &deviceData) {
    Refusal refusal{.direction = Refusal::Direction::FromPhone,
                    .reason = Refusal::Reason::Damaged,
                    .kind = Refusal::Kind::DeviceRecord,
                    .phone = displayName(service.name())};
    if (!deviceData.isDictionary()) {
        const QString kind = PropertyList::nameOfKind(deviceData.kind());
        warnAbout(service,
                  QStringLiteral("ERROR DECODING DATA a device record is a dictionary, not ") +
                      kind);
        refusal.detail = QStringLiteral("%1 instead of a dictionary").arg(kind);
        refuse(refusal);
        return;
    }
    if (!isSmallEnough(deviceData)) {
        warnAbout(service,
                  QStringLiteral("ERROR DECODING DATA a device record of more than %1 bytes")
                      .arg(largestDeviceRecord));
        refusal.reason = Refusal::Reason::TooLarge;
        refusal.limit = quint64(largestDeviceRecord);
        refuse(refusal);
        return;
    }
    qCDebug(logApp).noquote() << "received the device record of" << cutForLog(service.name());
    _clientsDataDictionary->insert(service.name(), deviceData);
    sendConnectedClients();
}

void ZRKClipmuleSyncApp::clientServiceDidClose(NetService &service) {
    _contacts[service.name()].lastSeen = Date::now();
    postStatusDidChange();
    _clientsDataDictionary->remove(service.name());
    sendConnectedClients();
}

} // namespace clipmule
