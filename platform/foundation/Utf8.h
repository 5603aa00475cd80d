// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QJsonObject>
#include <QStringView>

namespace clipmule {

// Conversions between UTF-8 and UTF-16 for texts of many megabytes, into buffers that the caller
// has sized. Unlike QString's, the decoder keeps a leading U+FEFF and tells when bytes are refused,
// and the encoder escapes on the way.

/// Decodes into a buffer with room for one unit a byte; returns the end of what was written, or
/// null when the bytes are not UTF-8 (also: overlong forms, surrogates, above U+10FFFF).
[[nodiscard]] char16_t *decodeUtf8(char16_t *out, QByteArrayView bytes);

/// Room that escapeAsUtf8() needs for this text: exact but for surrogate pairs, which count for
/// half as much again as they take.
[[nodiscard]] qsizetype escapedUtf8Bound(QStringView text);

/// Encodes with "<", ">" and "&" as XML entities and nothing else changed, except that lone
/// surrogates become U+FFFD; returns the end of what was written.
[[nodiscard]] char *escapeAsUtf8(char *out, QStringView text);

/// The character at `position`, which moves behind it; a lone surrogate is returned as it stands.
/// The position must lie within the text.
[[nodiscard]] inline char32_t nextCharacter(QStringView text, qsizetype &position) {
    const QChar unit = text[position++];
    if (unit.isHighSurrogate() && position < text.size() && text[position].isLowSurrogate())
        return QChar::surrogateToUcs4(unit, text[position++]);
    return unit.unicode();
}

/// An object as one line of JSON, without a line end, in UTF-8. It may go to a terminal: control
/// characters, DEL and C1 among them, separators of lines and format characters, the bidirectional
/// ones among them, are escaped ("\u202e"), which readers of JSON undo.
[[nodiscard]] QByteArray jsonLine(const QJsonObject &object);

} // namespace clipmule
