// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceClient.h"

#include "platform/dnssd/NetService.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

#include <algorithm>
#include <cmath>

namespace clipmule {

std::shared_ptr<ZRKNetServiceClient>
ZRKNetServiceClient::initWithTypeName(dnssd::Backend &backend, const QString &type,
                                      const std::optional<QString> &name) {
    return std::make_shared<ZRKNetServiceClient>(Private(), backend, type, name);
}

std::shared_ptr<ZRKNetServiceClient> ZRKNetServiceClient::initWithType(dnssd::Backend &backend,
                                                                       const QString &type) {
    return initWithTypeName(backend, type, std::nullopt);
}

ZRKNetServiceClient::ZRKNetServiceClient(Private, dnssd::Backend &backend, QString type,
                                         std::optional<QString> name)
    : _backend(backend)
    , _type(std::move(type))
    , _name(std::move(name)) {}

ZRKNetServiceClient::~ZRKNetServiceClient() {
    stop();
}

void ZRKNetServiceClient::start() {
    if (_netServiceBrowser)
        return;
    _running = true;
    _netServiceBrowser = std::make_unique<NetServiceBrowser>(_backend);
    _netServiceBrowser->onFound = [this](const auto &service) { didFindService(service); };
    _netServiceBrowser->onRemoved = [this](const auto &service) { didRemoveService(service); };
    _netServiceBrowser->wantedName = _name;
    _netServiceBrowser->searchForServicesOfTypeInDomain(_type, QStringLiteral("local."));
    _started = RunLoop::current().now();
}

void ZRKNetServiceClient::stop() {
    _running = false;
    _netServiceBrowser.reset();
    // Taken out first: what is let go here calls nobody back, and finds nothing half done.
    const auto services = std::exchange(_services, {});
    for (const auto &[name, info] : std::exchange(_servicesInfo, {})) {
        if (info.streamHandler)
            info.streamHandler->close(false);
    }
    for (const auto &service : services)
        service->stop();
    _reconnectTimer.cancel();
}

bool ZRKNetServiceClient::isConnected() const {
    return std::any_of(_services.begin(), _services.end(), [this](const auto &service) {
        return bool(streamHandlerForNetService(*service));
    });
}

bool ZRKNetServiceClient::isEstablished() const {
    return std::any_of(_services.begin(), _services.end(), [this](const auto &service) {
        const auto handler = streamHandlerForNetService(*service);
        return handler && handler->isEstablished();
    });
}

bool ZRKNetServiceClient::outputObject(const OutputObject &object) {
    if (!_running)
        return false;
    const auto self = shared_from_this();
    const auto services = _services;
    bool all = !services.isEmpty();
    for (const auto &service : services)
        all = outputObjectForNetService(object, *service) && all;
    return all;
}

bool ZRKNetServiceClient::outputObjectForNetService(const OutputObject &object,
                                                    const NetService &service) {
    if (!_running)
        return false;
    const auto self = shared_from_this();
    const auto listed = listedService(service);
    if (listed && (!makeRoom(listed, object) || !isUsing(*listed)))
        return false;
    ServiceInfo &info = serviceInfoForNetService(service);
    info.outputObjects.append(object);
    info.weight += object.weight();
    if (const auto handler = info.streamHandler)
        handler->outputObject(object);
    return true;
}

template <typename Predicate>
void ZRKNetServiceClient::removeFrom(ServiceInfo &info, Predicate isToGo) {
    info.outputObjects.removeIf([&](const OutputObject &queued) {
        if (!isToGo(queued))
            return false;
        info.weight -= queued.weight();
        return true;
    });
}

// The owner is told what gives way once the queue is in order again. What is being written does
// not give way.
bool ZRKNetServiceClient::makeRoom(const std::shared_ptr<NetService> &service,
                                   const OutputObject &object) {
    ServiceInfo &info = serviceInfoForNetService(*service);
    const qsizetype waiting = info.weight + object.weight();
    // What is being written cannot be taken back and will not stay, so it does not count.
    qsizetype beingWritten = 0;
    const auto hasRoom = [&] {
        return info.weight - beingWritten + object.weight() <= largestQueue &&
               info.outputObjects.size() < mostQueuedObjects;
    };
    QList<OutputObject> refused;
    for (const bool relays : {true, false}) {
        for (qsizetype i = 0; i < info.outputObjects.size() && !hasRoom();) {
            const OutputObject candidate = info.outputObjects[i];
            if (candidate.isRelay() != relays) {
                ++i;
            } else if (info.streamHandler && !info.streamHandler->withdrawObject(candidate)) {
                beingWritten = candidate.weight();
                ++i;
            } else {
                refused.append(candidate);
                info.weight -= candidate.weight();
                info.outputObjects.removeAt(i);
            }
        }
    }
    const bool fits = hasRoom();
    if (!fits)
        refused.append(object);
    // They are told by what was there before the first of them.
    const auto tell = onRefuseObject;
    for (const OutputObject &one : refused)
        callCopyOf(tell, *service, one, waiting);
    return fits;
}

void ZRKNetServiceClient::didFindService(const std::shared_ptr<NetService> &service) {
    if (!_running || (_name && service->name() != *_name))
        return;
    const auto self = shared_from_this();
    if (const auto shouldResolve = onShouldResolve; shouldResolve && !shouldResolve(*service))
        return;
    if (!_running || listedService(*service))
        return;
    _services.append(service);
    ServiceInfo &info = serviceInfoForNetService(*service);
    info.resolving = true;
    info.firstTime = true;
    service->onResolved = [this](NetService &resolved) { netServiceDidResolveAddress(resolved); };
    service->onNotResolved = [this](NetService &unresolved) {
        if (!listedService(unresolved))
            return;
        serviceInfoForNetService(unresolved).resolving = false;
        scheduleReconnect();
        callCopyOf(onChangeConnection, unresolved,
                   QStringLiteral("its address could not be found"));
    };
    service->onTxtRecord = [this](NetService &updated, const QByteArray &record) {
        callCopyOf(onUpdateServiceDictionary, updated,
                   ZRKNetServiceCategory::serviceDictionaryFromTXTData(record));
    };
    if (onUpdateServiceDictionary)
        service->startMonitoring();
    tellLog(*service, "found");
    service->resolveWithTimeout(resolveTimeout);
}

// Writes one line for each thing that happens, with the phone's name first.
void ZRKNetServiceClient::tellLog(const NetService &service, const char *what) {
    qCDebug(logNet).noquote()
        << QStringLiteral("\"%1\": %2").arg(cutForLog(service.name()), QLatin1String(what));
}

void ZRKNetServiceClient::netServiceDidResolveAddress(NetService &service) {
    if (!_running)
        return;
    const auto self = shared_from_this();
    ServiceInfo &info = serviceInfoForNetService(service);
    if (info.streamHandler) {
        info.resolving = false;
        return;
    }
    auto streams = service.streams();
    const auto handler =
        streams ? ZRKStreamHandler::initWithInputStreamOutputStream(std::move(*streams)) : nullptr;
    if (!handler) {
        qCWarning(logNet, "FAILED TO GET STREAM");
        info.resolving = false;
        scheduleReconnect();
        callCopyOf(onChangeConnection, service, QStringLiteral("no connection could be made"));
        return;
    }
    handler->setPeerName(service.name());
    adopt(handler);
    info.streamHandler = handler;
    const bool isFirst = info.firstTime;
    if (isFirst) {
        callCopyOf(onOpen, service);
    } else {
        // What a connection has written leaves the list while it is handed over.
        const QList<OutputObject> waiting = info.outputObjects;
        for (const OutputObject &object : waiting)
            handler->outputObject(object);
    }
    // A callback may have stopped the client, or lost the service.
    if (!isUsing(service))
        return;
    ServiceInfo &current = serviceInfoForNetService(service);
    current.firstTime = false;
    current.resolving = false;
    if (!isFirst)
        callCopyOf(onReconnect, service);
}

void ZRKNetServiceClient::adopt(const std::shared_ptr<ZRKStreamHandler> &handler) {
    const auto serviceOf = [this](const ZRKStreamHandler &from) {
        return _running ? netServiceForStreamHandler(from) : nullptr;
    };
    handler->onReceiveObject = [this, serviceOf](ZRKStreamHandler &from,
                                                 const PropertyList &object) {
        if (const auto service = serviceOf(from))
            callCopyOf(onReceiveObject, *service, object);
    };
    handler->onRefuseInput = [this, serviceOf](ZRKStreamHandler &from,
                                               const ZRKStreamHandler::RefusedInput &input) {
        if (const auto service = serviceOf(from))
            callCopyOf(onRefuseInput, *service, input);
    };
    // Objects that are equal say the same, and need not be said again.
    handler->onOutputObject = [this, serviceOf](ZRKStreamHandler &from,
                                                const OutputObject &object) {
        if (const auto service = serviceOf(from)) {
            removeFrom(serviceInfoForNetService(*service),
                       [&](const OutputObject &queued) { return queued.standsFor(object); });
            callCopyOf(onOutputObject, *service, object);
        }
    };
    // The object can never be written: if it were kept, it would be tried on every connection.
    handler->onDropObject = [this, serviceOf](ZRKStreamHandler &from, const OutputObject &object) {
        if (const auto service = serviceOf(from)) {
            removeFrom(serviceInfoForNetService(*service),
                       [&](const OutputObject &queued) { return queued.isSameAs(object); });
            callCopyOf(onDropObject, *service, object);
        }
    };
    handler->onClose = [this](ZRKStreamHandler &from) { streamHandlerDidClose(from); };
    handler->onEstablish = [this, serviceOf](ZRKStreamHandler &from) {
        if (const auto service = serviceOf(from)) {
            tellLog(*service, "connected");
            callCopyOf(onChangeConnection, *service, QString());
        }
    };
}

void ZRKNetServiceClient::reconnect() {
    if (!_running)
        return;
    for (const auto &service : _services) {
        ServiceInfo &info = serviceInfoForNetService(*service);
        if (info.streamHandler || info.resolving)
            continue;
        info.resolving = true;
        service->resolveWithTimeout(resolveTimeout);
    }
}

// At the end of a full interval since the start. Nothing waits for a client whose services are all
// connected, and no timer wakes the computer for it.
void ZRKNetServiceClient::scheduleReconnect() {
    if (_reconnectTimer.isPending())
        return;
    const double sinceLast =
        std::fmod((RunLoop::current().now() - _started).count(), reconnectInterval.count());
    _reconnectTimer = RunLoop::current().performAfter(
        reconnectInterval - RunLoop::Seconds(sinceLast), [this] { reconnect(); });
}

void ZRKNetServiceClient::streamHandlerDidClose(ZRKStreamHandler &handler) {
    if (!_running)
        return;
    const auto service = netServiceForStreamHandler(handler);
    if (service)
        serviceInfoForNetService(*service).streamHandler.reset();
    _delayedReconnect = RunLoop::current().performAfter(reconnectDelay, [this] { reconnect(); });
    scheduleReconnect();
    if (service)
        callCopyOf(onChangeConnection, *service,
                   handler.isEstablished() ? QStringLiteral("the connection ended")
                                           : QStringLiteral("no address of it answered"));
}

void ZRKNetServiceClient::didRemoveService(const std::shared_ptr<NetService> &removed) {
    const auto listed = listedService(*removed);
    const auto service = listed ? listed : removed;
    tellLog(*service, "gone");
    if (const auto handler = streamHandlerForNetService(*service))
        handler->close(false);
    service->stop();
    _servicesInfo.erase(service->name());
    _services.removeAll(service);
    if (_name && service->name() != *_name)
        return;
    callCopyOf(onClose, *service);
}

ZRKNetServiceClient::ServiceInfo &
ZRKNetServiceClient::serviceInfoForNetService(const NetService &service) {
    return _servicesInfo[service.name()];
}

std::shared_ptr<ZRKStreamHandler>
ZRKNetServiceClient::streamHandlerForNetService(const NetService &service) const {
    const auto info = _servicesInfo.find(service.name());
    return info == _servicesInfo.end() ? nullptr : info->second.streamHandler;
}

std::shared_ptr<NetService>
ZRKNetServiceClient::netServiceForStreamHandler(const ZRKStreamHandler &handler) const {
    const auto found = std::find_if(
        _services.begin(), _services.end(), [&](const std::shared_ptr<NetService> &service) {
            return streamHandlerForNetService(*service).get() == &handler;
        });
    return found == _services.end() ? nullptr : *found;
}

std::shared_ptr<NetService> ZRKNetServiceClient::listedService(const NetService &equal) const {
    const auto found = std::find_if(
        _services.begin(), _services.end(),
        [&](const std::shared_ptr<NetService> &service) { return service->isEqual(equal); });
    return found == _services.end() ? nullptr : *found;
}

bool ZRKNetServiceClient::isUsing(const NetService &service) const {
    return _running && listedService(service).get() == &service;
}

} // namespace clipmule
