// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleData.h"
#include "net/ZRKNetServiceServer.h"

#include <QHash>

namespace clipmule {

/// A phone as desks see it, those on the network or those of this session as the backend is: found
/// under a service name, telling of itself to whoever connects, and sending what it is given to all
/// of them. What it receives and why it sends is its owner's.
class PhoneService final {
public:
    /// The name that it tells is another than the one it is found by where somebody chose it.
    PhoneService(dnssd::Backend &backend, const QString &serviceName, QString toldName,
                 SocketListener::Calls calls = SocketListener::systemCalls());
    ~PhoneService();
    Q_DISABLE_COPY_MOVE(PhoneService)

    // All are set before start(), and called only while it runs.
    /// It is found under this name.
    std::function<void(const QString &name)> onPublish;
    std::function<void(const QString &desk)> onOpen;
    /// The desk is not among those that are connected any more.
    std::function<void(const QString &desk)> onClose;
    std::function<void(const PropertyList &object)> onReceive;

    /// False when it cannot listen.
    [[nodiscard]] bool start();
    void stop();
    [[nodiscard]] quint16 port() const { return _server->port(); }
    [[nodiscard]] bool hasDesks() const { return !_desks.isEmpty(); }

    /// Tells the desks another name.
    void setToldName(const QString &name);

    /// What becomes of an object that was handed over. Either may be empty.
    struct Fate {
        /// A desk's connection has taken the whole of it; once for each desk.
        std::function<void(const QString &desk)> onSent;
        /// The last desk went before any had taken it.
        std::function<void()> onLost;
    };
    /// False, and nothing is told, when nobody is connected.
    bool send(const PropertyList &envelope, Fate fate);
    /// Sends a clip as a phone's own: to the desk, or by way of it to the other phones.
    bool send(const ZRKClipmuleData &clip, bool forOtherPhones, Fate fate);

    /// The clip of a dictionary form that was received, with ids of our own for its items: files
    /// are named after them, and one that was chosen elsewhere might be in use here. A
    /// PlatformException when it is malformed.
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    received(const PropertyList::Dictionary &dictionary);

private:
    /// An object that is not on its way to every desk yet.
    struct Sending {
        OutputObject object;
        Fate fate;
        qsizetype desks;
        bool isSent = false;
    };

    void connectionDidOpen(ZRKStreamHandler &handler);
    void connectionDidClose(ZRKStreamHandler &handler);
    void didOutput(ZRKStreamHandler &handler, const OutputObject &object);
    [[nodiscard]] OutputObject deviceRecord() const;

    QString _toldName;
    // The addresses of the desks that are connected.
    QHash<const ZRKStreamHandler *, QString> _desks;
    QList<Sending> _sending;
    std::shared_ptr<ZRKNetServiceServer> _server;
};

} // namespace clipmule
