// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ZRKNetServiceClient.h"
#include "platform/dnssd/NetService.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/net/Recorder.h"

namespace clipmule::kit {

/// A service client on a network that a test scripts: services appear and vanish, and each
/// connection the client makes is one in memory. What the delegate is told is written down.
class ClientFixture {
public:
    explicit ClientFixture(const std::optional<QString> &name = std::nullopt) {
        backend.connector = [this](const dnssd::Resolved &) {
            if (noStreams)
                return StreamPair();
            connections.push_back(std::make_unique<MemoryConnection>());
            if (holdConnections)
                connections.back()->holdConnection();
            return connections.back()->takeStreams();
        };
        client = ZRKNetServiceClient::initWithTypeName(backend, type, name);
        record();
    }

    void record() {
        client->onOpen = [this](NetService &service) {
            events += QStringLiteral("open ") + service.name();
        };
        client->onReconnect = [this](NetService &service) {
            events += QStringLiteral("reconnect ") + service.name();
        };
        client->onClose = [this](NetService &service) {
            events += QStringLiteral("close ") + service.name();
        };
        client->onReceiveObject = [this](NetService &service, const PropertyList &object) {
            events += service.name() + QStringLiteral(" sent ") + object.string();
        };
        client->onOutputObject = [this](NetService &service, const OutputObject &object) {
            events += service.name() + QStringLiteral(" got ") + object.value().string();
        };
    }

    [[nodiscard]] static dnssd::ServiceName service(const QString &name) {
        return {name, type, QStringLiteral("local")};
    }
    void appear(const QString &name) {
        backend.appear(service(name), {{QHostAddress(QHostAddress::LocalHost), 4711}});
        settle(runLoop);
    }
    void vanish(const QString &name) {
        backend.vanish(service(name));
        settle(runLoop);
    }
    /// Started, with one phone found and connected, and nothing written down.
    void connectOne() {
        client->start();
        appear(phone);
        events.clear();
    }
    /// The connection drops, and the client's next one is made.
    void dropAndReconnect() {
        connections.back()->end();
        settle(runLoop);
        runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        settle(runLoop);
    }
    bool send(const char *string) {
        return client->outputObject(OutputObject::fixed(text(string)));
    }
    [[nodiscard]] MemoryConnection &connection() { return *connections.back(); }

    inline static const QString type = QStringLiteral("_clipmule-s2._tcp");
    inline static const QString phone = QStringLiteral("A Phone");

    ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    FakeDnsSd backend;
    bool noStreams = false;
    bool holdConnections = false;
    std::vector<std::unique_ptr<MemoryConnection>> connections;
    QStringList events;
    std::shared_ptr<ZRKNetServiceClient> client;
};

} // namespace clipmule::kit
