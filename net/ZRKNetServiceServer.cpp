// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceServer.h"

#include "platform/dnssd/NetService.h"
#include "platform/foundation/Log.h"

namespace clipmule {

std::shared_ptr<ZRKNetServiceServer>
ZRKNetServiceServer::initWithTypeName(dnssd::Backend &backend, const QString &type,
                                      const QString &name, SocketListener::Calls calls) {
    return std::make_shared<ZRKNetServiceServer>(Private(), backend, type, name, std::move(calls));
}

ZRKNetServiceServer::ZRKNetServiceServer(Private, dnssd::Backend &backend, QString type,
                                         QString name, SocketListener::Calls calls)
    : _backend(backend)
    , _calls(std::move(calls))
    , _type(std::move(type))
    , _name(std::move(name)) {}

ZRKNetServiceServer::~ZRKNetServiceServer() {
    stop();
}

void ZRKNetServiceServer::setDelegate(Delegate delegate) {
    _delegate = std::make_shared<const Delegate>(std::move(delegate));
}

bool ZRKNetServiceServer::start() {
    if (_running)
        return true;
    if (!listen())
        return false;
    acceptNext();
    _netService = NetService::initWithDomainTypeNamePort(_backend, QStringLiteral("local."), _type,
                                                         _name, _serverSocket->port());
    if (_serviceDictionary)
        ZRKNetServiceCategory::setServiceDictionary(*_netService, *_serviceDictionary);
    NetService::Delegate serviceDelegate;
    serviceDelegate.netServiceDidPublish = [this](NetService &, const QString &name) {
        const auto delegate = _delegate;
        if (_running && delegate->serverDidPublish)
            delegate->serverDidPublish(name);
    };
    _netService->setDelegate(std::move(serviceDelegate));
    _running = true;
    _netService->publish();
    return true;
}

bool ZRKNetServiceServer::listen() {
    auto opened = SocketListener::open(_calls);
    _serverSocket = std::move(opened.listener);
    if (_serverSocket)
        return true;
    switch (opened.failure.step) {
    case SocketListener::Step::Socket:
        qCWarning(logNet, "SOCKET FAILED %d", opened.failure.result);
        break;
    case SocketListener::Step::Bind:
        qCWarning(logNet, "BIND FAILED %d", opened.failure.result);
        break;
    case SocketListener::Step::GetSockName:
    case SocketListener::Step::Listen:
        qCWarning(logNet, "LISTEN FAILED %d", opened.failure.result);
        break;
    }
    return false;
}

void ZRKNetServiceServer::stop() {
    _running = false;
    if (const auto service = std::exchange(_netService, nullptr))
        service->stop();
    _serverSocket.reset();
    for (const auto &handler : std::exchange(_clientStreamHandlers, {})) {
        handler->setDelegate({});
        handler->close();
    }
}

void ZRKNetServiceServer::republish() {
    unpublish();
    if (_netService)
        _netService->publish();
}

void ZRKNetServiceServer::unpublish() {
    if (_netService)
        _netService->stop();
}

bool ZRKNetServiceServer::outputObject(const OutputObject &object) {
    // A handler whose write fails leaves the list while it is walked.
    const auto handlers = _clientStreamHandlers;
    bool all = !handlers.isEmpty();
    for (const auto &handler : handlers)
        all = handler->outputObject(object) && all;
    return all;
}

quint16 ZRKNetServiceServer::port() const {
    return _serverSocket ? _serverSocket->port() : quint16(0);
}

void ZRKNetServiceServer::setServiceDictionary(const ServiceDictionary &dictionary) {
    _serviceDictionary = dictionary;
    if (_netService)
        ZRKNetServiceCategory::setServiceDictionary(*_netService, dictionary);
}

void ZRKNetServiceServer::acceptNext() {
    _serverSocket->acceptInBackground(
        [this](FileHandle connection) { connectionReceived(std::move(connection)); });
}

void ZRKNetServiceServer::connectionReceived(FileHandle connection) {
    if (!_running)
        return;
    const auto handler = ZRKStreamHandler::initWithFileHandle(std::move(connection));
    if (handler) {
        ZRKStreamHandler::Delegate delegate;
        delegate.streamHandlerDidReceiveObject = [this](ZRKStreamHandler &from,
                                                        const PropertyList &object) {
            streamHandlerDidReceiveObject(from, object);
        };
        delegate.streamHandlerDidOutputObject = [this](ZRKStreamHandler &from,
                                                       const OutputObject &object) {
            streamHandlerDidOutputObject(from, object);
        };
        delegate.streamHandlerDidClose = [this](ZRKStreamHandler &from) {
            streamHandlerDidClose(from);
        };
        handler->setDelegate(std::move(delegate));
        _clientStreamHandlers.append(handler);
    }
    acceptNext();
    const auto delegate = _delegate;
    if (handler && delegate->serverStreamHandlerDidOpen)
        delegate->serverStreamHandlerDidOpen(*handler);
}

void ZRKNetServiceServer::streamHandlerDidReceiveObject(ZRKStreamHandler &handler,
                                                        const PropertyList &object) {
    const auto delegate = _delegate;
    if (_running && delegate->serverStreamHandlerDidReceiveObject)
        delegate->serverStreamHandlerDidReceiveObject(handler, object);
}

void ZRKNetServiceServer::streamHandlerDidOutputObject(ZRKStreamHandler &handler,
                                                       const OutputObject &object) {
    const auto delegate = _delegate;
    if (_running && delegate->serverStreamHandlerDidOutputObject)
        delegate->serverStreamHandlerDidOutputObject(handler, object);
}

void ZRKNetServiceServer::streamHandlerDidClose(ZRKStreamHandler &handler) {
    if (!_running)
        return;
    handler.setDelegate({});
    _clientStreamHandlers.removeIf([&](const auto &listed) { return listed.get() == &handler; });
    const auto delegate = _delegate;
    if (delegate->serverStreamHandlerDidClose)
        delegate->serverStreamHandlerDidClose(handler);
}

} // namespace clipmule
