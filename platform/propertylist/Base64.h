// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>

#include <optional>

namespace clipmule::Base64 {

/// How encoded bytes are laid out: in lines, each after some tabs and before a line feed.
struct Lines {
    /// Characters of a full line, without tabs and line feed; a positive multiple of four.
    int length = 76;
    /// Tabs before each line, at most eight.
    int tabs = 0;
};

/// Which instructions do the work. The results are the same.
enum class Engine { Scalar, Fastest };

/// The characters that encode() writes for so many bytes, tabs and line feeds included. No bytes
/// make no line.
[[nodiscard]] qsizetype encodedSize(qsizetype size, Lines lines);

/// Encodes with padding into a buffer that has room for encodedSize(); returns the end of what was
/// written.
char *encode(char *out, QByteArrayView bytes, Lines lines, Engine engine = Engine::Fastest);

/// Room that decode() needs for so many characters.
[[nodiscard]] constexpr qsizetype decodedBound(qsizetype size) {
    return size / 4 * 3;
}

/// Decodes as the platform does: ASCII characters outside the alphabet are skipped, wherever they
/// stand; a group of four that ends in one or two '=' gives two bytes or one, and more groups may
/// follow; an incomplete last group is dropped. Returns the number of bytes written into a buffer
/// that has room for decodedBound(); nothing when there is a character above U+007F.
[[nodiscard]] std::optional<qsizetype> decode(char *out, QByteArrayView text,
                                              Engine engine = Engine::Fastest);

} // namespace clipmule::Base64
