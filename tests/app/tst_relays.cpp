// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

PropertyList textClip(const QString &text) {
    return PropertyList(PropertyList::Dictionary{
        {u"items"_s,
         PropertyList::List{PropertyList(PropertyList::Dictionary{{u"string"_s, text}})}}});
}

// The messages among what a phone received that are of one type.
QList<PropertyList> payloads(const QList<PropertyList> &objects, const QString &type) {
    QList<PropertyList> found;
    for (const PropertyList &object : objects) {
        if (const PropertyList *payload = object.find(type))
            found.append(*payload);
    }
    return found;
}

} // namespace

// What one phone sends for the others, and what of a phone's messages is not taken.
class RelaysTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _agent = std::make_unique<AgentFixture>(); }

    void end() override { _agent.reset(); }

private Q_SLOTS:
    // A clip for the other phones

    void relaysToTheOtherConnectedPhones() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        _agent->setRegistered({u"Anna"_s, u"Ben"_s, u"Cleo"_s});
        const PropertyList sent = textClip(u"for the others"_s);
        anna->send(u"2"_s, sent);
        _agent->settle();
        QCOMPARE(payloads(ben->received(), u"1"_s), QList<PropertyList>{sent});
        QVERIFY(payloads(anna->received(), u"1"_s).isEmpty());
        QVERIFY(_agent->pasteboard.contents().isEmpty());
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(u"missing"_s));
        // Cleo was not there; nothing waits for her.
        const auto cleo = _agent->appear(u"Cleo"_s);
        cleo->connection().end();
        _agent->advance(5);
        QVERIFY(payloads(cleo->received(), u"1"_s).isEmpty());
    }

    void nothingIsQueuedForAPhoneWhoseConnectionDropped() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        ben->connection().end();
        _agent->settle();
        anna->send(u"2"_s, textClip(u"for whoever is there"_s));
        _agent->advance(5);
        QCOMPARE(ben->connections.size(), 2);
        QVERIFY(payloads(ben->received(), u"1"_s).isEmpty());
        // What this desk copies waits for him.
        ben->connection().end();
        _agent->settle();
        _agent->pasteboard.copyText(u"for all"_s);
        _agent->advance(5);
        QCOMPARE(ben->connections.size(), 3);
        QCOMPARE(payloads(ben->received(), u"1"_s).size(), 1);
    }

    void aFailureWhilePassingOnIsLogged() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        struct Failing final : Object {
            void fail() { throw PlatformException(u"Trouble"_s, u"observer failed"_s); }
        } failing;
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(&failing, selector<&Failing::fail>("fail"), ZRKStreamDidSendData);
        QTest::ignoreMessage(QtWarningMsg,
                             "ERROR SENDING TO OTHER CLIENT Trouble: observer failed");
        anna->send(u"2"_s, textClip(u"for the others"_s));
        _agent->settle();
        center.removeObserver(&failing);
        QVERIFY(_agent->app->isConnected());
    }

    void aPhoneThatDoesNotReadLosesTheOldestRelays() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        ben->connection().setRoom(0);
        const auto send = [&](const QString &id) {
            anna->send(u"2"_s,
                       PropertyList(PropertyList::Dictionary{
                           {u"oid"_s, id}, {u"data"_s, QByteArray(20 * 1024 * 1024, 'x')}}));
            _agent->settle();
        };
        send(u"1"_s);
        send(u"2"_s);
        send(u"3"_s);
        QVERIFY(_agent->app->refusals().isEmpty());
        send(u"4"_s);
        QCOMPARE(_agent->app->refusals().size(), 1);
        const Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.direction, Refusal::Direction::ForPhone);
        QCOMPARE(refusal.reason, Refusal::Reason::QueueFull);
        QCOMPARE(refusal.phone, u"Ben's name"_s);
        QVERIFY(refusal.size > 80U * 1024 * 1024);
        QCOMPARE(refusal.limit, quint64(ZRKNetServiceClient::largestQueue));
        QCOMPARE(refusal.detail, u"sent by another phone"_s);
        QCOMPARE(_agent->notice.messages.size(), 1);
        ben->connection().setRoom(kit::MemoryConnection::unlimited);
        _agent->settle();
        QStringList arrived;
        for (const PropertyList &one : payloads(ben->received(), u"1"_s))
            arrived += one.find(u"oid"_s)->string();
        QCOMPARE(arrived, (QStringList{u"2"_s, u"3"_s, u"4"_s}));
    }

    void aClipThatCannotBeWrittenIsTold() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        PropertyList deep(u"text"_s);
        // As deep as a message may be, and the envelope around it.
        for (int level = 0; level < PropertyListSerialization::maximumDepth; ++level)
            deep = PropertyList(PropertyList::List{deep});
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"ERROR ENCODING DATA"_s));
        const auto service = NetService::initWithDomainTypeNamePort(
            _agent->backend, QString(), u"_clipmule-s2._tcp"_s, u"Anna"_s, 1);
        _agent->app->clientServiceDidReceiveClipmuleDataForDevices(*service, deep);
        const Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.direction, Refusal::Direction::ForPhone);
        QCOMPARE(refusal.reason, Refusal::Reason::Damaged);
        QCOMPARE(refusal.phone, u"Ben's name"_s);
        QCOMPARE(_agent->app->refusals().size(), 1);
    }

    void aPhoneCannotFloodTheLog() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        for (int i = 0; i < LogLimit::linesPerInterval; ++i)
            QTest::ignoreMessage(QtWarningMsg, "COULDN'T HANDLE {99: 5}");
        const PropertyList unknown(PropertyList::Dictionary{{u"99"_s, 5}});
        for (int i = 0; i < LogLimit::linesPerInterval + 7; ++i)
            anna->send(unknown);
        _agent->settle();
        QTest::ignoreMessage(QtWarningMsg, "COULDN'T HANDLE {99: 6}");
        ben->send(PropertyList(PropertyList::Dictionary{{u"99"_s, 6}}));
        _agent->settle();
        QTest::ignoreMessage(QtWarningMsg, "7 more lines about \"Anna\" were left out");
        _agent->advance(LogLimit::interval.count());
        QTest::ignoreMessage(QtWarningMsg, "COULDN'T HANDLE {99: 5}");
        anna->send(unknown);
        _agent->settle();
    }

    void whatThePhoneSendsIsRefusedAloud() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"ERROR DECODING DATA"_s));
        phone->connection().feed(QByteArray("\x00KRZ\x03\x00\x00\x00<<<", 11));
        _agent->settle();
        Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.direction, Refusal::Direction::FromPhone);
        QCOMPARE(refusal.reason, Refusal::Reason::Damaged);
        QCOMPARE(refusal.phone, u"Anna's name"_s);
        QVERIFY(!refusal.detail.isEmpty());
        QTest::ignoreMessage(QtWarningMsg, "FRAME TOO LARGE 67108865");
        phone->connection().feed(QByteArray("\x00KRZ\x01\x00\x00\x04", 8));
        _agent->settle();
        refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.reason, Refusal::Reason::TooLarge);
        QCOMPARE(refusal.size, 67108865U);
        QCOMPARE(refusal.limit, 67108864U);
        QCOMPARE(_agent->notice.messages.size(), 2);
    }

private:
    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(RelaysTest)
#include "tst_relays.moc"
