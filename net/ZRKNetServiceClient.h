// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ServiceDictionary.h"
#include "net/ZRKStreamHandler.h"

#include <map>

namespace clipmule {

namespace dnssd {
class Backend;
}
class NetServiceBrowser;

/// Finds services of one type and connects to them, again and again while it runs. What is to be
/// sent waits in a queue a service until a connection has written it, and is sent again on the next
/// connection where it was not.
class ZRKNetServiceClient final : public Object,
                                  public std::enable_shared_from_this<ZRKNetServiceClient> {
    struct Private {
        explicit Private() = default;
    };

public:
    // A callback may stop the client or let go of it.

    /// Whether to connect to the service; false ignores it.
    std::function<bool(NetService &)> onShouldResolve;
    /// The first connection to a service that was found.
    std::function<void(NetService &)> onOpen;
    /// The service is gone, not just a connection to it.
    std::function<void(NetService &)> onClose;
    std::function<void(NetService &, const PropertyList &)> onReceiveObject;
    /// The object was written and has left the queue.
    std::function<void(NetService &, const OutputObject &)> onOutputObject;
    /// The service's TXT record changed; nothing where it has none any more. Set before start(), or
    /// the records of services that are known by then are not watched.
    std::function<void(NetService &, const std::optional<ServiceDictionary> &)>
        onUpdateServiceDictionary;
    /// Too much waits for the service: the object has left the queue unsent. So many bytes, about,
    /// would have waited.
    std::function<void(NetService &, const OutputObject &, qsizetype waiting)> onRefuseObject;
    /// The object cannot be written as a property list, and has left the queue unsent.
    std::function<void(NetService &, const OutputObject &)> onDropObject;
    /// Something that the service sent was not taken.
    std::function<void(NetService &, const ZRKStreamHandler::RefusedInput &)> onRefuseInput;
    /// Another connection after the first one; what was queued has been handed to it.
    std::function<void(NetService &)> onReconnect;
    /// A service was reached (no reason), could not be, or its connection ended. It is tried again
    /// by itself: for telling people how things stand.
    std::function<void(NetService &, const QString &failure)> onChangeConnection;

    /// A service that does not answer for this long is tried again later.
    static constexpr RunLoop::Seconds resolveTimeout{10.0};
    static constexpr RunLoop::Seconds reconnectInterval{60.0};
    static constexpr RunLoop::Seconds reconnectDelay{5.0};

    /// What may wait for one service, in bytes of memory, about, and in objects: several of the
    /// largest clips, or the largest frame that a peer may send. A phone that does not read must
    /// not fill this computer's memory with what others send it; the oldest relays go first, then
    /// the oldest of the rest.
    static constexpr qsizetype largestQueue = 64 * 1024 * 1024;
    static constexpr qsizetype mostQueuedObjects = 10'000;

    /// With a name only services of exactly that name are used. The backend must outlive the
    /// client.
    [[nodiscard]] static std::shared_ptr<ZRKNetServiceClient>
    initWithTypeName(dnssd::Backend &backend, const QString &type,
                     const std::optional<QString> &name);
    [[nodiscard]] static std::shared_ptr<ZRKNetServiceClient> initWithType(dnssd::Backend &backend,
                                                                           const QString &type);
    ZRKNetServiceClient(Private, dnssd::Backend &backend, QString type,
                        std::optional<QString> name);
    ~ZRKNetServiceClient() override;

    /// Nothing happens when it runs already.
    void start();
    /// Ends everything, the queues included; nobody hears of it. May be started
    /// again.
    void stop();
    /// Looks afresh for every service that is neither connected nor being looked for.
    void reconnect();

    [[nodiscard]] QList<std::shared_ptr<NetService>> services() const { return _services; }
    /// Whether any service has a connection.
    [[nodiscard]] bool isConnected() const;
    /// Whether any service has a connection that reached it.
    [[nodiscard]] bool isEstablished() const;

    /// Queues the object for every service known. False when there is none, the client does not
    /// run, or a queue has no room for it.
    bool outputObject(const OutputObject &object);
    /// Queues the object for one service. False when the client does not run or the queue has no
    /// room for it.
    bool outputObjectForNetService(const OutputObject &object, const NetService &service);

private:
    struct ServiceInfo {
        std::shared_ptr<ZRKStreamHandler> streamHandler;
        /// The objects that are not yet reported as written, oldest first.
        QList<OutputObject> outputObjects;
        /// The sum of the objects' weights.
        qsizetype weight = 0;
        bool resolving = false;
        bool firstTime = false;
    };

    [[nodiscard]] bool makeRoom(const std::shared_ptr<NetService> &service,
                                const OutputObject &object);
    template <typename Predicate>
    static void removeFrom(ServiceInfo &info, Predicate isToGo);
    void didFindService(const std::shared_ptr<NetService> &service);
    void didRemoveService(const std::shared_ptr<NetService> &service);
    static void tellLog(const NetService &service, const char *what);
    void netServiceDidResolveAddress(NetService &service);
    void streamHandlerDidClose(ZRKStreamHandler &handler);
    void scheduleReconnect();

    [[nodiscard]] ServiceInfo &serviceInfoForNetService(const NetService &service);
    [[nodiscard]] std::shared_ptr<ZRKStreamHandler>
    streamHandlerForNetService(const NetService &service) const;
    [[nodiscard]] std::shared_ptr<NetService>
    netServiceForStreamHandler(const ZRKStreamHandler &handler) const;
    [[nodiscard]] std::shared_ptr<NetService> listedService(const NetService &equal) const;
    /// Whether a callback has stopped the client or lost it this very service.
    [[nodiscard]] bool isUsing(const NetService &service) const;
    void adopt(const std::shared_ptr<ZRKStreamHandler> &handler);

    dnssd::Backend &_backend;
    QString _type;
    std::optional<QString> _name;
    bool _running = false;
    std::unique_ptr<NetServiceBrowser> _netServiceBrowser;
    QList<std::shared_ptr<NetService>> _services;
    // The services by instance name: those of the same name share one entry.
    std::map<QString, ServiceInfo> _servicesInfo;
    RunLoop::Seconds _started{0};
    RunLoop::Timer _reconnectTimer; // while a service is neither connected nor looked for
    RunLoop::Timer _delayedReconnect;
};

} // namespace clipmule
