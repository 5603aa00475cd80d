// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/InspectCommand.h"

#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/JsonLine.h"
#include "tools/Inspection.h"

#include <QCommandLineParser>
#include <QFile>

namespace clipmule::InspectCommand {

namespace {

Result<QByteArray> readFile(const QString &name, QIODevice &input, qint64 largest) {
    if (name == u"-")
        return Tool::readAll(input, largest);
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? Tool::readAll(file, largest)
                                          : failure(file.errorString());
}

Result<void> inspectFile(const QString &name, std::optional<Inspection::Kind> forced,
                         QIODevice &input, QIODevice &output, qint64 largest) {
    const Result<QByteArray> bytes = readFile(name, input, largest);
    if (!bytes)
        return failure(bytes.error().reason);
    bool isWritten = true;
    const auto inspected = Inspection::inspect(
        *bytes, forced ? *forced : Inspection::detect(*bytes), [&](QJsonObject line) {
            line.insert(QStringLiteral("file"), name);
            const QByteArray text = jsonLine(line) + '\n';
            isWritten = output.write(text) == text.size() && isWritten;
        });
    return !inspected || isWritten ? inspected : failure(output.errorString());
}

} // namespace

int run(const QStringList &arguments, QIODevice &input, QIODevice &output, QStringList &messages,
        qint64 largest) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Says what files are (property lists, archives, captured streams, TXT records) and shows\n"
        "them as JSON, one line a file; of a captured stream one line a frame."));
    CommandOptions::addHelpAndVersion(parser);
    const QCommandLineOption as(
        QStringLiteral("as"),
        QStringLiteral("Take the files for this: plist, frames, txt, archive, typedstream."),
        QStringLiteral("KIND"));
    parser.addOption(as);
    parser.addPositionalArgument(QStringLiteral("FILE"),
                                 QStringLiteral("Files to show; - is standard input."),
                                 QStringLiteral("FILE..."));
    if (const auto status = Tool::parse(parser, "clipmule-inspect", arguments, output, messages))
        return *status;
    const auto forced = Inspection::kindNamed(parser.value(as));
    if (parser.isSet(as) && !forced) {
        messages.append(
            QStringLiteral("--as %1: expected plist, frames, txt, archive or typedstream")
                .arg(parser.value(as)));
        return Tool::BadUse;
    }
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        messages.append(QStringLiteral("name a file, or - for standard input"));
        return Tool::BadUse;
    }
    int status = Tool::Success;
    for (const QString &name : files) {
        if (const auto shown = inspectFile(name, forced, input, output, largest); !shown) {
            messages.append(name + QStringLiteral(": ") + shown.error().reason);
            status = Tool::Refused;
        }
    }
    return status;
}

int run(const QStringList &arguments, QIODevice &input, QIODevice &output, QStringList &messages) {
    return run(arguments, input, output, messages, largestInput);
}

} // namespace clipmule::InspectCommand
