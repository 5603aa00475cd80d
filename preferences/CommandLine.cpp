// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/CommandLine.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

using Kind = PreferencesCommand::Kind;
using Domain = PreferencesCommand::Domain;

// A command, how many words follow it, and which options it takes.
struct Rule {
    QLatin1String word;
    Kind kind;
    QStringList operands;
    QStringList options;
};

const QString jsonOption = QStringLiteral("--json");
const QString waitOption = QStringLiteral("--wait");
const QString nameOption = QStringLiteral("--name");
const QString domainOption = QStringLiteral("--domain");
const QString stringOption = QStringLiteral("--string");
const QString plistOption = QStringLiteral("--plist");

const QList<Rule> &rules() {
    static const QString service = QStringLiteral("SERVICE");
    static const QString key = QStringLiteral("KEY");
    static const QString value = QStringLiteral("VALUE");
    static const QList<Rule> all{
        {QLatin1String("discover"), Kind::Discover, {}, {waitOption, jsonOption}},
        {QLatin1String("register"), Kind::Register, {service}, {nameOption}},
        {QLatin1String("unregister"), Kind::Unregister, {service}, {}},
        {QLatin1String("list"), Kind::List, {}, {jsonOption}},
        {QLatin1String("get"), Kind::Get, {key}, {domainOption}},
        {QLatin1String("set"), Kind::Set, {key, value}, {domainOption, stringOption, plistOption}},
        {QLatin1String("enable"), Kind::Enable, {}, {}},
        {QLatin1String("disable"), Kind::Disable, {}, {}},
        {QLatin1String("status"), Kind::Status, {}, {jsonOption}},
        {QLatin1String("doctor"), Kind::Doctor, {}, {waitOption, jsonOption}},
    };
    return all;
}

bool takesValue(const QString &option) {
    return option == waitOption || option == nameOption || option == domainOption;
}

bool hasControlCharacter(const QString &text) {
    return std::any_of(text.begin(), text.end(),
                       [](QChar unit) { return unit < u' ' || unit == u'\x7f'; });
}

// An error text; empty when there is none.
QString checkName(const QString &what, const QString &text, qsizetype size, qsizetype longest,
                  const QString &unit) {
    if (text.isEmpty() || size > longest)
        return QStringLiteral("%1 has 1 to %2 %3").arg(what).arg(longest).arg(unit);
    if (hasControlCharacter(text))
        return QStringLiteral("%1 has no control characters").arg(what);
    return {};
}

QString readValue(const QString &text, const QMap<QString, QString> &options, PropertyList &value) {
    if (options.contains(stringOption) && options.contains(plistOption))
        return QStringLiteral("--string and --plist exclude each other");
    if (options.contains(stringOption)) {
        value = text;
    } else if (options.contains(plistOption)) {
        auto parsed = PropertyListSerialization::parse(text.toUtf8());
        if (!parsed.value)
            return QStringLiteral("the value is no property list: %1").arg(cutForLog(parsed.error));
        value = std::move(*parsed.value);
    } else {
        value = valueFromText(text);
    }
    return {};
}

QString readOptions(const QMap<QString, QString> &options, PreferencesCommand &command) {
    command.asJson = options.contains(jsonOption);
    if (options.contains(waitOption)) {
        bool isNumber = false;
        const double seconds = options.value(waitOption).toDouble(&isNumber);
        if (!isNumber || !(seconds > 0) || seconds > longestWait.count())
            return QStringLiteral("--wait takes seconds, more than 0 and at most %1")
                .arg(longestWait.count());
        command.wait = RunLoop::Seconds(seconds);
    }
    if (options.contains(nameOption)) {
        const QString name = options.value(nameOption);
        if (QString error = checkName(QStringLiteral("a display name"), name, name.size(),
                                      longestDisplayName, QStringLiteral("characters"));
            !error.isEmpty())
            return error;
        command.name = name;
    }
    if (options.contains(domainOption)) {
        const QString domain = options.value(domainOption);
        if (domain == u"shared")
            command.domain = Domain::Shared;
        else if (domain == u"agent")
            command.domain = Domain::Agent;
        else if (domain == u"stats")
            command.domain = Domain::Statistics;
        else
            return QStringLiteral("--domain is shared, agent or stats");
    }
    return {};
}

QString readOperands(const QStringList &operands, const QMap<QString, QString> &options,
                     PreferencesCommand &command) {
    switch (command.kind) {
    case Kind::Unregister:
        // Whatever is registered can be taken out again.
        command.service = operands[0];
        return command.service.isEmpty() ? QStringLiteral("the service name is empty") : QString();
    case Kind::Register:
        command.service = operands[0];
        return checkName(QStringLiteral("a service name"), command.service,
                         command.service.toUtf8().size(), longestServiceName,
                         QStringLiteral("bytes"));
    case Kind::Get:
    case Kind::Set:
        command.key = operands[0];
        if (QString error = checkName(QStringLiteral("a key"), command.key, command.key.size(),
                                      longestKey, QStringLiteral("characters"));
            !error.isEmpty())
            return error;
        return command.kind == Kind::Set ? readValue(operands[1], options, command.value)
                                         : QString();
    default:
        return {};
    }
}

} // namespace

PropertyList valueFromText(const QString &text) {
    if (text == u"true")
        return true;
    if (text == u"false")
        return false;
    static const QRegularExpression integer(QStringLiteral("\\A[+-]?[0-9]+\\z"));
    if (integer.match(text).hasMatch()) {
        bool fits = false;
        if (const qint64 value = text.toLongLong(&fits); fits)
            return value;
        if (const quint64 value = text.toULongLong(&fits); fits)
            return value;
        return text;
    }
    static const QRegularExpression real(
        QStringLiteral("\\A[+-]?([0-9]+\\.[0-9]*|\\.[0-9]+|[0-9]+(?=[eE]))([eE][+-]?[0-9]+)?\\z"));
    if (real.match(text).hasMatch()) {
        if (const double value = text.toDouble(); std::isfinite(value))
            return value;
    }
    return text;
}

ParsedCommandLine parseCommandLine(const QStringList &arguments) {
    QStringList words;
    QMap<QString, QString> options;
    bool onlyWords = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (onlyWords || !(argument.startsWith(u"--") || argument == u"-h" || argument == u"-v")) {
            words.append(argument);
            continue;
        }
        if (argument == u"--") {
            onlyWords = true;
            continue;
        }
        if (argument == u"--help" || argument == u"-h")
            return {PreferencesCommand{}, {}};
        if (argument == u"--version" || argument == u"-v") {
            PreferencesCommand command;
            command.kind = Kind::Version;
            return {command, {}};
        }
        const qsizetype equals = argument.indexOf(u'=');
        const QString option = argument.first(equals < 0 ? argument.size() : equals);
        if (options.contains(option))
            return {std::nullopt, QStringLiteral("%1 is given twice").arg(cutForLog(option))};
        if (!takesValue(option) && equals >= 0)
            return {std::nullopt, QStringLiteral("%1 takes no value").arg(cutForLog(option))};
        if (takesValue(option) && equals < 0) {
            if (++i == arguments.size())
                return {std::nullopt, QStringLiteral("%1 needs a value").arg(option)};
            options.insert(option, arguments[i]);
        } else {
            options.insert(option, equals < 0 ? QString() : argument.sliced(equals + 1));
        }
    }
    if (words.isEmpty())
        return {std::nullopt, QStringLiteral("no command; --help tells which there are")};
    const QString word = words.takeFirst();
    const auto rule = std::find_if(rules().begin(), rules().end(),
                                   [&word](const Rule &each) { return word == each.word; });
    if (rule == rules().end())
        return {std::nullopt, QStringLiteral("no such command: %1").arg(cutForLog(word))};
    for (const QString &option : options.keys()) {
        if (!rule->options.contains(option))
            return {std::nullopt,
                    QStringLiteral("%1 has no option %2").arg(word, cutForLog(option))};
    }
    if (words.size() < rule->operands.size())
        return {std::nullopt,
                QStringLiteral("%1 needs %2").arg(word, rule->operands[words.size()])};
    if (words.size() > rule->operands.size())
        return {
            std::nullopt,
            QStringLiteral("unexpected argument: %1").arg(cutForLog(words[rule->operands.size()]))};
    PreferencesCommand command;
    command.kind = rule->kind;
    QString error = readOptions(options, command);
    if (error.isEmpty())
        error = readOperands(words, options, command);
    if (!error.isEmpty())
        return {std::nullopt, error};
    return {command, {}};
}

QString usage() {
    return QStringLiteral(
        "Usage: clipmule-preferences [COMMAND [OPTION…]]\n"
        "\n"
        "Registers phones and changes settings: in a window, or by a command. A running agent\n"
        "follows at once.\n"
        "\n"
        "  discover [--wait SECONDS] [--json]    show the phones on the network (3 seconds)\n"
        "  register SERVICE [--name DISPLAY]     keep the clipboard in step with a phone\n"
        "  unregister SERVICE                    stop that\n"
        "  list [--json]                         show the registered phones\n"
        "  enable, disable                       switch synchronisation on or off\n"
        "  status [--json]                       show what is set, and whether the agent runs\n"
        "  doctor [--wait SECONDS] [--json]      show what works and what does not, for a bug\n"
        "                                        report; status 1 when something is broken\n"
        "  get KEY [--domain DOMAIN]             show a setting\n"
        "  set KEY VALUE [--domain DOMAIN]       change a setting\n"
        "      [--string | --plist]\n"
        "\n"
        "DOMAIN is shared (which is meant without it), agent or stats. A VALUE of \"true\" or\n"
        "\"false\", of digits or of a decimal fraction is kept as such, any other as a text; with\n"
        "--string it is always a text, with --plist it is read as a property list.\n"
        "\n"
        "  -h, --help       Show this help.\n"
        "  -v, --version    Show the version.\n"
        "\n"
        "The exit status is 0, 1 when it could not be done, or 2 when the arguments are wrong.\n");
}

} // namespace clipmule
