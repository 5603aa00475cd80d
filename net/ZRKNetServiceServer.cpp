// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceServer.h"

#include "platform/dnssd/NetService.h"
#include "platform/foundation/Callbacks.h"
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
    _netService->onPublished = [this](NetService &, const QString &name) {
        if (_running)
            callCopyOf(onPublish, name);
    };
    _running = true;
    _netService->publish();
    return true;
}

bool ZRKNetServiceServer::listen() {
    auto opened = SocketListener::open(_calls);
    if (!opened)
        qCWarning(logNet).noquote() << opened.error().reason;
    else
        _serverSocket = std::move(*opened);
    return opened.has_value();
}

void ZRKNetServiceServer::stop() {
    _running = false;
    if (const auto service = std::exchange(_netService, nullptr))
        service->stop();
    _serverSocket.reset();
    for (const auto &handler : std::exchange(_clientStreamHandlers, {}))
        handler->close(false);
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
        handler->onReceiveObject = [this](ZRKStreamHandler &from, const PropertyList &object) {
            if (_running)
                callCopyOf(onReceiveObject, from, object);
        };
        handler->onOutputObject = [this](ZRKStreamHandler &from, const OutputObject &object) {
            if (_running)
                callCopyOf(onOutputObject, from, object);
        };
        handler->onClose = [this](ZRKStreamHandler &from) { streamHandlerDidClose(from); };
        _clientStreamHandlers.append(handler);
    }
    acceptNext();
    if (handler)
        callCopyOf(onOpen, *handler);
}

void ZRKNetServiceServer::streamHandlerDidClose(ZRKStreamHandler &handler) {
    if (!_running)
        return;
    handler.forgetCallbacks();
    _clientStreamHandlers.removeIf([&](const auto &listed) { return listed.get() == &handler; });
    callCopyOf(onClose, handler);
}

} // namespace clipmule
