// What is taken, dropped and stored byte by byte under masks of 64 bits, on processors that have them.
#pragma once

#include "processor.h"

#if ZEMT_X86_64

#include <cstdint>

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

// The same 16 bytes four times.
ZEMT_BYTE_MASKS inline __m512i every_quarter(const uint8_t (&bytes)[16])
{
    return _mm512_maskz_broadcast_i32x4(0xFFFF, _mm_load_si128(reinterpret_cast<const __m128i *>(bytes)));
}

// The bytes that stand at the given places.
ZEMT_BYTE_MASKS inline __m512i permute_bytes(__m512i places, __m512i bytes)
{
    return _mm512_maskz_permutexvar_epi8(~uint64_t{0}, places, bytes);
}

}  // namespace zemt

#endif
