// Decimal digits under byte masks.
#pragma once

#include "vectors/masks.h"

#if ZEMT_X86_64

#include <bit>
#include <cstddef>

#include "text/layouts.h"

namespace zemt {

// A masked access takes long where its other bytes are on a page that is not there, so that empty masks stay with the text.

// The longest text that is taken character by character under masks.
constexpr int64_t most_masked = 48;

enum class Kept { All, LowFourBits };

// The first length (up to most_masked) units, or their low four bits, as bytes, zeros behind them; nothing behind them is read.
// With all bits kept, what is no byte becomes 0xFF.
template <typename Unit, Kept kept>
ZEMT_BYTE_MASKS inline __m512i load_units(const char *text, int64_t length)
{
    if constexpr (sizeof(Unit) == 1) {
        const __m512i characters = _mm512_maskz_loadu_epi8(first_of_64(length), text);
        return kept == Kept::All ? characters : _mm512_and_si512(characters, _mm512_set1_epi8(0x0F));
    } else {
        const __m512i kept_bits = _mm512_set1_epi32(kept == Kept::All ? -1 : 0x0F);
        __m128i parts[3];
        for (int i = 0; i < 3; ++i) {
            const auto within = static_cast<__mmask16>(first_of_64(length) >> 16 * i);
            const __m512i units = _mm512_maskz_loadu_epi32(within, within != 0 ? text + ptrdiff_t{64} * i : text);
            parts[i] = _mm512_maskz_cvtusepi32_epi8(0xFFFF, _mm512_and_si512(units, kept_bits));
        }
        const __m512i low = _mm512_inserti32x4(_mm512_zextsi128_si512(parts[0]), parts[1], 1);
        return _mm512_inserti32x4(low, parts[2], 2);
    }
}

// Writes the first length (up to 62) bytes as units, and a terminator.
template <typename Unit>
ZEMT_BYTE_MASKS inline void store_terminated(char *dst, __m512i bytes, int length)
{
    const __m512i terminated = _mm512_maskz_mov_epi8(first_of_64(length), bytes);
    const uint64_t written = first_of_64(length + 1);
    if constexpr (sizeof(Unit) == 1) return _mm512_mask_storeu_epi8(dst, written, terminated);
    const __m128i parts[] = {
        _mm512_maskz_extracti32x4_epi32(0xF, terminated, 0), _mm512_maskz_extracti32x4_epi32(0xF, terminated, 1),
        _mm512_maskz_extracti32x4_epi32(0xF, terminated, 2), _mm512_maskz_extracti32x4_epi32(0xF, terminated, 3)};
    for (int i = 0; i < 4; ++i) {
        const auto mask = static_cast<__mmask16>(written >> 16 * i);
        _mm512_mask_storeu_epi32(mask != 0 ? dst + i * 64 : dst, mask, _mm512_maskz_cvtepu8_epi32(0xFFFF, parts[i]));
    }
}

// The low four bits of the characters of a text at the right end of a field of up to 24 bytes, with a sign behind them.
template <typename Unit>
ZEMT_BYTE_MASKS inline void pack_nibbles(char *field, int64_t size, const char *text, int64_t length, char sign)
{
    const int64_t last = 2 * size - 1;
    const uint64_t places = first_of_64(length) << (last - length);
    const __m512i digits = _mm512_maskz_expand_epi8(places, load_units<Unit, Kept::LowFourBits>(text, length));
    const __m512i nibbles = _mm512_mask_set1_epi8(digits, uint64_t{1} << last, sign);
    const __m512i pairs = _mm512_maddubs_epi16(nibbles, _mm512_set1_epi16(0x0110));
    _mm256_mask_storeu_epi8(field, static_cast<__mmask32>(first_of_64(size)), _mm512_maskz_cvtepi16_epi8(~0u, pairs));
}

// Digits of a plain decimal number to the base 100.
struct PairedDigits {
    __m256i digits;    // aligned to the point: 123.4 is 1, 23, 40
    uint32_t nonzero;  // a bit for each of them
    int64_t exponent;  // of the first of them
    bool valid;
};

// Pairs the digits of a number on either side of its point, without a branch on where that is.
template <typename Unit>
ZEMT_BYTE_MASKS inline PairedDigits pair_by_masks(const char *text, int64_t length)
{
    const __m512i characters = load_units<Unit, Kept::All>(text, length);
    const __m512i values = _mm512_sub_epi8(characters, _mm512_set1_epi8('0'));
    const uint64_t digits = _mm512_cmple_epu8_mask(values, _mm512_set1_epi8(9));
    const uint64_t points = _mm512_cmpeq_epi8_mask(characters, _mm512_set1_epi8('.'));
    const int integers = std::countr_zero(points | uint64_t{1} << length);
    const bool valid = (digits | points) == first_of_64(length) && (points & (points - 1)) == 0;

    // The point is dropped, and a zero goes in front of an odd number of digits.
    const __m512i dense = _mm512_maskz_compress_epi8(digits, values);
    const __m512i even = _mm512_maskz_expand_epi8(~uint64_t{0} << (integers & 1), dense);
    const __m256i pairs = _mm512_maskz_cvtepi16_epi8(~0u, _mm512_maddubs_epi16(even, _mm512_set1_epi16(0x010A)));
    return {pairs, _mm256_test_epi8_mask(pairs, pairs), (integers + 1) / 2 - 1, valid};
}

// Writes head and size - 2 digits from the first place on, each as digit + 1.
ZEMT_BYTE_MASKS inline void store_digits(uint8_t *dst, uint32_t head, __m256i digits, int first, int size)
{
    const __m256i used = _mm256_maskz_compress_epi8(~uint32_t{0} << first, _mm256_add_epi8(digits, _mm256_set1_epi8(1)));
    const __m256i spread =
        _mm256_mask_expand_epi8(_mm256_castsi128_si256(_mm_cvtsi32_si128(static_cast<int>(head))), ~3u, used);
    _mm256_mask_storeu_epi8(dst, static_cast<__mmask32>(first_of_64(size)), spread);
}

// Writes the pairs of digits of count numbers below 100, zeros behind them, without the first dropped (0 or 1) of the digits and
// with a point at place point, as a text of length (up to 62) and its terminator.
template <typename Unit>
ZEMT_BYTE_MASKS inline void store_decimal(char *dst, __m256i numbers, int count, int dropped, int point, int length)
{
    const __m512i each = _mm512_maskz_cvtepu8_epi16(static_cast<__mmask32>(first_of_64(count)), numbers);
    const __m512i tens = _mm512_maskz_srli_epi16(~0u, _mm512_mullo_epi16(each, _mm512_set1_epi16(103)), 10);
    const __m512i ones = _mm512_sub_epi16(each, _mm512_mullo_epi16(tens, _mm512_set1_epi16(10)));
    const __m512i pairs = _mm512_or_si512(tens, _mm512_maskz_slli_epi16(~0u, ones, 8));
    const __m512i digits = _mm512_maskz_compress_epi8(~uint64_t{0} << dropped, _mm512_add_epi8(pairs, every_byte('0')));
    const __m512i text = _mm512_mask_expand_epi8(every_byte('.'), ~(uint64_t{1} << point), digits);
    store_terminated<Unit>(dst, text, length);
}

}  // namespace zemt

#endif
