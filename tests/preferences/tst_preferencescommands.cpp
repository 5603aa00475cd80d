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
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        run({QStringLiteral("register"), QStringLiteral("two"), QStringLiteral("--name"),
             QStringLiteral("Two")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("paired two as Two")});
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
        QCOMPARE(_printed, QStringList{QStringLiteral("paired one as 1")});
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
        QCOMPARE(_printed, QStringList{QStringLiteral("unpaired one")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(PropertyList::List{
                                             QStringLiteral("no dictionary"), other})));
    }

    void anUnknownPhoneCannotBeUnregistered() {
        run({QStringLiteral("unregister"), QStringLiteral("one")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("one is not paired")});
        QCOMPARE(_notifications->posted().size(), 0);
    }

    void aListThatIsNoneIsNotOverwritten() {
        _database->setValue(sharedDomain, serverServices, QStringLiteral("something else"));
        run({QStringLiteral("register"), QStringLiteral("one")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints,
                 QStringList{QStringLiteral("\"serverServices\" holds a string "
                                            "instead of a list, so nothing was changed; \"unset "
                                            "serverServices\" removes it")});
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
        QCOMPARE(_printed, QStringList({QStringLiteral("one\tline\\nbreak"),
                                        QStringLiteral("nameless\tnameless")}));
        run({QStringLiteral("list"), QStringLiteral("--json")});
        QCOMPARE(_printed,
                 QStringList({QStringLiteral("{\"name\":\"line\\nbreak\",\"service\":\"one\"}"),
                              QStringLiteral("{\"name\":\"nameless\",\"service\":\"nameless\"}")}));
    }

    void aPhoneIsRenamed() {
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        run({QStringLiteral("rename"), QStringLiteral("one"), QStringLiteral("First")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("one is called First now")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(PropertyList::List{phone(
                                             QStringLiteral("one"), QStringLiteral("First"))})));
        run({QStringLiteral("rename"), QStringLiteral("ona"), QStringLiteral("Second")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("ona is not paired; did you mean one?")});
    }

    void aPhoneIsPairedByHand() {
        run({QStringLiteral("pair"), QStringLiteral("one"), QStringLiteral("--address"),
             QStringLiteral("host:80"), QStringLiteral("--paste-mode"),
             QStringLiteral("clipboard")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("paired one as one, at host:80")});
        // It is not looked for.
        QCOMPARE(_complaints, QStringList());
        run({QStringLiteral("list")});
        QCOMPARE(_printed,
                 QStringList{QStringLiteral("one\tone\tat host:80\tpaste mode clipboard")});
        run({QStringLiteral("list"), QStringLiteral("--json")});
        QCOMPARE(_printed, QStringList{QStringLiteral(
                               "{\"address\":\"host:80\",\"name\":\"one\",\"pasteMode\":"
                               "\"clipboard\",\"service\":\"one\"}")});
        run({QStringLiteral("pair"), QStringLiteral("one"), QStringLiteral("--address="),
             QStringLiteral("--paste-mode=default"), QStringLiteral("--wait=0")});
        QCOMPARE(shared(serverServices), std::optional(PropertyList(PropertyList::List{phone(
                                             QStringLiteral("one"), QStringLiteral("one"))})));
    }

    void aPairedPhoneIsLookedFor() {
        announce(QStringLiteral("one"), QStringLiteral("_clipmule-s2._tcp"));
        start({QStringLiteral("pair"), QStringLiteral("one")});
        // As soon as it is seen, that is all.
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral("paired one as one")});
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
            << QStringLiteral("Anna\u2019s Phone")
            << QStringLiteral("no phone on the network is called Anna's Phone now; did you mean "
                              "Anna\u2019s Phone?");
        QTest::newRow("somebody else") << QStringLiteral("Bert")
                                       << QStringLiteral("no phone on the network is called Anna's "
                                                         "Phone now; it connects when it is there");
    }
    void whoIsNotThereIsToldOf() {
        QFETCH(QString, present);
        QFETCH(QString, complaint);
        if (!present.isEmpty())
            announce(present, QStringLiteral("_clipmule-s2._tcp"));
        start({QStringLiteral("pair"), QStringLiteral("Anna's Phone")});
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
        _database->setValue(sharedDomain, serverServices, list);
        run({QStringLiteral("pair"), QStringLiteral("new"), QStringLiteral("--wait=0")});
        QCOMPARE(_status, fits ? 0 : 1);
        QCOMPARE(shared(serverServices)->list().size(), fits ? count + 1 : count);
        // One that is there can be changed in any case.
        run({QStringLiteral("pair"), QStringLiteral("0"), QStringLiteral("--name=A"),
             QStringLiteral("--wait=0")});
        QCOMPARE(_status, 0);
    }

    void phonesOnTheNetworkAreShownOnce() {
        _database->setValue(sharedDomain, serverServices,
                            PropertyList::List{phone(QStringLiteral("one"), QStringLiteral("1"))});
        announce(QStringLiteral("one"), QStringLiteral("_clipmule-s2._tcp"));
        announce(QStringLiteral("web"), QStringLiteral("_http._tcp"));
        start({QStringLiteral("discover")});
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_printed, QStringList{QStringLiteral("one\tpaired")});
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
                 QStringList({QStringLiteral("one\tpaired"), QStringLiteral("esc\\x1b[2J")}));
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
        QCOMPARE(_complaints, QStringList{QStringLiteral("no phone was seen in 0.5 seconds")});
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
        start({QStringLiteral("discover")});
        for (int i = 0; i < announced; ++i) {
            announce(QString::number(i), QStringLiteral("_clipmule-s2._tcp"));
            _dnssd->vanish(name(QString::number(i))); // so many are not there at once
        }
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

    // The value in effect, and whether somebody set it.
    void aDefaultIsShownAsOne_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("shown");
        // From the program's own "Defaults" file.
        QTest::newRow("registered") << QStringLiteral("showStatus") << QStringLiteral("true");
        QTest::newRow("of the agent") << QStringLiteral("syncEnabled") << QStringLiteral("true");
        QTest::newRow("choice") << QStringLiteral("pasteMode") << QStringLiteral("paste");
        QTest::newRow("counter") << QStringLiteral("dataSent") << QStringLiteral("0");
        QTest::newRow("small counter") << QStringLiteral("textItems") << QStringLiteral("0");
    }
    void aDefaultIsShownAsOne() {
        QFETCH(QString, key);
        QFETCH(QString, shown);
        run({QStringLiteral("get"), key});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{shown});
        QCOMPARE(_complaints,
                 QStringList{key + QStringLiteral(" is not set; this is its default")});
    }

    void aSetValueIsShownWithoutAWord() {
        _database->setValue(agentDomain, QStringLiteral("syncEnabled"), true);
        run({QStringLiteral("get"), QStringLiteral("syncEnabled")});
        QCOMPARE(_printed, QStringList{QStringLiteral("true")});
        QCOMPARE(_complaints, QStringList());
    }

    // A phone gives itself its name, and whoever pairs it stores that.
    void whatIsShownMovesNoCursor() {
        const QString foreign = QStringLiteral("a\u202e\x1b[31mb\u009b");
        _database->setValue(sharedDomain, QStringLiteral("key"), foreign);
        _database->setValue(sharedDomain, QStringLiteral("keys"), PropertyList::List{foreign, 1});
        run({QStringLiteral("get"), QStringLiteral("key")});
        QCOMPARE(_printed, QStringList{QStringLiteral("a\\u202e\\x1b[31mb\\x9b")});
        run({QStringLiteral("get"), QStringLiteral("keys")});
        QVERIFY(_printed[0].contains(u"<string>a\\u202e\\x1b[31mb\\x9b</string>\n"));
        run({QStringLiteral("get"), QStringLiteral("key"), QStringLiteral("--json")});
        QVERIFY(_printed[0].contains(u"\"a\\u202e\\u001b[31mb\\u009b\""));
    }

    void aLongTextIsShownWhole() {
        const QString lines = QString(5000, u'x') + u'\n' + QString(5000, u'y');
        _database->setValue(sharedDomain, QStringLiteral("key"), lines);
        run({QStringLiteral("get"), QStringLiteral("key")});
        QCOMPARE(_printed, QStringList{lines});
    }

    void aSettingAsJson() {
        run({QStringLiteral("get"), QStringLiteral("syncEnabled"), QStringLiteral("--json")});
        QCOMPARE(_status, 0);
        QCOMPARE(_printed, QStringList{QStringLiteral(
                               "{\"domain\":\"agent\",\"isSet\":false,\"key\":\"syncEnabled\","
                               "\"value\":true}")});
        _database->setValue(sharedDomain, QStringLiteral("key"),
                            PropertyList::List{1, 1.5, QByteArray("x"), Date(0), false,
                                               QStringLiteral("text"), PropertyList::Dictionary{}});
        run({QStringLiteral("get"), QStringLiteral("key"), QStringLiteral("--json")});
        QCOMPARE(_printed,
                 QStringList{QStringLiteral(
                     "{\"domain\":\"shared\",\"isSet\":true,\"key\":\"key\",\"value\":[1,1.5,"
                     "\"eA==\",\"2001-01-01T00:00:00Z\",false,\"text\",{}]}")});
        run({QStringLiteral("get"), QStringLiteral("nothing"), QStringLiteral("--json")});
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
                _database->setValue(domains[setting.domain], setting.name, each.value);
                QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^setting ")));
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
            _database->setValue(domains[setting.domain], setting.name, std::nullopt);
        }
    }

    void aSettingIsUnset() {
        _database->setValue(agentDomain, QStringLiteral("syncEnabled"), false);
        run({QStringLiteral("unset"), QStringLiteral("syncEnabled")});
        QCOMPARE(_status, 0);
        QVERIFY(_database->copyMultiple(agentDomain).isEmpty());
        QCOMPARE(_database->synchronized(), QStringList{agentDomain});
        QCOMPARE(_notifications->posted().size(), 1);
        QVERIFY(
            !_notifications->posted()[0].userInfo.contains(QStringLiteral("gUserDefaultsValue")));
        // A second time there is nothing to do.
        run({QStringLiteral("unset"), QStringLiteral("syncEnabled")});
        QCOMPARE(_status, 0);
    }

    void whatCannotBeUnsetIsAFailure() {
        FullDatabase full;
        full.values = {{QStringLiteral("key"), 6}};
        _environment.database = &full;
        run({QStringLiteral("unset"), QStringLiteral("key")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("key could not be written: no space")});
        _commands.reset();
    }

    void aKeyThatIsNoSettingIsKeptWithAWord() {
        run({QStringLiteral("set"), QStringLiteral("showstatus"), QStringLiteral("false")});
        QCOMPARE(_status, 0);
        QCOMPARE(_complaints, QStringList{QStringLiteral(
                                  "showstatus is no setting of Clipmule Sync, but is kept all the "
                                  "same; did you mean showStatus?")});
        QCOMPARE(shared(QStringLiteral("showstatus")), std::optional(PropertyList(false)));
        run({QStringLiteral("set"), QStringLiteral("colour"), QStringLiteral("red")});
        QCOMPARE(_complaints, QStringList{QStringLiteral("colour is no setting of Clipmule Sync, "
                                                         "but is kept all the same")});
    }

    void aSettingKnowsItsDomainAndKind() {
        run({QStringLiteral("set"), QStringLiteral("syncEnabled"), QStringLiteral("no")});
        QCOMPARE(_database->copyMultiple(agentDomain).value(QStringLiteral("syncEnabled")),
                 PropertyList(false));
        QCOMPARE(shared(QStringLiteral("syncEnabled")), std::nullopt);
        run({QStringLiteral("set"), QStringLiteral("pasteMode"), QStringLiteral("clipboard")});
        QCOMPARE(shared(QStringLiteral("pasteMode")),
                 std::optional(PropertyList(QStringLiteral("clipboard"))));
        QCOMPARE(_complaints, QStringList());
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
        QCOMPARE(_printed, QStringList{QStringLiteral("sync is off")});
        QCOMPARE(_database->copyMultiple(agentDomain).value(QStringLiteral("syncEnabled")),
                 PropertyList(false));
        run({QStringLiteral("enable")});
        QCOMPARE(_printed, QStringList{QStringLiteral("sync is on")});
        QCOMPARE(_database->copyMultiple(agentDomain).value(QStringLiteral("syncEnabled")),
                 PropertyList(true));
    }

    void whatCannotBeWrittenIsAFailure() {
        FullDatabase full;
        full.values = {{QStringLiteral("key"), 6}};
        _environment.database = &full;
        run({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("7")});
        QCOMPARE(_status, 1);
        QCOMPARE(_complaints, QStringList{QStringLiteral("key could not be written: no space")});
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
