// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/PhoneLinks.h"

#include "app/SyncJournal.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>
#include <map>
#include <utility>

namespace clipmule {

namespace {

// The agent announces itself under each phone's name, so that the phone sees its computer is there.
const QString announcementType = QStringLiteral("_clipmule-c2._tcp");
// Nothing listens behind the announcement: a record needs a port, and this one is nobody's.
constexpr quint16 announcementPort = 1;

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

} // namespace

PhoneLinks::PhoneLinks(dnssd::Backend &dnssd, dnssd::FixedAddresses *fixedAddresses)
    : _dnssd(dnssd)
    , _fixedAddresses(fixedAddresses) {}

PhoneLinks::~PhoneLinks() {
    disconnect();
}

void PhoneLinks::connect(const QList<RegisteredPhones::Phone> &phones) {
    tellAddresses(phones);
    for (const RegisteredPhones::Phone &phone : phones) {
        const QString &name = phone.service;
        if (!_netServicesDictionary.contains(name)) {
            const auto announcement = NetService::initWithDomainTypeNamePort(
                _dnssd, QString(), announcementType, name, announcementPort);
            _netServicesDictionary.insert(name, announcement);
            announcement->publish();
        }
        if (!_clientsDictionary.contains(name)) {
            const auto client = ZRKNetServiceClient::initWithTypeName(_dnssd, phoneType, name);
            callCopyOf(onNewClient, *client);
            _clientsDictionary.insert(name, client);
            client->start();
        }
    }
}

void PhoneLinks::tellAddresses(const QList<RegisteredPhones::Phone> &phones) {
    if (!_fixedAddresses)
        return;
    std::map<dnssd::ServiceName, HostAndPort, dnssd::ByServiceName> addresses;
    for (const RegisteredPhones::Phone &phone : phones) {
        // Where a program of this computer is, its name says: an address would take it to a host.
        if (phone.address.isEmpty() || LocalNames::isLocal(phone.service))
            continue;
        const auto parsed = parseHostAndPort(phone.address);
        if (parsed)
            addresses.emplace(dnssd::ServiceName{phone.service, phoneType, QStringLiteral("local")},
                              *parsed);
        else
            qCDebug(logApp).noquote()
                << "no address of" << cutForLog(phone.service) << "is" << cutForLog(phone.address);
    }
    _fixedAddresses->setAddresses(std::move(addresses));
}

QStringList PhoneLinks::keepOnly(const QList<RegisteredPhones::Phone> &phones) {
    QSet<QString> registered;
    for (const RegisteredPhones::Phone &phone : phones)
        registered.insert(phone.service);
    const QStringList announced = _netServicesDictionary.keys();
    for (const QString &name : announced) {
        if (!registered.contains(name))
            _netServicesDictionary.take(name)->stop();
    }
    QStringList stopped;
    const QStringList connected = _clientsDictionary.keys();
    for (const QString &name : connected) {
        if (registered.contains(name))
            continue;
        _clientsDictionary.take(name)->stop();
        stopped.append(name);
    }
    return stopped;
}

void PhoneLinks::disconnect() {
    for (const auto &service : std::exchange(_netServicesDictionary, {}))
        service->stop();
    for (const auto &client : std::exchange(_clientsDictionary, {}))
        client->stop();
}

bool PhoneLinks::isConnected() const {
    return std::any_of(_clientsDictionary.begin(), _clientsDictionary.end(),
                       [](const auto &client) { return client->isConnected(); });
}

AgentStatus::PhoneState PhoneLinks::state(const QString &phone) const {
    const auto client = _clientsDictionary.value(phone);
    if (client && client->isEstablished())
        return AgentStatus::PhoneState::Connected;
    return client && !client->services().isEmpty() ? AgentStatus::PhoneState::Seen
                                                   : AgentStatus::PhoneState::NotSeen;
}

bool PhoneLinks::sendClip(ZRKClipmuleData &clip, SyncJournal &journal) {
    if (clip.size() > ZRKClipmuleData::largestTravelling) {
        journal.refuse({.direction = Refusal::Direction::CopiedHere,
                        .reason = Refusal::Reason::TooLarge,
                        .kind = kindOf(clip),
                        .size = clip.size(),
                        .limit = ZRKClipmuleData::largestTravelling},
                       QCoreApplication::translate(
                           "Clipmule", "The item you copied is too large to send to Clipmule."));
        return false;
    }
    qCDebug(logApp).noquote() << "sending" << descriptionForLog(clip) << "to phones:" << count();
    sendToAll(OutputObject::fixed(
        MessageEnvelope::make(MessageEnvelope::Type::Clip, PropertyList(clip.toDictionary()))));
    journal.count(clip, Settings::Key::DataSent);
    return true;
}

void PhoneLinks::sendToAll(const OutputObject &object) {
    const auto clients = _clientsDictionary;
    for (const auto &client : clients)
        client->outputObject(object);
}

void PhoneLinks::relay(const QString &sender, const OutputObject &object) {
    const auto clients = _clientsDictionary;
    for (const auto &[name, client] : clients.asKeyValueRange()) {
        if (name == sender || !client->isConnected())
            continue;
        qCDebug(logApp).noquote() << "passing a clip from" << cutForLog(sender) << "on to"
                                  << cutForLog(name);
        client->outputObject(object);
    }
}

void PhoneLinks::setRecord(const QString &phone, const PropertyList &record) {
    _clientsDataDictionary->insert(phone, record);
}

void PhoneLinks::sendRecords() {
    sendToAll(OutputObject::live([records = _clientsDataDictionary] {
        return MessageEnvelope::make(MessageEnvelope::Type::ConnectedDevices,
                                     PropertyList(*records));
    }));
}

QStringList PhoneLinks::namesInRecords() const {
    QStringList names;
    for (const PropertyList &record : std::as_const(*_clientsDataDictionary)) {
        if (const auto *name = find<QString>(record.dictionary(), QStringLiteral("name")))
            names.append(*name);
    }
    return names;
}

} // namespace clipmule
