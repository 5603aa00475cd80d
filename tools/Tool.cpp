// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/Tool.h"

#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include <cstdio>

namespace clipmule {

int Tool::main(int argc, char **argv, const char *name, Run run) {
    installLogFormat();
    const QCoreApplication application(argc, argv);
    QFile input;
    QFile output;
    if (!input.open(stdin, QIODevice::ReadOnly) || !output.open(stdout, QIODevice::WriteOnly))
        return Refused;
    QStringList messages;
    int status = run(application.arguments().sliced(1), input, output, messages, largestInput);
    if (!output.flush()) {
        messages.append(QStringLiteral("the text cannot be written: %1").arg(output.errorString()));
        status = Refused;
    }
    for (const QString &message : std::as_const(messages))
        CommandOptions::complain(name, message);
    return status;
}

std::optional<int> Tool::parse(QCommandLineParser &parser, const char *name,
                               const QStringList &arguments, QIODevice &output,
                               QStringList &messages) {
    const QString program = QString::fromLatin1(name);
    // The parser takes the first one for the program's name.
    if (!parser.parse(QStringList{program} + arguments)) {
        messages.append(parser.errorText());
        return BadUse;
    }
    const auto answer = CommandOptions::answer(parser, program);
    if (!answer)
        return std::nullopt;
    output.write(answer->toUtf8());
    return Success;
}

Result<QByteArray> Tool::readAll(QIODevice &device, qint64 largest) {
    QByteArray bytes;
    // A pipe tells no size and gives what is there.
    for (;;) {
        const QByteArray part = device.read(largest + 1 - bytes.size());
        if (part.isEmpty())
            return bytes;
        bytes += part;
        if (bytes.size() > largest)
            return failure(QStringLiteral("more than %1 bytes").arg(largest));
    }
}

} // namespace clipmule
