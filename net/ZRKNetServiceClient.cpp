// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceClient.h"

#include "platform/dnssd/NetService.h"
#include "platform/foundation/Log.h"

#include <algorithm>

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

void ZRKNetServiceClient::setDelegate(Delegate delegate) {
    const bool watchedTxtRecords = bool(_delegate->clientServiceDidUpdateServiceDictionary);
    _delegate = std::make_shared<const Delegate>(std::move(delegate));
    if (watchedTxtRecords || !_delegate->clientServiceDidUpdateServiceDictionary)
        return;
    for (const auto &service : _services)
        service->startMonitoring();
}

void ZRKNetServiceClient::start() {
    if (_netServiceBrowser)
        return;
    _running = true;
    _netServiceBrowser = std::make_unique<NetServiceBrowser>(_backend);
    _netServiceBrowser->setDelegate(
        {.didFindService =
             [this](const std::shared_ptr<NetService> &service) { didFindService(service); },
         .didRemoveService =
             [this](const std::shared_ptr<NetService> &service) { didRemoveService(service); }});
    _netServiceBrowser->setWantedName(_name);
    _netServiceBrowser->searchForServicesOfTypeInDomain(_type, QStringLiteral("local."));
    _reconnectTimer = RunLoop::current().performEvery(reconnectInterval, [this] { reconnect(); });
}

void ZRKNetServiceClient::stop() {
    _running = false;
    if (const auto browser = std::move(_netServiceBrowser)) {
        browser->setDelegate({});
        browser->stop();
    }
    // Taken out first: what is let go here calls nobody back, and finds nothing half done.
    const auto services = std::exchange(_services, {});
    const auto infos = std::exchange(_servicesInfo, {});
    for (const auto &service : services) {
        const auto info = infos.find(service->name());
        if (info != infos.end())
            closeQuietly(info->second.streamHandler);
        service->setDelegate({});
        service->stop();
    }
    _reconnectTimer.cancel();
}

void ZRKNetServiceClient::closeQuietly(const std::shared_ptr<ZRKStreamHandler> &handler) {
    if (!handler)
        return;
    handler->setDelegate({});
    handler->close();
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

void ZRKNetServiceClient::removeFrom(ServiceInfo &info, qsizetype index) {
    info.weight -= info.outputObjects[index].weight();
    info.outputObjects.removeAt(index);
}

// The delegate is told what gives way once the queue is in order again. What is being written does
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
                removeFrom(info, i);
            }
        }
    }
    const bool fits = hasRoom();
    if (!fits)
        refused.append(object);
    const auto delegate = _delegate;
    for (const OutputObject &one : refused) {
        if (delegate->clientServiceDidRefuseObject)
            delegate->clientServiceDidRefuseObject(*service, one, waiting);
    }
    return fits;
}

void ZRKNetServiceClient::didFindService(const std::shared_ptr<NetService> &service) {
    if (!_running || (_name && service->name() != *_name))
        return;
    const auto self = shared_from_this();
    const auto delegate = _delegate;
    if (delegate->clientShouldResolve && !delegate->clientShouldResolve(*service))
        return;
    if (!_running || listedService(*service))
        return;
    _services.append(service);
    ServiceInfo &info = serviceInfoForNetService(*service);
    info.resolving = true;
    info.firstTime = true;
    service->setDelegate(
        {.netServiceDidResolveAddress =
             [this](NetService &resolved) { netServiceDidResolveAddress(resolved); },
         .netServiceDidNotResolve =
             [this](NetService &unresolved) { netServiceDidNotResolve(unresolved); },
         .netServiceDidUpdateTXTRecordData =
             [this](NetService &updated, const QByteArray &record) {
                 netServiceDidUpdateTXTRecordData(updated, record);
             }});
    if (_delegate->clientServiceDidUpdateServiceDictionary)
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
        tellOfConnection(service, QStringLiteral("no connection could be made"));
        return;
    }
    handler->setPeerName(service.name());
    adopt(handler);
    info.streamHandler = handler;
    const bool isFirst = info.firstTime;
    const auto delegate = _delegate;
    if (isFirst) {
        if (delegate->clientServiceDidOpen)
            delegate->clientServiceDidOpen(service);
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
    if (!isFirst && delegate->clientServiceDidReconnect)
        delegate->clientServiceDidReconnect(service);
}

void ZRKNetServiceClient::adopt(const std::shared_ptr<ZRKStreamHandler> &handler) {
    ZRKStreamHandler::Delegate delegate;
    delegate.streamHandlerDidReceiveObject = [this](ZRKStreamHandler &from,
                                                    const PropertyList &object) {
        streamHandlerDidReceiveObject(from, object);
    };
    delegate.streamHandlerDidOutputObject = [this](ZRKStreamHandler &from,
                                                   const OutputObject &object) {
        streamHandlerDidOutputObject(from, object);
    };
    delegate.streamHandlerDidDropObject = [this](ZRKStreamHandler &from,
                                                 const OutputObject &object) {
        streamHandlerDidDropObject(from, object);
    };
    delegate.streamHandlerDidRefuseInput = [this](ZRKStreamHandler &from,
                                                  const ZRKStreamHandler::RefusedInput &input) {
        const auto service = netServiceForStreamHandler(from);
        const auto told = _delegate;
        if (_running && service && told->clientServiceDidRefuseInput)
            told->clientServiceDidRefuseInput(*service, input);
    };
    delegate.streamHandlerDidClose = [this](ZRKStreamHandler &from) {
        streamHandlerDidClose(from);
    };
    delegate.streamHandlerDidEstablish = [this](ZRKStreamHandler &from) {
        streamHandlerDidEstablish(from);
    };
    handler->setDelegate(std::move(delegate));
}

void ZRKNetServiceClient::netServiceDidNotResolve(NetService &service) {
    if (!listedService(service))
        return;
    serviceInfoForNetService(service).resolving = false;
    tellOfConnection(service, QStringLiteral("its address could not be found"));
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

void ZRKNetServiceClient::streamHandlerDidClose(ZRKStreamHandler &handler) {
    if (!_running)
        return;
    const auto service = netServiceForStreamHandler(handler);
    if (service)
        serviceInfoForNetService(*service).streamHandler.reset();
    _delayedReconnect = RunLoop::current().performAfter(reconnectDelay, [this] { reconnect(); });
    if (service)
        tellOfConnection(*service, handler.isEstablished()
                                       ? QStringLiteral("the connection ended")
                                       : QStringLiteral("no address of it answered"));
}

void ZRKNetServiceClient::streamHandlerDidEstablish(ZRKStreamHandler &handler) {
    const auto service = netServiceForStreamHandler(handler);
    if (!_running || !service)
        return;
    tellLog(*service, "connected");
    tellOfConnection(*service, QString());
}

void ZRKNetServiceClient::tellOfConnection(NetService &service, const QString &failure) {
    const auto delegate = _delegate;
    if (delegate->clientServiceDidChangeConnection)
        delegate->clientServiceDidChangeConnection(service, failure);
}

void ZRKNetServiceClient::streamHandlerDidOutputObject(ZRKStreamHandler &handler,
                                                       const OutputObject &object) {
    if (!_running)
        return;
    const auto service = netServiceForStreamHandler(handler);
    if (!service)
        return;
    // Objects that are equal say the same, and need not be said again.
    ServiceInfo &info = serviceInfoForNetService(*service);
    for (qsizetype i = info.outputObjects.size(); i-- > 0;) {
        if (info.outputObjects[i].standsFor(object))
            removeFrom(info, i);
    }
    const auto delegate = _delegate;
    if (delegate->clientServiceDidOutputObject)
        delegate->clientServiceDidOutputObject(*service, object);
}

// The object can never be written: if it were kept, it would be tried on every connection.
void ZRKNetServiceClient::streamHandlerDidDropObject(ZRKStreamHandler &handler,
                                                     const OutputObject &object) {
    const auto service = netServiceForStreamHandler(handler);
    if (!_running || !service)
        return;
    ServiceInfo &info = serviceInfoForNetService(*service);
    for (qsizetype i = info.outputObjects.size(); i-- > 0;) {
        if (info.outputObjects[i].isSameAs(object))
            removeFrom(info, i);
    }
    const auto delegate = _delegate;
    if (delegate->clientServiceDidDropObject)
        delegate->clientServiceDidDropObject(*service, object);
}

void ZRKNetServiceClient::streamHandlerDidReceiveObject(ZRKStreamHandler &handler,
                                                        const PropertyList &object) {
    if (!_running)
        return;
    const auto service = netServiceForStreamHandler(handler);
    const auto delegate = _delegate;
    if (!service || !delegate->clientServiceDidReceiveObject)
        return;
    delegate->clientServiceDidReceiveObject(*service, object);
}

void ZRKNetServiceClient::didRemoveService(const std::shared_ptr<NetService> &removed) {
    const auto listed = listedService(*removed);
    const auto service = listed ? listed : removed;
    tellLog(*service, "gone");
    closeQuietly(streamHandlerForNetService(*service));
    service->setDelegate({});
    service->stop();
    _servicesInfo.erase(service->name());
    _services.removeAll(service);
    if (_name && service->name() != *_name)
        return;
    const auto delegate = _delegate;
    if (delegate->clientServiceDidClose)
        delegate->clientServiceDidClose(*service);
}

void ZRKNetServiceClient::netServiceDidUpdateTXTRecordData(NetService &service,
                                                           const QByteArray &record) {
    const auto delegate = _delegate;
    if (!delegate->clientServiceDidUpdateServiceDictionary)
        return;
    delegate->clientServiceDidUpdateServiceDictionary(
        service, ZRKNetServiceCategory::serviceDictionaryFromTXTData(record));
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
