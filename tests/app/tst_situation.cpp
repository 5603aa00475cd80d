// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/PlatformException.h"
#include "tests/app/AgentFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;

// What the agent knows of how things stand, for people who look into why something does not work.
class SituationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _agent = std::make_unique<AgentFixture>();
        _changes = 0;
    }
    void cleanup() { _agent.reset(); }

    void aPhoneThatIsNotThereIsNotSeen() {
        _agent->setRegistered({u"Anna"_qs});
        launch();
        const auto states = _agent->app->phoneStates();
        QCOMPARE(states.size(), 1);
        QCOMPARE(states[0].service, u"Anna"_qs);
        QCOMPARE(states[0].name, u"Anna's name"_qs);
        QCOMPARE(states[0].state, AgentStatus::PhoneState::NotSeen);
        QCOMPARE(states[0].lastSeen, std::nullopt);
    }

    void aPhoneThatIsReachedIsConnected() {
        launch();
        const int before = _changes;
        _agent->connectedPhone(u"Anna"_qs);
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
        QCOMPARE(state().lastSeen, std::optional(Date::now()));
        QCOMPARE(state().lastError, QString());
        QVERIFY(_changes > before);
    }

    void aConnectionThatEndsIsTold() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        const int before = _changes;
        phone->connection().end();
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"the connection ended"_qs);
        QCOMPARE(state().lastErrorDate, std::optional(Date::now()));
        QVERIFY(_changes > before);

        _agent->advance(5);
        QCOMPARE(state().state, AgentStatus::PhoneState::Connected);
        QCOMPARE(state().lastError, QString());
        QCOMPARE(state().lastErrorDate, std::nullopt);
    }

    void aPhoneWithoutAnAddressIsSeenOnly() {
        _agent->setRegistered({u"Anna"_qs});
        launch();
        const dnssd::ServiceName service{u"Anna"_qs, u"_clipmule-s2._tcp"_qs, u"local"_qs};
        _agent->backend.appear(service, {});
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        _agent->advance(10);
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"its address could not be found"_qs);
    }

    void aPhoneThatDoesNotAnswerIsSeenOnly() {
        launch();
        _agent->backend.connector = [this](const dnssd::Resolved &) {
            _silent = std::make_shared<kit::MemoryConnection>();
            _silent->holdConnection();
            return _silent->takeStreams();
        };
        _agent->connectedPhone(u"Anna"_qs);
        // It tries to; nobody should take that for a connection.
        QVERIFY(_agent->app->isConnected());
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        _silent->fail();
        _agent->settle();
        QCOMPARE(state().state, AgentStatus::PhoneState::Seen);
        QCOMPARE(state().lastError, u"no address of it answered"_qs);
    }

    void whenAPhoneLeftIsRemembered() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        _agent->advance(100);
        _agent->backend.vanish(phone->service);
        _agent->settle();
        const Date left = Date::now();
        _agent->advance(100);
        QCOMPARE(state().state, AgentStatus::PhoneState::NotSeen);
        QCOMPARE(state().lastSeen, std::optional(left));
    }

    void aClipThatIsTooLargeIsRemembered() {
        launch();
        _agent->connectedPhone(u"Anna"_qs);
        QVERIFY(!_agent->app->lastRefusedClip());
        const int before = _changes;
        _agent->pasteboard.copyText(QString(ZRKClipmuleSyncApp::largestClipSent + 1, u'x'));
        _agent->advance(0.5);
        QVERIFY(_agent->app->lastRefusedClip());
        QVERIFY2(_agent->app->lastRefusedClip()->reason.startsWith(u"copied here: its size is "),
                 qPrintable(_agent->app->lastRefusedClip()->reason));
        QCOMPARE(_agent->app->lastRefusedClip()->date, Date::now());
        QVERIFY(_changes > before);
    }

    void aClipThatCannotBeReadIsRemembered() {
        launch();
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("ERROR DECODING DATA .*")));
        phone->send(u"1"_qs, PropertyList(u"no clip"_qs));
        _agent->settle();
        QVERIFY(_agent->app->lastRefusedClip());
        QVERIFY2(_agent->app->lastRefusedClip()->reason.startsWith(u"from Anna: "),
                 qPrintable(_agent->app->lastRefusedClip()->reason));
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
