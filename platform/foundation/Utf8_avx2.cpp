// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Utf8.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <immintrin.h>

namespace clipmule {

namespace {

#define CLIPMULE_AVX2 __attribute__((target("avx2,popcnt")))

// Texts are taken run by run: characters of one length are converted a whole block at a time, and
// what a block holds behind its run is written over by the next. A full block is a case of its own:
// the next one then does not wait until this one's run was counted.

CLIPMULE_AVX2 inline __m256i loadBlock(const void *from) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(from));
}

CLIPMULE_AVX2 inline void storeBlock(void *to, __m256i block) {
    _mm256_storeu_si256(static_cast<__m256i *>(to), block);
}

CLIPMULE_AVX2 inline void storeHalf(void *to, __m128i half) {
    _mm_storeu_si128(static_cast<__m128i *>(to), half);
}

/// A bit for each byte that is equal to `wanted` under the mask.
CLIPMULE_AVX2 inline quint32 bytesLike(__m256i bytes, quint8 mask, quint8 wanted) {
    return quint32(_mm256_movemask_epi8(_mm256_cmpeq_epi8(
        _mm256_and_si256(bytes, _mm256_set1_epi8(char(mask))), _mm256_set1_epi8(char(wanted)))));
}

/// All ones in each lane that is equal to `wanted` under the mask.
CLIPMULE_AVX2 inline __m256i unitsLike(__m256i units, quint16 mask, quint16 wanted) {
    return _mm256_cmpeq_epi16(_mm256_and_si256(units, _mm256_set1_epi16(short(mask))),
                              _mm256_set1_epi16(short(wanted)));
}

/// One in each lane that is above the limit.
CLIPMULE_AVX2 inline __m256i isAbove(__m256i units, short limit) {
    return _mm256_min_epu16(_mm256_subs_epu16(units, _mm256_set1_epi16(limit)),
                            _mm256_set1_epi16(1));
}

/// A bit for each of sixteen lanes.
CLIPMULE_AVX2 inline quint32 bitsOf(__m256i lanes) {
    const __m256i bytes = _mm256_packs_epi16(lanes, _mm256_setzero_si256());
    return quint32(_mm256_movemask_epi8(_mm256_permute4x64_epi64(bytes, 0xd8)));
}

/// 32 units as bytes in order, where all are ASCII.
CLIPMULE_AVX2 inline __m256i narrowed(__m256i first, __m256i second) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xd8);
}

CLIPMULE_AVX2 inline bool areAscii(__m256i first, __m256i second) {
    return _mm256_testz_si256(_mm256_or_si256(first, second), _mm256_set1_epi16(short(0xff80)));
}

CLIPMULE_AVX2 void widen(char16_t *out, __m256i bytes) {
    storeBlock(out, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
    storeBlock(out + 16, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
}

/// Up to sixteen characters of two bytes; returns how many.
CLIPMULE_AVX2 qsizetype decodeTwos(char16_t *out, __m256i bytes, quint32 following) {
    constexpr quint32 everyOther = 0x55555555;
    const quint32 leads = bytesLike(bytes, 0xe0, 0xc0);
    const auto run =
        qsizetype(std::countr_one((leads & everyOther) | (following & ~everyOther)) / 2);
    const __m256i units = _mm256_maddubs_epi16(_mm256_and_si256(bytes, _mm256_set1_epi16(0x3f1f)),
                                               _mm256_set1_epi16(0x0140));
    storeBlock(out, units);
    // A character below U+0080 has no business in two bytes.
    const quint32 overlong = bitsOf(unitsLike(units, 0xff80, 0));
    return std::min<qsizetype>(run, std::countr_zero(overlong));
}

/// Up to eight characters of three bytes; returns how many.
CLIPMULE_AVX2 qsizetype decodeThrees(char16_t *out, const unsigned char *in, __m256i bytes,
                                     quint32 following) {
    constexpr quint32 everyThird = 0x49249249;
    const quint32 leads = bytesLike(bytes, 0xf0, 0xe0);
    const auto run =
        qsizetype(std::countr_one((leads & everyThird) | (following & ~everyThird)) / 3);
    // Twelve bytes to a lane, then the three of each character to 32 bits, the last lowest.
    const __m256i spread = _mm256_shuffle_epi8(
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_castsi256_si128(bytes)),
                                _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 12)), 1),
        _mm256_broadcastsi128_si256(
            _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1)));
    const __m256i pairs = _mm256_maddubs_epi16(
        _mm256_and_si256(spread, _mm256_set1_epi32(0x000f3f3f)), _mm256_set1_epi32(0x00014001));
    const __m256i wide = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x10000001));
    const __m256i units = _mm256_permute4x64_epi64(_mm256_packus_epi32(wide, wide), 0xd8);
    storeHalf(out, _mm256_castsi256_si128(units));
    // Nor have characters below U+0800 here, nor surrogates anywhere.
    const quint32 refused =
        bitsOf(_mm256_or_si256(unitsLike(units, 0xf800, 0), unitsLike(units, 0xf800, 0xd800)));
    return std::min<qsizetype>({run, 8, std::countr_zero(refused)});
}

CLIPMULE_AVX2 void decode(char16_t *&outPlace, const unsigned char *&inPlace,
                          const unsigned char *end) {
    // What is written could be these places for all that the compiler knows.
    char16_t *out = outPlace;
    const unsigned char *in = inPlace;
    while (end - in >= Utf8Kernel::reach) {
        const __m256i bytes = loadBlock(in);
        const auto other = quint32(_mm256_movemask_epi8(bytes));
        if (other == 0) {
            widen(out, bytes);
            out += 32;
            in += 32;
            continue;
        }
        if (const int plain = std::countr_zero(other); plain > 0) {
            widen(out, bytes);
            out += plain;
            in += plain;
            continue;
        }
        const quint32 following = bytesLike(bytes, 0xc0, 0x80);
        if (*in >= 0xe0) {
            const qsizetype count = decodeThrees(out, in, bytes, following);
            if (count == 0)
                break;
            if (count == 8) {
                out += 8;
                in += 24;
                continue;
            }
            out += count;
            in += 3 * count;
        } else {
            const qsizetype count = decodeTwos(out, bytes, following);
            if (count == 0)
                break;
            out += count;
            in += 2 * count;
        }
    }
    outPlace = out;
    inPlace = in;
}

/// Eight units of three bytes each. Writes 28 bytes.
CLIPMULE_AVX2 void encodeThrees(char *out, __m128i units) {
    const __m256i wide = _mm256_cvtepu16_epi32(units);
    // The first byte lowest.
    const __m256i spread = _mm256_or_si256(
        _mm256_or_si256(_mm256_srli_epi32(wide, 12),
                        _mm256_and_si256(_mm256_slli_epi32(wide, 2), _mm256_set1_epi32(0x3f00))),
        _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi32(wide, 16), _mm256_set1_epi32(0x3f0000)),
                        _mm256_set1_epi32(0x8080e0)));
    const __m256i packed =
        _mm256_shuffle_epi8(spread, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                        0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
    storeHalf(out, _mm256_castsi256_si128(packed));
    storeHalf(out + 12, _mm256_extracti128_si256(packed, 1));
}

CLIPMULE_AVX2 void escape(char *&outPlace, const char16_t *&inPlace, const char16_t *end) {
    char *out = outPlace;
    const char16_t *in = inPlace;
    while (end - in >= Utf8Kernel::reach) {
        const __m256i units = loadBlock(in);
        const __m256i next = loadBlock(in + 16);
        if (*in < 0x80) {
            const __m256i bytes = narrowed(units, next);
            quint32 others = bytesLike(bytes, 0xfd, '<') | bytesLike(bytes, 0xff, '&');
            storeBlock(out, bytes);
            if (!areAscii(units, next)) {
                others |= ~(bitsOf(unitsLike(units, 0xff80, 0)) | bitsOf(unitsLike(next, 0xff80, 0))
                                                                      << 16);
            } else if (others == 0) {
                out += 32;
                in += 32;
                continue;
            }
            const int run = std::countr_zero(others);
            out += run;
            in += run;
            if (*in < 0x80) {
                const bool isAmpersand = *in == u'&';
                // Five bytes in any case, of which four may count.
                const char *const entity = isAmpersand ? "&amp;" : *in == u'<' ? "&lt; " : "&gt; ";
                std::memcpy(out, entity, 5);
                out += isAmpersand ? 5 : 4;
                ++in;
            }
        } else if (*in >= 0x800) {
            const quint32 others = bitsOf(
                _mm256_or_si256(unitsLike(units, 0xf800, 0), unitsLike(units, 0xf800, 0xd800)));
            encodeThrees(out, _mm256_castsi256_si128(units));
            if (others == 0) {
                encodeThrees(out + 24, _mm256_extracti128_si256(units, 1));
                out += 48;
                in += 16;
                continue;
            }
            const int run = std::countr_zero(others);
            if (run == 0)
                break;
            if (run > 8)
                encodeThrees(out + 24, _mm256_extracti128_si256(units, 1));
            out += 3 * run;
            in += run;
        } else {
            const quint32 isTwo = bitsOf(
                _mm256_andnot_si256(unitsLike(units, 0xff80, 0), unitsLike(units, 0xf800, 0)));
            storeBlock(out,
                       _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(units, 6),
                                                       _mm256_and_si256(_mm256_slli_epi16(units, 8),
                                                                        _mm256_set1_epi16(0x3f00))),
                                       _mm256_set1_epi16(short(0x80c0))));
            const int run = std::countr_one(isTwo);
            out += 2 * run;
            in += run;
        }
    }
    outPlace = out;
    inPlace = in;
}

CLIPMULE_AVX2 qsizetype excess(const char16_t *&in, const char16_t *end) {
    qsizetype size = 0;
    while (end - in >= Utf8Kernel::reach) {
        // A lane grows by at most four a block, and must not overflow 15 bits.
        constexpr qsizetype mostBlocks = 8000;
        __m256i more = _mm256_setzero_si256();
        for (auto blocks = mostBlocks; blocks > 0 && end - in >= Utf8Kernel::reach; --blocks) {
            const __m256i units = loadBlock(in);
            if (const __m256i next = loadBlock(in + 16); areAscii(units, next)) {
                const __m256i bytes = narrowed(units, next);
                size += 3 * std::popcount(bytesLike(bytes, 0xfd, '<')) +
                        4 * std::popcount(bytesLike(bytes, 0xff, '&'));
                in += 32;
                continue;
            }
            const __m256i isAngle = unitsLike(units, 0xfffd, u'<');
            const __m256i isAmpersand = unitsLike(units, 0xffff, u'&');
            // Two surrogates that are a pair take four bytes together; one alone becomes three.
            const __m256i isPair = _mm256_and_si256(unitsLike(units, 0xfc00, 0xd800),
                                                    unitsLike(loadBlock(in + 1), 0xfc00, 0xdc00));
            more = _mm256_add_epi16(more,
                                    _mm256_add_epi16(isAbove(units, 0x7f), isAbove(units, 0x7ff)));
            more = _mm256_add_epi16(
                more, _mm256_or_si256(_mm256_and_si256(isAngle, _mm256_set1_epi16(3)),
                                      _mm256_and_si256(isAmpersand, _mm256_set1_epi16(4))));
            more = _mm256_sub_epi16(more, _mm256_and_si256(isPair, _mm256_set1_epi16(2)));
            in += 16;
        }
        const __m256i sums = _mm256_madd_epi16(more, _mm256_set1_epi16(1));
        alignas(32) std::int32_t lanes[8];
        storeBlock(lanes, sums);
        for (const std::int32_t lane : lanes)
            size += lane;
    }
    return size;
}

constexpr Utf8Kernel kernel{decode, escape, excess};

} // namespace

const Utf8Kernel *utf8VectorKernel() {
    static const bool isSupported = __builtin_cpu_supports("avx2");
    return isSupported ? &kernel : nullptr;
}

} // namespace clipmule
