// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Log.h"
#include "app/ZRKClipmuleSyncApp.h"
#include "model/MessageEnvelope.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"
#include "platform/pasteboard/Pasteboard.h"

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
            qCWarning(logApp).noquote() << "COULDN'T HANDLE" << object.description();
        }
    } catch (const PlatformException &exception) {
        qCWarning(logApp).noquote() << "ERROR DECODING DATA" << exception.what();
        refuse({.direction = Refusal::Direction::FromPhone,
                .reason = Refusal::Reason::Damaged,
                .phone = displayName(service.name()),
                .detail = exception.reason()});
    }
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveClipmuleData(NetService &service,
                                                             const PropertyList &dictionary) {
    Refusal refusal{.direction = Refusal::Direction::FromPhone,
                    .reason = Refusal::Reason::Damaged,
                    .phone = displayName(service.name())};
    try {
        const auto clip = ZRKClipmuleData::initWithDictionary(dictionary.dictionary());
        refusal.reason = Refusal::Reason::Failed;
        if (!clip->writeToPasteboard(_services.pasteboard)) {
            // The clip has told the user.
            refusal.reason = Refusal::Reason::MixedKinds;
            enter(refusal);
            return;
        }
        // The watcher must not send it back.
        _lastChangeCount = _services.pasteboard.pasteboard.changeCount();
        _lastHash = clip->hash();
        paste();
        countClip(*clip, Settings::Key::DataReceived);
    } catch (const PlatformException &exception) {
        qCWarning(logApp).noquote() << "ERROR DECODING DATA" << exception.what();
        refusal.detail = exception.reason();
        refuse(refusal);
    }
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
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveClipmuleDataForDevices(
    NetService &service, const PropertyList &dictionary) {
    try {
        const OutputObject envelope =
            OutputObject::fixed(MessageEnvelope::make(MessageEnvelope::Type::Clip, dictionary));
        const QString &sender = service.name();
        const auto clients = _clientsDictionary;
        for (const auto &[name, client] : clients.asKeyValueRange()) {
            if (name != sender && client->isConnected())
                client->outputObject(envelope);
        }
    } catch (const PlatformException &exception) {
        qCWarning(logApp).noquote() << "ERROR SENDING TO OTHER CLIENT" << exception.what();
    }
}

void ZRKClipmuleSyncApp::clientServiceDidReceiveDeviceData(NetService &service,
                                                           const PropertyList &deviceData) {
    Refusal refusal{.direction = Refusal::Direction::FromPhone,
                    .reason = Refusal::Reason::Damaged,
                    .kind = Refusal::Kind::DeviceRecord,
                    .phone = displayName(service.name())};
    if (!deviceData.isDictionary()) {
        const QString kind = PropertyList::nameOfKind(deviceData.kind());
        qCWarning(logApp).noquote()
            << "ERROR DECODING DATA a device record is a dictionary, not" << kind;
        refusal.detail = QStringLiteral("%1 instead of a dictionary").arg(kind);
        refuse(refusal);
        return;
    }
    const qsizetype size = PropertyListSerialization::xml(deviceData).size();
    if (size > largestDeviceRecord) {
        qCWarning(logApp).noquote()
            << QStringLiteral(
                   "ERROR DECODING DATA a device record of %1 bytes; at most %2 are kept")
                   .arg(size)
                   .arg(largestDeviceRecord);
        refusal.reason = Refusal::Reason::TooLarge;
        refusal.size = quint64(size);
        refusal.limit = quint64(largestDeviceRecord);
        refuse(refusal);
        return;
    }
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
