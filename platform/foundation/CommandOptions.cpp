// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/CommandOptions.h"

#include "platform/foundation/Log.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace clipmule::CommandOptions {

namespace {

const QString helpOption = QStringLiteral("help");
const QString versionOption = QStringLiteral("version");

QString helpText(const QCommandLineParser &parser, const QString &program) {
    QString text = parser.helpText();
    const QString path = QCoreApplication::arguments().value(0);
    const qsizetype at = path.isEmpty() ? -1 : text.indexOf(path);
    // The path is replaced on the first line only, not in the description below it.
    if (at >= 0 && at < text.indexOf(u'\n'))
        text.replace(at, path.size(), program);
    return text;
}

} // namespace

void addHelpAndVersion(QCommandLineParser &parser) {
    parser.addOption({{QStringLiteral("h"), helpOption}, QStringLiteral("Show this help.")});
    parser.addOption({{QStringLiteral("v"), versionOption}, QStringLiteral("Show the version.")});
}

std::optional<QString> answer(const QCommandLineParser &parser, const QString &program) {
    if (parser.isSet(helpOption))
        return helpText(parser, program);
    if (parser.isSet(versionOption))
        return program + QStringLiteral(" " CLIPMULE_VERSION "\n");
    return std::nullopt;
}

void complain(const char *program, const QString &message) {
    std::fprintf(stderr, "%s: %s\n", program, qPrintable(onOneLine(message, longestMessage)));
}

} // namespace clipmule::CommandOptions
