// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"
#include "tools/InspectCommand.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

int main(int argc, char *argv[]) {
    clipmule::installLogFormat();
    const QCoreApplication application(argc, argv);
    QFile input;
    QFile output;
    if (!input.open(stdin, QIODevice::ReadOnly) || !output.open(stdout, QIODevice::WriteOnly))
        return clipmule::InspectCommand::Refused;
    QStringList messages;
    int status =
        clipmule::InspectCommand::run(application.arguments().sliced(1), input, output, messages);
    for (const QString &message : std::as_const(messages))
        std::fprintf(
            stderr, "clipmule-inspect: %s\n",
            qPrintable(clipmule::onOneLine(message, clipmule::CommandOptions::longestMessage)));
    if (!output.flush())
        status = clipmule::InspectCommand::Refused;
    return status;
}
