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

struct Input {
    QByteArray bytes;
    QString error;
};

Input readAll(QIODevice &device, qint64 largest) {
    Input input;
    // A pipe tells no size and gives what is there.
    for (;;) {
        const QByteArray part = device.read(largest + 1 - input.bytes.size());
        if (part.isEmpty())
            return input;
        input.bytes += part;
        if (input.bytes.size() > largest)
            return {{}, QStringLiteral("more than %1 bytes").arg(largest)};
    }
}

Input readFile(const QString &name, QIODevice &input, qint64 largest) {
    if (name == u"-")
        return readAll(input, largest);
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, file.errorString()};
    return readAll(file, largest);
}

/// Why the file was refused; empty when it was not.
QString inspectFile(const QString &name, std::optional<Inspection::Kind> forced, QIODevice &input,
                    QIODevice &output, qint64 largest) {
    const Input file = readFile(name, input, largest);
    if (!file.error.isEmpty())
        return file.error;
    const auto kind = forced ? *forced : Inspection::detect(file.bytes);
    QString writeError;
    const QString refusal = Inspection::inspect(file.bytes, kind, [&](QJsonObject line) {
        line.insert(QStringLiteral("file"), name);
        const QByteArray text = jsonLine(line) + '\n';
        if (output.write(text) != text.size())
            writeError = output.errorString();
    });
    return refusal.isEmpty() ? writeError : refusal;
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
    // The parser takes the first one for the program's name.
    if (!parser.parse(QStringList{QStringLiteral("clipmule-inspect")} + arguments)) {
        messages.append(parser.errorText());
        return BadUse;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        output.write(CommandOptions::helpText(parser, QStringLiteral("clipmule-inspect")).toUtf8());
        return Success;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        output.write("clipmule-inspect " CLIPMULE_VERSION "\n");
        return Success;
    }
    const auto forced = Inspection::kindNamed(parser.value(as));
    if (parser.isSet(as) && !forced) {
        messages.append(
            QStringLiteral("--as %1: expected plist, frames, txt, archive or typedstream")
                .arg(parser.value(as)));
        return BadUse;
    }
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        messages.append(QStringLiteral("name a file, or - for standard input"));
        return BadUse;
    }
    int status = Success;
    for (const QString &name : files) {
        const QString refusal = inspectFile(name, forced, input, output, largest);
        if (refusal.isEmpty())
            continue;
        messages.append(name + QStringLiteral(": ") + refusal);
        status = Refused;
    }
    return status;
}

} // namespace clipmule::InspectCommand
