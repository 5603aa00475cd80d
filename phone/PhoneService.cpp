// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneService.h"

#include "platform/foundation/Callbacks.h"

#include <algorithm>

namespace clipmule {

namespace {

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

} // namespace

PhoneService::PhoneService(dnssd::Backend &backend, const QString &serviceName, QString toldName,
                           SocketListener::Calls calls)
    : _toldName(std::move(toldName))
    , _server(ZRKNetServiceServer::initWithTypeName(backend, phoneType, serviceName,
                                                    std::move(calls))) {}

PhoneService::~PhoneService() {
    stop();
}

bool PhoneService::start() {
    _server->onOpen = [this](ZRKStreamHandler &handler) { connectionDidOpen(handler); };
    _server->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
        callCopyOf(onReceive, object);
    };
    _server->onOutputObject = [this](ZRKStreamHandler &handler, const OutputObject &object) {
        didOutput(handler, object);
    };
    _server->onClose = [this](ZRKStreamHandler &handler) { connectionDidClose(handler); };
    _server->onPublish = [this](const QString &name) { callCopyOf(onPublish, name); };
    return _server->start();
}

void PhoneService::stop() {
    _server->stop();
}

OutputObject PhoneService::deviceRecord() const {
    const PropertyList::Dictionary record{{QStringLiteral("name"), _toldName},
                                          {QStringLiteral("model"), QStringLiteral("Linux")}};
    return OutputObject::fixed(
        MessageEnvelope::make(MessageEnvelope::Type::DeviceRecord, PropertyList(record)));
}

void PhoneService::setToldName(const QString &name) {
    _toldName = name;
    _server->outputObject(deviceRecord());
}

void PhoneService::connectionDidOpen(ZRKStreamHandler &handler) {
    const QString desk = handler.peerAddress();
    _desks.insert(&handler, desk);
    handler.outputObject(deviceRecord());
    callCopyOf(onOpen, desk);
}

void PhoneService::connectionDidClose(ZRKStreamHandler &handler) {
    const QString desk = _desks.take(&handler);
    // With the last desk gone, what was on its way there is not reported as sent.
    QList<Sending> lost;
    if (_desks.isEmpty())
        lost = std::exchange(_sending, {});
    const auto closed = onClose;
    if (closed)
        closed(desk);
    for (const Sending &sending : std::as_const(lost)) {
        if (!sending.isSent && sending.fate.onLost)
            sending.fate.onLost();
    }
}

void PhoneService::didOutput(ZRKStreamHandler &handler, const OutputObject &object) {
    const auto sending = std::find_if(_sending.begin(), _sending.end(), [&](const auto &candidate) {
        return candidate.object.isSameAs(object);
    });
    if (sending == _sending.end())
        return;
    sending->isSent = true;
    const auto sent = sending->fate.onSent;
    if (--sending->desks <= 0)
        _sending.erase(sending);
    if (sent)
        sent(_desks.value(&handler));
}

bool PhoneService::send(const PropertyList &envelope, Fate fate) {
    const OutputObject object = OutputObject::fixed(envelope);
    // The entry is made before the object is handed over: a short one is on its way at once.
    _sending.append({object, std::move(fate), _desks.size()});
    const bool isTaken = _server->outputObject(object);
    if (!isTaken)
        _sending.removeIf([&](const auto &sending) { return sending.object.isSameAs(object); });
    return isTaken;
}

bool PhoneService::send(const ZRKClipmuleData &clip, bool forOtherPhones, Fate fate) {
    for (const auto &item : clip.items())
        item->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
    using Type = MessageEnvelope::Type;
    return send(MessageEnvelope::make(forOtherPhones ? Type::ClipForDevices : Type::Clip,
                                      PropertyList(clip.toDictionary())),
                std::move(fate));
}

std::shared_ptr<ZRKClipmuleData>
PhoneService::received(const PropertyList::Dictionary &dictionary) {
    auto clip = ZRKClipmuleData::initWithDictionary(dictionary);
    for (const auto &item : clip->items())
        item->resetOID();
    if (!clip->creationDate())
        clip->setCreationDate(Date::now());
    return clip;
}

} // namespace clipmule
