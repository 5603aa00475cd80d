// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <utility>

namespace clipmule {

/// Measures and splitters of texts. Positions and lengths count UTF-16 code units.
namespace ZRKClipmuleNSStringCategory {

using CharacterSet = std::function<bool(QChar)>;

/// Whether it is a line feed, vertical tab, form feed, carriage return, next line, line separator
/// or paragraph separator.
[[nodiscard]] bool isNewline(QChar character);
/// Whether it is a blank or a tab; line breaks are neither.
[[nodiscard]] bool isWhitespace(QChar character);
[[nodiscard]] bool isWhitespaceOrNewline(QChar character);

[[nodiscard]] quint64 wordCount(const QString &text);
/// Each newline character separates two lines, so the pair CR LF counts for two and an empty text
/// is one line.
[[nodiscard]] quint64 lineCount(const QString &text);
/// The location and the length of the whole text.
[[nodiscard]] std::pair<qsizetype, qsizetype> fullRange(const QString &text);

/// The lines without their terminators (LF, CR, CR LF, next line, line or paragraph separator),
/// which go to `endings` where that is given: as many, empty for a last line without one. Text
/// that ends in a terminator has one more, empty line. Joined in turn they are the text again.
[[nodiscard]] QStringList splitIntoLinesWithLineEndings(const QString &text,
                                                        QStringList *endings = nullptr);
/// The blocks between the characters of a set, which go to `separators` where that is given: as
/// many, empty for a last block that ends with the text. Text that ends in a separator has no
/// further block.
[[nodiscard]] QStringList splitIntoCharacterSetBlocks(const QString &text, const CharacterSet &set,
                                                      QStringList *separators = nullptr);
/// Reads decimal digits, or a hexadecimal number after "x" or "0x", or an octal one after "o" or
/// "0o", in either case of letters; the largest number where it does not fit. Nothing for anything
/// else.
[[nodiscard]] std::optional<quint64> convertToNumber(QStringView text);

/// One line of a text: where its contents and its terminator end.
struct LineRange {
    qsizetype contentsEnd;
    qsizetype end;
};
/// The range of the line that begins at a position within the text.
[[nodiscard]] LineRange lineRangeFrom(QStringView text, qsizetype start);

} // namespace ZRKClipmuleNSStringCategory

} // namespace clipmule
