// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/FakeDnsSd.h"
#include "platform/preferences/MemoryDistributedNotifications.h"
#include "platform/preferences/MemoryPreferencesDatabase.h"
#include "preferences/PreferencesCommands.h"
#include "support/RegisteredPhones.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Settle.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;

namespace {

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
const QString agentDomain = QStringLiteral("com.zendrik.ClipmuleSync");
const QString statisticsDomain = QStringLiteral("com.zendrik.ClipmuleSync.stats");
const QString serverServices = QStringLiteral("serverServices");

PropertyList phone(const QString &service, const QString &name) {
    return PropertyList::Dictionary{{QStringLiteral("serverService"), service},
                                    {QStringLiteral("serverName"), name}};
}

/// A database whose disk is full.
class FullDatabase final : public PreferencesDatabase {
public:
    [[nodiscard]] PropertyList::Dictionary copyMultiple(const QString &) override { return values; }
    void setValue(const QString &, const QString &, const std::optional<PropertyList> &) override {}
    bool synchronize(const QString &) override { return true; }
    PropertyList::Dictionary values;
};

/// A session without a bus.
class LonelyNotifications final : public DistributedNotifications {
public:
    void post(const QString &, const QString &, const PropertyList::Dictionary &) override {}
    [[nodiscard]] std::unique_ptr<Observation> observe(const QString &, Handler) override {
        return std::make_unique<Observation>();
    }
    void whenDelivered(std::function<void(bool)> callback) override {
        RunLoop::current().performSoon([callback = std::move(callback)] { callback(false); });
    }
};

} // namespace

class PreferencesCommandsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _notifications = std::make_unique<MemoryDistributedNotifications>();
        _dnssd = std::make_unique<dnssd::FakeBackend>();
        _environment = {};
        _environment.database = _database.get();
        _environment.distributedNotifications = _notifications.get();
        _agentRuns = false;
    }
    void cleanup() { _commands.reset(); }

    // Phones.

    void aPhoneIsRegisteredAtTheEnd() {
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        run({QStringLiteral("register"), QStringLiteral("two"), QStringLiteral("--name"),
             QStringLiteral("Two")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("registered two as Two")});
        const PropertyList both =
            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1")),
                               phone(QStringLiteral("two"), QStringLiteral("Two"))};
        QCOMPARE(shared(serverServices), std::optional(both));
        QCOMPARE(_database->synchronized(), QStringList{sharedDomain});
        // A running agent is told.
        QCOMPARE(_notifications->posted().size(), 1);
        QCOMPARE(_notifications->posted()[0].name,
                 QStringLiteral("ZRKUserDefaultsDidChangeNotification.com.zendrik.ClipmuleSync."
                                "shared"));
        QCOMPARE(_notifications->posted()[0].userInfo.value(QStringLiteral("gUserDefaultsValue")),
                 both);
    }

    void aPhoneWithoutANameIsNamedAfterItsService() {
        run({QStringLiteral("register"), QStringLiteral("two")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(PropertyList::List{phone(
                                             QStringLiteral("two"), QStringLiteral("two"))})));
    }

    void registeringAgainChangesTheNameAlone() {
        PropertyList withMore = phone(QStringLiteral("one"), QStringLiteral("1"));
        withMore.dictionary().insert(QStringLiteral("colour"), QStringLiteral("red"));
        const PropertyList::List before{withMore,
                                        phone(QStringLiteral("two"), QStringLiteral("2"))};
        _database->setValue(sharedDomain, serverServices, before);
        run({QStringLiteral("register"), QStringLiteral("one")});
        QCOMPARE(_printed, QStringList{QStringLiteral("registered one as 1")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(before)));
        run({QStringLiteral("register"), QStringLiteral("one"), QStringLiteral("--name=First")});
        PropertyList::List after = before;
        after[0].dictionary().insert(QStringLiteral("serverName"), QStringLiteral("First"));
        QCOMPARE(shared(serverServices), std::optional(PropertyList(after)));
    }

    void aPhoneIsUnregistered() {
        const PropertyList other = phone(QStringLiteral("two"), QStringLiteral("2"));
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1")),
                                               QStringLiteral("no dictionary"), other,
                                               phone(QStringLiteral("one"), QStringLiteral("b"))});
        run({QStringLiteral("unregister"), QStringLiteral("one")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("unregistered one")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(PropertyList::List{
                                             QStringLiteral("no dictionary"), other})));
    }

    void anUnknownPhoneCannotBeUnregistered() {
        run({QStringLiteral("unregister"), QStringLiteral("one")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("one is not registered")});
        QCOMPARE(_notifications->posted().size(), 0);
    }

    void aListThatIsNoneIsNotOverwritten() {
        _database->setValue(sharedDomain, serverServices, QStringLiteral("something else"));
        run({QStringLiteral("register"), QStringLiteral("one")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints,
                 QStringList{QStringLiteral("\"serverServices\" holds a string "
                                            "instead of a list; nothing was changed")});
        QCOMPARE(shared(serverServices),
                 std::optional(PropertyList(QStringLiteral("something else"))));
    }

    void theRegisteredPhonesAreListed() {
        run({QStringLiteral("list")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList());
        _database->setValue(
            sharedDomain, serverServices,
            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("line\nbreak")), 7,
                               PropertyList::Dictionary{
                                   {QStringLiteral("serverService"), QStringLiteral("nameless")}},
                               phone(QString(), QStringLiteral("no service"))});
        run({QStringLiteral("list")});
        QCOMPARE(_printed, QStringList({QStringLiteral("one\tline\\x0abreak"),
                                        QStringLiteral("nameless\t")}));
        run({QStringLiteral("list"), QStringLiteral("--json")});
        QCOMPARE(_printed,
                 QStringList({QStringLiteral("{\"name\":\"line\\nbreak\",\"service\":\"one\"}"),
                              QStringLiteral("{\"name\":\"\",\"service\":\"nameless\"}")}));
    }

    void phonesOnTheNetworkAreShownOnce() {
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        announce(QStringLiteral("one"), QStringLiteral("_clipmule-s2._tcp"));
        announce(QStringLiteral("web"), QStringLiteral("_http._tcp"));
        start({QStringLiteral("discover")});
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed, QStringList{QStringLiteral("one\tregistered")});
        _runLoop.advance(1.0);
        announce(QStringLiteral("esc\x1b[2J"), QStringLiteral("_clipmule-s2._tcp"));
        _dnssd->vanish(name(QStringLiteral("one")));
        QVERIFY(kit::settle(_runLoop));
        announce(QStringLiteral("one"), QStringLiteral("_clipmule-s2._tcp"));
        _runLoop.advance(1.9);
        QCOMPARE(_status, -1);
        _runLoop.advance(0.2);
        QCOMPARE(_status, 0);
        QCOMPARE(_printed,
                 QStringList({QStringLiteral("one\tregistered"), QStringLiteral("esc\\x1b[2J")}));
        QCOMPARE(_complaints, QStringList());
        QCOMPARE(_dnssd->browsedTypes(), QStringList());
    }

    void phonesOnTheNetworkAsJson() {
        announce(QStringLiteral("one"), QStringLiteral("_clipmule-s2._tcp"));
        start({QStringLiteral("discover"), QStringLiteral("--json"), QStringLiteral("--wait=1")});
        _runLoop.advance(1.0);
        QCOMPARE(_status, 0);
        QCOMPARE(_printed,
                 QStringList{QStringLiteral("{\"registered\":false,\"service\":\"one\"}")});
    }

    void anEmptyNetworkIsSaidToBeOne() {
        start({QStringLiteral("discover"), QStringLiteral("--wait=0.5")});
        _runLoop.advance(0.5);
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{QStringLiteral("no phone was seen in 0.5 seconds")});
    }

    void aFloodOfPhonesIsCutOff_data() {
        QTest::addColumn<int>("announced");
        QTest::newRow("one below") << PreferencesCommands::mostDiscovered - 1;
        QTest::newRow("at the limit") << PreferencesCommands::mostDiscovered;
        QTest::newRow("one above") << PreferencesCommands::mostDiscovered + 1;
    }
    void aFloodOfPhonesIsCutOff() {
        QFETCH(int, announced);
        for (int i = 0; i < announced; ++i)
            announce(QString::number(i), QStringLiteral("_clipmule-s2._tcp"));
        start({QStringLiteral("discover")});
        _runLoop.advance(3.0);
        QCOMPARE(_printed.size(), std::min(announced, PreferencesCommands::mostDiscovered));
    }

    // Settings.

    void settingsAreShownAsPlainWords_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("text") << PropertyList(QStringLiteral("two words"))
                              << QStringLiteral("two words");
        QTest::newRow("true") << PropertyList(true) << QStringLiteral("true");
        QTest::newRow("false") << PropertyList(false) << QStringLiteral("false");
        QTest::newRow("integer") << PropertyList(-7) << QStringLiteral("-7");
        QTest::newRow("unsigned") << PropertyList(~quint64(0))
                                  << QStringLiteral("18446744073709551615");
        QTest::newRow("real") << PropertyList(0.1) << QStringLiteral("0.1");
    }
    void settingsAreShownAsPlainWords() {
        QFETCH(PropertyList, value);
        QFETCH(QString, shown);
        _database->setValue(sharedDomain, QStringLiteral("key"), value);
        run({QStringLiteral("get"), QStringLiteral("key")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{shown});
    }

    void otherSettingsAreShownAsPropertyLists() {
        _database->setValue(sharedDomain, QStringLiteral("key"),
                            PropertyList::List{1, QByteArray("x")});
        run({QStringLiteral("get"), QStringLiteral("key")});
        QCOMPARE(_printed.size(), 1);
        QVERIFY(_printed[0].startsWith(u"<?xml"));
        QVERIFY(_printed[0].endsWith(u"</plist>"));
        QVERIFY(_printed[0].contains(u"<integer>1</integer>"));
    }

    void aFallbackValueIsShownInTheSharedDomainAlone() {
        // From the program's own "Defaults" file.
        run({QStringLiteral("get"), QStringLiteral("showStatus")});
        QCOMPARE(_printed, QStringList{QStringLiteral("true")});
        run({QStringLiteral("get"), QStringLiteral("showStatus"),
             QStringLiteral("--domain=agent")});
        QCOMPARE(_status, 1);
    }

    void aMissingSettingIsAFailure() {
        run({QStringLiteral("get"), QStringLiteral("key")});
        QCOMPARE(_status, 1);
        QCOMPARE(_printed, QStringList());
        QCOMPARE(_complaints, QStringList{QStringLiteral("key is not set")});
    }

    void settingsAreChangedInTheirDomain_data() {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("domain");
        QTest::newRow("shared") << QStringLiteral("shared") << sharedDomain;
        QTest::newRow("agent") << QStringLiteral("agent") << agentDomain;
        QTest::newRow("stats") << QStringLiteral("stats") << statisticsDomain;
    }
    void settingsAreChangedInTheirDomain() {
        QFETCH(QString, option);
        QFETCH(QString, domain);
        run({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("7"),
             QStringLiteral("--domain"), option});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList());
        QCOMPARE(_database->copyMultiple(domain).value(QStringLiteral("key")), PropertyList(7));
        QCOMPARE(_database->synchronized(), QStringList{domain});
        QCOMPARE(_notifications->posted().size(), 1);
        QCOMPARE(_notifications->posted()[0].name,
                 QStringLiteral("ZRKUserDefaultsDidChangeNotification.") + domain);
        run({QStringLiteral("get"), QStringLiteral("key"), QStringLiteral("--domain"), option});
        QCOMPARE(_printed, QStringList{QStringLiteral("7")});
    }

    void theAgentIsSwitched() {
        run({QStringLiteral("disable")});
        QCOMPARE(_printed, QStringList{QStringLiteral("synchronisation is disabled")});
        QCOMPARE(_database->copyMultiple(agentDomain).value(QStringLiteral("syncEnabled")),
                 PropertyList(false));
        run({QStringLiteral("enable")});
        QCOMPARE(_printed, QStringList{QStringLiteral("synchronisation is enabled")});
        QCOMPARE(_database->copyMultiple(agentDomain).value(QStringLiteral("syncEnabled")),
                 PropertyList(true));
    }

    void whatCannotBeWrittenIsAFailure() {
        FullDatabase full;
        full.values = {{QStringLiteral("key"), 6}};
        _environment.database = &full;
        run({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("7")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("key could not be written")});
        _commands.reset();
    }

    void aFailedFlushIsAFailure() {
        _database->setFailsToSynchronize(true);
        run({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("7")});
        QCOMPARE(_status, 1);
    }

    void withoutABusTheUserIsWarned() {
        LonelyNotifications lonely;
        _environment.distributedNotifications = &lonely;
        run({QStringLiteral("disable")});
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{QStringLiteral("saved, but without a session bus a "
                                                         "running agent is not told")});
        _commands.reset();
    }

    void anInstallationWithoutASharedDomainIsIncomplete() {
        const Bundle none{QString()};
        _environment.bundles = std::make_shared<ZRKUserDefaults::Bundles>(
            ZRKUserDefaults::Bundles{none, none, {}, {}});
        run({QStringLiteral("list")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints,
                 QStringList{QStringLiteral(
                     "the installation is incomplete: Info.plist names no shared domain")});
    }

    // Status.

    void theStatusOfANewInstallation() {
        run({QStringLiteral("status")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList({QStringLiteral("synchronisation: enabled"),
                                        QStringLiteral("agent: not running"),
                                        QStringLiteral("registered phones: 0"),
                                        QStringLiteral("sent: 0 bytes, received: 0 bytes"),
                                        QStringLiteral("clips: 0 text, 0 images")}));
    }

    void theStatusOfARunningAgent() {
        _agentRuns = true;
        _database->setValue(agentDomain, QStringLiteral("syncEnabled"), false);
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        _database->setValue(statisticsDomain, QStringLiteral("dataSent"), quint64(5000000000));
        _database->setValue(statisticsDomain, QStringLiteral("dataReceived"), 2);
        _database->setValue(statisticsDomain, QStringLiteral("textItems"), 3);
        _database->setValue(statisticsDomain, QStringLiteral("imageItems"),
                            PropertyList::List{}); // nonsense counts as nothing
        QTest::ignoreMessage(
            QtWarningMsg, "setting imageItems of the domain \"stats\" holds a list, which is not "
                          "a whole number of at most 32 bits: not used");
        run({QStringLiteral("status")});
        QCOMPARE(_printed,
                 QStringList({QStringLiteral("synchronisation: disabled"),
                              QStringLiteral("agent: running"),
                              QStringLiteral("registered phones: 1"), QStringLiteral("\tone\t1"),
                              QStringLiteral("sent: 5000000000 bytes, received: 2 bytes"),
                              QStringLiteral("clips: 3 text, 0 images")}));
        run({QStringLiteral("status"), QStringLiteral("--json")});
        QCOMPARE(_printed,
                 QStringList{QStringLiteral(
                     "{\"agentRuns\":true,\"enabled\":false,\"phones\":[{\"name\":\"1\","
                     "\"service\":\"one\"}],\"statistics\":{\"dataReceived\":2,\"dataSent\":"
                     "5000000000,\"imageItems\":0,\"textItems\":3}}")});
    }

    void withoutABusNobodyKnowsWhetherTheAgentRuns() {
        _agentRuns = std::nullopt;
        run({QStringLiteral("status")});
        QCOMPARE(_printed[1], QStringLiteral("agent: unknown (no session bus)"));
        run({QStringLiteral("status"), QStringLiteral("--json")});
        QVERIFY(_printed[0].startsWith(u"{\"agentRuns\":null,"));
    }

private:
    static dnssd::ServiceName name(const QString &service,
                                   const QString &type = QStringLiteral("_clipmule-s2._tcp")) {
        return {service, type, QStringLiteral("local")};
    }
    void announce(const QString &service, const QString &type) {
        _dnssd->appear(name(service, type), {{QHostAddress(QHostAddress::LocalHost), 7000}});
    }
    std::optional<PropertyList> shared(const QString &key) {
        const auto values = _database->copyMultiple(sharedDomain);
        const PropertyList *value = find(values, key);
        return value ? std::optional(*value) : std::nullopt;
    }
    void start(const QStringList &arguments) {
        _printed.clear();
        _complaints.clear();
        _status = -1;
        const ParsedCommandLine line = parseCommandLine(arguments);
        QVERIFY2(line.command, qPrintable(line.error));
        PreferencesCommands::Services services;
        services.preferences = _environment;
        services.dnssd = [this]() -> dnssd::Backend & { return *_dnssd; };
        services.findOwner = [this](const QString &owned,
                                    const std::function<void(std::optional<bool>)> &answer) {
            QCOMPARE(owned, QStringLiteral("com.zendrik.ClipmuleSync"));
            _runLoop.performSoon([this, answer] { answer(_agentRuns); });
        };
        services.print = [this](const QString &text) { _printed += text; };
        services.complain = [this](const QString &text) { _complaints += text; };
        services.finish = [this](int exitStatus) {
            QCOMPARE(_status, -1); // once
            _status = exitStatus;
        };
        _commands = std::make_unique<PreferencesCommands>(std::move(services));
        _commands->perform(*line.command);
    }
    void run(const QStringList &arguments) {
        start(arguments);
        QVERIFY(kit::settle(_runLoop));
        QVERIFY(_status >= 0);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<dnssd::FakeBackend> _dnssd;
    ZRKUserDefaults::Environment _environment;
    std::unique_ptr<PreferencesCommands> _commands;
    std::optional<bool> _agentRuns;
    QStringList _printed;
    QStringList _complaints;
    int _status = -1;
};

QTEST_GUILESS_MAIN(PreferencesCommandsTest)
#include "tst_preferencescommands.moc"
