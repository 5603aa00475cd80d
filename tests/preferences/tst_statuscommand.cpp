// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeAgent.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
const QString agentDomain = QStringLiteral("com.zendrik.ClipmuleSync");
const QString statisticsDomain = QStringLiteral("com.zendrik.ClipmuleSync.stats");

AgentStatus::Phone told(const QString &service, AgentStatus::PhoneState state,
                        const QString &error = QString()) {
    return {.service = service,
            .name = service,
            .state = state,
            .lastSeen = Date{0}, // 2001-01-01
            .lastError = error,
            .lastErrorDate = {}};
}

} // namespace

class StatusCommandTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _hub = std::make_shared<MemoryDistributedNotifications::Hub>();
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _notifications = std::make_unique<MemoryDistributedNotifications>(_hub);
        _agent = std::make_unique<FakeStatusReader>();
        _agent->told.emplace();
        _printed.clear();
        _status.reset();
    }

    void end() override { _commands.reset(); }

private Q_SLOTS:
    void theCommandLineKnowsIt() {
        QVERIFY(!parse({u"status"_s}).watches);
        QVERIFY(parse({u"status"_s, u"--watch"_s}).watches);
        QVERIFY(!parseCommandLine({u"doctor"_s, u"--watch"_s}));
    }

    void aNewInstallation() {
        _agent->runs = false;
        begin({u"status"_s});
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(_printed,
                 QStringList({u"sync: on"_s, u"agent: not running"_s, u"paste mode: paste"_s,
                              u"paired phones: 0"_s, u"sent: 0 bytes, received: 0 bytes"_s,
                              u"clips: 0 text, 0 images"_s}));
    }

    void everyPhonesStateIsTold() {
        fill();
        begin({u"status"_s});
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(
            _printed,
            QStringList({u"sync: off"_s, u"agent: running"_s, u"paste mode: clipboard"_s,
                         u"paired phones: 4"_s, u"\tone\tFirst\tconnected"_s,
                         u"\ttwo\ttwo\tseen, last error: no\\nanswer"_s,
                         u"\tthree\tthree\tnot seen, last seen 2001-01-01T00:00:00Z, at host:80, "
                         "paste mode paste"_s,
                         u"\tfour\tfour\tunknown"_s, u"sent: 5000000000 bytes, received: 2 bytes"_s,
                         u"clips: 3 text, 4 images"_s}));
    }

    void aProgramOnThisComputerIsSaidToBeThere() {
        QVERIFY(_database->setValue(
            sharedDomain, u"serverServices"_s,
            PropertyList(PropertyList::List{
                PropertyList(PropertyList::Dictionary{{u"serverService"_s, u"local/Anna"_s}})})));
        begin({u"status"_s});
        _runLoop.advance(0.2);
        QVERIFY2(_printed.contains(u"\tlocal/Anna\tAnna\tunknown, on this computer"_s),
                 qPrintable(_printed.join(u'|')));
    }

    void everyPhonesStateAsJson() {
        fill();
        begin({u"status"_s, u"--json"_s});
        _runLoop.advance(0.2);
        QCOMPARE(_printed.size(), 1);
        QCOMPARE(
            _printed[0],
            u"{\"agentRuns\":true,\"enabled\":false,\"pasteMode\":\"clipboard\",\"phones\":["
            "{\"lastError\":\"\",\"lastSeen\":\"2001-01-01T00:00:00Z\",\"name\":\"First\","
            "\"service\":\"one\",\"state\":\"connected\"},"
            "{\"lastError\":\"no\\nanswer\",\"lastSeen\":\"2001-01-01T00:00:00Z\",\"name\":\"two\","
            "\"service\":\"two\",\"state\":\"seen\"},"
            "{\"address\":\"host:80\",\"lastError\":\"\",\"lastSeen\":\"2001-01-01T00:00:00Z\","
            "\"name\":\"three\",\"pasteMode\":\"paste\",\"service\":\"three\",\"state\":\"not "
            "seen\"},"
            "{\"lastError\":\"\",\"lastSeen\":null,\"name\":\"four\",\"service\":\"four\","
            "\"state\":\"unknown\"}],\"refusals\":[],\"statistics\":{\"dataReceived\":2,"
            "\"dataSent\":5000000000,\"imageItems\":4,\"textItems\":3}}"_s);
    }

    void whatWasRefusedIsTold() {
        Refusal refusal{.direction = Refusal::Direction::CopiedHere,
                        .reason = Refusal::Reason::TooLarge,
                        .kind = Refusal::Kind::Text,
                        .size = 20,
                        .limit = 10,
                        .date = Date{0}};
        for (int i = 0; i < 7; ++i)
            _agent->told->refusals.append(refusal);
        _agent->told->refusals[1].count = 3;
        begin({u"status"_s});
        _runLoop.advance(0.2);
        const QString text = u"refused: 2001-01-01T00:00:00Z, "_s + englishText(refusal);
        // The newest five.
        QCOMPARE(_printed.filter(u"refused: "_s).size(), 5);
        QCOMPARE(_printed[6], text);
        refusal.count = 3;
        QCOMPARE(_printed[7], u"refused: 2001-01-01T00:00:00Z, "_s + englishText(refusal));
        begin({u"status"_s, u"--json"_s});
        _runLoop.advance(0.2);
        const QJsonArray refusals = lastObject().value(u"refusals").toArray();
        QCOMPARE(refusals.size(), 7);
        const QJsonObject first = refusals[1].toObject();
        QCOMPARE(first.value(u"reason").toString(), u"too large"_s);
        QCOMPARE(first.value(u"direction").toString(), u"copied here"_s);
        QCOMPARE(first.value(u"kind").toString(), u"text"_s);
        QCOMPARE(first.value(u"size").toInt(), 20);
        QCOMPARE(first.value(u"limit").toInt(), 10);
        QCOMPARE(first.value(u"count").toInt(), 3);
        QCOMPARE(first.value(u"date").toString(), u"2001-01-01T00:00:00Z"_s);
        QCOMPARE(first.value(u"text").toString(), englishText(refusal));
    }

    // A counter that has come round counts on, and no JSON number is beyond what JSON has.
    void countersAtTheirEnds() {
        QVERIFY(_database->setValue(statisticsDomain, u"textItems"_s, -1));
        QVERIFY(_database->setValue(statisticsDomain, u"dataSent"_s, ~quint64(0)));
        begin({u"status"_s, u"--json"_s});
        _runLoop.advance(0.2);
        const QJsonObject counters = lastObject().value(u"statistics").toObject();
        QCOMPARE(counters.value(u"textItems").toInteger(), qint64(0xffffffff));
        QCOMPARE(counters.value(u"dataSent").toInteger(), std::numeric_limits<qint64>::max());
    }

    void withoutABusNobodyKnowsWhetherTheAgentRuns() {
        _agent->onBus = false;
        begin({u"status"_s});
        _runLoop.advance(0);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(_printed[1], u"agent: unknown (no session bus)"_s);
        begin({u"status"_s, u"--json"_s});
        _runLoop.advance(0);
        QVERIFY(lastObject().value(u"agentRuns").isNull());
    }

    // One that never answers is not waited for.
    void anAgentThatHangsIsNotWaitedFor() {
        _agent->answers = false;
        begin({u"status"_s});
        _runLoop.advance(PreferencesCommands::patienceWithAgent.count() - 0.1);
        QVERIFY(!_status);
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
    }

    // Watching.

    void aWatchTellsEachChangeOnce() {
        fill();
        begin({u"status"_s, u"--watch"_s});
        _runLoop.advance(0.2);
        QCOMPARE(_printed.size(), 1);
        QCOMPARE(stateOf(0), u"connected"_s);
        AgentStatus status = *_agent->told;
        status.phones[0].state = AgentStatus::PhoneState::Seen;
        _agent->tell(status);
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed.size(), 2);
        QCOMPARE(stateOf(0), u"seen"_s);
        // What is not part of it is no change.
        status.trayKind = u"other"_s;
        _agent->tell(status);
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed.size(), 2);
        _runLoop.advance(60);
        QCOMPARE(_printed.size(), 2);
        QVERIFY(!_status);
    }

    void aWatchFollowsTheSettings_data() {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("key");
        QTest::newRow("shared") << sharedDomain << u"pasteMode"_s;
        QTest::newRow("agent") << agentDomain << u"syncEnabled"_s;
        QTest::newRow("statistics") << statisticsDomain << u"textItems"_s;
    }
    void aWatchFollowsTheSettings() {
        QFETCH(QString, domain);
        QFETCH(QString, key);
        begin({u"status"_s, u"--watch"_s});
        _runLoop.advance(0.2);
        QCOMPARE(_printed.size(), 1);
        MemoryDistributedNotifications notifications(_hub);
        ZRKNotificationCenter center;
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = &notifications;
        environment.localCenter = &center;
        const auto other = ZRKUserDefaults::initWithIdentifier(domain, environment);
        QVERIFY(other->setObjectForKey(key == u"pasteMode"   ? PropertyList(u"clipboard"_s)
                                       : key == u"textItems" ? PropertyList(7)
                                                             : PropertyList(false),
                                       key));
        _runLoop.advance(0.1);
        QCOMPARE(_printed.size(), 2);
    }

    void aWatchFollowsAnAgentThatComesAndGoes() {
        _agent->runs = false;
        begin({u"status"_s, u"--watch"_s});
        _runLoop.advance(0.2);
        QCOMPARE(lastObject().value(u"agentRuns"), QJsonValue(false));
        _agent->runs = true;
        _agent->tell(AgentStatus());
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(lastObject().value(u"agentRuns"), QJsonValue(true));
        QCOMPARE(_printed.size(), 2);
    }

private:
    static PreferencesCommand parse(const QStringList &arguments) {
        const auto parsed = parseCommandLine(arguments);
        return parsed.value_or(PreferencesCommand());
    }
    static PropertyList phone(const QString &service) {
        return PropertyList::Dictionary{{u"serverService"_s, service}};
    }
    void fill() {
        PropertyList first = phone(u"one"_s);
        first.dictionary().insert(u"serverName"_s, u"First"_s);
        PropertyList third = phone(u"three"_s);
        third.dictionary().insert(u"address"_s, u"host:80"_s);
        third.dictionary().insert(u"pasteMode"_s, u"paste"_s);
        QVERIFY(_database->setValue(
            sharedDomain, u"serverServices"_s,
            PropertyList::List{first, phone(u"two"_s), third, phone(u"four"_s)}));
        QVERIFY(_database->setValue(sharedDomain, u"pasteMode"_s, u"clipboard"_s));
        QVERIFY(_database->setValue(agentDomain, u"syncEnabled"_s, false));
        QVERIFY(_database->setValue(statisticsDomain, u"dataSent"_s, quint64(5000000000)));
        QVERIFY(_database->setValue(statisticsDomain, u"dataReceived"_s, 2));
        QVERIFY(_database->setValue(statisticsDomain, u"textItems"_s, 3));
        QVERIFY(_database->setValue(statisticsDomain, u"imageItems"_s, 4));
        _agent->told->phones = {told(u"one"_s, AgentStatus::PhoneState::Connected),
                                told(u"two"_s, AgentStatus::PhoneState::Seen, u"no\nanswer"_s),
                                told(u"three"_s, AgentStatus::PhoneState::NotSeen)};
    }
    void begin(const QStringList &arguments) {
        _commands.reset();
        _printed.clear();
        _status.reset();
        PreferencesCommands::Services services;
        services.preferences.database = _database.get();
        services.preferences.distributedNotifications = _notifications.get();
        services.agent = [this]() -> StatusReader & { return *_agent; };
        services.print = [this](const QString &line) { _printed.append(line); };
        services.complain = [](const QString &line) { QFAIL(qPrintable(line)); };
        services.finish = [this](int status) {
            QVERIFY(!_status); // once
            _status = status;
        };
        _commands = std::make_unique<PreferencesCommands>(std::move(services));
        _commands->perform(parse(arguments));
    }
    [[nodiscard]] QJsonObject lastObject() const {
        return QJsonDocument::fromJson(_printed.constLast().toUtf8()).object();
    }
    [[nodiscard]] QString stateOf(int phone) const {
        return lastObject().value(u"phones").toArray()[phone].toObject().value(u"state").toString();
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<MemoryDistributedNotifications::Hub> _hub;
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<FakeStatusReader> _agent;
    std::unique_ptr<PreferencesCommands> _commands;
    std::optional<int> _status;
    QStringList _printed;
};

QTEST_GUILESS_MAIN(StatusCommandTest)

#include "tst_statuscommand.moc"
