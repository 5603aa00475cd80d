// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace clipmule {

/// Groups nested deeper than this make a text unreadable: word processors nest some dozen levels.
constexpr int maximumRtfDepth = 256;

/// The plain text of an RTF document: its paragraphs as lines, table cells separated by tabs,
/// without fields' instructions, pictures, headers and notes. Bytes are read in the document's code
/// page. Nothing when it is no RTF or nested deeper than maximumRtfDepth; an unfinished document
/// gives what is there. Linear in the input.
[[nodiscard]] std::optional<QString> textOfRtf(const QByteArray &rtf);

} // namespace clipmule
