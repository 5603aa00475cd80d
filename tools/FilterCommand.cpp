// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/FilterClasses.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/PlatformException.h"
#include "tools/Tool.h"

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

Result<QString> readText(QIODevice &device, qint64 largest) {
    const Result<QByteArray> bytes = Tool::readAll(device, largest);
    if (!bytes)
        return failure(QStringLiteral("the input has %1").arg(bytes.error().reason));
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(*bytes);
    if (decoder.hasError())
        return failure(QStringLiteral("the input is not UTF-8 text"));
    return text;
}

// The filter that the positional arguments name, with its options set.
Result<std::shared_ptr<ZRKClipmuleTextFilter>> filterFor(const QStringList &names,
                                                         const QStringList &settings) {
    if (names.size() != 1)
        return failure(names.isEmpty()
                           ? QStringLiteral("name a filter; --list shows them")
                           : QStringLiteral("one filter at a time; its title needs quotes"));
    const auto filter = std::dynamic_pointer_cast<ZRKClipmuleTextFilter>(
        FilterByName::find(ZRKClipmuleFilter::allFilters(), names.constFirst()));
    if (!filter)
        return failure(QStringLiteral("no filter “%1”; --list shows them").arg(names.constFirst()));
    filter->resetOptions();
    for (const QString &setting : settings) {
        if (const auto set = FilterByName::set(*filter, setting); !set)
            return failure(set.error().reason);
    }
    return filter;
}

} // namespace

int run(const QStringList &arguments, QIODevice &input, QIODevice &output, QStringList &messages,
        qint64 largest) {
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
    if (const auto status = Tool::parse(parser, "clipmule-filter", arguments, output, messages))
        return *status;
    if (parser.isSet(list)) {
        output.write(listOfFilters());
        return Tool::Success;
    }
    const auto filter = filterFor(parser.positionalArguments(), parser.values(option));
    if (!filter) {
        messages.append(filter.error().reason);
        return Tool::BadUse;
    }
    const Result<QString> text = readText(input, largest);
    if (!text) {
        messages.append(text.error().reason);
        return Tool::Refused;
    }
    try {
        QString filtered = (*filter)->filterString(*text).value_or(QString());
        if (!filtered.isValidUtf16()) {
            messages.append(QStringLiteral("half a character cannot be written and became U+FFFD"));
            replaceLoneSurrogates(filtered);
        }
        const QByteArray bytes = filtered.toUtf8();
        if (output.write(bytes) == bytes.size())
            return Tool::Success;
        messages.append(output.errorString());
    } catch (const PlatformException &exception) {
        messages.append(exception.reason());
    }
    return Tool::Refused;
}

} // namespace clipmule::FilterCommand
