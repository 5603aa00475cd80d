// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneCommand.h"

#include <QTest>

using namespace clipmule;

namespace {

// A command as one readable line.
QString shown(const PhoneCommand::Command &command) {
    using namespace PhoneCommand;
    if (const auto *text = std::get_if<SendText>(&command))
        return (text->forOtherPhones ? u"relay text:"_qs : u"text:"_qs) +
               text->strings.join(QStringLiteral("||"));
    if (const auto *url = std::get_if<SendUrl>(&command))
        return (url->forOtherPhones ? u"relay url:"_qs : u"url:"_qs) + url->url;
    if (const auto *image = std::get_if<SendImage>(&command))
        return (image->forOtherPhones ? u"relay image:"_qs : u"image:"_qs) + image->path;
    if (const auto *list = std::get_if<SendPropertyList>(&command))
        return QStringLiteral("plist:") + list->path;
    if (std::holds_alternative<Quit>(command))
        return QStringLiteral("quit");
    if (const auto *invalid = std::get_if<Invalid>(&command))
        return QStringLiteral("invalid: ") + invalid->reason;
    return QStringLiteral("nothing");
}

} // namespace

class PhoneCommandTest : public QObject {
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
        row("text", "text:");
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
        row("relay", "invalid: unknown command: ");
        row("relay quit", "invalid: unknown command: quit");
        row("plist x.plist", "plist:x.plist");
        row("plist", "invalid: plist needs a file");
        row("quit", "quit");
        row("quitx", "invalid: unknown command: quitx");
    }
    void parses() {
        QFETCH(QString, line);
        QFETCH(QString, command);
        QCOMPARE(shown(PhoneCommand::parse(line)), command);
    }
};

QTEST_GUILESS_MAIN(PhoneCommandTest)
#include "tst_phonecommand.moc"
