// Sixteen characters at a time in the registers that every x86-64 processor has, and long runs in the wider ones of AVX2.
#pragma once

#include "lanes.h"
#include "processor.h"

namespace zemt {

// Whether all are in 1..0x7F.
inline bool all_ascii(Bytes16 value)
{
    return _mm_movemask_epi8(_mm_cmpgt_epi8(std::bit_cast<__m128i>(value), _mm_setzero_si128())) == 0xFFFF;
}

// 16 units to as many bytes; false where one lies outside 0..255.
template <typename Unit>
inline bool narrow16(const char *src, Bytes16 &narrow)
{
    auto low = load<__m128i>(src);
    auto high = load<__m128i>(src + 16);
    __m128i beyond = _mm_set1_epi16(static_cast<int16_t>(0xFF00));
    __m128i all = _mm_or_si128(low, high);
    if constexpr (sizeof(Unit) == 4) {
        const auto third = load<__m128i>(src + 32);
        const auto fourth = load<__m128i>(src + 48);
        all = _mm_or_si128(all, _mm_or_si128(third, fourth));
        low = _mm_packs_epi32(low, high);
        high = _mm_packs_epi32(third, fourth);
        beyond = _mm_set1_epi32(~0xFF);
    }
    narrow = std::bit_cast<Bytes16>(_mm_packus_epi16(low, high));
    const __m128i within = _mm_cmpeq_epi8(_mm_and_si128(all, beyond), _mm_setzero_si128());
    return _mm_movemask_epi8(within) == 0xFFFF;
}

// 8 wide characters as bytes, with some byte that is not ASCII where a character is not.
inline uint64_t narrow8(const char *src)
{
    const __m128i units = _mm_packs_epi32(load<__m128i>(src), load<__m128i>(src + 16));  // saturates to 0x7FFF and -0x8000
    return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));     // saturates to 0xFF and 0
}

// The ASCII characters that a long wide text begins with, 32 at a time as far as they go; returns how many were moved.

__attribute__((target("avx2"))) inline ptrdiff_t widen_by_32(char *dst, const char *src, ptrdiff_t count)
{
    ptrdiff_t moved = 0;
    for (; count - moved >= 32; moved += 32) {
        const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + moved));
        if (_mm256_movemask_epi8(_mm256_cmpgt_epi8(text, _mm256_setzero_si256())) != -1) break;
        for (ptrdiff_t at = moved; at < moved + 32; at += 8) {
            const __m256i units = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(src + at)));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + at * 4), units);
        }
    }
    return moved;
}

__attribute__((target("avx2"))) inline ptrdiff_t narrow_by_32(char *dst, const char *src, ptrdiff_t count)
{
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);  // undoes the interleaving of the two packs
    ptrdiff_t moved = 0;
    for (; count - moved >= 32; moved += 32) {
        const auto *const at = reinterpret_cast<const __m256i *>(src + moved * 4);
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

// Text shorter than this many characters is not worth the question whether the processor has wider registers.
constexpr ptrdiff_t long_text = 128;

}  // namespace zemt
