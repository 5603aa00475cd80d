// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace clipmule {

/// Groups nested deeper than this make a text unreadable: word processors nest some dozen levels.
constexpr int maximumRtfDepth = 256;

/// More bytes make it unreadable too: it is read in one turn of the run loop, and a clip with more
/// does not travel anyway.
constexpr qsizetype maximumRtfBytes = 10'000'000;
/// A document says once which code page its bytes are in; each one more is looked up in the file
/// system, so what comes after this many keeps the last.
constexpr int mostRtfCodePages = 16;

/// The plain text of an RTF document: its paragraphs as lines, table cells separated by tabs,
/// without fields' instructions, pictures, headers and notes. Bytes are read in the document's code
/// page. Nothing when it is no RTF, too large or nested too deep; an unfinished document
/// gives what is there. Linear in the input.
[[nodiscard]] std::optional<QString> textOfRtf(const QByteArray &rtf);

} // namespace clipmule
