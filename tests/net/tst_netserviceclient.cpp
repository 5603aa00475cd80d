// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/net/ClientFixture.h"

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

// Finding, connecting, losing and finding again; what is sent meanwhile has a test of its own.
class NetServiceClientTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture.emplace(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void nothingHappensBeforeStart() {
        _fixture->appear(phone);
        QVERIFY(!backend().isWatched());
        QVERIFY(client().services().isEmpty());
        QVERIFY(!client().isConnected());
    }

    void findsResolvesAndConnects() {
        client().start();
        kit::settle(_fixture->runLoop);
        QCOMPARE(backend().browsedTypes(), QStringList{ClientFixture::type});
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
        QVERIFY(client().isConnected());
        QCOMPARE(client().services().size(), 1);
        QCOMPARE(client().services()[0]->name(), phone);
        QCOMPARE(backend().connections().size(), 1);
        QCOMPARE(backend().connections()[0].endpoints.size(), 1);
        QCOMPARE(backend().connections()[0].endpoints[0].port, quint16(4711));
        QVERIFY(_fixture->connection().isOpen());
    }

    void startTwiceBrowsesOnce() {
        client().start();
        client().start();
        _fixture->appear(phone);
        QCOMPARE(backend().browsedTypes().size(), 1);
        QCOMPARE(events().size(), 1);
    }

    void objectsArePassedUpWithTheirService() {
        _fixture->connectOne();
        _fixture->connection().feed(kit::objectFrame(text("hello")));
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("A Phone sent hello")});
    }

    void aServiceOfAnotherNameIsIgnored() {
        _fixture.emplace(QString(phone));
        client().start();
        _fixture->appear(QStringLiteral("Another Phone"));
        _fixture->appear(QStringLiteral("a phone"));
        QVERIFY(client().services().isEmpty());
        QCOMPARE(events(), QStringList());
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
        events().clear();
        _fixture->vanish(QStringLiteral("Another Phone"));
        QCOMPARE(events(), QStringList());
        _fixture->vanish(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("close A Phone")});
    }

    void withoutANameEveryServiceIsUsed() {
        client().start();
        _fixture->appear(phone);
        _fixture->appear(QStringLiteral("Another Phone"));
        QCOMPARE(client().services().size(), 2);
        QCOMPARE(events(), (QStringList{QStringLiteral("open A Phone"),
                                        QStringLiteral("open Another Phone")}));
    }

    void theDelegateMayRefuseAService() {
        client().onShouldResolve = [](NetService &service) { return service.name() != phone; };
        client().start();
        _fixture->appear(phone);
        QVERIFY(client().services().isEmpty());
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 0);
        // Without a name to go by, its removal is reported all the same.
        _fixture->vanish(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("close A Phone")});
    }

    void theSameServiceFoundTwiceIsListedOnce() {
        _fixture->connectOne();
        backend().reportAgain(ClientFixture::service(phone));
        kit::settle(_fixture->runLoop);
        QCOMPARE(client().services().size(), 1);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
        QCOMPARE(events(), QStringList());
    }

    void aRemovedServiceIsClosedAndReported() {
        _fixture->connectOne();
        _fixture->vanish(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("close A Phone")});
        QVERIFY(_fixture->connection().isClosed());
        QVERIFY(client().services().isEmpty());
        QVERIFY(!client().isConnected());
        // Not tried again, until it is found again, as for the first time.
        _fixture->runLoop.advance(200.0);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
        events().clear();
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
    }

    void aServiceRemovedWhileItIsLookedForIsNotConnected() {
        client().start();
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Never);
        _fixture->appear(phone);
        QCOMPARE(backend().resolving().size(), 1);
        _fixture->vanish(phone);
        QCOMPARE(backend().resolving().size(), 0);
        QCOMPARE(events(), QStringList{QStringLiteral("close A Phone")});
    }

    void aDroppedConnectionIsMadeAgainAfterFiveSeconds() {
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        QVERIFY(!client().isConnected());
        // The service is still there: nobody is told.
        QCOMPARE(events(), QStringList());
        QCOMPARE(client().services().size(), 1);
        _fixture->runLoop.advance(4.9);
        QVERIFY(!client().isConnected());
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
        _fixture->runLoop.advance(0.2);
        kit::settle(_fixture->runLoop);
        // Looked for afresh.
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 2);
        QVERIFY(client().isConnected());
        QCOMPARE(events(), QStringList{QStringLiteral("reconnect A Phone")});
    }

    void aServiceThatMovedIsFoundAtItsNewPlace() {
        _fixture->connectOne();
        backend().appear(ClientFixture::service(phone),
                         {{QHostAddress(QStringLiteral("::1")), 815}});
        _fixture->dropAndReconnect();
        QCOMPARE(backend().connections().size(), 2);
        QCOMPARE(backend().connections()[1].endpoints[0].port, quint16(815));
    }

    void twoDropsInARowReconnectOnce() {
        client().start();
        _fixture->appear(phone);
        _fixture->appear(QStringLiteral("Another Phone"));
        _fixture->connections[0]->end();
        kit::settle(_fixture->runLoop);
        _fixture->runLoop.advance(3.0);
        _fixture->connections[1]->end();
        kit::settle(_fixture->runLoop);
        // The request that was pending is replaced.
        _fixture->runLoop.advance(4.9);
        QVERIFY(!client().isConnected());
        _fixture->runLoop.advance(0.2);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connections.size(), size_t(4));
    }

    void aFailedResolveIsTriedAgainEverySixtySeconds() {
        client().start();
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Never);
        _fixture->appear(phone);
        QCOMPARE(backend().resolving().size(), 1);
        _fixture->runLoop.advance(9.9);
        QCOMPARE(backend().resolving().size(), 1);
        _fixture->runLoop.advance(0.2);
        QCOMPARE(backend().resolving().size(), 0);
        QVERIFY(!client().isConnected());
        _fixture->runLoop.advance(49.8);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
        _fixture->runLoop.advance(0.2);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 2);
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Normal);
        kit::settle(_fixture->runLoop);
        // Its first connection still.
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
    }

    // The minutes count from the start, whenever the service was lost.
    void aServiceThatIsLostLaterIsTriedAgainAtTheFullMinute() {
        _fixture->connectOne();
        _fixture->runLoop.advance(70.0);
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Never);
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        // Looked for from 75 to 85 seconds.
        _fixture->runLoop.advance(49.9);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 2);
        _fixture->runLoop.advance(0.2);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 3);
        // And from 120 to 130.
        _fixture->runLoop.advance(59.8);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 3);
        _fixture->runLoop.advance(0.2);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 4);
    }

    void theFullMinuteMayComeBeforeTheFiveSeconds() {
        _fixture->connectOne();
        _fixture->runLoop.advance(57.0);
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        _fixture->runLoop.advance(2.9);
        QVERIFY(!client().isConnected());
        _fixture->runLoop.advance(0.2);
        kit::settle(_fixture->runLoop);
        QVERIFY(client().isConnected());
    }

    void nothingWakesAClientThatIsConnected() {
        client().start();
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->runLoop.pendingCount(), 0);
        _fixture->appear(phone);
        QVERIFY(client().isEstablished());
        // The ping of its connection alone.
        QCOMPARE(_fixture->runLoop.pendingCount(), 1);
        QVERIFY(_fixture->runLoop.timeToNext() >= RunLoop::Seconds(180));
        _fixture->dropAndReconnect();
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectInterval);
        QVERIFY(client().isEstablished());
        QCOMPARE(_fixture->runLoop.pendingCount(), 1);
    }

    void aServiceThatIsBeingLookedForIsNotLookedForTwice() {
        client().start();
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Never);
        _fixture->appear(phone);
        client().reconnect();
        client().reconnect();
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
    }

    void aConnectedServiceIsNotLookedForAgain() {
        _fixture->connectOne();
        client().reconnect();
        _fixture->runLoop.advance(120.0);
        QCOMPARE(backend().resolveCount(ClientFixture::service(phone)), 1);
    }

    void withoutStreamsItIsTriedAgain() {
        _fixture->noStreams = true;
        QString failure;
        client().onChangeConnection = [&](NetService &, const QString &told) { failure = told; };
        client().start();
        QTest::ignoreMessage(QtWarningMsg, "FAILED TO GET STREAM");
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList());
        QCOMPARE(failure, QStringLiteral("no connection could be made"));
        QVERIFY(!client().isConnected());
        QCOMPARE(_fixture->runLoop.pendingCount(), 1);
        _fixture->noStreams = false;
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectInterval);
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
    }

    // The phone is found but does not answer: a connection that fails to open counts as one.
    void aConnectionThatFailsToOpenIsMadeAgain() {
        _fixture->holdConnections = true;
        client().start();
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
        _fixture->connection().fail();
        kit::settle(_fixture->runLoop);
        QVERIFY(!client().isConnected());
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connections.size(), size_t(2));
    }

    void stopTellsNobodyAndEndsEverything() {
        _fixture->connectOne();
        _fixture->appear(QStringLiteral("Another Phone"));
        events().clear();
        client().stop();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList());
        QVERIFY(_fixture->connections[0]->isClosed());
        QVERIFY(_fixture->connections[1]->isClosed());
        QVERIFY(client().services().isEmpty());
        QVERIFY(!client().isConnected());
        QVERIFY(backend().browsedTypes().isEmpty());
        _fixture->vanish(phone);
        _fixture->runLoop.advance(200.0);
        QCOMPARE(events(), QStringList());
        QCOMPARE(_fixture->runLoop.pendingCount(), 0);
    }

    void aDelayedReconnectAfterStopDoesNothing() {
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        client().stop();
        _fixture->runLoop.advance(20.0);
        client().reconnect();
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connections.size(), size_t(1));
    }

    void destructionStops() {
        _fixture->connectOne();
        _fixture->client.reset();
        kit::settle(_fixture->runLoop);
        QVERIFY(_fixture->connection().isClosed());
        QVERIFY(backend().browsedTypes().isEmpty());
        QCOMPARE(events(), QStringList());
        QCOMPARE(_fixture->runLoop.pendingCount(), 0);
    }

    void startsAgainAfterStop() {
        _fixture->connectOne();
        client().stop();
        client().start();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
    }

    void txtRecordsAreWatchedOnlyForADelegateThatWantsThem() {
        _fixture->connectOne();
        QVERIFY(backend().watchedTxtRecords().isEmpty());
        QStringList names;
        client().onUpdateServiceDictionary =
            [&](NetService &service, const std::optional<ServiceDictionary> &dictionary) {
                const PropertyList *name = find(*dictionary, QStringLiteral("n"));
                names += service.name() + u' ' + (name ? name->string() : QStringLiteral("-"));
            };
        client().stop();
        client().start();
        kit::settle(_fixture->runLoop);
        QCOMPARE(backend().watchedTxtRecords().size(), 1);
        _fixture->appear(QStringLiteral("B"));
        QCOMPARE(backend().watchedTxtRecords().size(), 2);
        backend().changeTxtRecord(ClientFixture::service(phone), QByteArrayLiteral("\x03n=x"));
        kit::settle(_fixture->runLoop);
        QCOMPARE(names, (QStringList{QStringLiteral("A Phone -"), QStringLiteral("B -"),
                                     QStringLiteral("A Phone x")}));
        client().stop();
        QVERIFY(backend().watchedTxtRecords().isEmpty());
    }

    void anUnreadableTxtRecordIsNoDictionary() {
        std::optional<ServiceDictionary> last = ServiceDictionary();
        client().onUpdateServiceDictionary =
            [&](NetService &, const std::optional<ServiceDictionary> &dictionary) {
                last = dictionary;
            };
        _fixture->connectOne();
        QVERIFY(last && last->isEmpty());
        backend().changeTxtRecord(ClientFixture::service(phone), QByteArray());
        kit::settle(_fixture->runLoop);
        QVERIFY(!last);
    }

    void callbacksMayStopTheClientOrLetGoOfIt_data() {
        QTest::addColumn<QString>("where");
        QTest::addColumn<QString>("what");
        for (const char *where :
             {"should resolve", "open", "reconnect", "close", "receive", "output", "dictionary"}) {
            for (const char *what : {"stop", "let go", "start anew"})
                QTest::addRow("%s in %s", what, where)
                    << QString::fromLatin1(where) << QString::fromLatin1(what);
        }
    }
    void callbacksMayStopTheClientOrLetGoOfIt() {
        QFETCH(QString, where);
        QFETCH(QString, what);
        bool called = false;
        const auto act = [&] {
            if (std::exchange(called, true))
                return;
            if (what == u"let go") {
                _fixture->client.reset();
                return;
            }
            client().stop();
            if (what == u"start anew")
                client().start();
        };
        if (where == u"should resolve")
            client().onShouldResolve = [=](NetService &) {
                act();
                return true;
            };
        if (where == u"open")
            client().onOpen = [=](NetService &) { act(); };
        if (where == u"reconnect")
            client().onReconnect = [=](NetService &) { act(); };
        if (where == u"close")
            client().onClose = [=](NetService &) { act(); };
        if (where == u"receive")
            client().onReceiveObject = [=](NetService &, const PropertyList &) { act(); };
        if (where == u"output")
            client().onOutputObject = [=](NetService &, const OutputObject &) { act(); };
        if (where == u"dictionary")
            client().onUpdateServiceDictionary =
                [=](NetService &, const std::optional<ServiceDictionary> &) { act(); };
        client().start();
        _fixture->appear(phone);
        if (where == u"reconnect")
            _fixture->dropAndReconnect();
        if (where == u"close")
            _fixture->vanish(phone);
        if (where == u"receive") {
            _fixture->connection().feed(kit::objectFrame(text("x")) + kit::objectFrame(text("y")));
            kit::settle(_fixture->runLoop);
        }
        if (where == u"output")
            _fixture->send("x");
        QVERIFY(called);
        kit::settle(_fixture->runLoop);
        if (what == u"start anew") {
            QCOMPARE(client().services().size(), where == u"close" ? 0 : 1);
            QCOMPARE(client().isConnected(), where != u"close");
        } else {
            QVERIFY(!_fixture->client || client().services().isEmpty());
            for (const auto &connection : _fixture->connections)
                QVERIFY(connection->isClosed());
            QVERIFY(backend().browsedTypes().isEmpty());
        }
    }

    // Also where somebody else still holds it.
    void aRemovedServiceIsStopped() {
        client().onUpdateServiceDictionary = [](NetService &,
                                                const std::optional<ServiceDictionary> &) {};
        client().start();
        _fixture->appear(phone);
        const auto kept = client().services()[0];
        QCOMPARE(backend().watchedTxtRecords().size(), 1);
        _fixture->vanish(phone);
        QCOMPARE(backend().watchedTxtRecords().size(), 0);
    }

    void onlyTheNamedServiceIsLookedFor() {
        _fixture.emplace(QString(phone));
        client().start();
        for (int number = 0; number < 1001; ++number)
            backend().appear(ClientFixture::service(QString::number(number)), {});
        _fixture->appear(phone);
        QCOMPARE(events(), QStringList{QStringLiteral("open A Phone")});
    }

    // With the phone's name, and nothing of what is in a message.
    void whatHappensIsToldOnRequest() {
        static QStringList lines;
        lines.clear();
        QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*.debug=true"));
        const auto before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &line) { lines += line; });
        const auto restore = qScopeGuard([&] {
            qInstallMessageHandler(before);
            QLoggingCategory::setFilterRules({});
        });
        const QString name = QStringLiteral("A\nPhone");
        client().onReceiveObject = {};
        client().start();
        _fixture->appear(name);
        const QByteArray frame = kit::objectFrame(
            PropertyList(PropertyList::Dictionary{{QStringLiteral("1"), text("secret")}}));
        _fixture->connection().feed(frame);
        kit::settle(_fixture->runLoop);
        _fixture->connection().feed(kit::objectFrame(text("secret")));
        kit::settle(_fixture->runLoop);
        QVERIFY(_fixture->send("secret"));
        const qsizetype sent = kit::objectFrame(text("secret")).size();
        _fixture->dropAndReconnect();
        _fixture->vanish(name);
        const QString phoneName = QStringLiteral("\"A\\nPhone\": ");
        const QString place = QStringLiteral(".local at 127.0.0.1:4711");
        QStringList told;
        for (const QString &line : lines) {
            QVERIFY2(line.startsWith(phoneName), qPrintable(line));
            QVERIFY2(!line.contains(u"secret"), qPrintable(line));
            told += line.mid(phoneName.size())
                        .remove(QRegularExpression(QStringLiteral("\\S+(?=\\.local at)")));
        }
        const auto received = [](qsizetype size, const char *what) {
            return QStringLiteral("received %1 bytes, %2")
                .arg(size - StreamFrame::headerSize)
                .arg(QLatin1String(what));
        };
        QCOMPARE(told,
                 (QStringList{
                     QStringLiteral("found"), QStringLiteral("resolved, ") + place,
                     QStringLiteral("connecting to ") + place, QStringLiteral("connected"),
                     received(frame.size(), "message of type 1"), received(sent, "no message"),
                     QStringLiteral("sent %1 bytes").arg(sent),
                     QStringLiteral("closed, by the peer"), QStringLiteral("resolved, ") + place,
                     QStringLiteral("connecting to ") + place, QStringLiteral("connected"),
                     QStringLiteral("gone"), QStringLiteral("closed, from here")}));
    }

    void whyAConnectionEndedIsToldOnRequest() {
        static QStringList reasons;
        reasons.clear();
        QLoggingCategory::setFilterRules(QStringLiteral("clipmule.net.debug=true"));
        const auto before =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &line) {
                if (line.contains(u"closed"))
                    reasons += line;
            });
        const auto restore = qScopeGuard([&] {
            qInstallMessageHandler(before);
            QLoggingCategory::setFilterRules({});
        });
        const auto reconnect = [this] {
            _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
            kit::settle(_fixture->runLoop);
        };
        _fixture->holdConnections = true;
        client().start();
        _fixture->appear(phone);
        _fixture->connection().fail();
        kit::settle(_fixture->runLoop);
        _fixture->holdConnections = false;
        reconnect();
        _fixture->connection().fail();
        kit::settle(_fixture->runLoop);
        reconnect();
        QByteArray header(StreamFrame::headerSize, '\0');
        StreamFrame::writeObjectHeader(header.data(), ZRKStreamHandler::largestPayload + 1);
        _fixture->connection().feed(header);
        kit::settle(_fixture->runLoop);
        const QString closed = QStringLiteral("\"A Phone\": closed, ");
        QCOMPARE(reasons, (QStringList{closed + QStringLiteral("no address answered"),
                                       closed + QStringLiteral("the connection failed"),
                                       closed + QStringLiteral("a frame is too large")}));
    }

private:
    inline static const QString phone = ClientFixture::phone;

    ZRKNetServiceClient &client() { return *_fixture->client; }
    FakeDnsSd &backend() { return _fixture->backend; }
    QStringList &events() { return _fixture->events; }

    std::optional<ClientFixture> _fixture;
};

QTEST_GUILESS_MAIN(NetServiceClientTest)
#include "tst_netserviceclient.moc"
