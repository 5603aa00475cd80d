// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

constexpr double interval = InboundClips::pasteInterval.count();
const int mostWaiting = int(InboundClips::mostWaiting);

PropertyList clipOf(const PropertyList::Dictionary &item) {
    return PropertyList(
        PropertyList::Dictionary{{u"items"_s, PropertyList::List{PropertyList(item)}}});
}
PropertyList textClip(const QString &text) {
    return clipOf({{u"string"_s, text}});
}
PropertyList mixedClip() {
    return PropertyList(PropertyList::Dictionary{
        {u"items"_s,
         PropertyList::List{
             PropertyList(PropertyList::Dictionary{{u"string"_s, u"text"_s}}),
             PropertyList(PropertyList::Dictionary{{u"imageData"_s, QByteArray("bytes")}})}}});
}
PropertyList imageClip() {
    return clipOf({{u"imageData"_s, QByteArray("no image, but bytes")}});
}

} // namespace

// A phone sends many clips at once. The loop keeps turning, the newest clips win, and nothing is
// passed over in silence.
class BurstsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _agent = std::make_unique<AgentFixture>();
        _phone = _agent->connectedPhone(u"Anna"_s);
    }

    void end() override {
        _phone.reset();
        _agent.reset();
    }

private Q_SLOTS:
    void aClipThatComesAloneIsPastedAtOnce() {
        send(textClip(u"one"_s));
        QCOMPARE(pastes(), 1);
        _agent->advance(interval);
        send(textClip(u"two"_s));
        QCOMPARE(pastes(), 2);
    }

    void aSecondOneWaitsUntilTheFirstWasFetched() {
        send(textClip(u"one"_s));
        _agent->advance(0.1);
        send(textClip(u"two"_s));
        send(textClip(u"three"_s));
        _agent->advance(interval - 0.11);
        QCOMPARE(pastes(), 1);
        QCOMPARE(text(), u"one"_s);
        _agent->advance(0.02);
        QCOMPARE(pastes(), 2);
        QCOMPARE(text(), u"two"_s);
        _agent->advance(interval);
        QCOMPARE(pastes(), 3);
        QCOMPARE(text(), u"three"_s);
        QVERIFY(_agent->app->refusals().isEmpty());
    }

    void asManyMayWait_data() {
        QTest::addColumn<int>("waiting");
        QTest::addColumn<QStringList>("pasted");
        QTest::addColumn<int>("refused");
        QStringList all;
        for (int i = 0; i <= mostWaiting; ++i)
            all += QString::number(i);
        QTest::newRow("one below") << mostWaiting - 1 << all.first(mostWaiting) << 0;
        QTest::newRow("at the limit") << mostWaiting << all << 0;
        QStringList newest = all + QStringList{QString::number(mostWaiting + 1)};
        newest.removeAt(1);
        QTest::newRow("one above") << mostWaiting + 1 << newest << 1;
    }
    void asManyMayWait() {
        QFETCH(int, waiting);
        QFETCH(QStringList, pasted);
        QFETCH(int, refused);
        for (int i = 0; i <= waiting; ++i)
            send(textClip(QString::number(i)));
        QStringList seen{text()};
        for (int step = 0; step < 40; ++step) {
            _agent->advance(interval);
            if (seen.constLast() != text())
                seen += text();
        }
        QCOMPARE(seen, pasted);
        _agent->advance(10);
        QCOMPARE(pastes(), pasted.size());
        QCOMPARE(_agent->app->refusals().size(), refused);
    }

    void aHundredImagesInOneWriteLeaveTheLoopItsTurns() {
        QByteArray burst;
        for (int i = 0; i < 100; ++i)
            burst += frameOf(PropertyList(PropertyList::Dictionary{{u"1"_s, imageClip()}}));
        _phone->connection().feed(burst);
        // Menus, sleep and quitting are served between two turns.
        RunLoop::Seconds longest{0};
        for (int turn = 0; turn < 2000; ++turn) {
            const RunLoop::Seconds before = _agent->runLoop.paused();
            _agent->runLoop.runOnce();
            longest = std::max(longest, _agent->runLoop.paused() - before);
        }
        _agent->advance(60);
        QVERIFY(longest.count() > 0.6);
        QVERIFY(longest.count() < 0.7);
        QCOMPARE(pastes(), 1 + mostWaiting);
        QCOMPARE(_agent->app->refusals().size(), 1);
        const Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.reason, Refusal::Reason::Overtaken);
        QCOMPARE(refusal.phone, u"Anna's name"_s);
        QCOMPARE(refusal.count, quint64(100 - 1 - mostWaiting));
        // Told once, not for each of them.
        QCOMPARE(_agent->notice.messages.size(), 1);
    }

    void aPhoneThatSendsWithoutEndLeavesTimeForTheMenu() {
        const double inFlood = InboundClips::pasteIntervalInFlood.count();
        for (int i = 0; i < 300; ++i) {
            send(textClip(QString::number(i)));
            _agent->advance(0.1);
        }
        const qsizetype before = pastes();
        // The first ones went before any was passed over.
        QVERIFY(before <= 30 / inFlood + mostWaiting);
        QVERIFY(before >= 30 / inFlood);
        // When it stops, what waits is pasted as always, once the last that was passed over counts
        // no more.
        _agent->advance(2 * inFlood + (mostWaiting - 1) * interval);
        QCOMPARE(pastes(), before + mostWaiting);
        QCOMPARE(text(), u"299"_s);
    }

    void theIntervalBeginsWhenTheImageIsThere() {
        send(imageClip());
        QVERIFY(_agent->runLoop.paused().count() > 0.6);
        send(textClip(u"next"_s));
        _agent->advance(interval - 0.01);
        QCOMPARE(pastes(), 1);
        _agent->advance(0.02);
        QCOMPARE(pastes(), 2);
    }

    void largeClipsDoNotPileUp_data() {
        QTest::addColumn<quint64>("second");
        QTest::addColumn<int>("pastes");
        const quint64 limit = InboundClips::largestWaiting;
        QTest::newRow("one below") << limit - 1001 << 3;
        QTest::newRow("at the limit") << limit - 1000 << 3;
        QTest::newRow("one above") << limit - 999 << 2;
        // The newest is never too large to wait.
        QTest::newRow("alone above") << limit + 1 << 2;
    }
    void largeClipsDoNotPileUp() {
        QFETCH(quint64, second);
        QFETCH(int, pastes);
        send(textClip(u"now"_s));
        const auto receive = [this](quint64 size) {
            const auto service = NetService::initWithDomainTypeNamePort(
                _agent->backend, QString(), u"_clipmule-s2._tcp"_s, u"Anna"_s, 1);
            _agent->app->clientServiceDidReceiveClipmuleData(
                *service, clipOf({{u"string"_s, QString(qsizetype(size), u'x')}}));
        };
        receive(1000);
        receive(second);
        _agent->advance(10);
        QCOMPARE(this->pastes(), pastes);
    }

    void relaysAndRecordsAreAllHandled() {
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        QByteArray burst;
        for (int i = 0; i < 50; ++i) {
            burst += frameOf(
                PropertyList(PropertyList::Dictionary{{u"2"_s, textClip(QString::number(i))}}));
            burst += frameOf(PropertyList(PropertyList::Dictionary{
                {u"4"_s,
                 PropertyList(PropertyList::Dictionary{{u"name"_s, QString::number(i)}})}}));
        }
        _phone->connection().feed(burst);
        _agent->settle();
        int relayed = 0;
        int records = 0;
        for (const PropertyList &object : ben->received()) {
            relayed += object.find(u"1"_s) ? 1 : 0;
            records += object.find(u"3"_s) ? 1 : 0;
        }
        QCOMPARE(relayed, 50);
        QCOMPARE(records, 50);
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"49"_s});
    }

    void whatWaitsIsNotPastedOnceTheSyncIsOff() {
        send(textClip(u"one"_s));
        send(textClip(u"two"_s));
        send(textClip(u"three"_s));
        _agent->app->setEnabled(false);
        _agent->advance(5);
        QCOMPARE(pastes(), 1);
        QCOMPARE(_agent->app->refusals().size(), 1);
        QCOMPARE(_agent->app->lastRefusal()->reason, Refusal::Reason::Disconnected);
        QCOMPARE(_agent->app->lastRefusal()->count, 2U);
        // The user did it: nothing needs to be shown.
        QVERIFY(_agent->notice.messages.isEmpty());
    }

    void whatWaitsOfAPhoneThatIsUnregisteredIsNotPasted() {
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        send(textClip(u"one"_s));
        send(textClip(u"two"_s));
        ben->send(u"1"_s, textClip(u"Ben's"_s));
        _agent->settle();
        _agent->setRegistered({u"Ben"_s});
        _agent->advance(5);
        QCOMPARE(pastes(), 2);
        QCOMPARE(text(), u"Ben's"_s);
        QCOMPARE(_agent->app->lastRefusal()->reason, Refusal::Reason::Disconnected);
        QCOMPARE(_agent->app->lastRefusal()->count, 1U);
    }

    // Texts and images in one clip are refused; what comes or waits behind it is none the worse.
    void aRefusedClipHoldsNothingUp() {
        send(mixedClip());
        send(textClip(u"one"_s));
        QCOMPARE(pastes(), 1);
        send(mixedClip());
        send(textClip(u"two"_s));
        _agent->advance(interval);
        QCOMPARE(text(), u"two"_s);
        QCOMPARE(pastes(), 2);
        QCOMPARE(_agent->app->lastRefusal()->reason, Refusal::Reason::MixedKinds);
        QCOMPARE(_agent->app->lastRefusal()->count, 2U);
    }

private:
    void send(const PropertyList &clip) {
        _phone->send(u"1"_s, clip);
        _agent->settle();
    }
    [[nodiscard]] qsizetype pastes() const { return _agent->keyboard.pasteCount(); }
    [[nodiscard]] QString text() const { return _agent->pasteboard.text(); }
    static QByteArray frameOf(const PropertyList &object) {
        const QByteArray payload = PropertyListSerialization::xml(object);
        const quint32 length = qToLittleEndian(quint32(payload.size()));
        return QByteArray("\x00KRZ", 4) + QByteArray(reinterpret_cast<const char *>(&length), 4) +
               payload;
    }

    std::unique_ptr<AgentFixture> _agent;
    std::shared_ptr<FakePhone> _phone;
};

QTEST_GUILESS_MAIN(BurstsTest)
#include "tst_bursts.moc"
