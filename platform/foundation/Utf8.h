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

/// The inner loops for a kind of processor. A loop takes what suits it and leaves the rest, the end
/// of the text above all, to Utf8.cpp; the results are the same without.
struct Utf8Kernel {
    /// With fewer bytes or units left a loop does nothing, so that whole blocks may be read and
    /// written.
    static constexpr qsizetype reach = 40;
    // Each moves its places behind what it took.
    /// Stops before four bytes that are one character, and before what is malformed.
    void (*decode)(char16_t *&out, const unsigned char *&in, const unsigned char *end);
    /// Stops before surrogates.
    void (*escape)(char *&out, const char16_t *&in, const char16_t *end);
    /// Returns what the units take as escaped UTF-8 above one byte for each.
    qsizetype (*excess)(const char16_t *&in, const char16_t *end);
};

/// The loops for this processor's vector instructions; null where there are none.
[[nodiscard]] const Utf8Kernel *utf8VectorKernel();

/// Decodes into a buffer with room for one unit a byte; returns the end of what was written, or
/// null when the bytes are not UTF-8 (also: overlong forms, surrogates, above U+10FFFF).
[[nodiscard]] char16_t *decodeUtf8(char16_t *out, QByteArrayView bytes,
                                   const Utf8Kernel *kernel = utf8VectorKernel());

/// Room that suffices for decodeUtf8() as well as one unit a byte does, and is hardly more than
/// what it writes.
[[nodiscard]] qsizetype utf16Bound(QByteArrayView bytes);

/// How many bytes at the end begin a character whose other bytes are still to come.
[[nodiscard]] qsizetype incompleteUtf8Tail(QByteArrayView bytes);

/// The bytes that escapeAsUtf8() writes for this text.
[[nodiscard]] qsizetype escapedUtf8Size(QStringView text,
                                        const Utf8Kernel *kernel = utf8VectorKernel());

/// Encodes with "<", ">" and "&" as XML entities and nothing else changed, except that lone
/// surrogates become U+FFFD; returns the end of what was written, which needs escapedUtf8Size().
[[nodiscard]] char *escapeAsUtf8(char *out, QStringView text,
                                 const Utf8Kernel *kernel = utf8VectorKernel());

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
