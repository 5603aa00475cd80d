// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tools/Tool.h"

namespace clipmule {

/// The program clipmule-inspect, apart from the process around it: says what files are and shows
/// them as JSON, one line a file, or a frame.
namespace InspectCommand {

/// A file is held in memory, and several times as large as JSON. A captured stream of a few of the
/// largest frames passes.
inline constexpr qint64 largestInput = qint64(256) * 1024 * 1024;

/// A Tool::Run. The file "-" is the input; every file is looked at, and each refused one has a
/// message.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages);
/// The same with another limit.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages, qint64 largest);

} // namespace InspectCommand

} // namespace clipmule
