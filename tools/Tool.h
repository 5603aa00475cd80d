// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArray>
#include <QStringList>

#include <optional>

class QCommandLineParser;
class QIODevice;

namespace clipmule {

/// What clipmule-filter and clipmule-inspect share: each is a function from arguments and an input
/// to an output, messages and an exit status.
namespace Tool {

enum ExitStatus { Success = 0, Refused = 1, BadUse = 2 };

/// An input is held in memory, and as UTF-16 or JSON once more, several times as large: this is far
/// above any clip, a few of the largest frames, and far below any machine's memory.
inline constexpr qint64 largestInput = qint64(256) * 1024 * 1024;

/// Runs with the program's arguments, without its name, and inputs of at most so many bytes.
/// Messages are lines without a line end.
using Run = int (*)(const QStringList &arguments, QIODevice &input, QIODevice &output,
                    QStringList &messages, qint64 largest);

/// The body of main(): the standard streams, and messages under the program's name.
[[nodiscard]] int main(int argc, char **argv, const char *name, Run run);

/// Gives the arguments to the parser, which has CommandOptions' help and version, and answers for
/// it: the exit status when they are wrong or only ask for those two, nothing when there is work.
[[nodiscard]] std::optional<int> parse(QCommandLineParser &parser, const char *name,
                                       const QStringList &arguments, QIODevice &output,
                                       QStringList &messages);

/// Everything that a file or pipe gives; the failure is "more than %1 bytes".
[[nodiscard]] Result<QByteArray> readAll(QIODevice &device, qint64 largest);

} // namespace Tool

namespace FilterCommand {

/// A Tool::Run: one of the text filters, from the input to the output, which gets the filtered text
/// and nothing else, and nothing at all after an error.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages, qint64 largest = Tool::largestInput);

} // namespace FilterCommand

namespace InspectCommand {

/// A Tool::Run: says what files are and shows them as JSON, one line a file, or a frame. The file
/// "-" is the input; every file is looked at, and each refused one has a message.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages, qint64 largest = Tool::largestInput);

} // namespace InspectCommand

} // namespace clipmule
