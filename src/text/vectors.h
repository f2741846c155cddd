// Sixteen characters at a time: the few vector operations that the text code is made of. SSE2 is part of x86-64; registers
// of 32 bytes are used where the processor has them and the text is long enough to pay for asking. On other processors, and
// under ZEMT_PORTABLE, the same operations are plain loops.
#pragma once

#include <algorithm>
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

// Text shorter than this many characters is not worth the question whether the processor has wider registers.
constexpr int32_t long_text = 128;

#if ZEMT_SSE2

using Bytes16 = __m128i;

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

#else

struct Bytes16 {
    uint8_t at[16];
};

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
    widen_halves<Unit>(dst, dst + 8 * sizeof(Unit), value);
}

}  // namespace zemt
