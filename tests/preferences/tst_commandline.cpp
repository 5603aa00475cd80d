// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "preferences/CommandLine.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

using Kind = PreferencesCommand::Kind;
using Domain = PreferencesCommand::Domain;

PreferencesCommand parsed(const QStringList &arguments) {
    const auto command = parseCommandLine(arguments);
    if (!command)
        QTest::qFail(qPrintable(command.error().reason), __FILE__, __LINE__);
    return command.value_or(PreferencesCommand{});
}

QStringList words(const char *line) {
    return QString::fromUtf8(line).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

class CommandLineTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void commandsWithoutOperands_data() {
        QTest::addColumn<int>("kind");
        QTest::newRow("discover") << int(Kind::Discover);
        QTest::newRow("list") << int(Kind::List);
        QTest::newRow("enable") << int(Kind::Enable);
        QTest::newRow("disable") << int(Kind::Disable);
        QTest::newRow("status") << int(Kind::Status);
        QTest::newRow("--help") << int(Kind::Help);
        QTest::newRow("-h") << int(Kind::Help);
        QTest::newRow("--version") << int(Kind::Version);
        QTest::newRow("-v") << int(Kind::Version);
    }
    void commandsWithoutOperands() {
        QFETCH(int, kind);
        const PreferencesCommand command = parsed({QString::fromLatin1(QTest::currentDataTag())});
        QCOMPARE(int(command.kind), kind);
        QVERIFY(!command.asJson);
        QCOMPARE(command.wait, std::nullopt);
        QVERIFY(!command.watches);
    }

    void helpIsThereInEveryCommand() {
        QCOMPARE(int(parsed(words("set --help")).kind), int(Kind::Help));
    }

    void aPhoneIsRegisteredByItsServiceName() {
        const PreferencesCommand command =
            parsed({QStringLiteral("register"), QStringLiteral("Anna’s phone. 📱")});
        QCOMPARE(int(command.kind), int(Kind::Register));
        QCOMPARE(command.service, QStringLiteral("Anna’s phone. 📱"));
        QCOMPARE(command.name, std::nullopt);
        const PreferencesCommand named =
            parsed({QStringLiteral("register"), QStringLiteral("--name"), QStringLiteral("Anna"),
                    QStringLiteral("service")});
        QCOMPARE(named.service, QStringLiteral("service"));
        QCOMPARE(named.name, std::optional(QStringLiteral("Anna")));
        QCOMPARE(parsed(words("register service --name=An=na")).name,
                 std::optional(QStringLiteral("An=na")));
        QCOMPARE(int(parsed(words("unregister service")).kind), int(Kind::Unregister));
        QCOMPARE(parsed(words("unregister service")).service, QStringLiteral("service"));
    }

    void pairAndRegisterAreOne() {
        QCOMPARE(int(parsed(words("pair service")).kind), int(Kind::Register));
        QCOMPARE(int(parsed(words("unpair service")).kind), int(Kind::Unregister));
        const PreferencesCommand rename = parsed(words("rename service Name"));
        QCOMPARE(int(rename.kind), int(Kind::Rename));
        QCOMPARE(rename.service, QStringLiteral("service"));
        QCOMPARE(rename.name, std::optional(QStringLiteral("Name")));
    }

    void aPhonesOwnSettingsAreRead() {
        const PreferencesCommand plain = parsed(words("pair service"));
        QVERIFY(!plain.pasteMode && !plain.address && !plain.wait);
        const PreferencesCommand both =
            parsed(words("pair service --address [::1]:80 --paste-mode clipboard --wait 0"));
        QCOMPARE(both.address, std::optional(QStringLiteral("[::1]:80")));
        QVERIFY(both.pasteMode == std::optional(std::optional(PasteMode::Clipboard)));
        QCOMPARE(both.wait, std::optional(RunLoop::Seconds(0)));
        QVERIFY(parsed(words("pair service --paste-mode paste")).pasteMode ==
                std::optional(std::optional(PasteMode::Paste)));
        const PreferencesCommand neither =
            parsed(words("pair service --address= --paste-mode default"));
        QCOMPARE(neither.address, std::optional(QString()));
        QVERIFY(neither.pasteMode && !*neither.pasteMode);
    }

    // A setting is known by its key: where it is kept, and what it holds.
    void settingsChooseTheirDomain() {
        for (const Settings::Setting &setting : Settings::all()) {
            for (const char *command : {"get", "unset"}) {
                const QStringList plain{QString::fromLatin1(command), setting.name};
                QCOMPARE(int(parsed(plain).domain), int(setting.domain));
                for (const Domain domain : {Domain::Shared, Domain::Agent, Domain::Statistics}) {
                    const auto line = parseCommandLine(
                        plain + QStringList{QStringLiteral("--domain"), Settings::nameOf(domain)});
                    QCOMPARE(line.has_value(), domain == setting.domain);
                }
            }
        }
    }

    void whatASettingCannotHoldIsRefused() {
        // Every kind of value, as a property list and as a word.
        for (const Settings::Setting &setting : Settings::all()) {
            for (const kit::NamedValue &each : kit::everyKind()) {
                QByteArray xml;
                try {
                    xml = PropertyListSerialization::xml(each.value);
                } catch (const PlatformException &) {
                    continue; // no file can hold it
                }
                const auto value = PropertyListSerialization::parse(xml);
                if (!value)
                    continue;
                const auto line =
                    parseCommandLine({QStringLiteral("set"), setting.name,
                                      QStringLiteral("--plist"), QString::fromUtf8(xml)});
                const auto checked = Settings::check(setting, *value);
                QCOMPARE(line.has_value(), checked.has_value());
                if (!checked)
                    QCOMPARE(line.error().reason, checked.error().reason);
            }
        }
    }

    void settingsTakeTheirWords() {
        QCOMPARE(parsed(words("set showStatus yes")).value, PropertyList(true));
        QCOMPARE(parsed(words("set syncEnabled 0")).value, PropertyList(false));
        QCOMPARE(int(parsed(words("set syncEnabled 0")).domain), int(Domain::Agent));
        QCOMPARE(parsed(words("set pasteMode Clipboard")).value,
                 PropertyList(QStringLiteral("clipboard")));
        QCOMPARE(parsed(words("set textItems 5")).value, PropertyList(5));
        QVERIFY(!parseCommandLine(words("set showStatus true --string")));
    }

    void settingsHaveADomain() {
        QCOMPARE(parsed(words("get key")).key, QStringLiteral("key"));
        QCOMPARE(int(parsed(words("get key")).domain), int(Domain::Shared));
        QCOMPARE(int(parsed(words("get key --domain shared")).domain), int(Domain::Shared));
        QCOMPARE(int(parsed(words("get --domain agent key")).domain), int(Domain::Agent));
        QCOMPARE(int(parsed(words("get --domain=stats key")).domain), int(Domain::Statistics));
        const PreferencesCommand set = parsed(words("set key 7 --domain agent"));
        QCOMPARE(int(set.kind), int(Kind::Set));
        QCOMPARE(set.key, QStringLiteral("key"));
        QCOMPARE(set.value, PropertyList(7));
        QCOMPARE(int(set.domain), int(Domain::Agent));
    }

    void valuesAreRead_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<PropertyList>("value");
        const auto row = [](const char *text, const PropertyList &value) {
            QTest::newRow(text) << QString::fromLatin1(text) << value;
        };
        const auto textRow = [](const char *text) {
            QTest::newRow(text) << QString::fromLatin1(text)
                                << PropertyList(QString::fromLatin1(text));
        };
        row("true", true);
        row("false", false);
        row("0", 0);
        row("-5", -5);
        row("+7", 7);
        row("007", 7);
        row("9223372036854775807", 9223372036854775807LL);
        row("-9223372036854775808", std::numeric_limits<qint64>::min());
        row("9223372036854775808", 9223372036854775808ULL);
        row("18446744073709551615", ~quint64(0));
        textRow("18446744073709551616");
        textRow("-9223372036854775809");
        row("1.0", 1.0);
        row("-0.5", -0.5);
        row(".5", 0.5);
        row("5.", 5.0);
        row("1e3", 1000.0);
        row("2.5E-3", 0.0025);
        textRow("1e999");
        textRow("1.2.3");
        textRow("0x10");
        textRow("inf");
        textRow("nan");
        textRow(".");
        textRow("e3");
        textRow("TRUE");
        textRow("yes");
        textRow(" 1");
        textRow("1 ");
        textRow("some words");
        textRow("");
    }
    void valuesAreRead() {
        QFETCH(QString, text);
        QFETCH(PropertyList, value);
        QCOMPARE(valueFromText(text), value);
        QCOMPARE(parsed({QStringLiteral("set"), QStringLiteral("key"), text}).value, value);
    }

    void theKindOfAValueCanBeForced() {
        QCOMPARE(parsed(words("set key 7 --string")).value, PropertyList(QStringLiteral("7")));
        QCOMPARE(parsed({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("--plist"),
                         QStringLiteral("(a, {b = c;})")})
                     .value,
                 PropertyList(PropertyList::List{
                     QStringLiteral("a"),
                     PropertyList::Dictionary{{QStringLiteral("b"), QStringLiteral("c")}}}));
        QCOMPARE(parsed({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("--plist"),
                         QStringLiteral("<plist><date>2001-01-01T00:00:07Z</date></plist>")})
                     .value,
                 PropertyList(Date{7}));
    }

    void aDoubleDashEndsTheOptions() {
        QCOMPARE(parsed(words("set key -- --string")).value,
                 PropertyList(QStringLiteral("--string")));
        QCOMPARE(parsed(words("register -- --name")).service, QStringLiteral("--name"));
    }

    void discoveryHasADuration() {
        QCOMPARE(parsed(words("discover --wait 0.5")).wait, RunLoop::Seconds(0.5));
        QCOMPARE(parsed(words("discover --wait=599")).wait, RunLoop::Seconds(599));
        QCOMPARE(parsed(words("discover --wait=600")).wait, RunLoop::Seconds(600));
        QVERIFY(parsed(words("discover --json")).asJson);
    }

    void lengthsAreBounded_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("valid");
        const auto registered = [](const QString &service) {
            return QStringList{QStringLiteral("register"), service};
        };
        // Two bytes a letter, so that characters and bytes differ.
        QTest::newRow("service, 62 bytes") << registered(QString(31, u'ü')) << true;
        QTest::newRow("service, 63 bytes") << registered(u'a' + QString(31, u'ü')) << true;
        QTest::newRow("service, 64 bytes") << registered(QString(32, u'ü')) << false;
        QTest::newRow("service of the session, 63 bytes")
            << registered(QStringLiteral("local/") + QString(63, u'a')) << true;
        QTest::newRow("service of the session, 64 bytes")
            << registered(QStringLiteral("local/") + QString(64, u'a')) << false;
        QTest::newRow("service of the session, none")
            << registered(QStringLiteral("local/")) << false;
        const auto named = [](qsizetype size) {
            return QStringList{QStringLiteral("register"), QStringLiteral("s"),
                               QStringLiteral("--name"), QString(size, u'ü')};
        };
        QTest::newRow("name, 254 characters") << named(254) << true;
        QTest::newRow("name, 255 characters") << named(255) << true;
        QTest::newRow("name, 256 characters") << named(256) << false;
        const auto got = [](qsizetype size) {
            return QStringList{QStringLiteral("get"), QString(size, u'k')};
        };
        QTest::newRow("key, 254 characters") << got(254) << true;
        QTest::newRow("key, 255 characters") << got(255) << true;
        QTest::newRow("key, 256 characters") << got(256) << false;
    }
    void lengthsAreBounded() {
        QFETCH(QStringList, arguments);
        QFETCH(bool, valid);
        QCOMPARE(parseCommandLine(arguments).has_value(), valid);
    }

    void badArgumentsAreRefusedInOneLine_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *line, const char *error) {
            QTest::newRow(line) << words(line) << QString::fromUtf8(error);
        };
        QTest::newRow("nothing") << QStringList()
                                 << QStringLiteral("no command; --help tells which there are");
        row("frobnicate", "no such command: frobnicate");
        row("--nonsense", "unknown option: --nonsense");
        row("--json", "unknown option: --json");
        row("pair", "pair needs SERVICE");
        row("rename one", "rename needs NAME");
        row("pair one --address host",
            "an address has the form HOST:PORT, or [ADDRESS]:PORT for IPv6");
        row("pair one --paste-mode glue", "--paste-mode is paste, clipboard or default");
        row("pair one --wait -1", "--wait takes seconds, more than 0 and at most 600");
        row("set showStatus maybe", "showStatus is true or false");
        row("set serverServices hello", "serverServices is a list of phones; \"pair\" adds one");
        row("set syncEnabled false --domain shared", "syncEnabled belongs to the domain \"agent\"");
        row("set pasteMode glue", "pasteMode is paste or clipboard");
        row("get key --watch", "get has no option --watch");
        QTest::newRow("blank name") << QStringList{QStringLiteral("pair"), QStringLiteral("one"),
                                                   QStringLiteral("--name"), QStringLiteral("  ")}
                                    << QStringLiteral("a display name is not blank");
        QTest::newRow("blank new name")
            << QStringList{QStringLiteral("rename"), QStringLiteral("one"),
                           QStringLiteral("\u00a0")}
            << QStringLiteral("a display name is not blank");
        row("register", "register needs SERVICE");
        row("set", "set needs KEY");
        row("set key", "set needs VALUE");
        row("list everything", "unexpected argument: everything");
        row("register a b", "unexpected argument: b");
        row("list --wait 3", "list has no option --wait");
        row("list --colour", "list has no option --colour");
        row("list --json --json", "--json is given twice");
        row("list --json=yes", "--json takes no value");
        row("register a --name", "--name needs a value");
        row("discover --wait soon", "--wait takes seconds, more than 0 and at most 600");
        row("discover --wait 0", "--wait takes seconds, more than 0 and at most 600");
        row("discover --wait -1", "--wait takes seconds, more than 0 and at most 600");
        row("discover --wait 600.1", "--wait takes seconds, more than 0 and at most 600");
        row("discover --wait nan", "--wait takes seconds, more than 0 and at most 600");
        row("get key --domain mine", "--domain is shared, agent or stats");
        row("set key 7 --string --plist", "--string and --plist exclude each other");
        QTest::newRow("empty service") << QStringList{QStringLiteral("register"), QString()}
                                       << QStringLiteral("a service name has 1 to 63 bytes");
        QTest::newRow("empty service to unregister")
            << QStringList{QStringLiteral("unregister"), QString()}
            << QStringLiteral("the service name is empty");
        QTest::newRow("line break in a service")
            << QStringList{QStringLiteral("register"), QStringLiteral("a\nb")}
            << QStringLiteral("a service name has no control characters");
        QTest::newRow("line break in a name")
            << QStringList{QStringLiteral("register"), QStringLiteral("a"),
                           QStringLiteral("--name=a\nb")}
            << QStringLiteral("a display name has no control characters");
        QTest::newRow("empty key") << QStringList{QStringLiteral("get"), QString()}
                                   << QStringLiteral("a key has 1 to 255 characters");
        QTest::newRow("an unknown command of several lines")
            << QStringList{QStringLiteral("a\nb")} << QStringLiteral("no such command: a\\nb");
    }
    void badArgumentsAreRefusedInOneLine() {
        QFETCH(QStringList, arguments);
        const auto line = parseCommandLine(arguments);
        QVERIFY(!line);
        QTEST(line.error().reason, "error");
        QVERIFY(!line.error().reason.contains(u'\n'));
    }

    void aDamagedPropertyListIsRefusedInOneLine() {
        const auto line =
            parseCommandLine({QStringLiteral("set"), QStringLiteral("key"),
                              QStringLiteral("--plist"), QStringLiteral("<plist><dict>\n<key>")});
        QVERIFY(!line);
        QVERIFY(line.error().reason.startsWith(u"the value is no property list: "));
        QVERIFY(!line.error().reason.contains(u'\n'));
    }

    void theUsageNamesEveryCommand() {
        for (const char *word :
             {"discover", "pair", "unpair", "rename", "register", "unregister", "list", "get",
              "set", "unset", "--watch", "--address", "--paste-mode", "enable", "disable", "status",
              "--help", "--version"})
            QVERIFY2(usage().contains(QString::fromLatin1(word)), word);
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "tst_commandline.moc"
