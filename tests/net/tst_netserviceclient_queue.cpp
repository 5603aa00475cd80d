// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/net/ClientFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// What becomes of objects between being given to the client and being written.
class NetServiceClientQueueTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture.emplace(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void aClientThatDoesNotRunTakesNothing() {
        QVERIFY(!_fixture->send("early"));
        _fixture->connectOne();
        const auto service = client().services()[0];
        client().stop();
        QVERIFY(!_fixture->send("late"));
        QVERIFY(!client().outputObjectForNetService(OutputObject::fixed(text("late")), *service));
    }

    void withoutAServiceItIsFalse() {
        client().start();
        QVERIFY(!_fixture->send("to nobody"));
    }

    void withAConnectionItIsWritten() {
        _fixture->connectOne();
        QVERIFY(_fixture->send("hello"));
        QCOMPARE(_fixture->connection().written(), objectFrame(text("hello")));
        QCOMPARE(events(), QStringList{QStringLiteral("A Phone got hello")});
    }

    void everyServiceGetsIt() {
        client().start();
        _fixture->appear(phone);
        _fixture->appear(QStringLiteral("B"));
        QVERIFY(_fixture->send("to all"));
        QCOMPARE(_fixture->connections[0]->written(), objectFrame(text("to all")));
        QCOMPARE(_fixture->connections[1]->written(), objectFrame(text("to all")));
    }

    // Whoever is told that an older clip gave way may let go of the phone.
    void itIsFalseWhenOneOfThemGetsNothing() {
        client().onRefuseObject = [this](NetService &, const OutputObject &, qsizetype) {
            _fixture->vanish(phone);
        };
        client().start();
        _fixture->appear(phone);
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        const qsizetype most = ZRKNetServiceClient::largestQueue / 2;
        QVERIFY(queue(relay(u"old"_s, most)));
        _fixture->appear(QStringLiteral("B"));
        QVERIFY(!queue(relay(u"new"_s, most)));
        QCOMPARE(client().services().size(), 1);
        QVERIFY(!_fixture->connection().written().isEmpty());
    }

    void oneServiceCanBeChosen() {
        client().start();
        _fixture->appear(phone);
        _fixture->appear(QStringLiteral("B"));
        QVERIFY(client().outputObjectForNetService(OutputObject::fixed(text("to B")),
                                                   *client().services()[1]));
        QCOMPARE(_fixture->connections[0]->written(), QByteArray());
        QCOMPARE(_fixture->connections[1]->written(), objectFrame(text("to B")));
    }

    void withAServiceButNoConnectionItWaits() {
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        QVERIFY(_fixture->send("patient"));
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connection().written(), objectFrame(text("patient")));
    }

    // The order of events at the first connection: the delegate is told first, and what waited
    // from before goes out with the next connection.
    void whatWaitedForTheFirstConnectionGoesOutWithTheSecond() {
        client().start();
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Never);
        _fixture->appear(phone);
        QVERIFY(_fixture->send("early"));
        client().onOpen = [this](NetService &) {
            events() += QStringLiteral("open");
            QVERIFY(client().isConnected());
            _fixture->send("from open");
        };
        backend().setAnswer(ClientFixture::service(phone), FakeDnsSd::Answer::Normal);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connection().written(), objectFrame(text("from open")));
        QCOMPARE(events(),
                 (QStringList{QStringLiteral("open"), QStringLiteral("A Phone got from open")}));
        events().clear();
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), objectFrame(text("early")));
        QCOMPARE(events(), (QStringList{QStringLiteral("reconnect A Phone"),
                                        QStringLiteral("A Phone got early")}));
    }

    void whatWasNotWrittenIsSentAgainInOrder() {
        _fixture->connectOne();
        const qsizetype room = objectFrame(text("written")).size() + 10;
        _fixture->connection().setRoom(room);
        for (const char *string : {"written", "half", "third", "fourth"})
            QVERIFY(_fixture->send(string));
        QCOMPARE(events(), QStringList{QStringLiteral("A Phone got written")});
        QCOMPARE(_fixture->connection().written().size(), room);
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), objectFrame(text("half")) +
                                                       objectFrame(text("third")) +
                                                       objectFrame(text("fourth")));
        // Written once is written for good.
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), QByteArray());
    }

    void theQueueIsHandedOverBeforeTheReconnectionIsReported() {
        _fixture->connectOne();
        _fixture->connection().setRoom(0);
        QVERIFY(_fixture->send("waiting"));
        client().onReconnect = [this](NetService &) { _fixture->send("after"); };
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(),
                 objectFrame(text("waiting")) + objectFrame(text("after")));
    }

    // Equal objects leave the queue together, also the one that was not written yet.
    void equalObjectsLeaveTheQueueTogether() {
        _fixture->connectOne();
        _fixture->connection().setRoom(objectFrame(text("same")).size());
        QVERIFY(_fixture->send("same"));
        QVERIFY(_fixture->send("other"));
        QVERIFY(_fixture->send("same"));
        QCOMPARE(events(), QStringList{QStringLiteral("A Phone got same")});
        events().clear();
        // The second "same" was queued after the first had left.
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(),
                 objectFrame(text("other")) + objectFrame(text("same")));
        events().clear();
        _fixture->connection().setRoom(0);
        QVERIFY(_fixture->send("same"));
        QVERIFY(_fixture->send("other"));
        QVERIFY(_fixture->send("same"));
        _fixture->connection().setRoom(objectFrame(text("same")).size());
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("A Phone got same")});
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), objectFrame(text("other")));
    }

    void theDelegateIsToldAfterTheObjectHasLeftTheQueue() {
        _fixture->connectOne();
        client().onOutputObject = [this](NetService &, const OutputObject &object) {
            // The connection ends now: sent again would be what is in the queue.
            events() += object.value().string();
            _fixture->connection().end();
        };
        QVERIFY(_fixture->send("once"));
        kit::settle(_fixture->runLoop);
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(),
                 (QStringList{QStringLiteral("once"), QStringLiteral("reconnect A Phone")}));
        QCOMPARE(_fixture->connection().written(), QByteArray());
    }

    void aLiveObjectGoesOutAsItStandsThen() {
        QString value = QStringLiteral("then");
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        QVERIFY(client().outputObject(OutputObject::live([&] { return PropertyList(value); })));
        value = QStringLiteral("now");
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connection().written(), objectFrame(text("now")));
    }

    void manyObjectsMayWait() {
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        QByteArray expected;
        for (int i = 0; i < 2000; ++i) {
            const QByteArray string = QByteArray::number(i);
            QVERIFY(_fixture->send(string.constData()));
            expected += objectFrame(text(string.constData()));
        }
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QVERIFY(_fixture->connection().written() == expected);
    }

    // Bounds of the queue. Nothing is read at the other end.

    void theQueueIsBoundedInBytes_data() {
        QTest::addColumn<int>("difference");
        QTest::addColumn<QStringList>("refused");
        QTest::newRow("one below") << -1 << QStringList();
        QTest::newRow("at the limit") << 0 << QStringList();
        QTest::newRow("one above") << 1 << QStringList{u"first"_s};
    }
    void theQueueIsBoundedInBytes() {
        QFETCH(int, difference);
        QFETCH(QStringList, refused);
        waitForReconnection();
        QVERIFY(queue(relay(u"first"_s, 1000)));
        QVERIFY(queue(relay(u"second"_s, 1000)));
        const qsizetype used = 2 * relay(u"first"_s, 1000).weight();
        const qsizetype rest =
            ZRKNetServiceClient::largestQueue - used - relay(u"third"_s, 0).weight() + difference;
        QCOMPARE(relay(u"first"_s, 1000).weight(), relay(u"third"_s, 1000).weight());
        QVERIFY(queue(relay(u"third"_s, rest)));
        QCOMPARE(_refused, refused);
        if (!refused.isEmpty())
            QCOMPARE(_waiting, ZRKNetServiceClient::largestQueue + difference);
    }

    void theQueueIsBoundedInObjects() {
        waitForReconnection();
        for (qsizetype i = 0; i < ZRKNetServiceClient::mostQueuedObjects; ++i)
            QVERIFY(queue(relay(QString::number(i), 0)));
        QVERIFY(_refused.isEmpty());
        QVERIFY(queue(relay(u"one more"_s, 0)));
        QCOMPARE(_refused, QStringList{u"0"_s});
    }

    void relaysGiveWayBeforeClipsOfThisDesk() {
        waitForReconnection();
        const qsizetype third = ZRKNetServiceClient::largestQueue / 3;
        QVERIFY(queue(OutputObject::fixed(named(u"own"_s, third))));
        QVERIFY(queue(relay(u"old"_s, third)));
        QVERIFY(queue(relay(u"new"_s, third / 2)));
        QVERIFY(queue(OutputObject::fixed(named(u"own too"_s, third))));
        QCOMPARE(_refused, QStringList{u"old"_s});
        // Where no relay is left the oldest of the rest goes.
        QVERIFY(queue(OutputObject::fixed(named(u"own three"_s, 2 * third - 1000))));
        QCOMPARE(_refused, (QStringList{u"old"_s, u"new"_s, u"own"_s}));
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->events.filter(u"got"_s),
                 (QStringList{u"A Phone got own too"_s, u"A Phone got own three"_s}));
    }

    void whatIsTooLargeForAnEmptyQueueIsRefused() {
        waitForReconnection();
        QVERIFY(queue(relay(u"small"_s, 0)));
        QVERIFY(!queue(relay(u"huge"_s, ZRKNetServiceClient::largestQueue)));
        QCOMPARE(_refused, (QStringList{u"small"_s, u"huge"_s}));
        // Nothing of it is counted any more.
        QVERIFY(queue(relay(u"next"_s, ZRKNetServiceClient::largestQueue - 1000)));
        QCOMPARE(_refused.size(), 2);
    }

    void whatIsBeingWrittenStaysWhole() {
        recordRefusals();
        _fixture->connectOne();
        _fixture->connection().setRoom(10);
        const qsizetype half = ZRKNetServiceClient::largestQueue / 2 - 1000;
        QVERIFY(queue(relay(u"begun"_s, half)));
        QVERIFY(queue(relay(u"waits"_s, half)));
        QVERIFY(queue(relay(u"comes"_s, half)));
        QCOMPARE(_refused, QStringList());
        QVERIFY(queue(relay(u"comes too"_s, half)));
        QCOMPARE(_refused, QStringList{u"waits"_s});
        _fixture->connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->events, (QStringList{u"A Phone got begun"_s, u"A Phone got comes"_s,
                                                u"A Phone got comes too"_s}));
        // What was written is counted no more.
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
        QVERIFY(queue(relay(u"after"_s, ZRKNetServiceClient::largestQueue - 1000)));
        QCOMPARE(_refused.size(), 1);
    }

    void removalDropsTheQueue() {
        _fixture->connectOne();
        _fixture->connection().setRoom(0);
        QVERIFY(_fixture->send("lost"));
        _fixture->vanish(phone);
        _fixture->appear(phone);
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), QByteArray());
    }

    void stopDropsTheQueue() {
        _fixture->connectOne();
        _fixture->connection().setRoom(0);
        QVERIFY(_fixture->send("lost"));
        client().stop();
        client().start();
        kit::settle(_fixture->runLoop);
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), QByteArray());
    }

    void aWriteErrorKeepsTheObjectForTheNextConnection() {
        _fixture->connectOne();
        _fixture->connection().breakOutput();
        QVERIFY(_fixture->send("again"));
        QVERIFY(!client().isConnected());
        _fixture->runLoop.advance(ZRKNetServiceClient::reconnectDelay);
        kit::settle(_fixture->runLoop);
        QCOMPARE(_fixture->connection().written(), objectFrame(text("again")));
    }

    // An object that no connection can write is not carried from one to the next for ever.
    void anUnwritableObjectLeavesTheQueue() {
        PropertyList deep;
        for (int level = 0; level <= PropertyListSerialization::maximumDepth; ++level)
            deep = PropertyList(PropertyList::List{deep});
        _fixture->connectOne();
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^ERROR ENCODING DATA .+")));
        QVERIFY(client().outputObject(OutputObject::fixed(deep)));
        QVERIFY(_fixture->send("next"));
        QCOMPARE(_fixture->connection().written(), objectFrame(text("next")));
        _fixture->dropAndReconnect();
        QCOMPARE(_fixture->connection().written(), QByteArray());
    }

    void phonesAreServedApart() {
        client().start();
        _fixture->appear(phone);
        _fixture->appear(QStringLiteral("B"));
        _fixture->connections[0]->setRoom(0);
        QVERIFY(_fixture->send("for both"));
        QCOMPARE(_fixture->connections[1]->written(), objectFrame(text("for both")));
        // The first phone sends garbage, then nothing: the second one is served on.
        _fixture->connections[0]->feed(QByteArray(100000, 'g'));
        kit::settle(_fixture->runLoop);
        QVERIFY(_fixture->send("more"));
        QCOMPARE(_fixture->connections[1]->takeWritten(),
                 objectFrame(text("for both")) + objectFrame(text("more")));
    }

private:
    static PropertyList named(const QString &name, qsizetype size) {
        return PropertyList(PropertyList::Dictionary{{u"name"_s, name.leftJustified(9)},
                                                     {u"data"_s, QByteArray(size, 'x')}});
    }
    static OutputObject relay(const QString &name, qsizetype size) {
        return OutputObject::relay(named(name, size));
    }
    static QString nameOf(const OutputObject &object) {
        return object.value().find(u"name"_s)->string().trimmed();
    }
    bool queue(const OutputObject &object) { return _fixture->client->outputObject(object); }
    void recordRefusals() {
        _refused.clear();
        _fixture->client->onOutputObject = [this](NetService &service, const OutputObject &object) {
            _fixture->events += service.name() + u" got "_s + nameOf(object);
        };
        _fixture->client->onRefuseObject = [this](NetService &, const OutputObject &object,
                                                  qsizetype waiting) {
            _refused += nameOf(object);
            _waiting = waiting;
        };
    }
    void waitForReconnection() {
        recordRefusals();
        _fixture->connectOne();
        _fixture->connection().end();
        kit::settle(_fixture->runLoop);
    }

    QStringList _refused;
    qsizetype _waiting = 0;
    inline static const QString phone = ClientFixture::phone;

    ZRKNetServiceClient &client() { return *_fixture->client; }
    FakeDnsSd &backend() { return _fixture->backend; }
    QStringList &events() { return _fixture->events; }

    std::optional<ClientFixture> _fixture;
};

QTEST_GUILESS_MAIN(NetServiceClientQueueTest)
#include "tst_netserviceclient_queue.moc"
