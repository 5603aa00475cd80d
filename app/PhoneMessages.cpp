// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/PhoneMessages.h"

#include "app/InboundClips.h"
#include "app/PhoneLinks.h"
#include "app/SyncJournal.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListXmlWriter.h"

#include <utility>

namespace clipmule {

namespace {

QString originOf(const OutputObject &object) {
    return object.isRelay() ? QStringLiteral("sent by another phone")
                            : QStringLiteral("from this desk");
}

// Tells whether a record is small enough to keep, without writing it out.
bool isSmallEnough(const PropertyList &record) {
    try {
        (void)XmlWriter(record).size(PhoneMessages::largestDeviceRecord);
        return true;
    } catch (const PlatformException &) {
        return false;
    }
}

} // namespace

PhoneMessages::PhoneMessages(PhoneLinks &links, InboundClips &inbound, SyncJournal &journal)
    : _links(links)
    , _inbound(inbound)
    , _journal(journal) {}

void PhoneMessages::receive(const QString &phone, const PropertyList &object) {
    try {
        using Type = MessageEnvelope::Type;
        const std::optional<Type> type = MessageEnvelope::type(object);
        const PropertyList *const payload = MessageEnvelope::payload(object);
        if (type) {
            switch (*type) {
            case Type::Clip:
                return receiveClip(phone, *payload);
            case Type::ClipForDevices:
                return receiveClipForDevices(phone, *payload);
            case Type::DeviceRecord:
                return receiveDeviceRecord(phone, *payload);
            case Type::ConnectedDevices: // goes to phones only
                break;
            }
        }
        _journal.warnAbout(phone, QStringLiteral("COULDN'T HANDLE ") + object.description());
    } catch (const PlatformException &exception) {
        refuseDamaged(phone, exception);
    }
}

void PhoneMessages::refuseDamaged(const QString &phone, const PlatformException &exception) {
    _journal.warnAbout(phone, QStringLiteral("ERROR DECODING DATA ") +
                                  QString::fromUtf8(exception.what()));
    _journal.refuse({.direction = Refusal::Direction::FromPhone,
                     .reason = Refusal::Reason::Damaged,
                     .phone = phone,
                     .detail = exception.reason()});
}

void PhoneMessages::receiveClip(const QString &phone, const PropertyList &dictionary) {
    try {
        auto clip = ZRKClipmuleData::initWithDictionary(dictionary.dictionary());
        qCDebug(logApp).noquote() << "received" << descriptionForLog(*clip) << "from"
                                  << cutForLog(phone);
        _inbound.receive(phone, std::move(clip));
    } catch (const PlatformException &exception) {
        refuseDamaged(phone, exception);
    }
}

void PhoneMessages::receiveClipForDevices(const QString &phone, const PropertyList &dictionary) {
    try {
        _links.relay(phone, OutputObject::relay(
                                MessageEnvelope::make(MessageEnvelope::Type::Clip, dictionary)));
    } catch (const PlatformException &exception) {
        _journal.warnAbout(phone, QStringLiteral("ERROR SENDING TO OTHER CLIENT ") +
                                      QString::fromUtf8(exception.what()));
    }
}

void PhoneMessages::receiveDeviceRecord(const QString &phone, const PropertyList &record) {
    if (!record.isDictionary()) {
        const QString kind = PropertyList::nameOfKind(record.kind());
        refuseRecord(phone,
                     {.reason = Refusal::Reason::Damaged,
                      .detail = QStringLiteral("%1 instead of a dictionary").arg(kind)},
                     QStringLiteral("a device record is a dictionary, not ") + kind);
    } else if (!isSmallEnough(record)) {
        refuseRecord(
            phone, {.reason = Refusal::Reason::TooLarge, .limit = quint64(largestDeviceRecord)},
            QStringLiteral("a device record of more than %1 bytes").arg(largestDeviceRecord));
    } else {
        qCDebug(logApp).noquote() << "received the device record of" << cutForLog(phone);
        _links.setRecord(phone, record);
        _links.sendRecords();
    }
}

void PhoneMessages::refuseRecord(const QString &phone, Refusal refusal, const QString &line) {
    _journal.warnAbout(phone, QStringLiteral("ERROR DECODING DATA ") + line);
    refusal.direction = Refusal::Direction::FromPhone;
    refusal.kind = Refusal::Kind::DeviceRecord;
    refusal.phone = phone;
    _journal.refuse(std::move(refusal));
}

void PhoneMessages::refusedInput(const QString &phone,
                                 const ZRKStreamHandler::RefusedInput &input) {
    _journal.refuse(
        {.direction = Refusal::Direction::FromPhone,
         .reason = input.limit > 0 ? Refusal::Reason::TooLarge : Refusal::Reason::Damaged,
         .phone = phone,
         .size = input.size,
         .limit = input.limit,
         .detail = input.error});
}

void PhoneMessages::dropped(const QString &phone, const OutputObject &object) {
    _journal.refuse({.direction = Refusal::Direction::ForPhone,
                     .reason = Refusal::Reason::Damaged,
                     .phone = phone,
                     .detail = originOf(object)});
}

void PhoneMessages::refused(const QString &phone, const OutputObject &object, qsizetype waiting) {
    _journal.refuse({.direction = Refusal::Direction::ForPhone,
                     .reason = Refusal::Reason::QueueFull,
                     .phone = phone,
                     .size = quint64(waiting),
                     .limit = quint64(ZRKNetServiceClient::largestQueue),
                     .detail = originOf(object)});
}

} // namespace clipmule
