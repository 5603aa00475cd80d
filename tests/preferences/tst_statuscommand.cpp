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
        QVERIFY(!parse({u"status"_qs}).watches);
        QVERIFY(parse({u"status"_qs, u"--watch"_qs}).watches);
        QVERIFY(!parseCommandLine({u"doctor"_qs, u"--watch"_qs}));
    }

    void aNewInstallation() {
        _agent->runs = false;
        begin({u"status"_qs});
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(_printed,
                 QStringList({u"sync: on"_qs, u"agent: not running"_qs, u"paste mode: paste"_qs,
                              u"paired phones: 0"_qs, u"sent: 0 bytes, received: 0 bytes"_qs,
                              u"clips: 0 text, 0 images"_qs}));
    }

    void everyPhonesStateIsTold() {
        fill();
        begin({u"status"_qs});
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(_printed,
                 QStringList(
                     {u"sync: off"_qs, u"agent: running"_qs, u"paste mode: clipboard"_qs,
                      u"paired phones: 4"_qs, u"\tone\tFirst\tconnected"_qs,
                      u"\ttwo\ttwo\tseen, last error: no\\nanswer"_qs,
                      u"\tthree\tthree\tnot seen, last seen 2001-01-01T00:00:00Z, at host:80, "
                      "paste mode paste"_qs,
                      u"\tfour\tfour\tunknown"_qs, u"sent: 5000000000 bytes, received: 2 bytes"_qs,
                      u"clips: 3 text, 4 images"_qs}));
    }

    void aProgramOnThisComputerIsSaidToBeThere() {
        _database->setValue(sharedDomain, u"serverServices"_qs,
                            PropertyList(PropertyList::List{PropertyList(PropertyList::Dictionary{
                                {u"serverService"_qs, u"local/Anna"_qs}})}));
        begin({u"status"_qs});
        _runLoop.advance(0.2);
        QVERIFY2(_printed.contains(u"\tlocal/Anna\tAnna\tunknown, on this computer"_qs),
                 qPrintable(_printed.join(u'|')));
    }

    void everyPhonesStateAsJson() {
        fill();
        begin({u"status"_qs, u"--json"_qs});
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
            "\"dataSent\":5000000000,\"imageItems\":4,\"textItems\":3}}"_qs);
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
        begin({u"status"_qs});
        _runLoop.advance(0.2);
        const QString text = u"refused: 2001-01-01T00:00:00Z, "_qs + englishText(refusal);
        // The newest five.
        QCOMPARE(_printed.filter(u"refused: "_qs).size(), 5);
        QCOMPARE(_printed[6], text);
        refusal.count = 3;
        QCOMPARE(_printed[7], u"refused: 2001-01-01T00:00:00Z, "_qs + englishText(refusal));
        begin({u"status"_qs, u"--json"_qs});
        _runLoop.advance(0.2);
        const QJsonArray refusals = lastObject().value(u"refusals").toArray();
        QCOMPARE(refusals.size(), 7);
        const QJsonObject first = refusals[1].toObject();
        QCOMPARE(first.value(u"reason").toString(), u"too large"_qs);
        QCOMPARE(first.value(u"direction").toString(), u"copied here"_qs);
        QCOMPARE(first.value(u"kind").toString(), u"text"_qs);
        QCOMPARE(first.value(u"size").toInt(), 20);
        QCOMPARE(first.value(u"limit").toInt(), 10);
        QCOMPARE(first.value(u"count").toInt(), 3);
        QCOMPARE(first.value(u"date").toString(), u"2001-01-01T00:00:00Z"_qs);
        QCOMPARE(first.value(u"text").toString(), englishText(refusal));
    }

    // A counter that has come round counts on, and no JSON number is beyond what JSON has.
    void countersAtTheirEnds() {
        _database->setValue(statisticsDomain, u"textItems"_qs, -1);
        _database->setValue(statisticsDomain, u"dataSent"_qs, ~quint64(0));
        begin({u"status"_qs, u"--json"_qs});
        _runLoop.advance(0.2);
        const QJsonObject counters = lastObject().value(u"statistics").toObject();
        QCOMPARE(counters.value(u"textItems").toInteger(), qint64(0xffffffff));
        QCOMPARE(counters.value(u"dataSent").toInteger(), std::numeric_limits<qint64>::max());
    }

    void withoutABusNobodyKnowsWhetherTheAgentRuns() {
        _agent->onBus = false;
        begin({u"status"_qs});
        _runLoop.advance(0);
        QCOMPARE(_status, std::optional(0));
        QCOMPARE(_printed[1], u"agent: unknown (no session bus)"_qs);
        begin({u"status"_qs, u"--json"_qs});
        _runLoop.advance(0);
        QVERIFY(lastObject().value(u"agentRuns").isNull());
    }

    // One that never answers is not waited for.
    void anAgentThatHangsIsNotWaitedFor() {
        _agent->answers = false;
        begin({u"status"_qs});
        _runLoop.advance(PreferencesCommands::patienceWithAgent.count() - 0.1);
        QVERIFY(!_status);
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
    }

    // Watching.

    void aWatchTellsEachChangeOnce() {
        fill();
        begin({u"status"_qs, u"--watch"_qs});
        _runLoop.advance(0.2);
        QCOMPARE(_printed.size(), 1);
        QCOMPARE(stateOf(0), u"connected"_qs);
        AgentStatus status = *_agent->told;
        status.phones[0].state = AgentStatus::PhoneState::Seen;
        _agent->tell(status);
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed.size(), 2);
        QCOMPARE(stateOf(0), u"seen"_qs);
        // What is not part of it is no change.
        status.trayKind = u"other"_qs;
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
        QTest::newRow("shared") << sharedDomain << u"pasteMode"_qs;
        QTest::newRow("agent") << agentDomain << u"syncEnabled"_qs;
        QTest::newRow("statistics") << statisticsDomain << u"textItems"_qs;
    }
    void aWatchFollowsTheSettings() {
        QFETCH(QString, domain);
        QFETCH(QString, key);
        begin({u"status"_qs, u"--watch"_qs});
        _runLoop.advance(0.2);
        QCOMPARE(_printed.size(), 1);
        MemoryDistributedNotifications notifications(_hub);
        ZRKNotificationCenter center;
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = &notifications;
        environment.localCenter = &center;
        const auto other = ZRKUserDefaults::initWithIdentifier(domain, environment);
        other->setObjectForKey(key == u"pasteMode"   ? PropertyList(u"clipboard"_qs)
                               : key == u"textItems" ? PropertyList(7)
                                                     : PropertyList(false),
                               key);
        _runLoop.advance(0.1);
        QCOMPARE(_printed.size(), 2);
    }

    void aWatchFollowsAnAgentThatComesAndGoes() {
        _agent->runs = false;
        begin({u"status"_qs, u"--watch"_qs});
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
        return PropertyList::Dictionary{{u"serverService"_qs, service}};
    }
    void fill() {
        PropertyList first = phone(u"one"_qs);
        first.dictionary().insert(u"serverName"_qs, u"First"_qs);
        PropertyList third = phone(u"three"_qs);
        third.dictionary().insert(u"address"_qs, u"host:80"_qs);
        third.dictionary().insert(u"pasteMode"_qs, u"paste"_qs);
        _database->setValue(sharedDomain, u"serverServices"_qs,
                            PropertyList::List{first, phone(u"two"_qs), third, phone(u"four"_qs)});
        _database->setValue(sharedDomain, u"pasteMode"_qs, u"clipboard"_qs);
        _database->setValue(agentDomain, u"syncEnabled"_qs, false);
        _database->setValue(statisticsDomain, u"dataSent"_qs, quint64(5000000000));
        _database->setValue(statisticsDomain, u"dataReceived"_qs, 2);
        _database->setValue(statisticsDomain, u"textItems"_qs, 3);
        _database->setValue(statisticsDomain, u"imageItems"_qs, 4);
        _agent->told->phones = {told(u"one"_qs, AgentStatus::PhoneState::Connected),
                                told(u"two"_qs, AgentStatus::PhoneState::Seen, u"no\nanswer"_qs),
                                told(u"three"_qs, AgentStatus::PhoneState::NotSeen)};
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
