// The operations on 16 characters as plain loops, for processors that have no header of their own.
#pragma once

#include <algorithm>
#include <cstdint>

#include "memory.h"

namespace zemt {

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

inline bool all_ascii(Bytes16 value)
{
    return std::all_of(value.at, value.at + 16, [](uint32_t byte) { return byte - 1 < 0x7F; });
}

template <int count>
inline void widen_word(char *dst, uint64_t word)
{
    for (int i = 0; i < count; ++i) store(dst + i * 4, static_cast<uint32_t>(word >> (8 * i) & 0xFF));
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
    for (unsigned i = 0; i < 8; ++i) narrow |= std::min<uint64_t>(load<uint32_t>(src + 4 * i), 0xFF) << (8 * i);
    return narrow;
}

}  // namespace zemt
