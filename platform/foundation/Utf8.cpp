// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Utf8.h"

#include <algorithm>
#include <cstring>

namespace clipmule {

namespace {

// Portable vectors of the compiler: eight UTF-16 units, which are nearly always all plain.
using Units = quint16 __attribute__((vector_size(16)));
using Bytes = quint8 __attribute__((vector_size(8)));
constexpr qsizetype unitsPerBlock = 8;

Units loadUnits(const char16_t *from) {
    Units units;
    std::memcpy(&units, from, sizeof units);
    return units;
}

Units all(quint16 unit) {
    return Units{unit, unit, unit, unit, unit, unit, unit, unit};
}

bool isAnySet(const Units &mask) {
    quint64 halves[2];
    std::memcpy(halves, &mask, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

// Masks: all ones in each lane where it holds.
Units isAbove(const Units &units, quint16 limit) {
    return Units(units > all(limit));
}
Units isAngle(const Units &units) {
    // "<" and ">" differ in one bit.
    return Units((units & all(0xfffd)) == all(u'<'));
}
Units isAmpersand(const Units &units) {
    return Units(units == all(u'&'));
}
/// What takes more than one byte.
Units isNotPlain(const Units &units) {
    return isAbove(units, 0x7f) | isAngle(units) | isAmpersand(units);
}

constexpr qsizetype bytesPerBlock = 16;

bool isAscii(const char *block) {
    quint64 halves[2];
    std::memcpy(halves, block, sizeof halves);
    return ((halves[0] | halves[1]) & 0x8080808080808080) == 0;
}

bool isContinuation(unsigned char byte) {
    return (byte & 0xc0) == 0x80;
}

/// One character outside ASCII; null when it is malformed or reaches beyond the end.
const unsigned char *decodeCharacter(char16_t *&out, const unsigned char *in,
                                     const unsigned char *end) {
    const unsigned lead = in[0];
    const auto available = end - in;
    if (lead >= 0xe0 && lead < 0xf0) {
        if (available < 3 || !isContinuation(in[1]) || !isContinuation(in[2]))
            return nullptr;
        const unsigned character = (lead & 0x0f) << 12 | (in[1] & 0x3fu) << 6 | (in[2] & 0x3fu);
        if (character < 0x800 || (character & 0xf800) == 0xd800)
            return nullptr;
        *out++ = char16_t(character);
        return in + 3;
    }
    if (lead >= 0xc2 && lead < 0xe0) {
        if (available < 2 || !isContinuation(in[1]))
            return nullptr;
        *out++ = char16_t((lead & 0x1f) << 6 | (in[1] & 0x3fu));
        return in + 2;
    }
    if (lead >= 0xf0 && lead < 0xf5) {
        if (available < 4 || !isContinuation(in[1]) || !isContinuation(in[2]) ||
            !isContinuation(in[3]))
            return nullptr;
        const unsigned character =
            (lead & 0x07) << 18 | (in[1] & 0x3fu) << 12 | (in[2] & 0x3fu) << 6 | (in[3] & 0x3fu);
        if (character < 0x10000 || character > 0x10ffff)
            return nullptr;
        *out++ = QChar::highSurrogate(character);
        *out++ = QChar::lowSurrogate(character);
        return in + 4;
    }
    return nullptr;
}

char *append(char *out, const char *text, size_t size) {
    std::memcpy(out, text, size);
    return out + size;
}

char *encodeCharacter(char *out, char32_t character) {
    if (character < 0x800) {
        *out++ = char(0xc0 | character >> 6);
    } else {
        if (character < 0x10000) {
            *out++ = char(0xe0 | character >> 12);
        } else {
            *out++ = char(0xf0 | character >> 18);
            *out++ = char(0x80 | (character >> 12 & 0x3f));
        }
        *out++ = char(0x80 | (character >> 6 & 0x3f));
    }
    *out++ = char(0x80 | (character & 0x3f));
    return out;
}

/// One character, which may be two units.
char *escapeCharacter(char *out, const char16_t *&in, const char16_t *end) {
    const char16_t unit = *in++;
    if (unit >= 0x80) {
        if (!QChar::isSurrogate(unit))
            return encodeCharacter(out, unit);
        if (QChar::isHighSurrogate(unit) && in < end && QChar::isLowSurrogate(*in))
            return encodeCharacter(out, QChar::surrogateToUcs4(unit, *in++));
        return encodeCharacter(out, QChar::ReplacementCharacter);
    }
    switch (unit) {
    case u'<':
        return append(out, "&lt;", 4);
    case u'>':
        return append(out, "&gt;", 4);
    case u'&':
        return append(out, "&amp;", 5);
    default:
        *out++ = char(unit);
        return out;
    }
}

} // namespace

char16_t *decodeUtf8(char16_t *out, QByteArrayView bytes) {
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *const end = in + bytes.size();
    while (in < end) {
        const auto *blockEnd = end;
        if (end - in >= bytesPerBlock) {
            blockEnd = in + bytesPerBlock;
            if (isAscii(reinterpret_cast<const char *>(in))) {
                for (qsizetype index = 0; index < bytesPerBlock; ++index)
                    out[index] = in[index];
                out += bytesPerBlock;
                in = blockEnd;
                continue;
            }
        }
        while (in < blockEnd) {
            if (*in < 0x80) {
                *out++ = *in++;
                continue;
            }
            in = decodeCharacter(out, in, end);
            if (!in)
                return nullptr;
        }
    }
    return out;
}

qsizetype escapedUtf8Bound(QStringView text) {
    const char16_t *in = text.utf16();
    const char16_t *const end = in + text.size();
    qsizetype size = text.size();
    while (end - in >= unitsPerBlock) {
        // Lanes add at most four a block, and must not overflow 16 bits.
        constexpr qsizetype mostBlocks = 16000;
        Units more{};
        for (auto blocks = std::min((end - in) / unitsPerBlock, mostBlocks); blocks > 0; --blocks) {
            const Units units = loadUnits(in);
            more += (isAbove(units, 0x7f) & all(1)) + (isAbove(units, 0x7ff) & all(1)) +
                    (isAngle(units) & all(3)) + (isAmpersand(units) & all(4));
            in += unitsPerBlock;
        }
        for (qsizetype lane = 0; lane < unitsPerBlock; ++lane)
            size += more[lane];
    }
    for (; in < end; ++in) {
        if (*in > 0x7f)
            size += *in > 0x7ff ? 2 : 1;
        else if (*in == u'<' || *in == u'>')
            size += 3;
        else if (*in == u'&')
            size += 4;
    }
    return size;
}

char *escapeAsUtf8(char *out, QStringView text) {
    const char16_t *in = text.utf16();
    const char16_t *const end = in + text.size();
    while (in < end) {
        const char16_t *blockEnd = end;
        if (end - in >= unitsPerBlock) {
            blockEnd = in + unitsPerBlock;
            const Units units = loadUnits(in);
            if (!isAnySet(isNotPlain(units))) {
                const Bytes bytes = __builtin_convertvector(units, Bytes);
                std::memcpy(out, &bytes, sizeof bytes);
                out += unitsPerBlock;
                in = blockEnd;
                continue;
            }
        }
        while (in < blockEnd)
            out = escapeCharacter(out, in, end);
    }
    return out;
}

} // namespace clipmule
