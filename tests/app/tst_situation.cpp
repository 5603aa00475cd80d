// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/PlatformException.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// What the agent knows of how things stand, for people who look into why something does not work.
class SituationTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _agent = std::make_unique<AgentFixture>();
        _changes = 0;
    }

    void end() override { _agent.reset(); }

private Q_SLOTS:
    void aPhoneThatIsNotThereIsNotSeen() {
        _agent->setRegistered({u"Anna"_s});
        launch();
        const auto states = _agent->app->phoneStates();
        QCOMPARE(states.size(), 1);
        QCOMPARE(states[0].service, u"Anna"_s);
        QCOMPARE(states[0].name, u"Anna's name"_s);
        QCOMPARE(states[0].state, AgentStatus::PhoneState::NotSeen);
        QCOMPARE(states[0].lastSeen, std::nullopt);
    }

    void aPhoneThatIsReachedIsConnected() {
        launch();
        const int before = _changes;
        _agent->connectedPhone(u"Anna"_s);
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
        QCOMPARE(state().lastSeen, std::optional(Date::now()));
        QCOMPARE(state().lastError, QString());
        QVERIFY(_changes > before);
    }

    void aChangeOfSettingsIsTold() {
        launch();
        _agent->settle();
        int before = _changes;
        _agent->applicationDefaults->setBoolForKey(false, u"syncEnabled"_s);
        _agent->settle();
        QVERIFY(_changes > before);
        before = _changes;
        _agent->setRegistered({u"Ben"_s});
        _agent->settle();
        QVERIFY(_changes > before);
    }

    void aConnectionThatEndsIsTold() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const int before = _changes;
        phone->connection().end();
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"the connection ended"_s);
        QCOMPARE(state().lastErrorDate, std::optional(Date::now()));
        QVERIFY(_changes > before);

        _agent->advance(5);
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
        QCOMPARE(state().lastError, QString());
        QCOMPARE(state().lastErrorDate, std::nullopt);
    }

    void aPhoneWithoutAnAddressIsSeenOnly() {
        _agent->setRegistered({u"Anna"_s});
        launch();
        const dnssd::ServiceName service{u"Anna"_s, u"_clipmule-s2._tcp"_s, u"local"_s};
        _agent->backend.appear(service, {});
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        _agent->advance(10);
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"its address could not be found"_s);
    }

    void aPhoneThatDoesNotAnswerIsSeenOnly() {
        launch();
        _agent->backend.connector = [this](const dnssd::Resolved &) {
            _silent = std::make_shared<kit::MemoryConnection>();
            _silent->holdConnection();
            return _silent->takeStreams();
        };
        _agent->connectedPhone(u"Anna"_s);
        // It tries to; nobody should take that for a connection.
        QVERIFY(_agent->app->isConnected());
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        _silent->fail();
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"no address of it answered"_s);
    }

    void whenAPhoneLeftIsRemembered() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->advance(100);
        _agent->backend.vanish(phone->service);
        _agent->settle();
        const Date left = Date::now();
        _agent->advance(100);
        QCOMPARE(state().state, AgentStatus::PhoneState::NotSeen);
        QCOMPARE(state().lastSeen, std::optional(left));
    }

    void duringSleepNoPhoneIsConnected() {
        launch();
        _agent->connectedPhone(u"Anna"_s);
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
        int before = _changes;
        _agent->power.send(PowerMessage::SystemWillSleep);
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::NotSeen);
        QVERIFY(_changes > before);
        before = _changes;
        _agent->power.send(PowerMessage::SystemHasPoweredOn);
        QVERIFY(_changes > before);
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
    }

    void aCopyThatIsTooLargeIsRemembered() {
        launch();
        _agent->connectedPhone(u"Anna"_s);
        QVERIFY(_agent->app->refusals().isEmpty());
        QVERIFY(!_agent->app->lastRefusal());
        const int before = _changes;
        int posted = 0;
        auto &center = ZRKNotificationCenter::platformDefault();
        struct Counter final : Object {
            void count() { ++times; }
            int times = 0;
        } counter;
        center.addObserver(&counter, selector<&Counter::count>("count"), ZRKClipmuleSyncDidRefuse);
        _agent->pasteboard.copyText(QString(10'000'003, u'x'));
        _agent->advance(0.5);
        posted = counter.times;
        center.removeObserver(&counter);
        QCOMPARE(posted, 1);
        QVERIFY(_changes > before);
        QCOMPARE(_agent->app->refusals().size(), 1);
        const Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal, _agent->app->refusals().constFirst());
        QCOMPARE(refusal.direction, Refusal::Direction::CopiedHere);
        QCOMPARE(refusal.reason, Refusal::Reason::TooLarge);
        QCOMPARE(refusal.kind, Refusal::Kind::Text);
        // A text so large travels without its native form.
        QCOMPARE(refusal.size, 10'000'003U);
        QCOMPARE(refusal.limit, 9'999'999U);
        QCOMPARE(refusal.date, Date::now());
        QCOMPARE(_agent->notice.messages,
                 QStringList{u"The item you copied is too large to send to Clipmule."_s});
    }

    void aDamagedClipIsRememberedWithItsPhone() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QTest::ignoreMessage(QtWarningMsg,
                             "ERROR DECODING DATA InvalidArgument: expected a dictionary, found a "
                             "string");
        phone->send(u"1"_s, PropertyList(u"no clip"_s));
        _agent->settle();
        const Refusal refusal = *_agent->app->lastRefusal();
        QCOMPARE(refusal.direction, Refusal::Direction::FromPhone);
        QCOMPARE(refusal.reason, Refusal::Reason::Damaged);
        QCOMPARE(refusal.kind, Refusal::Kind::Clip);
        QCOMPARE(refusal.phone, u"Anna's name"_s);
        QCOMPARE(refusal.detail, u"expected a dictionary, found a string"_s);
        QCOMPARE(_agent->notice.messages,
                 QStringList{u"Not pasted: the clip from Anna's name is damaged."_s});
    }

    void everyOtherReasonIsRememberedAsWhatItIs() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const auto warn = [](const char *pattern) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(pattern)));
        };
        using Dictionary = PropertyList::Dictionary;
        const auto last = [this] {
            _agent->settle();
            const Refusal refusal = _agent->app->lastRefusal().value_or(Refusal());
            return QStringList{nameOf(refusal.reason), nameOf(refusal.kind), refusal.phone};
        };
        phone->send(
            u"1"_s,
            PropertyList(Dictionary{
                {u"items"_s, PropertyList::List{PropertyList(Dictionary{{u"string"_s, u"text"_s}}),
                                                PropertyList(Dictionary{
                                                    {u"imageData"_s, QByteArray("bytes")}})}}}));
        QCOMPARE(last(), (QStringList{u"mixed kinds"_s, u"clip"_s, u"Anna's name"_s}));
        // The clip itself tells the user; once is enough.
        QCOMPARE(_agent->notice.messages,
                 QStringList{u"Pasting of mixed content clips is not supported."_s});

        _agent->pasteboard.failWritesWith(u"clipboard lost"_s);
        warn("clipboard lost");
        phone->send(u"1"_s, PropertyList(Dictionary{{u"items"_s, PropertyList::List()}}));
        QCOMPARE(last(), (QStringList{u"failed"_s, u"clip"_s, u"Anna's name"_s}));
        _agent->advance(1);
        warn("clipboard lost");
        phone->send(u"1"_s, PropertyList(Dictionary{
                                {u"items"_s, PropertyList::List{PropertyList(Dictionary{
                                                 {u"imageData"_s, QByteArray("\x89PNG")}})}}}));
        QCOMPARE(last(), (QStringList{u"failed"_s, u"image"_s, u"Anna's name"_s}));
        _agent->pasteboard.failWritesWith(QString());

        warn("a device record is a dictionary, not an integer");
        phone->send(u"4"_s, PropertyList(5));
        QCOMPARE(last(), (QStringList{u"damaged"_s, u"device record"_s, u"Anna's name"_s}));

        warn("a device record of more than 65536 bytes");
        phone->send(u"4"_s, PropertyList(Dictionary{{u"name"_s, QString(65536, u'x')}}));
        QCOMPARE(last(), (QStringList{u"too large"_s, u"device record"_s, u"Anna's name"_s}));
        QCOMPARE(_agent->app->lastRefusal()->limit, 65536U);

        warn("expected a dictionary");
        phone->send(PropertyList(u"text"_s));
        QCOMPARE(last(), (QStringList{u"damaged"_s, u"clip"_s, u"Anna's name"_s}));
        QCOMPARE(_agent->notice.messages.size(), 6);
    }

private:
    void launch() {
        auto services = _agent->services();
        services.situationDidChange = [this] { ++_changes; };
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(std::move(services));
        _agent->app->finishLaunching();
        _agent->settle();
    }
    AgentStatus::Phone state() const { return _agent->app->phoneStates().constFirst(); }

    std::unique_ptr<AgentFixture> _agent;
    std::shared_ptr<kit::MemoryConnection> _silent;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(SituationTest)
#include "tst_situation.moc"
