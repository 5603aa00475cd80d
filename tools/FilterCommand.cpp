// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/FilterCommand.h"

#include "filters/FilterByName.h"
#include "filters/ZRKClipmuleTextFilter.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/PlatformException.h"

#include <QCommandLineParser>
#include <QIODevice>
#include <QStringDecoder>

#include <algorithm>

namespace clipmule::FilterCommand {

namespace {

// "Quote Lines   start=… (Start Quote)  end=… (End Quote)", by title.
QByteArray listOfFilters() {
    ZRKClipmuleFilter::List filters = ZRKClipmuleFilter::allFilters();
    std::sort(filters.begin(), filters.end(),
              [](const auto &left, const auto &right) { return left->compare(*right) < 0; });
    QByteArray list;
    for (const auto &filter : filters) {
        QString line = filter->title();
        for (const auto &option : filter->options())
            line += QStringLiteral("\t%1=… (%2)")
                        .arg(option->name().value_or(QString()), option->placeholder());
        list += line.toUtf8() + '\n';
    }
    return list;
}

void replaceLoneSurrogates(QString &text) {
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate())
            ++at;
        else if (text[at].isSurrogate())
            text[at] = QChar::ReplacementCharacter;
    }
}

struct Input {
    QString text;
    QString error;
};

Input readInput(QIODevice &device) {
    QByteArray bytes;
    // A pipe tells no size and gives what is there.
    for (;;) {
        const QByteArray part = device.read(largestInput + 1 - bytes.size());
        if (part.isEmpty())
            break;
        bytes += part;
        if (bytes.size() > largestInput)
            return {{}, QStringLiteral("the input has more than %1 bytes").arg(largestInput)};
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return {{}, QStringLiteral("the input is not UTF-8 text")};
    return {std::move(text), {}};
}

} // namespace

int run(const QStringList &arguments, QIODevice &input, QIODevice &output, QStringList &messages) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Runs one of the text filters over standard input, which is UTF-8 text."));
    CommandOptions::addHelpAndVersion(parser);
    const QCommandLineOption list(QStringLiteral("list"),
                                  QStringLiteral("List the filters and their options."));
    const QCommandLineOption option(
        QStringLiteral("option"),
        QStringLiteral(
            "Set an option of the filter; the name of an option without one is empty: =p."),
        QStringLiteral("NAME=VALUE"));
    parser.addOptions({list, option});
    parser.addPositionalArgument(QStringLiteral("FILTER"),
                                 QStringLiteral("Title of the filter, as --list shows it."));
    // The parser takes the first one for the program's name.
    if (!parser.parse(QStringList{QStringLiteral("clipmule-filter")} + arguments)) {
        messages.append(parser.errorText());
        return BadUse;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        output.write(CommandOptions::helpText(parser, QStringLiteral("clipmule-filter")).toUtf8());
        return Success;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        output.write("clipmule-filter " CLIPMULE_VERSION "\n");
        return Success;
    }
    if (parser.isSet(list)) {
        output.write(listOfFilters());
        return Success;
    }
    const QStringList names = parser.positionalArguments();
    if (names.size() != 1) {
        messages.append(names.isEmpty()
                            ? QStringLiteral("name a filter; --list shows them")
                            : QStringLiteral("one filter at a time; its title needs quotes"));
        return BadUse;
    }
    const auto filter = std::dynamic_pointer_cast<ZRKClipmuleTextFilter>(
        FilterByName::find(ZRKClipmuleFilter::allFilters(), names.constFirst()));
    if (!filter) {
        messages.append(
            QStringLiteral("no filter “%1”; --list shows them").arg(names.constFirst()));
        return BadUse;
    }
    filter->resetOptions();
    for (const QString &setting : parser.values(option)) {
        const QString error = FilterByName::set(*filter, setting);
        if (!error.isEmpty()) {
            messages.append(error);
            return BadUse;
        }
    }

    const Input text = readInput(input);
    if (!text.error.isEmpty()) {
        messages.append(text.error);
        return Failure;
    }
    try {
        QString filtered = filter->filterString(text.text).value_or(QString());
        if (!filtered.isValidUtf16()) {
            messages.append(QStringLiteral("half a character cannot be written and became U+FFFD"));
            replaceLoneSurrogates(filtered);
        }
        const QByteArray bytes = filtered.toUtf8();
        if (output.write(bytes) != bytes.size()) {
            messages.append(output.errorString());
            return Failure;
        }
    } catch (const PlatformException &exception) {
        messages.append(exception.reason());
        return Failure;
    }
    return Success;
}

} // namespace clipmule::FilterCommand
