// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QStringList>

class QIODevice;

namespace clipmule {

/// The program clipmule-inspect, apart from the process around it: says what files are and shows
/// them as JSON, one line a file, or a frame.
namespace InspectCommand {

enum ExitStatus { Success = 0, Refused = 1, BadUse = 2 };

/// A file is held in memory, and several times as large as JSON. A captured stream of a few of the
/// largest frames passes.
inline constexpr qint64 largestInput = qint64(256) * 1024 * 1024;

/// Runs with the program's arguments, without its name. The file "-" is the input. Messages are
/// lines of text without a line end; every file is looked at, and each refused one has a message.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages, qint64 largest = largestInput);

} // namespace InspectCommand

} // namespace clipmule
