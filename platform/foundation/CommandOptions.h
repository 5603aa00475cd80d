// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

class QCommandLineParser;

namespace clipmule {

/// What every program of this project answers in the same words.
namespace CommandOptions {

inline const QString helpDescription = QStringLiteral("Show this help.");
inline const QString versionDescription = QStringLiteral("Show the version.");

/// -h, --help, -v and --version. The parser's own help option would promise a second one, with
/// options of the toolkit.
void addHelpAndVersion(QCommandLineParser &parser);

/// UTF-16 units of a message on standard error. It may quote two file names.
inline constexpr qsizetype longestMessage = 600;

/// The parser's help under the program's plain name; it would show the path that it was started by.
[[nodiscard]] QString helpText(const QCommandLineParser &parser, const QString &program);

} // namespace CommandOptions

} // namespace clipmule
