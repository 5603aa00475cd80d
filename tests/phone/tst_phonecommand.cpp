// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneCommand.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

// A command as one readable line.
QString shown(const PhoneCommand &command) {
    using Verb = PhoneCommand::Verb;
    static const QHash<Verb, QString> names{{Verb::Nothing, u"nothing"_s},
                                            {Verb::Invalid, u"invalid: "_s},
                                            {Verb::Help, u"help"_s},
                                            {Verb::Quit, u"quit"_s},
                                            {Verb::Text, u"text:"_s},
                                            {Verb::Url, u"url:"_s},
                                            {Verb::Image, u"image:"_s},
                                            {Verb::PropertyList, u"plist:"_s},
                                            {Verb::History, u"history:"_s},
                                            {Verb::Show, u"show:"_s},
                                            {Verb::Copy, u"copy:"_s},
                                            {Verb::File, u"file:"_s},
                                            {Verb::Forget, u"forget:"_s},
                                            {Verb::Filters, u"filters:"_s},
                                            {Verb::Filter, u"filter:"_s},
                                            {Verb::Boards, u"boards"_s},
                                            {Verb::NewBoard, u"new board:"_s},
                                            {Verb::RenameBoard, u"rename board:"_s},
                                            {Verb::MoveBoard, u"move board:"_s},
                                            {Verb::RemoveBoard, u"remove board:"_s},
                                            {Verb::Restore, u"restore"_s}};
    QStringList parts = command.texts;
    if (command.number != 0)
        parts.prepend(QString::number(command.number));
    return (command.forOtherPhones ? u"relay "_s : QString()) + names.value(command.verb) +
           parts.join(u"||"_s);
}

} // namespace

class PhoneCommandTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void parses_data() {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("command");
        const auto row = [](const char *line, const char *command) {
            QTest::newRow(line) << QString::fromUtf8(line) << QString::fromUtf8(command);
        };
        row("", "nothing");
        row("   ", "nothing");
        row("text Hello, world", "text:Hello, world");
        row("text  two blanks ", "text: two blanks ");
        row("text", "invalid: text needs a text");
        row("text ", "invalid: text needs a text");
        row("text  ", "text: ");
        row("  text a ", "text:a ");
        row("\ttext  a", "text: a");
        row("strings", "invalid: strings needs a text");
        row("relay text", "invalid: text needs a text");
        row("image ~/a b.png",
            qPrintable(QStringLiteral("image:") + QDir::homePath() + QStringLiteral("/a b.png")));
        row("image ~", qPrintable(QStringLiteral("image:") + QDir::homePath()));
        row("image ~anna/a", "image:~anna/a");
        row("image a~/b", "image:a~/b");
        row("plist ~/x",
            qPrintable(QStringLiteral("plist:") + QDir::homePath() + QStringLiteral("/x")));
        row("help", "help");
        row("?", "help");
        row("  help", "help");
        row("exit", "quit");
        row("restore", "restore");
        row("restore all", "invalid: usage: restore");
        row("text a\\nb\\rc\\\\n\\q", "text:a\nb\rc\\n\\q");
        row("text ends in \\", "text:ends in \\");
        row("strings A | B | C", "text:A||B||C");
        row("strings one", "text:one");
        row("url https://example.org/a b", "url:https://example.org/a b");
        row("url ", "invalid: url needs an argument");
        row("image  /tmp/a b.png ", "image:/tmp/a b.png");
        row("image", "invalid: image needs an argument");
        row("relay text for you", "relay text:for you");
        row("relay image x.png", "relay image:x.png");
        row("relay url http://x", "relay url:http://x");
        row("relay", "invalid: relay needs a command");
        row("relay quit", "invalid: unknown command: quit");
        row("plist x.plist", "plist:x.plist");
        row("plist", "invalid: plist needs a file");
        row("history", "history:");
        row("history Work", "history:Work");
        row("history \"At home\"", "history:At home");
        row("history At home",
            "invalid: usage: history [BOARD] (a name with blanks in quotation marks)");
        row("show 3", "show:3");
        row("show", "invalid: usage: show N");
        row("show three", "invalid: usage: show N");
        row("show 0", "invalid: usage: show N");
        row("show -1", "invalid: usage: show N");
        row("show 2147483647", "show:2147483647");
        row("show 2147483648", "invalid: usage: show N");
        row("show 1 2", "invalid: usage: show N");
        row("copy  3 ", "copy:3");
        row("copy", "invalid: usage: copy N");
        row("file 3 \"At home\"", "file:3||At home");
        row("file Work 3", "invalid: usage: file N BOARD (a name with blanks in quotation marks)");
        row("forget 3", "forget:3");
        row("forget all", "invalid: usage: forget N");
        row("filters 3", "filters:3");
        row("filter 3 \"Quote Lines\" start=\"> \"", "filter:3||Quote Lines||start=> ");
        row("filter 3 x \"=a \\\"b\\\" \\n\\\\\"", "filter:3||x||=a \"b\" \n\\");
        row("filter 3 x find=\\d", "filter:3||x||find=\\d");
        row("filter 3 x find=\"\"", "filter:3||x||find=");
        row("filter 3", "invalid: usage: filter N TITLE [NAME=VALUE]... (a name with blanks in "
                        "quotation marks)");
        row("filter 3 \"Quote Lines", "invalid: a quotation mark is not closed");
        row("filter 3 \"ends in \\", "invalid: a quotation mark is not closed");
        row("boards", "boards");
        row("boards Work", "invalid: usage: boards");
        row("board new Work", "new board:Work");
        row("board new", "invalid: usage: board new NAME (a name with blanks in quotation marks)");
        row("board rename a b", "rename board:a||b");
        row("board rename a",
            "invalid: usage: board rename NAME NEW-NAME (a name with blanks in quotation marks)");
        row("board move a 2", "move board:2||a");
        row("board move a up",
            "invalid: usage: board move NAME POSITION (a name with blanks in quotation marks)");
        row("board remove a", "remove board:a");
        row("board remove",
            "invalid: usage: board remove NAME (a name with blanks in quotation marks)");
        row("board", "invalid: usage: board new|rename|move|remove …");
        row("board paint a", "invalid: usage: board new|rename|move|remove …");
        row("relay show 1", "invalid: unknown command: show");
        row("quit", "quit");
        row("quitx", "invalid: unknown command: quitx");
    }
    void parses() {
        QFETCH(QString, line);
        QFETCH(QString, command);
        QCOMPARE(shown(PhoneCommand::parse(line)), command);
    }

    // What help shows is what can be typed.
    void everyUsageIsACommand() {
        QCOMPARE(PhoneCommand::usages().size(), 21);
        for (const PhoneCommand::Usage &usage : PhoneCommand::usages()) {
            QString line = usage.form;
            line.replace(QStringLiteral(" POSITION"), QStringLiteral(" 1"));
            line.replace(QRegularExpression(QStringLiteral(" N\\b(?!A|E)")), QStringLiteral(" 1"));
            line.remove(QStringLiteral(" [BOARD]"));
            line.remove(QStringLiteral(" [NAME=VALUE]..."));
            line.replace(QStringLiteral("text|url|…  …"), QStringLiteral("text a"));
            const QString command = shown(PhoneCommand::parse(line));
            QVERIFY2(PhoneCommand::parse(line).verb == usage.verb, qPrintable(command));
            QVERIFY(!usage.purpose.isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(PhoneCommandTest)
#include "tst_phonecommand.moc"
