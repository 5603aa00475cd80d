// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/Doctor.h"
#include "preferences/PreferencesCommands.h"
#include "support/RegisteredPhones.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/BrokenServices.h"
#include "tests/preferences/FakeAgent.h"
#include "tests/preferences/StoredSettings.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

class PreferencesCommandsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _notifications = std::make_unique<MemoryDistributedNotifications>();
        _dnssd = std::make_unique<FakeDnsSd>();
        _environment = {.database = _database.get(),
                        .distributedNotifications = _notifications.get()};
    }

    void end() override { _commands.reset(); }

private Q_SLOTS:
    void aPhoneIsRegisteredAtTheEnd() {
        QVERIFY(_database->setValue(sharedDomain, serverServices,
                                    PropertyList::List{phone(u"one"_s, u"1"_s)}));
        run({u"register"_s, u"two"_s, u"--name"_s, u"Two"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"paired two as Two"_s});
        const PropertyList both =
            PropertyList::List{phone(u"one"_s, u"1"_s), phone(u"two"_s, u"Two"_s)};
        QCOMPARE(shared(serverServices), std::optional(both));
        QCOMPARE(_database->synchronized(), QStringList{sharedDomain});
        // A running agent is told.
        QCOMPARE(_notifications->posted().size(), 1);
        QCOMPARE(_notifications->posted()[0].name,
                 QStringLiteral("ZRKUserDefaultsDidChangeNotification.com.zendrik.ClipmuleSync."
                                "shared"));
        QCOMPARE(_notifications->posted()[0].userInfo.value(u"gUserDefaultsValue"_s), both);
    }

    void aPhoneWithoutANameIsNamedAfterItsService() {
        run({u"register"_s, u"two"_s});
        QCOMPARE(shared(serverServices),
                 std::optional(PropertyList(PropertyList::List{phone(u"two"_s, u"two"_s)})));
    }

    void registeringAgainChangesTheNameAlone() {
        PropertyList withMore = phone(u"one"_s, u"1"_s);
        withMore.dictionary().insert(u"colour"_s, u"red"_s);
        const PropertyList::List before{withMore, phone(u"two"_s, u"2"_s)};
        QVERIFY(_database->setValue(sharedDomain, serverServices, before));
        run({u"register"_s, u"one"_s});
        QCOMPARE(_printed, QStringList{u"paired one as 1"_s});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(before)));
        run({u"register"_s, u"one"_s, u"--name=First"_s});
        PropertyList::List after = before;
        after[0].dictionary().insert(u"serverName"_s, u"First"_s);
        QCOMPARE(shared(serverServices), std::optional(PropertyList(after)));
    }

    void aPhoneIsUnregistered() {
        const PropertyList other = phone(u"two"_s, u"2"_s);
        QVERIFY(_database->setValue(sharedDomain, serverServices,
                                    PropertyList::List{phone(u"one"_s, u"1"_s), u"no dictionary"_s,
                                                       other, phone(u"one"_s, u"b"_s)}));
        run({u"unregister"_s, u"one"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"unpaired one"_s});
        QCOMPARE(shared(serverServices),
                 std::optional(PropertyList(PropertyList::List{u"no dictionary"_s, other})));
    }

    void anUnknownPhoneCannotBeUnregistered() {
        run({u"unregister"_s, u"one"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{u"one is not paired"_s});
        QCOMPARE(_notifications->posted().size(), 0);
    }

    void aListThatIsNoneIsNotOverwritten() {
        QVERIFY(_database->setValue(sharedDomain, serverServices, u"something else"_s));
        run({u"register"_s, u"one"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints,
                 QStringList{QStringLiteral("\"serverServices\" holds a string "
                                            "instead of a list, so nothing was changed; \"unset "
                                            "serverServices\" removes it")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(u"something else"_s)));
    }

    void theRegisteredPhonesAreListed() {
        run({u"list"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList());
        QVERIFY(_database->setValue(
            sharedDomain, serverServices,
            PropertyList::List{phone(u"one"_s, u"line\nbreak"_s), 7,
                               PropertyList::Dictionary{{u"serverService"_s, u"nameless"_s}},
                               phone(QString(), u"no service"_s)}));
        run({u"list"_s});
        QCOMPARE(_printed, QStringList({u"one\tline\\nbreak"_s, u"nameless\tnameless"_s}));
        run({u"list"_s, u"--json"_s});
        QCOMPARE(_printed, QStringList({u"{\"name\":\"line\\nbreak\",\"service\":\"one\"}"_s,
                                        u"{\"name\":\"nameless\",\"service\":\"nameless\"}"_s}));
    }

    void aPhoneIsRenamed() {
        QVERIFY(_database->setValue(sharedDomain, serverServices,
                                    PropertyList::List{phone(u"one"_s, u"1"_s)}));
        run({u"rename"_s, u"one"_s, u"First"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"one is called First now"_s});
        QCOMPARE(shared(serverServices),
                 std::optional(PropertyList(PropertyList::List{phone(u"one"_s, u"First"_s)})));
        run({u"rename"_s, u"ona"_s, u"Second"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{u"ona is not paired; did you mean one?"_s});
    }

    void aPhoneIsPairedByHand() {
        run({u"pair"_s, u"one"_s, u"--address"_s, u"host:80"_s, u"--paste-mode"_s, u"clipboard"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"paired one as one, at host:80"_s});
        // It is not looked for.
        QCOMPARE(_complaints, QStringList());
        run({u"list"_s});
        QCOMPARE(_printed, QStringList{u"one\tone\tat host:80\tpaste mode clipboard"_s});
        run({u"list"_s, u"--json"_s});
        QCOMPARE(_printed, QStringList{QStringLiteral(
                               "{\"address\":\"host:80\",\"name\":\"one\",\"pasteMode\":"
                               "\"clipboard\",\"service\":\"one\"}")});
        run({u"pair"_s, u"one"_s, u"--address="_s, u"--paste-mode=default"_s, u"--wait=0"_s});
        QCOMPARE(shared(serverServices),
                 std::optional(PropertyList(PropertyList::List{phone(u"one"_s, u"one"_s)})));
    }

    void aPairedPhoneIsLookedFor() {
        announce(u"one"_s, u"_clipmule-s2._tcp"_s);
        start({u"pair"_s, u"one"_s});
        // As soon as it is seen, that is all.
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"paired one as one"_s});
        QCOMPARE(_complaints, QStringList());
        QCOMPARE(_dnssd->browsedTypes(), QStringList());
    }

    void whoIsNotThereIsToldOf_data() {
        QTest::addColumn<QString>("present");
        QTest::addColumn<QString>("complaint");
        QTest::newRow("nobody") << QString()
                                << QStringLiteral("no phone on the network is called Anna's Phone "
                                                  "now; it connects when it is there");
        QTest::newRow("apostrophe")
            << u"Anna\u2019s Phone"_s
            << QStringLiteral("no phone on the network is called Anna's Phone now; did you mean "
                              "Anna\u2019s Phone?");
        QTest::newRow("somebody else") << u"Bert"_s
                                       << QStringLiteral("no phone on the network is called Anna's "
                                                         "Phone now; it connects when it is there");
    }
    void whoIsNotThereIsToldOf() {
        QFETCH(QString, present);
        QFETCH(QString, complaint);
        if (!present.isEmpty())
            announce(present, u"_clipmule-s2._tcp"_s);
        start({u"pair"_s, u"Anna's Phone"_s});
        _runLoop.advance(0.9);
        // It is paired at once all the same.
        QCOMPARE(_printed.size(), 1);
        QCOMPARE(_status, -1);
        _runLoop.advance(0.2);
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{complaint});
    }

    void onlySoManyPhonesArePaired_data() {
        QTest::addColumn<qsizetype>("count");
        QTest::addColumn<bool>("fits");
        QTest::newRow("one below") << RegisteredPhones::mostPhones - 1 << true;
        QTest::newRow("at the limit") << RegisteredPhones::mostPhones << false;
    }
    void onlySoManyPhonesArePaired() {
        QFETCH(qsizetype, count);
        QFETCH(bool, fits);
        PropertyList::List list;
        for (qsizetype i = 0; i < count; ++i)
            list.append(phone(QString::number(i), QString::number(i)));
        QVERIFY(_database->setValue(sharedDomain, serverServices, list));
        run({u"pair"_s, u"new"_s, u"--wait=0"_s});
        QCOMPARE(_status, fits ? 0 : 1);
        QCOMPARE(shared(serverServices)->list().size(), fits ? count + 1 : count);
        // One that is there can be changed in any case.
        run({u"pair"_s, u"0"_s, u"--name=A"_s, u"--wait=0"_s});
        QCOMPARE(_status, 0);
    }

    void phonesOnTheNetworkAreShownOnce() {
        QVERIFY(_database->setValue(sharedDomain, serverServices,
                                    PropertyList::List{phone(u"one"_s, u"1"_s)}));
        announce(u"one"_s, u"_clipmule-s2._tcp"_s);
        announce(u"web"_s, u"_http._tcp"_s);
        start({u"discover"_s});
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed, QStringList{u"one\tpaired"_s});
        _runLoop.advance(1.0);
        announce(u"esc\x1b[2J"_s, u"_clipmule-s2._tcp"_s);
        _dnssd->vanish(name(u"one"_s));
        QVERIFY(kit::settle(_runLoop));
        announce(u"one"_s, u"_clipmule-s2._tcp"_s);
        _runLoop.advance(1.9);
        QCOMPARE(_status, -1);
        _runLoop.advance(0.2);
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList({u"one\tpaired"_s, u"esc\\x1b[2J"_s}));
        QCOMPARE(_complaints, QStringList());
        QCOMPARE(_dnssd->browsedTypes(), QStringList());
    }

    void phonesOnTheNetworkAsJson() {
        announce(u"one"_s, u"_clipmule-s2._tcp"_s);
        start({u"discover"_s, u"--json"_s, u"--wait=1"_s});
        _runLoop.advance(1.0);
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{u"{\"registered\":false,\"service\":\"one\"}"_s});
    }

    void anEmptyNetworkIsSaidToBeOne() {
        start({u"discover"_s, u"--wait=0.5"_s});
        _runLoop.advance(0.5);
        QCOMPARE(_complaints, QStringList{u"no phone was seen in 0.5 seconds"_s});
        QCOMPARE(_status, -1);
        _runLoop.advance(2.0);
        QCOMPARE(_status, 0);
        const NetworkAdvice advice = adviceFor(_network.facts);
        QCOMPARE(_complaints.size(), 2);
        QCOMPARE(_complaints[1], advice.reason + u' ' + advice.whatToTry);
    }

    void aFloodOfPhonesIsCutOff_data() {
        QTest::addColumn<int>("announced");
        for (const int more : {-1, 0, 1})
            QTest::addRow("%+d", more) << PreferencesCommands::mostDiscovered + more;
    }
    void aFloodOfPhonesIsCutOff() {
        QFETCH(int, announced);
        start({u"discover"_s});
        for (int i = 0; i < announced; ++i) {
            announce(QString::number(i), u"_clipmule-s2._tcp"_s);
            _dnssd->vanish(name(QString::number(i))); // so many are not there at once
        }
        _runLoop.advance(3.0);
        QCOMPARE(_printed.size(), std::min(announced, PreferencesCommands::mostDiscovered));
    }

    // Settings.

    void settingsAreShownAsPlainWords_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("text") << PropertyList(u"two words"_s) << u"two words"_s;
        QTest::newRow("true") << PropertyList(true) << u"true"_s;
        QTest::newRow("false") << PropertyList(false) << u"false"_s;
        QTest::newRow("integer") << PropertyList(-7) << u"-7"_s;
        QTest::newRow("unsigned") << PropertyList(~quint64(0)) << u"18446744073709551615"_s;
        QTest::newRow("real") << PropertyList(0.1) << u"0.1"_s;
    }
    void settingsAreShownAsPlainWords() {
        QFETCH(PropertyList, value);
        QFETCH(QString, shown);
        QVERIFY(_database->setValue(sharedDomain, u"key"_s, value));
        run({u"get"_s, u"key"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{shown});
    }

    void otherSettingsAreShownAsPropertyLists() {
        QVERIFY(
            _database->setValue(sharedDomain, u"key"_s, PropertyList::List{1, QByteArray("x")}));
        run({u"get"_s, u"key"_s});
        QCOMPARE(_printed.size(), 1);
        QVERIFY(_printed[0].startsWith(u"<?xml"));
        QVERIFY(_printed[0].endsWith(u"</plist>"));
        QVERIFY(_printed[0].contains(u"<integer>1</integer>"));
    }

    // The value in effect, and whether somebody set it.
    void aDefaultIsShownAsOne_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("shown");
        // From the program's own "Defaults" file.
        QTest::newRow("registered") << u"showStatus"_s << u"true"_s;
        QTest::newRow("of the agent") << u"syncEnabled"_s << u"true"_s;
        QTest::newRow("choice") << u"pasteMode"_s << u"paste"_s;
        QTest::newRow("counter") << u"dataSent"_s << u"0"_s;
        QTest::newRow("small counter") << u"textItems"_s << u"0"_s;
    }
    void aDefaultIsShownAsOne() {
        QFETCH(QString, key);
        QFETCH(QString, shown);
        run({u"get"_s, key});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{shown});
        QCOMPARE(_complaints, QStringList{key + u" is not set; this is its default"_s});
    }

    void aSetValueIsShownWithoutAWord() {
        QVERIFY(_database->setValue(agentDomain, u"syncEnabled"_s, true));
        run({u"get"_s, u"syncEnabled"_s});
        QCOMPARE(_printed, QStringList{u"true"_s});
        QCOMPARE(_complaints, QStringList());
    }

    // A phone gives itself its name, and whoever pairs it stores that.
    void whatIsShownMovesNoCursor() {
        const QString foreign = u"a\u202e\x1b[31mb\u009b"_s;
        QVERIFY(_database->setValue(sharedDomain, u"key"_s, foreign));
        QVERIFY(_database->setValue(sharedDomain, u"keys"_s, PropertyList::List{foreign, 1}));
        run({u"get"_s, u"key"_s});
        QCOMPARE(_printed, QStringList{u"a\\u202e\\x1b[31mb\\x9b"_s});
        run({u"get"_s, u"keys"_s});
        QVERIFY(_printed[0].contains(u"<string>a\\u202e\\x1b[31mb\\x9b</string>\n"));
        run({u"get"_s, u"key"_s, u"--json"_s});
        QVERIFY(_printed[0].contains(u"\"a\\u202e\\u001b[31mb\\u009b\""));
    }

    void aLongTextIsShownWhole() {
        const QString lines = QString(5000, u'x') + u'\n' + QString(5000, u'y');
        QVERIFY(_database->setValue(sharedDomain, u"key"_s, lines));
        run({u"get"_s, u"key"_s});
        QCOMPARE(_printed, QStringList{lines});
    }

    void aSettingAsJson() {
        run({u"get"_s, u"syncEnabled"_s, u"--json"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral(
                               "{\"domain\":\"agent\",\"isSet\":false,\"key\":\"syncEnabled\","
                               "\"value\":true}")});
        QVERIFY(_database->setValue(sharedDomain, u"key"_s,
                                    PropertyList::List{1, 1.5, QByteArray("x"), Date(0), false,
                                                       u"text"_s, PropertyList::Dictionary{}}));
        run({u"get"_s, u"key"_s, u"--json"_s});
        QCOMPARE(_printed,
                 QStringList{QStringLiteral(
                     "{\"domain\":\"shared\",\"isSet\":true,\"key\":\"key\",\"value\":[1,1.5,"
                     "\"eA==\",\"2001-01-01T00:00:00Z\",false,\"text\",{}]}")});
        run({u"get"_s, u"nothing"_s, u"--json"_s});
        QCOMPARE(_status, 1);
        QVERIFY(_printed[0].contains(u"\"value\":null"));
        QCOMPARE(_complaints, QStringList());
    }

    // What the file holds may be anything: the value in effect is shown.
    void everyKindIsReadAsTheProgramsDo() {
        const QMap<Settings::Domain, QString> domains{
            {Settings::Domain::Shared, sharedDomain},
            {Settings::Domain::Agent, agentDomain},
            {Settings::Domain::Statistics, statisticsDomain}};
        for (const Settings::Setting &setting : Settings::all()) {
            for (const kit::NamedValue &each : kit::everyKind()) {
                QVERIFY(_database->setValue(domains[setting.domain], setting.name, each.value));
                QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^setting "_s));
                Settings::reportKind(setting, PropertyList(), false);
                for (const char *command : {"list", "status", "get"}) {
                    QStringList arguments{QString::fromLatin1(command)};
                    if (arguments[0] == u"get")
                        arguments.append(setting.name);
                    start(arguments);
                    _runLoop.advance(6);
                    QCOMPARE(_status, 0);
                }
                Settings::reportKind(setting, std::nullopt, true);
                _commands.reset();
            }
            QVERIFY(_database->setValue(domains[setting.domain], setting.name, std::nullopt));
        }
    }

    void aSettingIsUnset() {
        QVERIFY(_database->setValue(agentDomain, u"syncEnabled"_s, false));
        run({u"unset"_s, u"syncEnabled"_s});
        QCOMPARE(_status, 0);
        QVERIFY(_database->copyMultiple(agentDomain).isEmpty());
        QCOMPARE(_database->synchronized(), QStringList{agentDomain});
        QCOMPARE(_notifications->posted().size(), 1);
        QVERIFY(!_notifications->posted()[0].userInfo.contains(u"gUserDefaultsValue"_s));
        // A second time there is nothing to do.
        run({u"unset"_s, u"syncEnabled"_s});
        QCOMPARE(_status, 0);
    }

    void whatCannotBeUnsetIsAFailure() {
        FullDatabase full;
        full.values = {{u"key"_s, 6}};
        _environment.database = &full;
        run({u"unset"_s, u"key"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{u"key could not be written: no space"_s});
        _commands.reset();
    }

    void aKeyThatIsNoSettingIsKeptWithAWord() {
        run({u"set"_s, u"showstatus"_s, u"false"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{QStringLiteral(
                                  "showstatus is no setting of Clipmule Sync, but is kept all the "
                                  "same; did you mean showStatus?")});
        QCOMPARE(shared(u"showstatus"_s), std::optional(PropertyList(false)));
        run({u"set"_s, u"colour"_s, u"red"_s});
        QCOMPARE(_complaints, QStringList{QStringLiteral("colour is no setting of Clipmule Sync, "
                                                         "but is kept all the same")});
    }

    void aSettingKnowsItsDomainAndKind() {
        run({u"set"_s, u"syncEnabled"_s, u"no"_s});
        QCOMPARE(_database->copyMultiple(agentDomain).value(u"syncEnabled"_s), PropertyList(false));
        QCOMPARE(shared(u"syncEnabled"_s), std::nullopt);
        run({u"set"_s, u"pasteMode"_s, u"clipboard"_s});
        QCOMPARE(shared(u"pasteMode"_s), std::optional(PropertyList(u"clipboard"_s)));
        QCOMPARE(_complaints, QStringList());
    }

    void aMissingSettingIsAFailure() {
        run({u"get"_s, u"key"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_printed, QStringList());
        QCOMPARE(_complaints, QStringList{u"key is not set"_s});
    }

    void settingsAreChangedInTheirDomain_data() {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("domain");
        QTest::newRow("shared") << u"shared"_s << sharedDomain;
        QTest::newRow("agent") << u"agent"_s << agentDomain;
        QTest::newRow("stats") << u"stats"_s << statisticsDomain;
    }
    void settingsAreChangedInTheirDomain() {
        QFETCH(QString, option);
        QFETCH(QString, domain);
        run({u"set"_s, u"key"_s, u"7"_s, u"--domain"_s, option});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList());
        QCOMPARE(_database->copyMultiple(domain).value(u"key"_s), PropertyList(7));
        QCOMPARE(_database->synchronized(), QStringList{domain});
        QCOMPARE(_notifications->posted().size(), 1);
        QCOMPARE(_notifications->posted()[0].name,
                 u"ZRKUserDefaultsDidChangeNotification."_s + domain);
        run({u"get"_s, u"key"_s, u"--domain"_s, option});
        QCOMPARE(_printed, QStringList{u"7"_s});
    }

    void theAgentIsSwitched() {
        run({u"disable"_s});
        QCOMPARE(_printed, QStringList{u"sync is off"_s});
        QCOMPARE(_database->copyMultiple(agentDomain).value(u"syncEnabled"_s), PropertyList(false));
        run({u"enable"_s});
        QCOMPARE(_printed, QStringList{u"sync is on"_s});
        QCOMPARE(_database->copyMultiple(agentDomain).value(u"syncEnabled"_s), PropertyList(true));
    }

    void whatCannotBeWrittenIsAFailure() {
        FullDatabase full;
        full.values = {{u"key"_s, 6}};
        _environment.database = &full;
        run({u"set"_s, u"key"_s, u"7"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{u"key could not be written: no space"_s});
        _commands.reset();
    }

    void aFailedFlushIsAFailure() {
        _database->setFailsToSynchronize(true);
        run({u"set"_s, u"key"_s, u"7"_s});
        QCOMPARE(_status, 1);
    }

    void withoutABusTheUserIsWarned() {
        LonelyNotifications lonely;
        _environment.distributedNotifications = &lonely;
        run({u"disable"_s});
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{QStringLiteral("saved, but without a session bus a "
                                                         "running agent is not told")});
        _commands.reset();
    }

    void anInstallationWithoutASharedDomainIsIncomplete() {
        const Bundle none{QString()};
        _environment.bundles = std::make_shared<ZRKUserDefaults::Bundles>(
            ZRKUserDefaults::Bundles{none, none, {}, {}});
        run({u"list"_s});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints,
                 QStringList{QStringLiteral(
                     "the installation is incomplete: Info.plist names no shared domain")});
    }

private:
    static dnssd::ServiceName name(const QString &service,
                                   const QString &type = u"_clipmule-s2._tcp"_s) {
        return {service, type, u"local"_s};
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
        const auto line = parseCommandLine(arguments);
        QVERIFY2(line, qPrintable(line ? QString() : line.error().reason));
        PreferencesCommands::Services services;
        services.preferences = _environment;
        services.dnssd = [this]() -> dnssd::Backend & { return *_dnssd; };
        services.agent = [this]() -> StatusReader & { return _agent; };
        services.network = [this]() -> dnssd::NetworkProbe & { return _network; };
        services.print = [this](const QString &text) { _printed += text; };
        services.complain = [this](const QString &text) { _complaints += text; };
        services.finish = [this](int exitStatus) {
            QCOMPARE(_status, -1); // once
            _status = exitStatus;
        };
        _commands = std::make_unique<PreferencesCommands>(std::move(services));
        _commands->perform(*line);
    }
    void run(const QStringList &arguments) {
        start(arguments);
        QVERIFY(kit::settle(_runLoop));
        // Whether a paired phone is there is another matter.
        if (_status < 0) {
            _runLoop.advance(PreferencesCommands::waitForPaired.count());
            _complaints.removeIf(
                [](const QString &text) { return text.startsWith(u"no phone on"); });
        }
        QVERIFY(_status >= 0);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<FakeDnsSd> _dnssd;
    ZRKUserDefaults::Environment _environment;
    std::unique_ptr<PreferencesCommands> _commands;
    FakeStatusReader _agent;
    FakeNetworkProbe _network;
    QStringList _printed;
    QStringList _complaints;
    int _status = -1;
};

QTEST_GUILESS_MAIN(PreferencesCommandsTest)
#include "tst_preferencescommands.moc"
