// Runs of ASCII: sixteen characters at a time, on every processor, and long ones in the wider registers of AVX2.
#pragma once

#include <cstddef>

#include "lanes.h"
#include "processor.h"

namespace zemt {

#if ZEMT_X86_64

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

#endif

// Moves the ASCII characters that a text begins with, 16 at a time; returns how many.
template <typename Unit>
inline ptrdiff_t widen_ascii(char *dst, const char *src, ptrdiff_t count)
{
    ptrdiff_t moved = 0;
#if ZEMT_X86_64
    if (sizeof(Unit) == 4 && count >= long_text && has_wide_registers()) moved = widen_by_32(dst, src, count);
#endif
    for (; count - moved >= 16; moved += 16) {
        const Bytes16 text = load16(src + moved);
        if (!all_ascii(text)) break;
        char *const units = dst + moved * ptrdiff_t{sizeof(Unit)};
        widen_halves<Unit>(units, units + 8 * sizeof(Unit), text);
    }
    return moved;
}

template <typename Unit>
inline ptrdiff_t narrow_ascii(char *dst, const char *src, ptrdiff_t count)
{
    ptrdiff_t moved = 0;
#if ZEMT_X86_64
    if (sizeof(Unit) == 4 && count >= long_text && has_wide_registers()) moved = narrow_by_32(dst, src, count);
#endif
    for (Bytes16 text; count - moved >= 16; moved += 16) {
        if (!narrow16<Unit>(src + moved * ptrdiff_t{sizeof(Unit)}, text) || !all_ascii(text)) break;
        store16(dst + moved, text);
    }
    return moved;
}

}  // namespace zemt
