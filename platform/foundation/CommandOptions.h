// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <optional>

class QCommandLineParser;

namespace clipmule {

/// What every program of this project answers in the same words.
namespace CommandOptions {

/// -h, --help, -v and --version. The parser's own help option would promise a second one, with
/// options of the toolkit.
void addHelpAndVersion(QCommandLineParser &parser);

/// What the parsed options ask for, as text with its line end: the help, under the program's plain
/// name, since the parser's would show the path that it was started by, or name and version.
/// Nothing when they ask for neither.
[[nodiscard]] std::optional<QString> answer(const QCommandLineParser &parser,
                                            const QString &program);

/// UTF-16 units of a message on standard error. It may quote two file names.
inline constexpr qsizetype longestMessage = 600;

/// Writes a message to standard error, on one line, after the program's name.
void complain(const char *program, const QString &message);

} // namespace CommandOptions

} // namespace clipmule
