// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"
#include "tools/FilterCommand.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

int main(int argc, char *argv[]) {
    clipmule::installLogFormat();
    const QCoreApplication application(argc, argv);
    QFile input;
    QFile output;
    if (!input.open(stdin, QIODevice::ReadOnly) || !output.open(stdout, QIODevice::WriteOnly))
        return clipmule::FilterCommand::Failure;
    QStringList messages;
    int status =
        clipmule::FilterCommand::run(application.arguments().sliced(1), input, output, messages);
    for (const QString &message : std::as_const(messages))
        std::fprintf(
            stderr, "clipmule-filter: %s\n",
            qPrintable(clipmule::onOneLine(message, clipmule::CommandOptions::longestMessage)));
    if (!output.flush()) {
        std::fprintf(stderr, "clipmule-filter: the text cannot be written: %s\n",
                     qPrintable(output.errorString()));
        status = clipmule::FilterCommand::Failure;
    }
    return status;
}
