// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tools/Tool.h"

namespace clipmule {

/// The program clipmule-filter, apart from the process around it: one of the text filters, from an
/// input to an output.
namespace FilterCommand {

/// Texts are held in memory twice, as UTF-16 and filtered; this is far above any clip and far below
/// any machine's memory. In bytes of UTF-8.
inline constexpr qint64 largestInput = qint64(256) * 1024 * 1024;

/// A Tool::Run. The output gets the filtered text and nothing else, and nothing at all after an
/// error.
[[nodiscard]] int run(const QStringList &arguments, QIODevice &input, QIODevice &output,
                      QStringList &messages);

} // namespace FilterCommand

} // namespace clipmule
