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
/// follow; an incomplete last group is dropped. The text may come in pieces.
class Decoder {
public:
    explicit Decoder(Engine engine = Engine::Fastest);

    /// Room that decode() needs for a piece of so many characters.
    [[nodiscard]] static constexpr qsizetype bound(qsizetype size) {
        return decodedBound(size) + 3;
    }
    /// Returns the number of bytes written; nothing when there is a character above U+007F.
    [[nodiscard]] std::optional<qsizetype> decode(char *out, QByteArrayView text);

private:
    const struct Kernel *_kernel;
    // What is there of a group.
    quint32 _bits = 0;
    int _count = 0;
    int _padding = 0;
};

/// Decodes a whole text into a buffer that has room for decodedBound().
[[nodiscard]] std::optional<qsizetype> decode(char *out, QByteArrayView text,
                                              Engine engine = Engine::Fastest);

// The inner loops, one set for each kind of processor. A loop takes what suits it and leaves the
// rest, the end of the input above all, to Base64.cpp, so each may read and write whole blocks.

/// What is still to be encoded, and where to.
struct Encoding {
    const unsigned char *in;
    qsizetype left;
    char *out;
};

/// What is still to be decoded, and where to: there is always room for decodedBound(end - in).
struct Decoding {
    const unsigned char *in;
    const unsigned char *end;
    char *out;
};

struct Kernel {
    /// Writes full lines.
    void (*encodeLines)(Encoding &encoding, Lines lines);
    /// Decodes runs of the 64 characters and skips what else is ASCII between whole groups of four;
    /// stops before padding, before a group that is interrupted, and before bytes above 0x7f.
    void (*decodeRuns)(Decoding &decoding);
};

/// The loops for this processor's vector instructions; null where there are none.
[[nodiscard]] const Kernel *vectorKernel();

} // namespace clipmule::Base64
