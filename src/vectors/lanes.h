// Sixteen bytes in a register, and the units that they become, in the compiler's vectors: every processor's own instructions,
// or plain ones where it has none.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "memory.h"
#include "processor.h"

namespace zemt {

template <typename Lane, size_t count>
using Lanes __attribute__((vector_size(count * sizeof(Lane)))) = Lane;

using Bytes16 = Lanes<uint8_t, 16>;
using Words2 = Lanes<uint64_t, 2>;

inline Bytes16 load16(const char *at)
{
    return load<Bytes16>(at);
}

inline Bytes16 bytes16(uint64_t low, uint64_t high)
{
    return std::bit_cast<Bytes16>(Words2{low, high});
}

inline uint64_t low_word(Bytes16 value)
{
    return std::bit_cast<Words2>(value)[0];
}

inline void store16(char *at, Bytes16 value)
{
    store(at, value);
}

// Bytes of 8 or 16 bits a lane, the lower and the upper half of them, to lanes of twice the size.

inline Bytes16 widen_low8(Bytes16 value)
{
    return __builtin_shufflevector(value, Bytes16{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

inline Bytes16 widen_high8(Bytes16 value)
{
    return __builtin_shufflevector(value, Bytes16{}, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

inline Bytes16 widen_low16(Bytes16 value)
{
    return __builtin_shufflevector(value, Bytes16{}, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
}

inline Bytes16 widen_high16(Bytes16 value)
{
    return __builtin_shufflevector(value, Bytes16{}, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30, 31);
}

// The lowest count (2, 4 or 8) bytes of a word to as many wide characters.
template <int count>
inline void widen_word(char *dst, uint64_t word)
{
    const Bytes16 units = widen_low8(bytes16(word, 0));
    if constexpr (count == 2) return store(dst, low_word(widen_low16(units)));
    store16(dst, widen_low16(units));
    if constexpr (count == 8) store16(dst + 16, widen_high16(units));
}

// 16 bytes to as many units, 8 of them at either place.
template <typename Unit>
inline void widen_halves(char *low_dst, char *high_dst, Bytes16 value)
{
    const Bytes16 low = widen_low8(value);
    const Bytes16 high = widen_high8(value);
    if constexpr (sizeof(Unit) == 2) {
        store16(low_dst, low);
        store16(high_dst, high);
    } else {
        store16(low_dst, widen_low16(low));
        store16(low_dst + 16, widen_high16(low));
        store16(high_dst, widen_low16(high));
        store16(high_dst + 16, widen_high16(high));
    }
}

// Whether all are in 1..0x7F.
inline bool all_ascii(Bytes16 value)
{
    const auto within = std::bit_cast<Words2>(std::bit_cast<Lanes<int8_t, 16>>(value) > 0);
#if ZEMT_X86_64
    return _mm_movemask_epi8(std::bit_cast<__m128i>(within)) == 0xFFFF;
#else
    return (within[0] & within[1]) == ~uint64_t{0};
#endif
}

// The lower bytes of 16 lanes whose upper ones are 0.
inline Bytes16 even_bytes(Bytes16 a, Bytes16 b)
{
#if ZEMT_X86_64
    return std::bit_cast<Bytes16>(_mm_packus_epi16(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
#endif
}

// 16 units to as many bytes; false where one lies outside 0..255.
template <typename Unit>
inline bool narrow16(const char *src, Bytes16 &narrow)
{
    Bytes16 all = load16(src) | load16(src + 16);
    narrow = even_bytes(load16(src), load16(src + 16));
    if constexpr (sizeof(Unit) == 4) {
        all |= load16(src + 32) | load16(src + 48);
        narrow = even_bytes(narrow, even_bytes(load16(src + 32), load16(src + 48)));
    }
    const auto beyond = std::bit_cast<Words2>(std::bit_cast<Lanes<Unit, 16 / sizeof(Unit)>>(all) & static_cast<Unit>(~0xFF));
    return (beyond[0] | beyond[1]) == 0;
}

// 8 wide characters as bytes, with some byte that is not ASCII where a character is not.
inline uint64_t narrow8(const char *src)
{
#if ZEMT_X86_64
    const __m128i units = _mm_packs_epi32(load<__m128i>(src), load<__m128i>(src + 16));  // saturates to 0x7FFF and -0x8000
    return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));     // saturates to 0xFF and 0
#else
    const Bytes16 low = load16(src);
    const Bytes16 high = load16(src + 16);
    const auto beyond = std::bit_cast<Words2>(std::bit_cast<Lanes<uint32_t, 4>>(low | high) & ~0x7Fu);
    return (beyond[0] | beyond[1]) != 0 ? ~uint64_t{0} : low_word(even_bytes(even_bytes(low, high), low));
#endif
}

}  // namespace zemt
