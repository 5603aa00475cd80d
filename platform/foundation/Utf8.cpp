// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Utf8.h"

#include <QJsonDocument>

#include <algorithm>
#include <bit>
#include <cstring>

namespace clipmule {

namespace {

// Portable vectors of the compiler. Sixteen characters at a time are nearly always all plain: bytes
// below 0x80, or units that are one byte each and need no escape.
using Units = quint16 __attribute__((vector_size(16)));
using Bytes = quint8 __attribute__((vector_size(16)));
constexpr qsizetype block = 16;
static_assert(std::endian::native == std::endian::little, "widen() and narrow() count on it");

using Halves = quint64 __attribute__((vector_size(16)));

/// Loads a vector from anywhere in memory.
template <typename Vector>
Vector load(const void *from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

Units all(quint16 unit) {
    return Units{unit, unit, unit, unit, unit, unit, unit, unit};
}

Bytes allBytes(quint8 byte) {
    return Bytes{byte, byte, byte, byte, byte, byte, byte, byte,
                 byte, byte, byte, byte, byte, byte, byte, byte};
}

template <typename Vector>
quint64 foldedBits(const Vector &vector) {
    const auto halves = Halves(vector);
    return halves[0] | halves[1];
}

// These functions give masks: all ones in each lane where the condition holds.
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
/// How many bytes more than one each unit takes.
Units excess(const Units &units) {
    return (isAbove(units, 0x7f) & all(1)) + (isAbove(units, 0x7ff) & all(1)) +
           (isAngle(units) & all(3)) + (isAmpersand(units) & all(4));
}

/// Two for each first half of a pair of surrogates: each half counts for three bytes, both take
/// four.
Units pairs(const Units &units, const Units &next) {
    return Units((units & all(0xfc00)) == all(0xd800)) &
           Units((next & all(0xfc00)) == all(0xdc00)) & all(2);
}

bool isAscii(const Bytes &bytes) {
    return (foldedBits(bytes) & 0x8080808080808080) == 0;
}

void widen(char16_t *out, const Bytes &bytes) {
    const Bytes zeros{};
    const Bytes low = __builtin_shufflevector(bytes, zeros, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5,
                                              21, 6, 22, 7, 23);
    const Bytes high = __builtin_shufflevector(bytes, zeros, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28,
                                               13, 29, 14, 30, 15, 31);
    std::memcpy(out, &low, sizeof low);
    std::memcpy(out + block / 2, &high, sizeof high);
}

/// Sixteen units as bytes, when each is one byte and needs no escape; else false.
bool narrow(Bytes &bytes, const Units &first, const Units &second) {
    if ((foldedBits(first | second) & 0xff80ff80ff80ff80) != 0)
        return false;
    bytes = __builtin_shufflevector(Bytes(first), Bytes(second), 0, 2, 4, 6, 8, 10, 12, 14, 16, 18,
                                    20, 22, 24, 26, 28, 30);
    return foldedBits(Bytes((bytes & allBytes(0xfd)) == allBytes('<')) |
                      Bytes(bytes == allBytes('&'))) == 0;
}

/// One character outside ASCII; null when it is malformed or reaches beyond the end.
const unsigned char *decodeCharacter(char16_t *&out, const unsigned char *in,
                                     const unsigned char *end) {
    const unsigned lead = in[0];
    const auto available = end - in;
    // The six bits that a following byte holds, or more than six when it is none.
    const auto bits = [in](int index) { return in[index] ^ 0x80u; };
    constexpr unsigned mostBits = 0x3f;
    if (lead >= 0xe0 && lead < 0xf0) {
        if (available < 3 || (bits(1) | bits(2)) > mostBits)
            return nullptr;
        const unsigned character = (lead & 0x0f) << 12 | bits(1) << 6 | bits(2);
        if (character < 0x800 || QChar::isSurrogate(character))
            return nullptr;
        *out++ = char16_t(character);
        return in + 3;
    }
    if (lead >= 0xc2 && lead < 0xe0) {
        if (available < 2 || bits(1) > mostBits)
            return nullptr;
        *out++ = char16_t((lead & 0x1f) << 6 | bits(1));
        return in + 2;
    }
    if (lead >= 0xf0 && lead < 0xf5) {
        if (available < 4 || (bits(1) | bits(2) | bits(3)) > mostBits)
            return nullptr;
        const unsigned character = (lead & 0x07) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3);
        if (character < 0x10000 || character > QChar::LastValidCodePoint)
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

char *encodeThree(char *out, char16_t unit) {
    out[0] = char(0xe0 | unit >> 12);
    out[1] = char(0x80 | (unit >> 6 & 0x3f));
    out[2] = char(0x80 | (unit & 0x3f));
    return out + 3;
}

char *encodeFour(char *out, char32_t character) {
    out[0] = char(0xf0 | character >> 18);
    out[1] = char(0x80 | (character >> 12 & 0x3f));
    out[2] = char(0x80 | (character >> 6 & 0x3f));
    out[3] = char(0x80 | (character & 0x3f));
    return out + 4;
}

/// One character, which may be two units.
char *escapeCharacter(char *out, const char16_t *&in, const char16_t *end) {
    const char16_t unit = *in++;
    if (unit >= 0x800) {
        if (!QChar::isSurrogate(unit))
            return encodeThree(out, unit);
        if (QChar::isHighSurrogate(unit) && in < end && QChar::isLowSurrogate(*in))
            return encodeFour(out, QChar::surrogateToUcs4(unit, *in++));
        return encodeThree(out, QChar::ReplacementCharacter);
    }
    if (unit >= 0x80) {
        out[0] = char(0xc0 | unit >> 6);
        out[1] = char(0x80 | (unit & 0x3f));
        return out + 2;
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

bool isEscaped(char32_t character) {
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

} // namespace

#ifndef CLIPMULE_UTF8_VECTORS
const Utf8Kernel *utf8VectorKernel() {
    return nullptr;
}
#endif

char16_t *decodeUtf8(char16_t *out, QByteArrayView bytes, const Utf8Kernel *kernel) {
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *const end = in + bytes.size();
    while (in < end) {
        const auto *blockEnd = end;
        if (kernel && end - in >= Utf8Kernel::reach) {
            kernel->decode(out, in, end);
            blockEnd = in + 1;
        } else if (end - in >= block) {
            blockEnd = in + block;
            const auto characters = load<Bytes>(in);
            if (isAscii(characters)) {
                widen(out, characters);
                out += block;
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

qsizetype utf16Bound(QByteArrayView bytes) {
    // One unit for each byte that begins a character, two for four bytes; and what a block that is
    // written as a whole may hold behind its run.
    qsizetype count = 0;
    const auto *in = reinterpret_cast<const quint8 *>(bytes.data());
    const auto *const end = in + bytes.size();
    while (end - in >= block) {
        // A lane grows by at most two a block, and must not overflow 8 bits.
        constexpr qsizetype mostBlocks = 127;
        Bytes sums{};
        for (auto blocks = std::min((end - in) / block, mostBlocks); blocks > 0; --blocks) {
            const auto characters = load<Bytes>(in);
            sums += (Bytes((characters & allBytes(0xc0)) != allBytes(0x80)) & allBytes(1)) +
                    (Bytes(characters >= allBytes(0xf0)) & allBytes(1));
            in += block;
        }
        for (qsizetype lane = 0; lane < block; ++lane)
            count += sums[lane];
    }
    for (; in < end; ++in)
        count += ((*in & 0xc0) != 0x80 ? 1 : 0) + (*in >= 0xf0 ? 1 : 0);
    return std::min(count + Utf8Kernel::reach, bytes.size());
}

qsizetype incompleteUtf8Tail(QByteArrayView bytes) {
    constexpr qsizetype most = 3;
    for (qsizetype count = 1; count <= std::min(most, bytes.size()); ++count) {
        const auto byte = quint8(bytes[bytes.size() - count]);
        if (byte >= 0xc2 && byte <= 0xf4)
            return count < (byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2) ? count : 0;
        if (byte < 0x80 || byte >= 0xc0)
            return 0;
    }
    return 0;
}

qsizetype escapedUtf8Size(QStringView text, const Utf8Kernel *kernel) {
    const char16_t *in = text.utf16();
    const char16_t *const end = in + text.size();
    qsizetype size = text.size();
    if (kernel)
        size += kernel->excess(in, end);
    // One unit behind a block is looked at, for the second half of a pair.
    while (end - in > block) {
        // A lane grows by at most eight a block, and must not overflow 16 bits.
        constexpr qsizetype mostBlocks = 8000;
        Units more{};
        for (auto blocks = std::min((end - in - 1) / block, mostBlocks); blocks > 0; --blocks) {
            const auto first = load<Units>(in);
            const auto second = load<Units>(in + block / 2);
            if (Bytes bytes; !narrow(bytes, first, second)) {
                more += excess(first) + excess(second);
                more -= pairs(first, load<Units>(in + 1));
                more -= pairs(second, load<Units>(in + block / 2 + 1));
            }
            in += block;
        }
        for (qsizetype lane = 0; lane < block / 2; ++lane)
            size += more[lane];
    }
    for (; in < end; ++in) {
        if (*in > 0x7f)
            size += *in > 0x7ff ? 2 : 1;
        else if (*in == u'<' || *in == u'>')
            size += 3;
        else if (*in == u'&')
            size += 4;
        if (QChar::isHighSurrogate(*in) && end - in > 1 && QChar::isLowSurrogate(in[1]))
            size -= 2;
    }
    return size;
}

char *escapeAsUtf8(char *out, QStringView text, const Utf8Kernel *kernel) {
    const char16_t *in = text.utf16();
    const char16_t *const end = in + text.size();
    while (in < end) {
        const char16_t *blockEnd = end;
        if (kernel && end - in >= Utf8Kernel::reach) {
            kernel->escape(out, in, end);
            blockEnd = in + 1;
        } else if (end - in >= block) {
            blockEnd = in + block;
            const auto first = load<Units>(in);
            const auto second = load<Units>(in + block / 2);
            if (Bytes bytes; narrow(bytes, first, second)) {
                std::memcpy(out, &bytes, sizeof bytes);
                out += block;
                in = blockEnd;
                continue;
            }
        }
        while (in < blockEnd)
            out = escapeCharacter(out, in, end);
    }
    return out;
}

// JSON's own characters are printable ones of ASCII, so that what is escaped here stands in texts.
QByteArray jsonLine(const QJsonObject &object) {
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    if (std::all_of(json.begin(), json.end(),
                    [](char byte) { return byte >= 0x20 && byte < 0x7f; }))
        return json;
    const QString text = QString::fromUtf8(json);
    QString line;
    line.reserve(text.size());
    for (qsizetype at = 0; at < text.size();) {
        const qsizetype begin = at;
        const char32_t character = nextCharacter(text, at);
        for (const QChar unit : QStringView(text).sliced(begin, at - begin)) {
            if (isEscaped(character))
                line += QStringLiteral("\\u%1").arg(uint(unit.unicode()), 4, 16, QLatin1Char('0'));
            else
                line += unit;
        }
    }
    return line.toUtf8();
}

} // namespace clipmule
