// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/Base64.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace clipmule::Base64 {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two characters for each value of twelve bits.
constexpr auto characterPairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (size_t value = 0; value < pairs.size(); ++value)
        pairs[value] = {alphabet[value >> 6], alphabet[value & 63]};
    return pairs;
}();

// A bit outside the 24 of a group, so that one test covers four characters.
constexpr quint32 noDigit = 1u << 31;

constexpr auto digits = [] {
    std::array<quint32, 256> values{};
    for (auto &value : values)
        value = noDigit;
    for (quint32 digit = 0; digit < 64; ++digit)
        values[static_cast<unsigned char>(alphabet[digit])] = digit;
    return values;
}();

char *encodeGroup(char *out, const unsigned char *in) {
    const size_t bits = size_t(in[0]) << 16 | size_t(in[1]) << 8 | in[2];
    std::memcpy(out, characterPairs[bits >> 12].data(), 2);
    std::memcpy(out + 2, characterPairs[bits & 0xfff].data(), 2);
    return out + 4;
}

/// One line of at least one byte, padded when it is the last.
char *encodeLine(char *out, const unsigned char *in, qsizetype size, int tabs) {
    out = std::fill_n(out, tabs, '\t');
    for (; size >= 3; size -= 3, in += 3)
        out = encodeGroup(out, in);
    if (size > 0) {
        const unsigned char padded[3] = {in[0], size > 1 ? in[1] : static_cast<unsigned char>(0),
                                         0};
        out = encodeGroup(out, padded);
        out[-1] = '=';
        if (size == 1)
            out[-2] = '=';
    }
    *out++ = '\n';
    return out;
}

void scalarRuns(Decoding &decoding) {
    const auto *in = decoding.in;
    char *out = decoding.out;
    while (decoding.end - in >= 4) {
        const quint32 first = digits[in[0]];
        const quint32 second = digits[in[1]];
        const quint32 third = digits[in[2]];
        const quint32 fourth = digits[in[3]];
        if (((first | second | third | fourth) & noDigit) == 0) {
            const quint32 bits = first << 18 | second << 12 | third << 6 | fourth;
            out[0] = char(bits >> 16);
            out[1] = char(bits >> 8);
            out[2] = char(bits);
            out += 3;
            in += 4;
        } else if (first == noDigit && in[0] < 0x80 && in[0] != '=') {
            ++in;
        } else {
            break;
        }
    }
    decoding.in = in;
    decoding.out = out;
}

} // namespace

#ifndef CLIPMULE_BASE64_VECTORS
const Kernel *vectorKernel() {
    return nullptr;
}
#endif

qsizetype encodedSize(qsizetype size, Lines lines) {
    const qsizetype characters = (size + 2) / 3 * 4;
    const qsizetype count = (characters + lines.length - 1) / lines.length;
    return characters + count * (lines.tabs + 1);
}

char *encode(char *out, QByteArrayView bytes, Lines lines, Engine engine) {
    Q_ASSERT(lines.length > 0 && lines.length % 4 == 0 && lines.tabs >= 0 && lines.tabs <= 8);
    Encoding encoding{reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), out};
    if (const Kernel *kernel = vectorKernel(); kernel && engine == Engine::Fastest)
        kernel->encodeLines(encoding, lines);
    const qsizetype bytesPerLine = lines.length / 4 * 3;
    while (encoding.left > 0) {
        const qsizetype size = std::min(bytesPerLine, encoding.left);
        encoding.out = encodeLine(encoding.out, encoding.in, size, lines.tabs);
        encoding.in += size;
        encoding.left -= size;
    }
    return encoding.out;
}

Decoder::Decoder(Engine engine)
    : _kernel(engine == Engine::Fastest ? vectorKernel() : nullptr) {}

std::optional<qsizetype> Decoder::decode(char *out, QByteArrayView text) {
    const auto *in = reinterpret_cast<const unsigned char *>(text.data());
    Decoding decoding{in, in + text.size(), out};
    for (;;) {
        if (_count == 0) {
            if (_kernel)
                _kernel->decodeRuns(decoding);
            else
                scalarRuns(decoding);
        }
        // A character of a group of four, whatever stands between them.
        if (decoding.in == decoding.end)
            return decoding.out - out;
        const unsigned char character = *decoding.in++;
        if (character >= 0x80)
            return std::nullopt;
        const bool isPadding = character == '=';
        if (digits[character] == noDigit && !isPadding)
            continue;
        _padding = isPadding ? _padding + 1 : 0;
        _bits = _bits << 6 | (isPadding ? 0 : digits[character]);
        if (++_count < 4)
            continue;
        *decoding.out++ = char(_bits >> 16);
        if (_padding < 2)
            *decoding.out++ = char(_bits >> 8);
        if (_padding < 1)
            *decoding.out++ = char(_bits);
        _bits = 0;
        _count = 0;
        _padding = 0;
    }
}

std::optional<qsizetype> decode(char *out, QByteArrayView text, Engine engine) {
    return Decoder(engine).decode(out, text);
}

} // namespace clipmule::Base64
