// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/OutputObject.h"
#include "net/ZRKNetServiceClient.h"
#include "platform/dnssd/FixedAddresses.h"
#include "platform/dnssd/NetService.h"
#include "platform/session/StatusInterface.h"
#include "support/RegisteredPhones.h"

#include <QMap>

#include <memory>

namespace clipmule {

class SyncJournal;
class ZRKClipmuleData;

/// The way to the registered phones. Each has a client, which finds it and stays connected, and an
/// announcement under its name, by which the phone sees that its computer is there. Knows also what
/// the phones tell about themselves, which all others are told.
class PhoneLinks {
public:
    /// The fixed addresses are the part of the backend that finds phones where the user entered an
    /// address; null where nothing does. Both outlive the links.
    PhoneLinks(dnssd::Backend &dnssd, dnssd::FixedAddresses *fixedAddresses);
    ~PhoneLinks();
    Q_DISABLE_COPY_MOVE(PhoneLinks)

    /// Gets each client before it starts, to listen to it.
    std::function<void(ZRKNetServiceClient &)> onNewClient;

    /// Connects to each phone that is not connected to yet.
    void connect(const QList<RegisteredPhones::Phone> &phones);
    /// Stops the clients and announcements of all other phones; returns the names of those that had
    /// a client.
    QStringList keepOnly(const QList<RegisteredPhones::Phone> &phones);
    /// Stops every client and every announcement. What the phones told of themselves stays.
    void disconnect();

    /// Whether any phone is connected.
    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] AgentStatus::PhoneState state(const QString &phone) const;
    /// How many phones are kept in touch with, connected or not.
    [[nodiscard]] qsizetype count() const { return _clientsDictionary.size(); }

    /// Sends what was copied here to all phones. False when it is too large, which the journal and
    /// the user are told.
    bool sendClip(ZRKClipmuleData &clip, SyncJournal &journal);
    void sendToAll(const OutputObject &object);
    /// Sends the object to every connected phone but the one it came from.
    void relay(const QString &sender, const OutputObject &object);

    void setRecord(const QString &phone, const PropertyList &record);
    void removeRecord(const QString &phone) { _clientsDataDictionary->remove(phone); }
    void forgetRecords() { _clientsDataDictionary->clear(); }
    /// Tells all phones which phones are there.
    void sendRecords();
    /// The names in the records, also of phones seen before the last disconnection.
    [[nodiscard]] QStringList namesInRecords() const;

private:
    void tellAddresses(const QList<RegisteredPhones::Phone> &phones);

    dnssd::Backend &_dnssd;
    dnssd::FixedAddresses *_fixedAddresses;
    QMap<QString, std::shared_ptr<ZRKNetServiceClient>> _clientsDictionary;
    QMap<QString, std::shared_ptr<NetService>> _netServicesDictionary;
    // The records are shared with the messages that wait to be written, which go out as the records
    // stand then.
    std::shared_ptr<PropertyList::Dictionary> _clientsDataDictionary =
        std::make_shared<PropertyList::Dictionary>();
};

} // namespace clipmule
