// Constants for wide registers, and what is taken, dropped and stored byte by byte under masks of 64 bits.
#pragma once

#include "processor.h"

#if ZEMT_X86_64

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace zemt {

// The first count (0..64) of 64 places.
ZEMT_BYTE_MASKS inline uint64_t first_of_64(int64_t count)
{
    return _bzhi_u64(~uint64_t{0}, static_cast<uint32_t>(count));
}

ZEMT_BYTE_MASKS inline __m512i every_byte(uint8_t value)
{
    return _mm512_set1_epi8(static_cast<char>(value));
}

ZEMT_BYTE_MASKS inline __m512i every_lane(uint32_t value)
{
    return _mm512_set1_epi32(static_cast<int32_t>(value));
}

// The bytes that stand at the given places.
ZEMT_BYTE_MASKS inline __m512i permute_bytes(__m512i places, __m512i bytes)
{
    return _mm512_maskz_permutexvar_epi8(~uint64_t{0}, places, bytes);
}

// By how many things (4 to 16) are stored four by four, the last four up to the last: where each four begin.
struct FourPlaces {
    uint8_t of[17][4] = {};

    constexpr FourPlaces()
    {
        for (size_t count = 4; count < 17; ++count)
            for (size_t i = 0; i < 4; ++i) of[count][i] = static_cast<uint8_t>(std::min(i * 4, count - 4));
    }
};
inline constexpr FourPlaces four_places;

// Values repeated to the end of the widest register. They are in memory, and compilers must not know them: where they are used,
// each would be made anew, in the ports that do the work.
template <typename Lane>
struct alignas(64) Repeated {
    Lane lanes[64 / sizeof(Lane)] = {};

    constexpr Repeated(std::initializer_list<Lane> values)
    {
        for (size_t i = 0; i < 64 / sizeof(Lane); ++i) lanes[i] = values.begin()[i % values.size()];
    }
};

template <typename Constants>
inline const Constants &loaded(const Constants &known)
{
    const Constants *constants = &known;
    asm("" : "+r"(constants));
    return *constants;
}

ZEMT_WIDE_REGISTERS inline __m256i get256(const void *constant)
{
    return _mm256_load_si256(static_cast<const __m256i *>(constant));
}

ZEMT_BYTE_MASKS inline __m512i get512(const void *constant)
{
    return _mm512_load_si512(constant);
}

}  // namespace zemt

#endif
