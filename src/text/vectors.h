// Sixteen characters at a time: the few vector operations that text and decimals are made of. SSE2 is part of x86-64; registers
// of 32 bytes are used where the processor has them and the text is long enough to pay for asking, masks for single bytes where
// it has those. On other processors, and under ZEMT_PORTABLE, the same operations are plain loops.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "layouts.h"

#if defined(__SSE2__) && !defined(ZEMT_PORTABLE)
#include <immintrin.h>
#define ZEMT_SSE2 1
#else
#define ZEMT_SSE2 0
#endif

namespace zemt {

#if ZEMT_SSE2
using Bytes16 = __m128i;
#else
struct Bytes16 {
    uint8_t at[16];
};
#endif

// A plain character is one that UTF-8 and wide text have in common and that does not end a text: 1..0x7F.

constexpr bool is_plain(uint32_t character)
{
    return character - 1 < 0x7F;
}

// The first size (0..8) bytes at an address, zeros above them; nothing behind them is read.
inline uint64_t load_up_to_8(const char *at, int size)
{
    if (size >= 8) return load<uint64_t>(at);
    if (size >= 4) return load<uint32_t>(at) | uint64_t{load<uint32_t>(at + size - 4)} << (8 * (size - 4));
    if (size == 0) return 0;
    const auto byte = [at](int index) { return uint64_t{static_cast<uint8_t>(at[index])} << (8 * index); };
    return byte(0) | byte(size / 2) | byte(size - 1);
}

// The 8 bytes at index of a text of size (8 and more) bytes, zeros where it has none; nothing behind it is read.
template <typename Load>
inline uint64_t word_at(int index, int size, Load load_eight)
{
    const int start = std::min(index, size - 8);
    const int behind = std::min(index - start, 8);
    return load_eight(start) >> 4 * behind >> 4 * behind;
}

// Writes the lowest size (1..8) bytes of a value.
inline void store_up_to_8(char *at, uint64_t value, int size)
{
    if (size == 8) return store(at, value);
    if (size >= 4) {
        store(at, static_cast<uint32_t>(value));
        return store(at + size - 4, static_cast<uint32_t>(value >> (8 * (size - 4))));
    }
    at[0] = static_cast<char>(value);
    if (size > 1) store(at + size - 2, static_cast<uint16_t>(value >> (8 * (size - 2))));
}

// What eight units become: those of UTF-8 1 or 2 bytes each, 8 bytes of UTF-8 one 16-bit value each or none.
struct Pairs {
    uint64_t low, high;  // what becomes of four of them, zeros above
    uint64_t sizes;      // a byte for each of the eight: how many bytes or values
};

// Four units as 3 bytes each, in two halves of 6 bytes.
struct Threes {
    bool all;  // whether all of them lie in 0x800..0xFFFF
    uint64_t low, high;
};

// The longest text that is taken character by character under masks.
constexpr int64_t most_masked = 48;

// Text shorter than this many characters is not worth the question whether the processor has wider registers.
constexpr int32_t long_text = 128;

#if ZEMT_SSE2

inline Bytes16 load16(const char *at)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
}

inline Bytes16 bytes16(uint64_t low, uint64_t high)
{
    return _mm_set_epi64x(static_cast<int64_t>(high), static_cast<int64_t>(low));
}

inline void store16(char *at, Bytes16 value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(at), value);
}

inline bool all_plain(Bytes16 value)
{
    return _mm_movemask_epi8(_mm_cmpgt_epi8(value, _mm_setzero_si128())) == 0xFFFF;
}

// The masks have one bit for each byte, the first byte's lowest.

inline uint32_t mask_from(Bytes16 value, uint8_t least)
{
    const __m128i limit = _mm_set1_epi8(static_cast<char>(least));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(value, limit), value)));
}

inline uint32_t mask_zero(Bytes16 value)
{
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(value, _mm_setzero_si128())));
}

inline uint32_t mask_high(Bytes16 value)
{
    return static_cast<uint32_t>(_mm_movemask_epi8(value));
}

// Bytes that no character of 1 or 2 bytes has, other than an overlong one: 0, 0xC0 and from 0xE0 on.
inline uint32_t mask_unpaired(Bytes16 value)
{
    const auto is = [value](int byte) { return _mm_cmpeq_epi8(value, _mm_set1_epi8(static_cast<char>(byte))); };
    const __m128i from_e0 = _mm_cmpeq_epi8(_mm_max_epu8(value, _mm_set1_epi8(static_cast<char>(0xE0))), value);
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(is(0), is(0xC0)), from_e0)));
}

// byte & bits == wanted
inline uint32_t mask_equal(Bytes16 value, uint8_t bits, uint8_t wanted)
{
    const __m128i looked_at = _mm_and_si128(value, _mm_set1_epi8(static_cast<char>(bits)));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(looked_at, _mm_set1_epi8(static_cast<char>(wanted)))));
}

// 8 bytes to as many wide characters.
inline void widen8(char *dst, uint64_t eight_bytes)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i units = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<int64_t>(eight_bytes)), zero);
    store16(dst, _mm_unpacklo_epi16(units, zero));
    store16(dst + 16, _mm_unpackhi_epi16(units, zero));
}

// 16 bytes to as many units, 8 of them at either place.
template <typename Unit>
inline void widen_halves(char *low_dst, char *high_dst, Bytes16 value)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_unpacklo_epi8(value, zero);
    const __m128i high = _mm_unpackhi_epi8(value, zero);
    if constexpr (sizeof(Unit) == 2) {
        store16(low_dst, low);
        store16(high_dst, high);
    } else {
        store16(low_dst, _mm_unpacklo_epi16(low, zero));
        store16(low_dst + 16, _mm_unpackhi_epi16(low, zero));
        store16(high_dst, _mm_unpacklo_epi16(high, zero));
        store16(high_dst + 16, _mm_unpackhi_epi16(high, zero));
    }
}

// 16 units to as many bytes; false where one lies outside 0..255.
template <typename Unit>
inline bool narrow16(const char *src, Bytes16 &narrow)
{
    __m128i low = load16(src);
    __m128i high = load16(src + 16);
    __m128i beyond = _mm_set1_epi16(static_cast<int16_t>(0xFF00));
    __m128i all = _mm_or_si128(low, high);
    if constexpr (sizeof(Unit) == 4) {
        const __m128i third = load16(src + 32);
        const __m128i fourth = load16(src + 48);
        all = _mm_or_si128(all, _mm_or_si128(third, fourth));
        low = _mm_packs_epi32(low, high);
        high = _mm_packs_epi32(third, fourth);
        beyond = _mm_set1_epi32(~0xFF);
    }
    narrow = _mm_packus_epi16(low, high);
    const __m128i within = _mm_cmpeq_epi8(_mm_and_si128(all, beyond), _mm_setzero_si128());
    return _mm_movemask_epi8(within) == 0xFFFF;
}

// 8 units as bytes, with some byte that is not plain where a unit is not.
inline uint64_t narrow8(const char *src)
{
    const __m128i units = _mm_packs_epi32(load16(src), load16(src + 16));             // saturates to 0x7FFF and -0x8000
    return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));  // saturates to 0xFF and 0
}

// Decodes the first 12 bytes if they are four characters of 3 bytes, none of them 0; U+FFFD becomes '?'.
template <typename Unit>
inline bool decode_threes(char *dst, Bytes16 text)
{
    const __m128i kind = _mm_setr_epi8(-16, -64, -64, -16, -64, -64, -16, -64, -64, -16, -64, -64, 0, 0, 0, 0);
    const __m128i threes = _mm_setr_epi8(-32, -128, -128, -32, -128, -128, -32, -128, -128, -32, -128, -128, 0, 0, 0, 0);
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(text, kind), threes)) != 0xFFFF) return false;
    const __m128i low = _mm_unpacklo_epi32(text, _mm_srli_si128(text, 3));
    const __m128i high = _mm_unpacklo_epi32(_mm_srli_si128(text, 6), _mm_srli_si128(text, 9));
    const __m128i each = _mm_unpacklo_epi64(low, high);  // the character's bytes and a stranger in each 32 bits
    const __m128i first = _mm_and_si128(_mm_slli_epi32(each, 12), _mm_set1_epi32(0xF000));
    const __m128i second = _mm_and_si128(_mm_srli_epi32(each, 2), _mm_set1_epi32(0x0FC0));
    const __m128i third = _mm_and_si128(_mm_srli_epi32(each, 16), _mm_set1_epi32(0x003F));
    __m128i value = _mm_or_si128(_mm_or_si128(first, second), third);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(value, _mm_setzero_si128())) != 0) return false;
    const __m128i lost = _mm_cmpeq_epi32(value, _mm_set1_epi32(0xFFFD));
    value = _mm_or_si128(_mm_andnot_si128(lost, value), _mm_and_si128(lost, _mm_set1_epi32('?')));
    if constexpr (sizeof(Unit) == 4) {
        store16(dst, value);
    } else {
        value = _mm_srai_epi32(_mm_slli_epi32(value, 16), 16);  // sign-extended, so that the pack does not saturate
        store(dst, _mm_cvtsi128_si64(_mm_packs_epi32(value, value)));
    }
    return true;
}

// Decodes 8 or 16 bytes, each as if it began a character of up to 2 or 3 bytes with those behind it; U+FFFD becomes '?'.
template <size_t count, bool with_threes>
inline void decode_everywhere(uint16_t *values, Bytes16 text)
{
    const __m128i zero = _mm_setzero_si128();
    const auto decode = [](__m128i first, __m128i second, __m128i third) {
        if constexpr (!with_threes) {
            const __m128i is_two = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xBF));
            const __m128i both = _mm_add_epi16(_mm_slli_epi16(first, 6), second);
            const __m128i two = _mm_sub_epi16(both, _mm_set1_epi16((0xC0 << 6) + 0x80));
            return _mm_or_si128(_mm_and_si128(is_two, two), _mm_andnot_si128(is_two, first));
        }
        const __m128i second_bits = _mm_and_si128(second, _mm_set1_epi16(0x3F));
        const __m128i third_bits = _mm_and_si128(third, _mm_set1_epi16(0x3F));
        const __m128i two = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(first, _mm_set1_epi16(0x1F)), 6), second_bits);
        const __m128i three = _mm_or_si128(_mm_or_si128(_mm_slli_epi16(first, 12), _mm_slli_epi16(second_bits, 6)), third_bits);
        const __m128i is_two = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xBF));
        const __m128i is_three = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xDF));
        const __m128i short_value = _mm_or_si128(_mm_and_si128(is_two, two), _mm_andnot_si128(is_two, first));
        const __m128i value = _mm_or_si128(_mm_and_si128(is_three, three), _mm_andnot_si128(is_three, short_value));
        const __m128i lost = _mm_cmpeq_epi16(value, _mm_set1_epi16(static_cast<int16_t>(0xFFFD)));
        return _mm_or_si128(_mm_andnot_si128(lost, value), _mm_and_si128(lost, _mm_set1_epi16('?')));
    };
    const __m128i second = _mm_srli_si128(text, 1);
    const __m128i third = _mm_srli_si128(text, 2);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(values),
                     decode(_mm_unpacklo_epi8(text, zero), _mm_unpacklo_epi8(second, zero), _mm_unpacklo_epi8(third, zero)));
    if constexpr (count == 16)
        _mm_storeu_si128(
            reinterpret_cast<__m128i *>(values + 8),
            decode(_mm_unpackhi_epi8(text, zero), _mm_unpackhi_epi8(second, zero), _mm_unpackhi_epi8(third, zero)));
}

// Decodes 8 bytes that are characters of 1 and 2 bytes; continuation bytes yield none.
inline Pairs decode_pairs(Bytes16 text)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i first = _mm_unpacklo_epi8(text, zero);
    const __m128i second = _mm_unpacklo_epi8(_mm_srli_si128(text, 1), zero);
    const __m128i is_two = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xBF));
    const __m128i two = _mm_add_epi16(_mm_slli_epi16(first, 6), _mm_sub_epi16(second, _mm_set1_epi16((0xC0 << 6) + 0x80)));
    const __m128i continuation = _mm_andnot_si128(is_two, _mm_cmpgt_epi16(first, _mm_set1_epi16(0x7F)));
    const __m128i value = _mm_or_si128(_mm_and_si128(is_two, two), _mm_andnot_si128(is_two, first));
    const __m128i each = _mm_andnot_si128(continuation, value);
    // In each 32 bits, the second value moves down where the first byte yields none.
    const __m128i move = _mm_srai_epi32(_mm_slli_epi32(continuation, 16), 16);
    const __m128i both = _mm_or_si128(_mm_andnot_si128(move, each), _mm_and_si128(move, _mm_srli_epi32(each, 16)));
    Pairs pairs;
    const __m128i sizes = _mm_add_epi8(_mm_set1_epi8(1), _mm_packs_epi16(continuation, continuation));
    pairs.sizes = static_cast<uint64_t>(_mm_cvtsi128_si64(sizes));
    const auto join = [](__m128i four, uint64_t four_sizes) {
        const auto halves = static_cast<uint64_t>(_mm_cvtsi128_si64(four));
        return (halves & 0xFFFFFFFF) | halves >> 32 << (16 * ((four_sizes + (four_sizes >> 8)) & 3));
    };
    pairs.low = join(both, pairs.sizes);
    pairs.high = join(_mm_unpackhi_epi64(both, both), pairs.sizes >> 32);
    return pairs;
}

inline void widen4(char *dst, uint64_t four_values)
{
    store16(dst, _mm_unpacklo_epi16(_mm_cvtsi64_si128(static_cast<int64_t>(four_values)), _mm_setzero_si128()));
}

// Encodes four units from each address, where all of them lie in 1..0x7FF.
inline bool encode_pairs(const char *low, const char *high, Pairs &pairs)
{
    const auto choose = [](__m128i mask, __m128i one, __m128i other) {
        return _mm_or_si128(_mm_and_si128(mask, one), _mm_andnot_si128(mask, other));
    };
    const __m128i value = _mm_packs_epi32(load16(low), load16(high));  // saturates to 0x7FFF and -0x8000
    const __m128i shifted = _mm_add_epi16(value, _mm_set1_epi16(0x7FFF));
    const __m128i refused = _mm_cmpgt_epi16(shifted, _mm_set1_epi16(0x7FE - 0x8000));
    if (_mm_movemask_epi8(refused) != 0) return false;
    const __m128i is_two = _mm_cmpgt_epi16(value, _mm_set1_epi16(0x7F));
    const __m128i second = _mm_slli_epi16(_mm_and_si128(value, _mm_set1_epi16(0x3F)), 8);
    const __m128i marks = _mm_set1_epi16(static_cast<int16_t>(0x80C0));
    const __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(value, 6), second), marks);
    const __m128i each = choose(is_two, two, value);
    // In each 32 bits, the second unit moves up to the first.
    const __m128i keep = _mm_srai_epi32(_mm_slli_epi32(is_two, 16), 16);
    const __m128i upper = _mm_and_si128(each, _mm_set1_epi32(~0xFFFF));
    const __m128i lower = _mm_and_si128(each, _mm_set1_epi32(0xFFFF));
    const __m128i both = _mm_or_si128(lower, choose(keep, upper, _mm_srli_epi32(upper, 8)));
    const __m128i sizes = _mm_sub_epi8(_mm_set1_epi8(1), _mm_packs_epi16(is_two, is_two));
    pairs.sizes = static_cast<uint64_t>(_mm_cvtsi128_si64(sizes));
    const auto join = [](__m128i four, uint64_t four_sizes) {
        const auto halves = static_cast<uint64_t>(_mm_cvtsi128_si64(four));
        return (halves & 0xFFFFFFFF) | halves >> 32 << (8 * ((four_sizes + (four_sizes >> 8)) & 7));
    };
    pairs.low = join(both, pairs.sizes);
    pairs.high = join(_mm_unpackhi_epi64(both, both), pairs.sizes >> 32);
    return true;
}

inline Threes encode_threes(Bytes16 units)
{
    const __m128i within =
        _mm_andnot_si128(_mm_cmpgt_epi32(units, _mm_set1_epi32(0xFFFF)), _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7FF)));
    if (_mm_movemask_epi8(within) != 0xFFFF) return {};
    const __m128i first = _mm_srli_epi32(units, 12);
    const __m128i second = _mm_and_si128(_mm_slli_epi32(units, 2), _mm_set1_epi32(0x3F00));
    const __m128i third = _mm_and_si128(_mm_slli_epi32(units, 16), _mm_set1_epi32(0x3F0000));
    const __m128i each = _mm_or_si128(_mm_or_si128(first, second), _mm_or_si128(third, _mm_set1_epi32(0x8080E0)));
    const auto low = static_cast<uint64_t>(_mm_cvtsi128_si64(each));
    const auto high = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(each, each)));
    return {true, (low & 0xFFFFFF) | low >> 32 << 24, (high & 0xFFFFFF) | high >> 32 << 24};
}

// The leading plain characters of a text, 32 at a time, as far as they go; returns how many were moved.
__attribute__((target("avx2"))) inline int32_t widen_long(char *dst, const char *src, int32_t count)
{
    int32_t moved = 0;
    for (; count - moved >= 32; moved += 32) {
        const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + moved));
        if (_mm256_movemask_epi8(_mm256_cmpgt_epi8(text, _mm256_setzero_si256())) != -1) break;
        for (int part = 0; part < 32; part += 8) {
            const __m256i units = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(src + moved + part)));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + (moved + part) * ptrdiff_t{4}), units);
        }
    }
    return moved;
}

__attribute__((target("avx2"))) inline int32_t narrow_long(char *dst, const char *src, int32_t count)
{
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);  // undoes the interleaving of the two packs
    int32_t moved = 0;
    for (; count - moved >= 32; moved += 32) {
        const auto *const at = reinterpret_cast<const __m256i *>(src + moved * ptrdiff_t{4});
        const __m256i a = _mm256_loadu_si256(at);
        const __m256i b = _mm256_loadu_si256(at + 1);
        const __m256i c = _mm256_loadu_si256(at + 2);
        const __m256i d = _mm256_loadu_si256(at + 3);
        const __m256i all = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (!_mm256_testz_si256(all, _mm256_set1_epi32(~0x7F))) break;
        const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(packed, _mm256_setzero_si256())) != 0) break;
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + moved), _mm256_permutevar8x32_epi32(packed, order));
    }
    return moved;
}

inline bool has_wide_registers()
{
    return __builtin_cpu_supports("avx2");
}

// Code of a function with this mark may only run where bytes have masks: they are loaded, stored, dropped and spread one by one.
#define ZEMT_BYTE_MASKS __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi2")))

inline bool has_byte_masks()
{
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi2");
}

// The first count (up to 63) of 64 places.
constexpr uint64_t first_of_64(int64_t count)
{
    return (uint64_t{1} << count) - 1;
}

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
            const __m512i units = _mm512_maskz_loadu_epi32(within, text + ptrdiff_t{64} * i);
            parts[i] = _mm512_maskz_cvtusepi32_epi8(0xFFFF, _mm512_and_si512(units, kept_bits));
        }
        const __m512i low = _mm512_inserti32x4(_mm512_zextsi128_si512(parts[0]), parts[1], 1);
        return _mm512_inserti32x4(low, parts[2], 2);
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

#else

inline Bytes16 load16(const char *at)
{
    return load<Bytes16>(at);
}

inline Bytes16 bytes16(uint64_t low, uint64_t high)
{
    Bytes16 value;
    store(value.at, low);
    store(value.at + 8, high);
    return value;
}

inline void store16(char *at, Bytes16 value)
{
    store(at, value);
}

inline bool all_plain(Bytes16 value)
{
    return std::all_of(value.at, value.at + 16, is_plain);
}

template <typename Test>
inline uint32_t mask_of(Bytes16 value, Test test)
{
    uint32_t mask = 0;
    for (unsigned i = 0; i < 16; ++i) mask |= uint32_t{test(value.at[i])} << i;
    return mask;
}

inline uint32_t mask_from(Bytes16 value, uint8_t least)
{
    return mask_of(value, [least](uint8_t byte) { return byte >= least; });
}

inline uint32_t mask_zero(Bytes16 value)
{
    return mask_of(value, [](uint8_t byte) { return byte == 0; });
}

inline uint32_t mask_high(Bytes16 value)
{
    return mask_from(value, 0x80);
}

inline uint32_t mask_unpaired(Bytes16 value)
{
    return mask_of(value, [](uint8_t byte) { return byte == 0 || byte == 0xC0 || byte >= 0xE0; });
}

inline uint32_t mask_equal(Bytes16 value, uint8_t bits, uint8_t wanted)
{
    return mask_of(value, [=](uint8_t byte) { return (byte & bits) == wanted; });
}

inline void widen8(char *dst, uint64_t eight_bytes)
{
    for (unsigned i = 0; i < 8; ++i) store(dst + i * 4, static_cast<Wide>(eight_bytes >> (8 * i) & 0xFF));
}

template <typename Unit>
inline void widen_halves(char *low_dst, char *high_dst, Bytes16 value)
{
    for (unsigned i = 0; i < 8; ++i) {
        store(low_dst + i * sizeof(Unit), static_cast<Unit>(value.at[i]));
        store(high_dst + i * sizeof(Unit), static_cast<Unit>(value.at[8 + i]));
    }
}

template <typename Unit>
inline bool narrow16(const char *src, Bytes16 &narrow)
{
    Unit all = 0;
    for (unsigned i = 0; i < 16; ++i) {
        const auto unit = load<Unit>(src + i * sizeof(Unit));
        all = static_cast<Unit>(all | unit);
        narrow.at[i] = static_cast<uint8_t>(unit);
    }
    return all >= 0 && all <= 0xFF;
}

inline uint64_t narrow8(const char *src)
{
    uint64_t narrow = 0;
    for (unsigned i = 0; i < 8; ++i) {
        const auto unit = load<uint32_t>(src + 4 * i);
        narrow |= uint64_t{is_plain(unit) ? unit : 0} << (8 * i);
    }
    return narrow;
}

template <typename Unit>
inline bool decode_threes(char *, Bytes16)
{
    return false;
}

template <size_t count, bool with_threes>
inline void decode_everywhere(uint16_t *values, Bytes16 text)
{
    for (size_t i = 0; i < count; ++i) {
        const auto bits = [&text, i](size_t next) { return i + next < 16 ? text.at[i + next] & 0x3F : 0; };
        const int first = text.at[i];
        int value = first;
        if (first >= 0xE0)
            value = (first & 0x0F) << 12 | bits(1) << 6 | bits(2);
        else if (first >= 0xC0)
            value = (first & 0x1F) << 6 | bits(1);
        values[i] = static_cast<uint16_t>(value == 0xFFFD ? '?' : value);
    }
}

inline Pairs decode_pairs(Bytes16 text)
{
    Pairs pairs{};
    for (int i = 0, used = 0; i < 8; ++i, used = i == 4 ? 0 : used) {
        const uint64_t first = text.at[i];
        if (first >= 0x80 && first < 0xC0) continue;
        const uint64_t value = first < 0x80 ? first : (first & 0x1F) << 6 | (text.at[i + 1] & 0x3F);
        (i < 4 ? pairs.low : pairs.high) |= value << used;
        pairs.sizes |= uint64_t{1} << (8 * i);
        used += 16;
    }
    return pairs;
}

inline void widen4(char *dst, uint64_t four_values)
{
    for (unsigned i = 0; i < 4; ++i) store(dst + 4 * i, static_cast<uint32_t>(four_values >> (16 * i) & 0xFFFF));
}

inline bool encode_pairs(const char *low, const char *high, Pairs &pairs)
{
    pairs = {};
    const auto encode = [&pairs](const char *at, uint64_t &bytes, int first) {
        for (int i = 0, used = 0; i < 4; ++i) {
            const auto value = load<uint32_t>(at + 4 * i);
            if (value - 1 >= 0x7FF) return false;
            const bool two = value >= 0x80;
            bytes |= uint64_t{two ? (0xC0 | value >> 6) | (0x80 | (value & 0x3F)) << 8 : value} << used;
            used += two ? 16 : 8;
            pairs.sizes |= uint64_t{two ? 2u : 1u} << (8 * (first + i));
        }
        return true;
    };
    return encode(low, pairs.low, 0) && encode(high, pairs.high, 4);
}

inline Threes encode_threes(Bytes16)
{
    return {};
}

inline int32_t widen_long(char *, const char *, int32_t)
{
    return 0;
}

inline int32_t narrow_long(char *, const char *, int32_t)
{
    return 0;
}

inline bool has_wide_registers()
{
    return false;
}

#define ZEMT_BYTE_MASKS

inline bool has_byte_masks()
{
    return false;
}

struct PairedDigits {
    int digits;
    uint32_t nonzero;
    int64_t exponent;
    bool valid;
};

template <typename Unit>
inline PairedDigits pair_by_masks(const char *, int64_t)
{
    return {};
}

inline void store_digits(uint8_t *, uint32_t, int, int, int)
{
}

template <typename Unit>
inline void pack_nibbles(char *, int64_t, const char *, int64_t, char)
{
}

#endif

inline Bytes16 load12(const char *at)
{
    return bytes16(load<uint64_t>(at), load<uint32_t>(at + 8));
}

// The first size (0..15) bytes at an address, zeros behind them; nothing behind them is read.
inline Bytes16 load_partial(const char *at, int size)
{
    if (size <= 8) return bytes16(load_up_to_8(at, size), 0);
    return bytes16(load<uint64_t>(at), load<uint64_t>(at + size - 8) >> (8 * (16 - size)));
}

template <typename Unit>
inline void widen16(char *dst, Bytes16 value)
{
    if constexpr (sizeof(Unit) == 1)
        store16(dst, value);
    else
        widen_halves<Unit>(dst, dst + 8 * sizeof(Unit), value);
}

// ---- Arithmetic on 16 bytes, which the compilers know for every processor -----------------------------------------------------

using Lanes = uint8_t __attribute__((vector_size(16)));
using WideLanes = uint16_t __attribute__((vector_size(16)));

inline Lanes lanes(uint64_t low, uint64_t high)
{
    return std::bit_cast<Lanes>(bytes16(low, high));
}

constexpr Lanes all_lanes(uint8_t byte)
{
    return Lanes{} + byte;
}

// The numbers from first on.
constexpr Lanes places(int first)
{
    return Lanes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15} + static_cast<uint8_t>(first);
}

// one where the comparison holds, else other
template <typename Comparison>
inline Lanes choose(Comparison holds, Lanes one, Lanes other)
{
    const auto mask = std::bit_cast<Lanes>(holds);
    return (mask & one) | (~mask & other);
}

inline Lanes subtract_to_zero(Lanes value, uint8_t less)
{
    return choose(value > less, value - less, Lanes{});
}

// Digits of 8 numbers below 100: 12, 34 -> 1, 2, 3, 4
inline Lanes split_pairs(WideLanes numbers)
{
    const WideLanes tens = numbers * 103 >> 10;
    return std::bit_cast<Lanes>(tens | (numbers - tens * 10) << 8);
}

// Eight bytes as 16-bit values.
inline WideLanes low_half(Lanes value)
{
    return std::bit_cast<WideLanes>(
        __builtin_shufflevector(value, Lanes{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
}

inline WideLanes high_half(Lanes value)
{
    return std::bit_cast<WideLanes>(
        __builtin_shufflevector(value, Lanes{}, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));
}

// Each byte moved to the place before it; next follows.
inline Lanes move_down(Lanes value, Lanes next)
{
#if ZEMT_SSE2
    return std::bit_cast<Lanes>(
        _mm_or_si128(_mm_srli_si128(std::bit_cast<__m128i>(value), 1), _mm_slli_si128(std::bit_cast<__m128i>(next), 15)));
#else
    return __builtin_shufflevector(value, next, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
#endif
}

// Each byte moved to the place behind it; the last byte of previous comes first.
inline Lanes move_up(Lanes previous, Lanes value)
{
#if ZEMT_SSE2
    return std::bit_cast<Lanes>(
        _mm_or_si128(_mm_slli_si128(std::bit_cast<__m128i>(value), 1), _mm_srli_si128(std::bit_cast<__m128i>(previous), 15)));
#else
    return __builtin_shufflevector(previous, value, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30);
#endif
}

// 0x12, 0x34 -> 1, 2, 3, 4
inline Lanes split_nibbles(uint64_t eight_bytes)
{
    const Lanes pairs = lanes(eight_bytes, 0);
    return __builtin_shufflevector(pairs >> 4, pairs & 0x0F, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

// Writes the first count (2, 4 ... 16) bytes as units.
template <typename Unit>
inline void widen_first(char *dst, Lanes value, int64_t count)
{
    if constexpr (sizeof(Unit) == 1) {
        const auto words = std::bit_cast<std::array<uint64_t, 2>>(value);
        if (count <= 8) return store_up_to_8(dst, words[0], static_cast<int>(count));
        store(dst, words[0]);
        store_up_to_8(dst + 8, words[1], static_cast<int>(count - 8));
    } else {
        const auto widen = [](WideLanes half, bool upper) {
            return upper ? __builtin_shufflevector(half, WideLanes{}, 4, 12, 5, 13, 6, 14, 7, 15)
                         : __builtin_shufflevector(half, WideLanes{}, 0, 8, 1, 9, 2, 10, 3, 11);
        };
        const WideLanes low = low_half(value);
        const WideLanes high = high_half(value);
        for (const WideLanes units : {widen(low, false), widen(low, true), widen(high, false), widen(high, true)}) {
            if (count < 4) {
                if (count == 2) store(dst, std::bit_cast<std::array<uint64_t, 2>>(units)[0]);
                return;
            }
            store(dst, units);
            dst += 16;
            count -= 4;
        }
    }
}

}  // namespace zemt
