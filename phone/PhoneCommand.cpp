// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneCommand.h"

#include <QDir>

#include <utility>

namespace clipmule::PhoneCommand {

namespace {

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
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at] == u'\\' && at + 1 < text.size())
            result += escaped(text[++at]);
        else
            result += text[at];
    }
    return result;
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

/// Takes what a command is about from its words.
class Arguments {
public:
    Arguments(QString usage, QStringList words)
        : _usage(std::move(usage))
        , _words(std::move(words)) {}

    int number() {
        bool isNumber = false;
        const int number = text().toInt(&isNumber);
        _isValid = _isValid && isNumber && number > 0;
        return number;
    }
    QString text() {
        if (_next < _words.size())
            return _words[_next++];
        _isValid = false;
        return {};
    }
    [[nodiscard]] bool isAtEnd() const { return _next == _words.size(); }
    QStringList rest() { return _words.sliced(std::exchange(_next, _words.size())); }
    /// The command, if all its words were there and no more.
    [[nodiscard]] Command resultingIn(Command command) const {
        if (_isValid && isAtEnd())
            return command;
        return Invalid{QStringLiteral("usage: %1").arg(_usage)};
    }

private:
    QString _usage;
    QStringList _words;
    qsizetype _next = 0;
    bool _isValid = true;
};

QString quotesHint(const char *usage) {
    return QLatin1String(usage) + QStringLiteral(" (a name with blanks in quotation marks)");
}

Command parseBoard(QStringList words) {
    const QString what = words.isEmpty() ? QString() : words.takeFirst();
    if (what == u"new") {
        Arguments arguments(quotesHint("board new NAME"), words);
        const NewBoard command{arguments.text()};
        return arguments.resultingIn(command);
    }
    if (what == u"rename") {
        Arguments arguments(quotesHint("board rename NAME NEW-NAME"), words);
        RenameBoard command{arguments.text(), {}};
        command.newName = arguments.text();
        return arguments.resultingIn(command);
    }
    if (what == u"move") {
        Arguments arguments(quotesHint("board move NAME POSITION"), words);
        MoveBoard command{arguments.text(), 0};
        command.position = arguments.number();
        return arguments.resultingIn(command);
    }
    if (what == u"remove") {
        Arguments arguments(quotesHint("board remove NAME"), words);
        const RemoveBoard command{arguments.text()};
        return arguments.resultingIn(command);
    }
    return Invalid{QStringLiteral("usage: board new|rename|move|remove …")};
}

template <typename OfOneClip>
Command parseNumber(const char *usage, const QStringList &words) {
    Arguments arguments(QLatin1String(usage), words);
    const OfOneClip command{arguments.number()};
    return arguments.resultingIn(command);
}

// Nothing when it is none of the commands about what is kept.
std::optional<Command> parseKept(QStringView name, QStringView rest) {
    static const QStringList names{QStringLiteral("history"), QStringLiteral("show"),
                                   QStringLiteral("copy"),    QStringLiteral("file"),
                                   QStringLiteral("forget"),  QStringLiteral("filters"),
                                   QStringLiteral("filter"),  QStringLiteral("boards"),
                                   QStringLiteral("board"),   QStringLiteral("restore")};
    if (!names.contains(name))
        return std::nullopt;
    const std::optional<QStringList> words = wordsOf(rest);
    if (!words)
        return Invalid{QStringLiteral("a quotation mark is not closed")};
    if (name == u"show")
        return parseNumber<Show>("show N", *words);
    if (name == u"copy")
        return parseNumber<Copy>("copy N", *words);
    if (name == u"forget")
        return parseNumber<Forget>("forget N", *words);
    if (name == u"filters")
        return parseNumber<Filters>("filters N", *words);
    if (name == u"board")
        return parseBoard(*words);
    if (name == u"boards")
        return Arguments(QStringLiteral("boards"), *words).resultingIn(Boards{});
    if (name == u"restore")
        return Arguments(QStringLiteral("restore"), *words).resultingIn(Restore{});
    if (name == u"history") {
        Arguments arguments(quotesHint("history [BOARD]"), *words);
        History command;
        if (!arguments.isAtEnd())
            command.board = arguments.text();
        return arguments.resultingIn(command);
    }
    if (name == u"file") {
        Arguments arguments(quotesHint("file N BOARD"), *words);
        File command{arguments.number(), {}};
        command.board = arguments.text();
        return arguments.resultingIn(command);
    }
    Arguments arguments(quotesHint("filter N TITLE [NAME=VALUE]..."), *words);
    Filter command{arguments.number(), {}, {}};
    command.title = arguments.text();
    command.settings = arguments.rest();
    return arguments.resultingIn(command);
}

// Replaces "~/" by the home folder, as a shell would; a line typed here goes through none.
QString withHome(const QString &path) {
    return path == u"~" || path.startsWith(u"~/") ? QDir::homePath() + path.sliced(1) : path;
}

Command parseClip(QStringView name, QStringView rest, bool forOtherPhones) {
    // An empty text would empty the desk's clipboard.
    if ((name == u"text" || name == u"strings") && rest.isEmpty())
        return Invalid{QStringLiteral("%1 needs a text").arg(name)};
    if (name == u"text")
        return SendText{{withoutEscapes(rest)}, forOtherPhones};
    if (name == u"strings") {
        QStringList strings;
        for (const QStringView part : rest.split(u'|'))
            strings.append(withoutEscapes(part.trimmed()));
        return SendText{strings, forOtherPhones};
    }
    const QString argument = rest.trimmed().toString();
    if (name != u"url" && name != u"image")
        return Invalid{name.isEmpty() ? QStringLiteral("relay needs a command")
                                      : QStringLiteral("unknown command: %1").arg(name)};
    if (argument.isEmpty())
        return Invalid{QStringLiteral("%1 needs an argument").arg(name)};
    if (name == u"url")
        return SendUrl{argument, forOtherPhones};
    return SendImage{withHome(argument), forOtherPhones};
}

// The first word, and what follows the one blank behind it.
std::pair<QStringView, QStringView> split(QStringView line) {
    const qsizetype blank = line.indexOf(u' ');
    if (blank < 0)
        return {line, {}};
    return {line.first(blank), line.sliced(blank + 1)};
}

} // namespace

const QList<Usage> &usages() {
    static const QList<Usage> list{
        {QStringLiteral("text TEXT"), QStringLiteral("send a text (\\n for a line break)")},
        {QStringLiteral("url URL"), QStringLiteral("send a URL")},
        {QStringLiteral("image FILE"), QStringLiteral("send an image")},
        {QStringLiteral("strings A | B | C"), QStringLiteral("send a clip of several texts")},
        {QStringLiteral("relay text|url|…  …"), QStringLiteral("the same, for the other phones")},
        {QStringLiteral("plist FILE"),
         QStringLiteral("send a message envelope from a property list")},
        {QStringLiteral("help"), QStringLiteral("list the commands; ? does it, too")},
        {QStringLiteral("quit"), QStringLiteral("end; exit does it, too")},
        {QStringLiteral("history [BOARD]"), QStringLiteral("list the clips, the newest first"),
         true},
        {QStringLiteral("show N"), QStringLiteral("print clip number N in full"), true},
        {QStringLiteral("copy N"), QStringLiteral("send it to the desk"), true},
        {QStringLiteral("file N BOARD"), QStringLiteral("add a copy of it to a board"), true},
        {QStringLiteral("forget N"), QStringLiteral("remove it"), true},
        {QStringLiteral("filters N"), QStringLiteral("list the text filters that apply to it"),
         true},
        {QStringLiteral("filter N TITLE [NAME=VALUE]..."),
         QStringLiteral("make a new clip with one of them"), true},
        {QStringLiteral("boards"), QStringLiteral("list the boards"), true},
        {QStringLiteral("board new NAME"), QStringLiteral("add one behind the others"), true},
        {QStringLiteral("board rename NAME NEW-NAME"), QStringLiteral("give it another name"),
         true},
        {QStringLiteral("board move NAME POSITION"),
         QStringLiteral("move it; the first position is 1"), true},
        {QStringLiteral("board remove NAME"), QStringLiteral("remove it and its clips"), true},
        {QStringLiteral("restore"), QStringLiteral("put back lists that could not be read before"),
         true}};
    return list;
}

Command parse(const QString &typed) {
    // Blanks behind a text are part of it; blanks before the command are not.
    qsizetype begin = 0;
    while (begin < typed.size() && typed[begin].isSpace())
        ++begin;
    const QStringView line = QStringView(typed).sliced(begin);
    if (line.isEmpty())
        return Nothing{};
    const auto [name, rest] = split(line);
    if (name == u"quit" || name == u"exit")
        return Quit{};
    if (name == u"help" || name == u"?")
        return Help{};
    if (name == u"plist") {
        if (rest.trimmed().isEmpty())
            return Invalid{QStringLiteral("plist needs a file")};
        return SendPropertyList{withHome(rest.trimmed().toString())};
    }
    if (name == u"relay") {
        const auto [what, clip] = split(rest);
        return parseClip(what, clip, true);
    }
    if (const auto command = parseKept(name, rest))
        return *command;
    return parseClip(name, rest, false);
}

} // namespace clipmule::PhoneCommand
