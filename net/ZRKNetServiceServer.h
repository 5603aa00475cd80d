// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ServiceDictionary.h"
#include "net/ZRKStreamHandler.h"
#include "platform/streams/SocketListener.h"

namespace clipmule {

namespace dnssd {
class Backend;
}

/// The listening side: takes connections on a port that it publishes as a DNS-SD service, and sends
/// objects to everybody connected.
///
/// A callback may stop the server or let go of it.
class ZRKNetServiceServer final : public Object {
    struct Private {
        explicit Private() = default;
    };

public:
    // Called only while the server runs.
    std::function<void(ZRKStreamHandler &)> onOpen;
    /// The service is announced, under this name.
    std::function<void(const QString &)> onPublish;
    std::function<void(ZRKStreamHandler &, const PropertyList &)> onReceiveObject;
    std::function<void(ZRKStreamHandler &, const OutputObject &)> onOutputObject;
    /// The handler is out of the list already.
    std::function<void(ZRKStreamHandler &)> onClose;

    /// Nothing is opened yet. The backend must outlive the server.
    [[nodiscard]] static std::shared_ptr<ZRKNetServiceServer>
    initWithTypeName(dnssd::Backend &backend, const QString &type, const QString &name,
                     SocketListener::Calls calls = SocketListener::systemCalls());
    ZRKNetServiceServer(Private, dnssd::Backend &backend, QString type, QString name,
                        SocketListener::Calls calls);
    ~ZRKNetServiceServer() override;

    /// Listens and publishes. False, with a log line, when listening failed; a running server stays
    /// as it is.
    bool start();
    /// Ends everything; nobody hears of it. May be started again.
    void stop();
    /// Ends the publication and publishes again.
    void republish();
    /// Ends the publication; the connections and the listening socket stay.
    void unpublish();

    /// Queues the object for everybody. True when there is somebody and all of them took it.
    bool outputObject(const OutputObject &object);
    [[nodiscard]] bool hasClients() const { return !_clientStreamHandlers.empty(); }
    /// The port that it listens on; 0 when it does not listen.
    [[nodiscard]] quint16 port() const;

    [[nodiscard]] const std::optional<ServiceDictionary> &serviceDictionary() const {
        return _serviceDictionary;
    }
    /// Changes the record of a published service at once.
    void setServiceDictionary(const ServiceDictionary &dictionary);

    /// A connection was accepted.
    void connectionReceived(FileHandle connection);

private:
    [[nodiscard]] bool listen();
    void acceptNext();
    void streamHandlerDidClose(ZRKStreamHandler &handler);

    dnssd::Backend &_backend;
    SocketListener::Calls _calls;
    QString _type;
    QString _name;
    bool _running = false;
    std::shared_ptr<NetService> _netService;
    std::unique_ptr<SocketListener> _serverSocket;
    QList<std::shared_ptr<ZRKStreamHandler>> _clientStreamHandlers;
    std::optional<ServiceDictionary> _serviceDictionary;
};

} // namespace clipmule
