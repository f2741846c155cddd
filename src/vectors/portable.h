// What processors without a header of their own do with 16 characters: NEON and others take these vectors as they are.
#pragma once

#include "lanes.h"

namespace zemt {

inline bool all_ascii(Bytes16 value)
{
    const auto within = std::bit_cast<Words2>(std::bit_cast<Lanes<int8_t, 16>>(value) > 0);
    return (within[0] & within[1]) == ~uint64_t{0};
}

inline Bytes16 even_bytes(Bytes16 a, Bytes16 b)
{
    return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
}

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

inline uint64_t narrow8(const char *src)
{
    const Bytes16 low = load16(src);
    const Bytes16 high = load16(src + 16);
    const auto beyond = std::bit_cast<Words2>(std::bit_cast<Lanes<uint32_t, 4>>(low | high) & ~0x7Fu);
    return (beyond[0] | beyond[1]) != 0 ? ~uint64_t{0} : low_word(even_bytes(even_bytes(low, high), low));
}

}  // namespace zemt
