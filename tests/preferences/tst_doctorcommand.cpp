// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeAgent.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");

} // namespace

class DoctorCommandTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _notifications = std::make_unique<MemoryDistributedNotifications>();
        _dnssd = std::make_unique<FakeDnsSd>();
        _agent = std::make_unique<FakeStatusReader>();
        _agent->told.emplace();
        _agent->told->version = QStringLiteral("9.9");
        _agent->told->hasDisplay = true;
        _agent->told->pasteboardBackend = QStringLiteral("x11");
        _agent->told->pasteboardCanRead = true;
        _agent->told->pasteboardCanWrite = true;
        _agent->told->canPaste = true;
        _network = std::make_unique<FakeNetworkProbe>();
        _network->facts.interfaces.append({.name = QStringLiteral("eth0"),
                                           .addresses = {QStringLiteral("10.0.0.1")},
                                           .isLoopback = false,
                                           .isUp = true,
                                           .canMulticast = true});
        QVERIFY(
            _database->setValue(sharedDomain, QStringLiteral("serverServices"),
                                PropertyList::List{PropertyList::Dictionary{
                                    {QStringLiteral("serverService"), QStringLiteral("one")}}}));
        _agent->told->phones.append({.service = QStringLiteral("one"),
                                     .name = QStringLiteral("one"),
                                     .state = AgentStatus::PhoneState::Connected,
                                     .lastSeen = {},
                                     .lastError = {},
                                     .lastErrorDate = {}});
        _status.reset();
        _printed.clear();
    }

    void end() override { _commands.reset(); }

private Q_SLOTS:
    void theCommandLineKnowsIt() {
        const auto parsed = parseCommandLine({QStringLiteral("doctor"), QStringLiteral("--json"),
                                              QStringLiteral("--wait"), QStringLiteral("5")});
        QVERIFY(parsed);
        QCOMPARE(parsed->kind, PreferencesCommand::Kind::Doctor);
        QVERIFY(parsed->asJson);
        QCOMPARE(parsed->wait, RunLoop::Seconds(5));
        QVERIFY(!parseCommandLine({QStringLiteral("doctor"), QStringLiteral("x")}));
    }

    void whereAllIsWellTheStatusIsZero() {
        begin(5);
        _runLoop.advance(4.9);
        QVERIFY(!_status);
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
        QVERIFY(_printed.first().startsWith(QStringLiteral("version       Clipmule Sync 9.9")));
        QCOMPARE(_printed.last(), QStringLiteral("problems      none"));
    }

    void whereSomethingIsBrokenTheStatusIsOne() {
        _agent->runs = false;
        begin(5);
        _runLoop.advance(6);
        QCOMPARE(_status, std::optional(1));
        QCOMPARE(_printed.filter(QStringLiteral("The agent is not running")).size(), 1);
    }

    // Shorter than the network takes, everything would seem to be missing.
    void itWaitsForTheNetworkInAnyCase() {
        begin(0.1);
        _runLoop.advance(1.9);
        QVERIFY(!_status);
        _runLoop.advance(0.2);
        QCOMPARE(_status, std::optional(0));
    }

    void phonesAreFoundMeanwhile() {
        QVERIFY(_database->setValue(sharedDomain, QStringLiteral("serverServices"),
                                    PropertyList::List{PropertyList::Dictionary{
                                        {QStringLiteral("serverService"), QStringLiteral("one")},
                                        {QStringLiteral("serverName"), QStringLiteral("First")}}}));
        for (const char *name : {"one", "two"})
            _dnssd->appear({QString::fromLatin1(name), QStringLiteral("_clipmule-s2._tcp"),
                            QStringLiteral("local")},
                           {{QHostAddress(QHostAddress::LocalHost), 7000}});
        _agent->told->phones.clear();
        begin(3, true);
        _runLoop.advance(4);
        QCOMPARE(_status, std::optional(1)); // seen, and not connected
        QCOMPARE(_printed.size(), 1);
        const QJsonObject told = QJsonDocument::fromJson(_printed[0].toUtf8()).object();
        const QJsonObject phone = told.value(u"phones").toArray().at(0).toObject();
        QCOMPARE(phone.value(u"name").toString(), QStringLiteral("First"));
        QCOMPARE(phone.value(u"state").toString(), QStringLiteral("seen"));
        QCOMPARE(told.value(u"otherPhones").toArray().at(0).toObject().value(u"name").toString(),
                 QStringLiteral("two"));
        QCOMPARE(told.value(u"agent").toString(), QStringLiteral("running"));
        QVERIFY(_dnssd->browsedTypes().isEmpty());
    }

private:
    void begin(double seconds, bool asJson = false) {
        PreferencesCommands::Services services;
        services.preferences.database = _database.get();
        services.preferences.distributedNotifications = _notifications.get();
        services.dnssd = [this]() -> dnssd::Backend & { return *_dnssd; };
        services.agent = [this]() -> StatusReader & { return *_agent; };
        services.network = [this]() -> dnssd::NetworkProbe & { return *_network; };
        services.version = QStringLiteral("9.9");
        services.print = [this](const QString &line) { _printed.append(line); };
        services.complain = [](const QString &line) { QFAIL(qPrintable(line)); };
        services.finish = [this](int status) { _status = status; };
        _commands = std::make_unique<PreferencesCommands>(std::move(services));
        PreferencesCommand command;
        command.kind = PreferencesCommand::Kind::Doctor;
        command.wait = RunLoop::Seconds(seconds);
        command.asJson = asJson;
        _commands->perform(command);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<FakeDnsSd> _dnssd;
    std::unique_ptr<FakeStatusReader> _agent;
    std::unique_ptr<FakeNetworkProbe> _network;
    std::unique_ptr<PreferencesCommands> _commands;
    std::optional<int> _status;
    QStringList _printed;
};

QTEST_GUILESS_MAIN(DoctorCommandTest)
#include "tst_doctorcommand.moc"
