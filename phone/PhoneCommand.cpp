// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneCommand.h"

#include <QDir>

#include <optional>
#include <utility>

namespace clipmule {

namespace {

using Verb = PhoneCommand::Verb;

PhoneCommand invalid(const QString &reason) {
    return {Verb::Invalid, {reason}};
}

// What a backslash and the character behind it stand for.
QString escaped(QChar character) {
    switch (character.unicode()) {
    case u'n':
        return QStringLiteral("\n");
    case u'r':
        return QStringLiteral("\r");
    case u'\\':
        return QStringLiteral("\\");
    default:
        return QStringLiteral("\\") + character;
    }
}

QString withoutEscapes(QStringView text) {
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (;;) {
        const qsizetype escape = text.indexOf(u'\\', copied);
        if (escape < 0 || escape + 1 == text.size())
            break;
        result += text.sliced(copied, escape - copied);
        result += escaped(text[escape + 1]);
        copied = escape + 2;
    }
    return result += text.sliced(copied);
}

// Nothing when a quotation mark is not closed.
std::optional<QStringList> wordsOf(QStringView text) {
    QStringList words;
    bool isQuoted = false;
    bool isInWord = false;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar character = text[at];
        if (!isQuoted && character.isSpace()) {
            isInWord = false;
            continue;
        }
        if (!std::exchange(isInWord, true))
            words.append(QString());
        if (character == u'"')
            isQuoted = !isQuoted;
        else if (!isQuoted || character != u'\\' || at + 1 == text.size())
            words.last() += character;
        else if (text[++at] == u'"')
            words.last() += u'"';
        else
            words.last() += escaped(text[at]);
    }
    if (isQuoted)
        return std::nullopt;
    return words;
}

bool standsForItself(const QString &word) {
    return word == word.toLower();
}

// The command whose form asks for these words, which are without those that stand for themselves.
PhoneCommand withWords(const PhoneCommand::Usage &usage, QStringList words) {
    PhoneCommand command{usage.verb};
    bool isValid = true;
    bool hasTexts = false;
    for (const QString &operand : usage.form.split(u' ')) {
        if (standsForItself(operand))
            continue;
        const bool isNumber = operand == u"N" || operand == u"POSITION";
        hasTexts = hasTexts || !isNumber;
        if (operand.endsWith(u"...")) {
            command.texts += std::exchange(words, {});
        } else if (words.isEmpty()) {
            isValid = isValid && operand.startsWith(u'[');
        } else if (isNumber) {
            command.number = words.takeFirst().toInt(); // 0 for what is no number
            isValid = isValid && command.number > 0;
        } else {
            command.texts.append(words.takeFirst());
        }
    }
    if (isValid && words.isEmpty())
        return command;
    return invalid(
        QStringLiteral("usage: ") + usage.form +
        (hasTexts ? QStringLiteral(" (a name with blanks in quotation marks)") : QString()));
}

// Nothing when it is none of the commands about what is kept.
std::optional<PhoneCommand> parseKept(QStringView name, QStringView rest) {
    QStringList seconds;
    for (const PhoneCommand::Usage &usage : PhoneCommand::usages()) {
        const QStringList form = usage.form.split(u' ');
        if (!usage.needsFolder || form[0] != name)
            continue;
        const std::optional<QStringList> words = wordsOf(rest);
        if (!words)
            return invalid(QStringLiteral("a quotation mark is not closed"));
        if (form.size() == 1 || !standsForItself(form[1]))
            return withWords(usage, *words);
        if (!words->isEmpty() && words->first() == form[1])
            return withWords(usage, words->sliced(1));
        seconds.append(form[1]);
    }
    if (seconds.isEmpty())
        return std::nullopt;
    return invalid(QStringLiteral("usage: %1 %2 …").arg(name, seconds.join(u'|')));
}

// Replaces "~/" by the home folder, as a shell would; a line typed here goes through none.
QString withHome(const QString &path) {
    return path == u"~" || path.startsWith(u"~/") ? QDir::homePath() + path.sliced(1) : path;
}

PhoneCommand parseClip(QStringView name, QStringView rest, bool forOtherPhones) {
    // An empty text would empty the desk's clipboard.
    if ((name == u"text" || name == u"strings") && rest.isEmpty())
        return invalid(QStringLiteral("%1 needs a text").arg(name));
    if (name == u"text")
        return {Verb::Text, {withoutEscapes(rest)}, 0, forOtherPhones};
    if (name == u"strings") {
        QStringList strings;
        for (const QStringView part : rest.split(u'|'))
            strings.append(withoutEscapes(part.trimmed()));
        return {Verb::Text, strings, 0, forOtherPhones};
    }
    const QString argument = rest.trimmed().toString();
    if (name != u"url" && name != u"image")
        return invalid(name.isEmpty() ? QStringLiteral("relay needs a command")
                                      : QStringLiteral("unknown command: %1").arg(name));
    if (argument.isEmpty())
        return invalid(QStringLiteral("%1 needs an argument").arg(name));
    if (name == u"url")
        return {Verb::Url, {argument}, 0, forOtherPhones};
    return {Verb::Image, {withHome(argument)}, 0, forOtherPhones};
}

// The first word, and what follows the one blank behind it.
std::pair<QStringView, QStringView> split(QStringView line) {
    const qsizetype blank = line.indexOf(u' ');
    if (blank < 0)
        return {line, {}};
    return {line.first(blank), line.sliced(blank + 1)};
}

} // namespace

const QList<PhoneCommand::Usage> &PhoneCommand::usages() {
    const auto sending = [](Verb verb, const char *form, const char *purpose) {
        return Usage{verb, QString::fromUtf8(form), QString::fromUtf8(purpose)};
    };
    const auto keeping = [](Verb verb, const char *form, const char *purpose) {
        return Usage{verb, QString::fromUtf8(form), QString::fromUtf8(purpose), true};
    };
    static const QList<Usage> list{
        sending(Verb::Text, "text TEXT", "send a text (\\n for a line break)"),
        sending(Verb::Url, "url URL", "send a URL"),
        sending(Verb::Image, "image FILE", "send an image"),
        sending(Verb::Text, "strings A | B | C", "send a clip of several texts"),
        sending(Verb::Text, "relay text|url|…  …", "the same, for the other phones"),
        sending(Verb::PropertyList, "plist FILE", "send a message envelope from a property list"),
        sending(Verb::Help, "help", "list the commands; ? does it, too"),
        sending(Verb::Quit, "quit", "end; exit does it, too"),
        keeping(Verb::History, "history [BOARD]", "list the clips, the newest first"),
        keeping(Verb::Show, "show N", "print clip number N in full"),
        keeping(Verb::Copy, "copy N", "send it to the desk"),
        keeping(Verb::File, "file N BOARD", "add a copy of it to a board"),
        keeping(Verb::Forget, "forget N", "remove it"),
        keeping(Verb::Filters, "filters N", "list the text filters that apply to it"),
        keeping(Verb::Filter, "filter N TITLE [NAME=VALUE]...", "make a new clip with one of them"),
        keeping(Verb::Boards, "boards", "list the boards"),
        keeping(Verb::NewBoard, "board new NAME", "add one behind the others"),
        keeping(Verb::RenameBoard, "board rename NAME NEW-NAME", "give it another name"),
        keeping(Verb::MoveBoard, "board move NAME POSITION", "move it; the first position is 1"),
        keeping(Verb::RemoveBoard, "board remove NAME", "remove it and its clips"),
        keeping(Verb::Restore, "restore", "put back lists that could not be read before")};
    return list;
}

PhoneCommand PhoneCommand::parse(const QString &typed) {
    // Blanks behind a text are part of it; blanks before the command are not.
    qsizetype begin = 0;
    while (begin < typed.size() && typed[begin].isSpace())
        ++begin;
    const QStringView line = QStringView(typed).sliced(begin);
    if (line.isEmpty())
        return {};
    const auto [name, rest] = split(line);
    if (name == u"quit" || name == u"exit")
        return {Verb::Quit};
    if (name == u"help" || name == u"?")
        return {Verb::Help};
    if (name == u"plist") {
        if (rest.trimmed().isEmpty())
            return invalid(QStringLiteral("plist needs a file"));
        return {Verb::PropertyList, {withHome(rest.trimmed().toString())}};
    }
    if (name == u"relay") {
        const auto [what, clip] = split(rest);
        return parseClip(what, clip, true);
    }
    if (const auto command = parseKept(name, rest))
        return *command;
    return parseClip(name, rest, false);
}

} // namespace clipmule
