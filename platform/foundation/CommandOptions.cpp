// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/CommandOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace clipmule::CommandOptions {

void addHelpAndVersion(QCommandLineParser &parser) {
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, helpDescription});
    parser.addOption({{QStringLiteral("v"), QStringLiteral("version")}, versionDescription});
}

QString helpText(const QCommandLineParser &parser, const QString &program) {
    QString text = parser.helpText();
    const QString path = QCoreApplication::arguments().value(0);
    const qsizetype at = path.isEmpty() ? -1 : text.indexOf(path);
    // The path is replaced on the first line only, not in the description below it.
    if (at >= 0 && at < text.indexOf(u'\n'))
        text.replace(at, path.size(), program);
    return text;
}

} // namespace clipmule::CommandOptions
