// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/Base64.h"

#include <bit>
#include <cstring>
#include <immintrin.h>

namespace clipmule::Base64 {

namespace {

#define CLIPMULE_AVX2 __attribute__((target("avx2")))

constexpr qsizetype block = 32;

/// The same 16 bytes in both lanes.
CLIPMULE_AVX2 inline __m256i inBothLanes(__m128i bytes) {
    return _mm256_broadcastsi128_si256(bytes);
}

/// 24 bytes as 32 characters. Reads 28 bytes.
CLIPMULE_AVX2 inline __m256i encodeBlock(const unsigned char *in) {
    const __m256i bytes = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in))),
        _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 12)), 1);
    // Three bytes a, b, c become the two 16-bit words ab and bc: the first holds digits 0 and 1 of
    // the group in its bits 15-10 and 9-4, the second digits 2 and 3 in its bits 11-6 and 5-0.
    const __m256i words = _mm256_shuffle_epi8(
        bytes, inBothLanes(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    // Multiplying by a power of two shifts each word by its own amount: digits 0 and 2 down into
    // the low byte (the high half of the product), digits 1 and 3 up into the high byte.
    const __m256i low = _mm256_mulhi_epu16(_mm256_and_si256(words, _mm256_set1_epi32(0x0fc0fc00)),
                                           _mm256_set1_epi32(0x04000040));
    const __m256i high = _mm256_mullo_epi16(_mm256_and_si256(words, _mm256_set1_epi32(0x003f03f0)),
                                            _mm256_set1_epi32(0x01000010));
    const __m256i digits = _mm256_or_si256(low, high);
    // The distance from digit to character is constant within each range of the alphabet. Ranges:
    // 0 for a-z, 1 to 10 for the ten numerals, 11 for '+', 12 for '/', 13 for A-Z.
    const __m256i range = _mm256_or_si256(
        _mm256_subs_epu8(digits, _mm256_set1_epi8(51)),
        _mm256_and_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(26), digits), _mm256_set1_epi8(13)));
    const __m256i distances = inBothLanes(
        _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                      '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0));
    return _mm256_add_epi8(digits, _mm256_shuffle_epi8(distances, range));
}

CLIPMULE_AVX2 void encodeLines(Encoding &encoding, Lines lines) {
    const auto *in = encoding.in;
    char *out = encoding.out;
    qsizetype left = encoding.left;
    const qsizetype bytesPerLine = lines.length / 4 * 3;
    constexpr quint64 eightTabs = 0x0909090909090909;
    // A line is written in whole blocks; what sticks out is overwritten by the next line. So enough
    // must follow for the longest reach, 28 bytes read and 32 characters written.
    while (left >= bytesPerLine + 2 * block) {
        std::memcpy(out, &eightTabs, sizeof eightTabs);
        out += lines.tabs;
        for (qsizetype at = 0; at < lines.length; at += block) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + at),
                                encodeBlock(in + at / 4 * 3));
        }
        out += lines.length;
        *out++ = '\n';
        in += bytesPerLine;
        left -= bytesPerLine;
    }
    encoding = {in, left, out};
}

/// A bit for each of 32 characters that is not in the alphabet.
CLIPMULE_AVX2 inline quint32 strangers(__m256i characters, __m256i highHalves) {
    // One bit a group of columns of the ASCII table: 1 for 0x2_, 2 for 0x3_, 4 for 0x4_ and 0x6_,
    // 8 for 0x5_ and 0x7_, 16 for all others. The second table tells for each low half which
    // groups have no letter there.
    const __m256i group = _mm256_shuffle_epi8(
        inBothLanes(_mm_setr_epi8(16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16)),
        highHalves);
    const __m256i without = _mm256_shuffle_epi8(
        inBothLanes(_mm_setr_epi8(16 + 4 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1, 16 + 1,
                                  16 + 1, 16 + 1, 16 + 1, 16 + 2 + 1, 16 + 8 + 2, 16 + 8 + 2 + 1,
                                  16 + 8 + 2 + 1, 16 + 8 + 2 + 1, 16 + 8 + 2)),
        _mm256_and_si256(characters, _mm256_set1_epi8(0x0f)));
    const __m256i found = _mm256_and_si256(group, without);
    return ~quint32(_mm256_movemask_epi8(_mm256_cmpeq_epi8(found, _mm256_setzero_si256())));
}

/// 32 characters of the alphabet as 24 bytes. Writes 32.
CLIPMULE_AVX2 inline void decodeBlock(char *out, __m256i characters, __m256i highHalves) {
    // The distance from character to digit by the high half; '/' is taken out of its column to
    // stand in the empty one before it.
    const __m256i isSlash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
    const __m256i distance =
        _mm256_shuffle_epi8(inBothLanes(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A',
                                                      26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0)),
                            _mm256_add_epi8(highHalves, isSlash));
    const __m256i digits = _mm256_add_epi8(characters, distance);
    // Two digits to twelve bits, two of those to 24, then the three bytes of each group in order.
    const __m256i pairs = _mm256_maddubs_epi16(digits, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_shuffle_epi8(
        groups, inBothLanes(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    _mm256_storeu_si256(
        reinterpret_cast<__m256i *>(out),
        _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7)));
}

CLIPMULE_AVX2 void decodeRuns(Decoding &decoding) {
    const auto *in = decoding.in;
    char *out = decoding.out;
    // With half a block of input to follow, there is room for the 32 bytes of a store.
    while (decoding.end - in >= block + block / 2) {
        const __m256i characters = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in));
        const __m256i highHalves =
            _mm256_and_si256(_mm256_srli_epi32(characters, 4), _mm256_set1_epi8(0x0f));
        const quint32 strange = strangers(characters, highHalves);
        if (strange == 0) {
            decodeBlock(out, characters, highHalves);
            out += block / 4 * 3;
            in += block;
            continue;
        }
        // Whole groups before the first stranger; the junk behind them is written over.
        const int run = std::countr_zero(strange);
        if (run >= 4)
            decodeBlock(out, characters, highHalves);
        out += run / 4 * 3;
        in += run / 4 * 4;
        if (run % 4 != 0)
            break;
        const quint32 noted = quint32(_mm256_movemask_epi8(
            _mm256_or_si256(characters, _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('=')))));
        const int gap = std::countr_one(strange >> run);
        if (const quint32 notedInGap = noted >> run; std::countr_zero(notedInGap) < gap)
            break;
        in += gap;
    }
    decoding.in = in;
    decoding.out = out;
}

constexpr Kernel kernel{encodeLines, decodeRuns};

} // namespace

const Kernel *vectorKernel() {
    static const bool isSupported = __builtin_cpu_supports("avx2");
    return isSupported ? &kernel : nullptr;
}

} // namespace clipmule::Base64
