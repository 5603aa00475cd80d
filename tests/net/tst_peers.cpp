// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceClient.h"
#include "net/ZRKNetServiceServer.h"
#include "platform/dnssd/NetService.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

#include <poll.h>

using namespace clipmule;
using namespace clipmule::kit;
namespace loopback = kit::loopback;

namespace {

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

QByteArray image(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 31 + i / 4093) & 0xff);
    return bytes;
}

} // namespace

// A client and servers with real connections between them; only the responder and the clock are
// the test's.
class PeersTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _backend.emplace();
        _backend->connector = [](const dnssd::Resolved &resolved) {
            QList<SocketEndpoint> endpoints;
            for (const dnssd::Endpoint &endpoint : resolved.endpoints)
                endpoints.append({endpoint.address, endpoint.port});
            return connectingStreamPair(endpoints, RunLoop::Seconds(10));
        };
        _client = ZRKNetServiceClient::initWithType(*_backend, phoneType);
        _client->onOpen = [this](NetService &service) {
            _events += QStringLiteral("open ") + service.name();
        };
        _client->onReconnect = [this](NetService &service) {
            _events += QStringLiteral("reconnect ") + service.name();
        };
        _client->onReceiveObject = [this](NetService &service, const PropertyList &object) {
            _received.insert(service.name(), object);
        };
        _client->start();
    }

    void end() override {
        _client.reset();
        _servers.clear();
        _backend.reset();
        _events.clear();
        _received.clear();
        _atPhone.clear();
        kit::settle(_runLoop);
    }

private Q_SLOTS:
    void objectsTravelBothWays() {
        ZRKNetServiceServer &phone = makePhone(QStringLiteral("Phone"));
        QVERIFY(runUntil([&] { return phone.hasClients(); }));
        QCOMPARE(_events, QStringList{QStringLiteral("open Phone")});
        const PropertyList down(image(3 * 1024 * 1024));
        const PropertyList up(image(2 * 1024 * 1024));
        QVERIFY(_client->outputObject(OutputObject::fixed(down)));
        QVERIFY(phone.outputObject(OutputObject::fixed(up)));
        QVERIFY(runUntil([&] {
            return _received.contains(QStringLiteral("Phone")) &&
                   _atPhone.contains(QStringLiteral("Phone"));
        }));
        QVERIFY(_atPhone.value(QStringLiteral("Phone")) == down);
        QVERIFY(_received.value(QStringLiteral("Phone")) == up);
    }

    void aPhoneThatMovedIsConnectedAgainAndGetsWhatWaited() {
        ZRKNetServiceServer &phone = makePhone(QStringLiteral("Phone"));
        QVERIFY(runUntil([&] { return phone.hasClients(); }));
        // Its program ends and another takes its place, on another port, without a goodbye.
        const dnssd::ServiceName service{QStringLiteral("Phone"), phoneType,
                                         QStringLiteral("local")};
        const FileHandle place = loopback::listener();
        _backend->appear(service, {{QHostAddress(QHostAddress::LocalHost),
                                    loopback::portOf(place.descriptor())}});
        phone.stop();
        QVERIFY(runUntil([&] { return !_client->isConnected(); }));
        QVERIFY(_client->outputObject(OutputObject::fixed(text("meanwhile"))));
        _runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        QVERIFY(runUntil([&] { return isReadable(place); }));
        const FileHandle connection = loopback::accept(place);
        QVERIFY(runUntil([&] { return isReadable(connection); }));
        QCOMPARE(loopback::receive(connection), objectFrame(text("meanwhile")));
        QCOMPARE(_events,
                 (QStringList{QStringLiteral("open Phone"), QStringLiteral("reconnect Phone")}));
    }

    void aHostilePeerIsDroppedWhileAnotherIsServed_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("dropped");
        const QByteArray fourGigabytes = QByteArray::fromHex("004b525affffffff");
        QTest::newRow("a length of 4 GiB") << fourGigabytes << true;
        QTest::newRow("garbage") << QByteArray(300000, 'g') << false;
        QTest::newRow("half a frame") << objectFrame(text("half")).chopped(20) << false;
        QTest::newRow("silence") << QByteArray() << false;
        QTest::newRow("a flood of pings") << kit::pingFrame.repeated(50000) << false;
    }
    void aHostilePeerIsDroppedWhileAnotherIsServed() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, dropped);
        if (dropped)
            QTest::ignoreMessage(QtWarningMsg, "FRAME TOO LARGE 4294967295");
        const FileHandle hostile = loopback::listener();
        _backend->appear(
            {QStringLiteral("Hostile"), phoneType, QStringLiteral("local")},
            {{QHostAddress(QHostAddress::LocalHost), loopback::portOf(hostile.descriptor())}});
        QVERIFY(runUntil([&] { return _events.size() == 1; }));
        QVERIFY(runUntil([&] { return isReadable(hostile); }));
        const FileHandle connection = loopback::accept(hostile);
        ZRKNetServiceServer &phone = makePhone(QStringLiteral("Phone"));
        QVERIFY(runUntil([&] { return phone.hasClients(); }));
        loopback::send(connection, bytes);
        if (dropped)
            QVERIFY(runUntil([&] { return isReadable(connection); }));
        QVERIFY(phone.outputObject(OutputObject::fixed(text("still served"))));
        QVERIFY(_client->outputObject(OutputObject::fixed(text("to both"))));
        QVERIFY(runUntil([&] {
            return _received.contains(QStringLiteral("Phone")) &&
                   _atPhone.contains(QStringLiteral("Phone"));
        }));
        QCOMPARE(_received.value(QStringLiteral("Phone")), text("still served"));
        QCOMPARE(_atPhone.value(QStringLiteral("Phone")), text("to both"));
        QCOMPARE(loopback::receiveWithoutWaiting(connection),
                 dropped ? QByteArray() : objectFrame(text("to both")));
    }

private:
    ZRKNetServiceServer &makePhone(const QString &name) {
        const auto server = ZRKNetServiceServer::initWithTypeName(*_backend, phoneType, name);
        server->onReceiveObject = [this, name](ZRKStreamHandler &, const PropertyList &object) {
            _atPhone.insert(name, object);
        };
        _servers += server;
        if (!server->start())
            qFatal("the phone cannot listen");
        return *server;
    }
    static bool isReadable(const FileHandle &socket) {
        pollfd wanted{socket.descriptor(), POLLIN, 0};
        return ::poll(&wanted, 1, 0) > 0;
    }
    bool runUntil(const std::function<bool()> &condition) {
        return QTest::qWaitFor([&] { return kit::settle(_runLoop) && condition(); }, 10000);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<FakeDnsSd> _backend;
    QList<std::shared_ptr<ZRKNetServiceServer>> _servers;
    std::shared_ptr<ZRKNetServiceClient> _client;
    QStringList _events;
    QMap<QString, PropertyList> _received;
    QMap<QString, PropertyList> _atPhone;
};

QTEST_GUILESS_MAIN(PeersTest)
#include "tst_peers.moc"
