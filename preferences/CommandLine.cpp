// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/CommandLine.h"

#include "platform/foundation/HostAndPort.h"
#include "platform/foundation/Log.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace clipmule {

namespace {

using Kind = PreferencesCommand::Kind;
using Options = QMap<QString, QString>;

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
const QString addressOption = QStringLiteral("--address");
const QString pasteModeOption = QStringLiteral("--paste-mode");
const QString watchOption = QStringLiteral("--watch");

const QList<Rule> &rules() {
    static const QStringList service{QStringLiteral("SERVICE")};
    static const QStringList key{QStringLiteral("KEY")};
    static const QStringList phoneOptions{nameOption, addressOption, pasteModeOption, waitOption};
    static const QList<Rule> all{
        {QLatin1String("discover"), Kind::Discover, {}, {waitOption, jsonOption}},
        {QLatin1String("pair"), Kind::Register, service, phoneOptions},
        {QLatin1String("register"), Kind::Register, service, phoneOptions},
        {QLatin1String("unpair"), Kind::Unregister, service, {}},
        {QLatin1String("unregister"), Kind::Unregister, service, {}},
        {QLatin1String("rename"), Kind::Rename, service + QStringList{QStringLiteral("NAME")}, {}},
        {QLatin1String("list"), Kind::List, {}, {jsonOption}},
        {QLatin1String("get"), Kind::Get, key, {domainOption, jsonOption}},
        {QLatin1String("set"),
         Kind::Set,
         key + QStringList{QStringLiteral("VALUE")},
         {domainOption, stringOption, plistOption}},
        {QLatin1String("unset"), Kind::Unset, key, {domainOption}},
        {QLatin1String("enable"), Kind::Enable, {}, {}},
        {QLatin1String("disable"), Kind::Disable, {}, {}},
        {QLatin1String("status"), Kind::Status, {}, {jsonOption, watchOption}},
        {QLatin1String("doctor"), Kind::Doctor, {}, {waitOption, jsonOption}},
    };
    return all;
}

bool takesValue(const QString &option) {
    static const QStringList with{waitOption, nameOption, domainOption, addressOption,
                                  pasteModeOption};
    return with.contains(option);
}

// What may stand in any command line, and is all that is done then.
const QMap<QString, Kind> &informing() {
    static const QMap<QString, Kind> options{{QStringLiteral("--help"), Kind::Help},
                                             {QStringLiteral("-h"), Kind::Help},
                                             {QStringLiteral("--version"), Kind::Version},
                                             {QStringLiteral("-v"), Kind::Version}};
    return options;
}

Result<void> checkName(const QString &what, const QString &text, qsizetype size, qsizetype longest,
                       const QString &unit) {
    if (text.isEmpty() || size > longest)
        return failure(QStringLiteral("%1 has 1 to %2 %3").arg(what).arg(longest).arg(unit));
    if (text.trimmed().isEmpty())
        return failure(QStringLiteral("%1 is not blank").arg(what));
    if (std::any_of(text.begin(), text.end(),
                    [](QChar each) { return each < u' ' || each == u'\x7f'; }))
        return failure(QStringLiteral("%1 has no control characters").arg(what));
    return {};
}

Result<void> checkDisplayName(const QString &name) {
    return checkName(QStringLiteral("a display name"), name, name.size(), longestDisplayName,
                     QStringLiteral("characters"));
}

Result<PropertyList> readValue(const QString &text, const Options &options,
                               const Settings::Setting *setting) {
    if (options.contains(stringOption) && options.contains(plistOption))
        return failure(QStringLiteral("--string and --plist exclude each other"));
    if (options.contains(stringOption))
        return text;
    if (options.contains(plistOption)) {
        auto parsed = PropertyListSerialization::parse(text.toUtf8());
        if (!parsed)
            return failure(QStringLiteral("the value is no property list: %1")
                               .arg(cutForLog(parsed.error().reason)));
        return parsed;
    }
    // A word that the setting does not know is read by its looks, and refused as that.
    const auto known = setting ? Settings::valueFromWord(*setting, text) : std::nullopt;
    return known ? *known : valueFromText(text);
}

Result<void> readKey(const QString &key, const Options &options, PreferencesCommand &command) {
    command.key = key;
    if (auto checked = checkName(QStringLiteral("a key"), key, key.size(), longestKey,
                                 QStringLiteral("characters"));
        !checked)
        return checked;
    const Settings::Setting *const setting = Settings::find(key);
    if (!setting)
        return {};
    if (options.contains(domainOption) && command.domain != setting->domain)
        return failure(QStringLiteral("%1 belongs to the domain \"%2\"")
                           .arg(key, Settings::nameOf(setting->domain)));
    command.domain = setting->domain;
    return {};
}

Result<void> readPhoneOptions(const Options &options, PreferencesCommand &command) {
    if (options.contains(nameOption)) {
        command.name = options.value(nameOption);
        if (auto checked = checkDisplayName(*command.name); !checked)
            return checked;
    }
    if (options.contains(addressOption)) {
        const QString address = options.value(addressOption);
        const auto parsed = parseHostAndPort(address);
        if (!address.isEmpty() && !parsed)
            return failure(parsed.error().reason);
        command.address = parsed ? parsed->text() : QString();
    }
    if (options.contains(pasteModeOption)) {
        const QString word = options.value(pasteModeOption);
        const auto mode = Settings::pasteModeFrom(word);
        if (!mode && word != u"default")
            return failure(QStringLiteral("--paste-mode is paste, clipboard or default"));
        command.pasteMode.emplace(mode);
    }
    return {};
}

Result<void> readOptions(const Options &options, PreferencesCommand &command) {
    command.asJson = options.contains(jsonOption);
    command.watches = options.contains(watchOption);
    if (options.contains(waitOption)) {
        bool isNumber = false;
        const double seconds = options.value(waitOption).toDouble(&isNumber);
        // Only for pairing may the phone not be looked for at all.
        const bool needNotWait = command.kind == Kind::Register && seconds == 0;
        if (!isNumber || !(seconds > 0 || needNotWait) || seconds > longestWait.count())
            return failure(QStringLiteral("--wait takes seconds, more than 0 and at most %1")
                               .arg(longestWait.count()));
        command.wait = RunLoop::Seconds(seconds);
    }
    if (options.contains(domainOption)) {
        const auto domain = Settings::domainNamed(options.value(domainOption));
        if (!domain)
            return failure(QStringLiteral("--domain is shared, agent or stats"));
        command.domain = *domain;
    }
    return readPhoneOptions(options, command);
}

Result<void> readOperands(const QStringList &operands, const Options &options,
                          PreferencesCommand &command) {
    switch (command.kind) {
    case Kind::Unregister:
        // Whatever is registered can be taken out again.
        command.service = operands[0];
        if (command.service.isEmpty())
            return failure(QStringLiteral("the service name is empty"));
        return {};
    case Kind::Register: {
        command.service = operands[0];
        const QString name = LocalNames::ownName(command.service);
        return checkName(QStringLiteral("a service name"), name, name.toUtf8().size(),
                         RegisteredPhones::longestService, QStringLiteral("bytes"));
    }
    case Kind::Rename:
        command.service = operands[0];
        command.name = operands[1];
        return checkDisplayName(operands[1]);
    case Kind::Get:
    case Kind::Unset:
        return readKey(operands[0], options, command);
    case Kind::Set: {
        if (auto read = readKey(operands[0], options, command); !read)
            return read;
        const Settings::Setting *const setting = Settings::find(command.key);
        const auto value = readValue(operands[1], options, setting);
        if (!value)
            return tl::unexpected(value.error());
        command.value = *value;
        return setting ? Settings::check(*setting, *value) : Result<void>();
    }
    default:
        return {};
    }
}

struct Arguments {
    QStringList words;
    Options options;
};

// The words and the options of a command line, or the first of them that asks for help or the
// version. By hand, since the toolkit's parser takes the -5 of "set KEY -5" for an option.
Result<Arguments> sorted(const QStringList &arguments) {
    Arguments result;
    bool onlyWords = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (argument == u"--" && !onlyWords) {
            onlyWords = true;
            continue;
        }
        if (!onlyWords && informing().contains(argument))
            return Arguments{{}, {{argument, {}}}};
        if (onlyWords || !argument.startsWith(u"--")) {
            result.words.append(argument);
            continue;
        }
        const qsizetype equals = argument.indexOf(u'=');
        const QString option = argument.first(equals < 0 ? argument.size() : equals);
        if (result.options.contains(option))
            return failure(QStringLiteral("%1 is given twice").arg(cutForLog(option)));
        if (!takesValue(option) && equals >= 0)
            return failure(QStringLiteral("%1 takes no value").arg(cutForLog(option)));
        if (takesValue(option) && equals < 0 && ++i == arguments.size())
            return failure(QStringLiteral("%1 needs a value").arg(option));
        result.options.insert(option, equals >= 0          ? argument.sliced(equals + 1)
                                      : takesValue(option) ? arguments[i]
                                                           : QString());
    }
    return result;
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

Result<PreferencesCommand> parseCommandLine(const QStringList &arguments) {
    Result<Arguments> given = sorted(arguments);
    if (!given)
        return tl::unexpected(given.error());
    auto &[words, options] = *given;
    PreferencesCommand command;
    if (words.isEmpty() && !options.isEmpty()) {
        const QString option = options.firstKey();
        const auto kind = informing().constFind(option);
        if (kind == informing().constEnd())
            return failure(QStringLiteral("unknown option: %1").arg(cutForLog(option)));
        command.kind = *kind;
        return command;
    }
    if (words.isEmpty())
        return failure(QStringLiteral("no command; --help tells which there are"));
    const QString word = words.takeFirst();
    const auto rule = std::find_if(rules().begin(), rules().end(),
                                   [&word](const Rule &each) { return word == each.word; });
    if (rule == rules().end())
        return failure(QStringLiteral("no such command: %1").arg(cutForLog(word)));
    for (const QString &option : options.keys()) {
        if (!rule->options.contains(option))
            return failure(QStringLiteral("%1 has no option %2").arg(word, cutForLog(option)));
    }
    const qsizetype wanted = rule->operands.size();
    if (words.size() < wanted)
        return failure(QStringLiteral("%1 needs %2").arg(word, rule->operands[words.size()]));
    if (words.size() > wanted)
        return failure(QStringLiteral("unexpected argument: %1").arg(cutForLog(words[wanted])));
    command.kind = rule->kind;
    return readOptions(options, command)
        .and_then([&, &words = words, &options = options] {
            return readOperands(words, options, command);
        })
        .map([&] { return command; });
}

QString usage() {
    return QStringLiteral(
        "Usage: clipmule-preferences [COMMAND [OPTION…]]\n"
        "\n"
        "Pairs phones and changes settings: in a window, or by a command. A running agent\n"
        "follows at once.\n"
        "\n"
        "  discover [--wait SECONDS] [--json]    show the phones on the network (3 seconds)\n"
        "  pair SERVICE [--name NAME]            keep the clipboard in step with a phone\n"
        "      [--address HOST:PORT]             reached there, without discovery\n"
        "      [--paste-mode MODE]               paste, clipboard or default\n"
        "      [--wait SECONDS]                  how long to look whether it is there (1)\n"
        "  unpair SERVICE                        end that\n"
        "  rename SERVICE NAME                   give a paired phone another name\n"
        "  list [--json]                         show the paired phones\n"
        "  enable, disable                       switch syncing on or off\n"
        "  status [--json] [--watch]             show what is set, and the state of each phone\n"
        "  doctor [--wait SECONDS] [--json]      show what works and what does not, for a bug\n"
        "                                        report; status 1 when something is broken\n"
        "  get KEY [--domain DOMAIN] [--json]    show a setting\n"
        "  set KEY VALUE [--domain DOMAIN]       change a setting\n"
        "      [--string | --plist]\n"
        "  unset KEY [--domain DOMAIN]           go back to its default\n"
        "\n"
        "\"register\" and \"unregister\" are other words for pair and unpair. An empty --address\n"
        "takes the address away; --paste-mode default is that of all phones.\n"
        "\n"
        "DOMAIN is shared, agent or stats; without it that of the key. A setting takes only what\n"
        "it can hold. Any other key takes a VALUE of \"true\" or \"false\", of digits or of a "
        "decimal\n"
        "fraction as such, and the rest as text; with --string it is always text, with --plist it\n"
        "is read as a property list.\n"
        "\n"
        "  -h, --help       Show this help.\n"
        "  -v, --version    Show the version.\n"
        "\n"
        "With --json the answer is JSON, one object a line. The exit status is 0, 1 when it could\n"
        "not be done, or 2 when the arguments are wrong.\n");
}

namespace {

// Phones write "Anna’s Phone", keyboards "Anna's Phone".
QString plain(const QString &name) {
    static const QString quotes = QStringLiteral("\u2018\u2019\u02bc\u0060\u00b4\u2032");
    static const QString dashes = QStringLiteral("\u2010\u2011\u2012\u2013\u2014\u2212");
    QString result = name.normalized(QString::NormalizationForm_KC).toCaseFolded().simplified();
    for (QChar &unit : result) {
        if (quotes.contains(unit))
            unit = u'\'';
        else if (dashes.contains(unit))
            unit = u'-';
    }
    // A single character may have become many.
    return result.left(longestCompared);
}

// How many characters must be put in, taken out or replaced.
qsizetype distance(const QString &left, const QString &right) {
    std::vector<qsizetype> row(size_t(right.size()) + 1);
    std::iota(row.begin(), row.end(), qsizetype(0));
    for (qsizetype i = 0; i < left.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i + 1;
        for (qsizetype j = 0; j < right.size(); ++j) {
            const size_t at = size_t(j) + 1;
            const qsizetype replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[at];
            row[at] = std::min({row[at] + 1, row[at - 1] + 1, replaced});
        }
    }
    return row.back();
}

} // namespace

std::optional<QString> nearestName(const QString &typed, const QStringList &names) {
    if (typed.size() > longestCompared)
        return std::nullopt;
    const QString wanted = plain(typed);
    // A third of the characters may differ; in a short name, one.
    qsizetype best = std::max<qsizetype>(1, wanted.size() / 3) + 1;
    std::optional<QString> nearest;
    for (const QString &name : names) {
        if (name.size() > longestCompared)
            continue;
        const qsizetype found = distance(wanted, plain(name));
        if (found < best) {
            best = found;
            nearest = name;
        }
    }
    return nearest;
}

QString suggestion(const QString &typed, const QStringList &names) {
    const auto meant = nearestName(typed, names);
    return meant ? QStringLiteral("; did you mean %1?").arg(onOneLine(*meant, shownInLabel))
                 : QString();
}

} // namespace clipmule
