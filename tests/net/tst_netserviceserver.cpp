// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKNetServiceServer.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
namespace loopback = kit::loopback;

namespace {
const QString phoneType = QStringLiteral("_clipmule-s2._tcp");
const QString phoneName = QStringLiteral("A Phone");
} // namespace

// Sockets are real, on the loopback interface; time and the responder are the test's.
class NetServiceServerTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _backend.emplace();
        _events.clear();
        _server = makeServer(SocketListener::systemCalls());
    }

    void end() override {
        _server.reset();
        _backend.reset();
        kit::settle(_runLoop);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private Q_SLOTS:
    void nothingIsOpenedBeforeStart() {
        kit::settle(_runLoop);
        QCOMPARE(_server->port(), quint16(0));
        QVERIFY(!_backend->isWatched());
        QVERIFY(!_server->hasClients());
    }

    void listensAndPublishes() {
        QVERIFY(_server->start());
        kit::settle(_runLoop);
        const auto published = _backend->published();
        QCOMPARE(published.size(), 1);
        QCOMPARE(published[0].service,
                 (dnssd::ServiceName{phoneName, phoneType, QStringLiteral("local")}));
        QCOMPARE(published[0].port, _server->port());
        QVERIFY(loopback::connectTo(_server->port()).isOpen());
    }

    void aRunningServerStaysAsItIs() {
        QVERIFY(_server->start());
        const quint16 port = _server->port();
        QVERIFY(_server->start());
        QCOMPARE(_server->port(), port);
    }

    void failuresAreLoggedAndNothingIsPublished_data() {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("line");
        const auto row = [](const char *name, const char *call, int result, const char *line) {
            QTest::newRow(name) << QString::fromLatin1(call) << result << QString::fromLatin1(line);
        };
        row("socket", "socket", -1, "SOCKET FAILED -1");
        row("socket gives descriptor 0", "socket", 0, "SOCKET FAILED 0");
        row("bind", "bind", -1, "BIND FAILED -1");
        row("getsockname", "getsockname", -1, "LISTEN FAILED -1");
        row("listen", "listen", -1, "LISTEN FAILED -1");
    }
    void failuresAreLoggedAndNothingIsPublished() {
        QFETCH(QString, call);
        QFETCH(int, result);
        QFETCH(QString, line);
        auto calls = SocketListener::systemCalls();
        int descriptor = -1;
        calls.socket = [&, create = calls.socket] { return descriptor = create(); };
        if (call == u"socket")
            calls.socket = [=] { return result; };
        else if (call == u"bind")
            calls.bind = [=](int) { return result; };
        else if (call == u"getsockname")
            calls.getsockname = [=](int, quint16 &) { return result; };
        else
            calls.listen = [=](int, int) { return result; };
        _server = makeServer(calls);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
        QVERIFY(!_server->start());
        kit::settle(_runLoop);
        QVERIFY(!_backend->isWatched());
        QCOMPARE(_server->port(), quint16(0));
        if (descriptor >= 0)
            QCOMPARE(::fcntl(descriptor, F_GETFD), -1);
    }

    void startsAgainAfterAFailure() {
        auto calls = SocketListener::systemCalls();
        int failures = 1;
        calls.bind = [&, bind = calls.bind](int descriptor) {
            return failures-- > 0 ? -1 : bind(descriptor);
        };
        _server = makeServer(calls);
        QTest::ignoreMessage(QtWarningMsg, "BIND FAILED -1");
        QVERIFY(!_server->start());
        QVERIFY(_server->start());
    }

    void wrapsConnectionsInOrderOfAcceptance() {
        QVERIFY(_server->start());
        const FileHandle first = connectClient();
        const FileHandle second = connectClient();
        QCOMPARE(_events, (QStringList{QStringLiteral("opened 1"), QStringLiteral("opened 2")}));
        loopback::send(second, objectFrame(text("from second")));
        QVERIFY(runUntil([&] { return _events.size() == 3; }));
        QCOMPARE(_events.last(), QStringLiteral("2 sent from second"));
    }

    void sendsToEverybody() {
        QVERIFY(_server->start());
        QVERIFY(!_server->outputObject(OutputObject::fixed(text("to nobody"))));
        const FileHandle first = connectClient();
        const FileHandle second = connectClient();
        QVERIFY(_server->hasClients());
        QVERIFY(_server->outputObject(OutputObject::fixed(text("to all"))));
        QVERIFY(runUntil([&] { return _events.size() == 4; }));
        QCOMPARE(loopback::receive(first), objectFrame(text("to all")));
        QCOMPARE(loopback::receive(second), objectFrame(text("to all")));
        _events.sort();
        QCOMPARE(_events.first(2), (QStringList{QStringLiteral("1 output to all"),
                                                QStringLiteral("2 output to all")}));
    }

    void anObjectSentOnOpeningReachesTheClient() {
        _server->onOpen = [](ZRKStreamHandler &handler) {
            handler.outputObject(OutputObject::fixed(text("welcome")));
        };
        QVERIFY(_server->start());
        const FileHandle client = loopback::connectTo(_server->port());
        QVERIFY(runUntil([&] { return _events.size() == 1; }));
        QCOMPARE(loopback::receive(client), objectFrame(text("welcome")));
    }

    void aNewConnectionIsListedWhenTheDelegateIsTold() {
        bool hadClients = false;
        _server->onOpen = [&](ZRKStreamHandler &) {
            hadClients = _server->hasClients();
            _events += QStringLiteral("opened");
        };
        QVERIFY(_server->start());
        const FileHandle client = loopback::connectTo(_server->port());
        QVERIFY(runUntil([&] { return !_events.isEmpty(); }));
        QVERIFY(hadClients);
    }

    // A delegate that lets the run loop turn holds up nobody who waits for a connection.
    void theNextConnectionIsAwaitedWhenTheDelegateIsTold() {
        int opened = 0;
        int openedMeanwhile = 0;
        _server->onOpen = [&](ZRKStreamHandler &) {
            if (++opened > 1)
                return;
            QVERIFY(runUntil([&] { return opened == 2; }));
            openedMeanwhile = opened;
        };
        QVERIFY(_server->start());
        const FileHandle first = loopback::connectTo(_server->port());
        const FileHandle second = loopback::connectTo(_server->port());
        QVERIFY(runUntil([&] { return opened == 2; }));
        QCOMPARE(openedMeanwhile, 2);
    }

    void aClosedConnectionLosesItsDelegate() {
        std::shared_ptr<ZRKStreamHandler> kept;
        _server->onOpen = [&](ZRKStreamHandler &handler) {
            kept = std::static_pointer_cast<ZRKStreamHandler>(handler.shared_from_this());
        };
        bool hadDelegate = true;
        _server->onClose = [&](ZRKStreamHandler &handler) {
            hadDelegate = bool(handler.onReceiveObject);
            _events += QStringLiteral("closed");
        };
        QVERIFY(_server->start());
        FileHandle client = loopback::connectTo(_server->port());
        QVERIFY(runUntil([&] { return bool(kept); }));
        QVERIFY(kept->onReceiveObject);
        client.close();
        QVERIFY(runUntil([&] { return !_events.isEmpty(); }));
        QVERIFY(!hadDelegate);
        kept.reset();
    }

    // Everybody is asked, also after one has refused, and the one that refuses makes it false.
    void oneThatRefusesMakesItFalse() {
        QVERIFY(_server->start());
        const FileHandle first = connectClient();
        const FileHandle second = connectClient();
        // Closed without a notification: still in the list.
        _handlers[0]->close(false);
        QVERIFY(!_server->outputObject(OutputObject::fixed(text("to all"))));
        QVERIFY(runUntil([&] { return _events.contains(QStringLiteral("2 output to all")); }));
    }

    void aConnectionThatEndsLeavesTheList() {
        QVERIFY(_server->start());
        FileHandle client = connectClient();
        bool wasLast = false;
        _server->onClose = [&](ZRKStreamHandler &handler) {
            wasLast = !_server->hasClients();
            QVERIFY(!handler.isOpen());
            _events += QStringLiteral("closed");
        };
        client.close();
        QVERIFY(runUntil([&] { return _events.contains(QStringLiteral("closed")); }));
        QVERIFY(wasLast);
    }

    void aServerThatTellsNobodyServesTheSame() {
        for (auto *callback : {&_server->onOpen, &_server->onClose})
            *callback = {};
        _server->onReceiveObject = {};
        _server->onOutputObject = {};
        QVERIFY(_server->start());
        FileHandle client = loopback::connectTo(_server->port());
        QVERIFY(runUntil([&] { return _server->hasClients(); }));
        loopback::send(client, objectFrame(text("from the phone")));
        QVERIFY(_server->outputObject(OutputObject::fixed(text("to the phone"))));
        kit::settle(_runLoop);
        client.close();
        QVERIFY(runUntil([&] { return !_server->hasClients(); }));
    }

    void theOthersStayConnected() {
        QVERIFY(_server->start());
        FileHandle first = connectClient();
        const FileHandle second = connectClient();
        first.close();
        QVERIFY(runUntil([&] { return _events.contains(QStringLiteral("closed 1")); }));
        QVERIFY(_server->outputObject(OutputObject::fixed(text("to the rest"))));
        QVERIFY(runUntil([&] { return _events.contains(QStringLiteral("2 output to the rest")); }));
    }

    void stopTellsNobody() {
        QVERIFY(_server->start());
        const FileHandle client = connectClient();
        _events.clear();
        const quint16 port = _server->port();
        _server->stop();
        kit::settle(_runLoop);
        QCOMPARE(_events, QStringList());
        QVERIFY(!_server->hasClients());
        QCOMPARE(loopback::receive(client), QByteArray());
        QVERIFY(_backend->published().isEmpty());
        QVERIFY(!loopback::connectTo(port).isOpen());
        QVERIFY(!_server->outputObject(OutputObject::fixed(text("late"))));
    }

    void destructionStops() {
        QVERIFY(_server->start());
        const FileHandle client = connectClient();
        _handlers.clear();
        _events.clear();
        _server.reset();
        kit::settle(_runLoop);
        QCOMPARE(_events, QStringList());
        QCOMPARE(loopback::receive(client), QByteArray());
        QVERIFY(_backend->published().isEmpty());
    }

    void aConnectionAfterStopIsNotWrapped() {
        QVERIFY(_server->start());
        loopback::Pair pair = loopback::pair();
        _server->stop();
        _server->connectionReceived(std::move(pair.near));
        QVERIFY(!_server->hasClients());
        QCOMPARE(_events, QStringList());
        QCOMPARE(loopback::receive(pair.far), QByteArray());
    }

    void aConnectionThatWaitsDuringStopIsNotWrapped() {
        QVERIFY(_server->start());
        const FileHandle client = loopback::connectTo(_server->port());
        _server->stop();
        QCoreApplication::processEvents();
        kit::settle(_runLoop);
        QVERIFY(!_server->hasClients());
    }

    void whatIsNoSocketIsPassedOverAndTheNextAccepted() {
        QVERIFY(_server->start());
        _server->connectionReceived(FileHandle());
        QVERIFY(!_server->hasClients());
        const FileHandle client = connectClient();
        QVERIFY(_server->hasClients());
    }

    void startsAgainAfterStop() {
        QVERIFY(_server->start());
        _server->stop();
        QVERIFY(_server->start());
        const FileHandle client = connectClient();
        QVERIFY(_server->hasClients());
        QCOMPARE(_backend->published().size(), 1);
    }

    void theDelegateMayStopTheServerOrLetGoOfIt_data() {
        QTest::addColumn<QString>("where");
        QTest::addColumn<QString>("what");
        for (const char *where : {"open", "receive", "output", "close"}) {
            for (const char *what : {"stop", "let go"})
                QTest::addRow("%s in %s", what, where)
                    << QString::fromLatin1(where) << QString::fromLatin1(what);
        }
    }
    void theDelegateMayStopTheServerOrLetGoOfIt() {
        QFETCH(QString, where);
        QFETCH(QString, what);
        bool called = false;
        const auto act = [&] {
            called = true;
            if (what == u"stop")
                _server->stop();
            else
                _server.reset();
        };
        if (where == u"open")
            _server->onOpen = [=](ZRKStreamHandler &) { act(); };
        if (where == u"receive")
            _server->onReceiveObject = [=](ZRKStreamHandler &, const PropertyList &) { act(); };
        if (where == u"output")
            _server->onOutputObject = [=](ZRKStreamHandler &, const OutputObject &) { act(); };
        if (where == u"close")
            _server->onClose = [=](ZRKStreamHandler &) { act(); };
        QVERIFY(_server->start());
        FileHandle client = loopback::connectTo(_server->port());
        if (where != u"open")
            QVERIFY(runUntil([&] { return _server->hasClients(); }));
        if (where == u"receive")
            loopback::send(client, objectFrame(text("1")) + objectFrame(text("2")));
        if (where == u"output")
            QVERIFY(_server->outputObject(OutputObject::fixed(text("x"))));
        if (where == u"close")
            client.close();
        QVERIFY(runUntil([&] { return called; }));
        kit::settle(_runLoop);
        QVERIFY(_backend->published().isEmpty());
    }

    void theServiceDictionaryIsPublishedWithTheService() {
        QVERIFY(!_server->serviceDictionary());
        _server->setServiceDictionary({{QStringLiteral("a"), text("1")}});
        QVERIFY(_server->start());
        kit::settle(_runLoop);
        QCOMPARE(_backend->published()[0].txtRecord, QByteArrayLiteral("\x03"
                                                                       "a=1"));
    }

    void theServiceDictionaryCanChangeMeanwhile() {
        QVERIFY(_server->start());
        kit::settle(_runLoop);
        QCOMPARE(_backend->published()[0].txtRecord, QByteArray(1, '\0'));
        _server->setServiceDictionary({{QStringLiteral("b"), text("2")}});
        kit::settle(_runLoop);
        QCOMPARE(_backend->published()[0].txtRecord, QByteArrayLiteral("\x03"
                                                                       "b=2"));
        QCOMPARE(*_server->serviceDictionary(),
                 (ServiceDictionary{{QStringLiteral("b"), text("2")}}));
    }

    void unpublishAndRepublishLeaveTheConnections() {
        _server->setServiceDictionary({{QStringLiteral("a"), text("1")}});
        QVERIFY(_server->start());
        kit::settle(_runLoop);
        const auto before = _backend->published()[0];
        const FileHandle client = connectClient();
        _server->unpublish();
        kit::settle(_runLoop);
        QVERIFY(_backend->published().isEmpty());
        QVERIFY(_server->hasClients());
        const FileHandle another = connectClient();
        _server->republish();
        kit::settle(_runLoop);
        QCOMPARE(_backend->published().size(), 1);
        QCOMPARE(_backend->published()[0].service, before.service);
        QCOMPARE(_backend->published()[0].port, before.port);
        QCOMPARE(_backend->published()[0].txtRecord, before.txtRecord);
    }

    void republishOfAStoppedServerPublishesNothing() {
        _server->republish();
        _server->unpublish();
        kit::settle(_runLoop);
        QVERIFY(!_backend->isWatched());
    }

private:
    std::shared_ptr<ZRKNetServiceServer> makeServer(const SocketListener::Calls &calls) {
        _handlers.clear();
        auto server = ZRKNetServiceServer::initWithTypeName(*_backend, phoneType, phoneName, calls);
        server->onOpen = [this](ZRKStreamHandler &handler) {
            _handlers += &handler;
            _events += QStringLiteral("opened %1").arg(numberOf(handler));
        };
        server->onReceiveObject = [this](ZRKStreamHandler &handler, const PropertyList &object) {
            _events += QStringLiteral("%1 sent %2").arg(numberOf(handler)).arg(object.string());
        };
        server->onOutputObject = [this](ZRKStreamHandler &handler, const OutputObject &object) {
            _events +=
                QStringLiteral("%1 output %2").arg(numberOf(handler)).arg(object.value().string());
        };
        server->onClose = [this](ZRKStreamHandler &handler) {
            _events += QStringLiteral("closed %1").arg(numberOf(handler));
        };
        return server;
    }
    qsizetype numberOf(ZRKStreamHandler &handler) { return _handlers.indexOf(&handler) + 1; }

    FileHandle connectClient() {
        const auto before = _handlers.size();
        FileHandle client = loopback::connectTo(_server->port());
        if (!runUntil([&] { return _handlers.size() == before + 1; }))
            QTest::qFail("the connection was not accepted", __FILE__, __LINE__);
        return client;
    }
    bool runUntil(const std::function<bool()> &condition) {
        return QTest::qWaitFor([&] { return kit::settle(_runLoop) && condition(); }, 5000);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<FakeDnsSd> _backend;
    QStringList _events;
    // In order of acceptance.
    QList<ZRKStreamHandler *> _handlers;
    std::shared_ptr<ZRKNetServiceServer> _server;
};

QTEST_GUILESS_MAIN(NetServiceServerTest)
#include "tst_netserviceserver.moc"
