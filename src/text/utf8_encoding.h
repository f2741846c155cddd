// Many code points to UTF-8 at a time, on x86-64, whatever they are.
//
// Processors with AVX2 encode windows of 8 units, those with byte masks blocks of 16. Both go on while all have 1 to 21 bits and
// fit, and every surrogate is one of a pair, which blocks alone know; the rest of a text is left to the loops that know every rule.
// The way does not depend on what the characters are, and nothing is written behind the last one.
#pragma once

#include "utf8_sequence.h"
#include "vectors/ascii.h"
#include "vectors/masks.h"

#if ZEMT_X86_64

#include <algorithm>
#include <bit>

namespace zemt {

template <typename Unit>
struct Encoder;

struct EncodingConstants {
    Repeated<uint32_t> one{1}, beyond{0x1FFFFF}, one_byte{0x7F}, two_bytes{0x7FF}, three_bytes{0xFFFF};
    Repeated<uint32_t> two_marks{0x80C00000}, three_marks{0x8080E000}, four_marks{0x808080F0};
    Repeated<uint32_t> second_six{0x3F00}, third_six{0x3F0000}, last_six{0x3F000000};
    Repeated<uint32_t> surrogate_bits{0xF800}, surrogates{0xD800};
    Repeated<uint8_t> six_bits{0x3F};
    Repeated<uint64_t> sixes{0x20262C3200060C12};  // 18, 12, 6 and 0 bits of either half
    // By which of four characters have 2 or 3 bytes (the lower four bits), and which 3 or 4 (the upper): where the bytes are that
    // become the first four, those from the fourth on, from the eighth on, and the last four.
    alignas(64) uint8_t gathered[256][16] = {};

    constexpr EncodingConstants()
    {
        for (size_t kinds = 0; kinds < 256; ++kinds) {
            uint8_t used[16] = {};
            size_t size = 0;
            for (size_t lane = 0; lane < 4; ++lane) {
                const bool middle = kinds >> lane & 1, upper = kinds >> (lane + 4) & 1;
                const size_t bytes = upper ? (middle ? 3 : 4) : (middle ? 2 : 1);
                for (size_t i = 4 - bytes; i < 4; ++i) used[size++] = static_cast<uint8_t>(lane * 4 + i);
            }
            for (size_t i = 0; i < 16; ++i) gathered[kinds][i] = used[four_places.of[size][i / 4] + i % 4];
        }
    }
};

inline constexpr EncodingConstants encoding_constants;

// ---- Windows ----------------------------------------------------------------------------------------------------------------

// The units from first on, and those from second on, as code points.
template <typename Unit>
ZEMT_WIDE_REGISTERS inline __m256i load_units(const char *first, const char *second)
{
    if constexpr (sizeof(Unit) == 4) return _mm256_setr_m128i(load<__m128i>(first), load<__m128i>(second));
    return _mm256_cvtepu16_epi32(_mm_set_epi64x(load<int64_t>(second), load<int64_t>(first)));
}

ZEMT_WIDE_REGISTERS inline uint32_t mask_of(__m256i lanes)
{
    return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

// Stores what four characters become, size (4 to 16) bytes, four by four, the last four up to the end.
ZEMT_WIDE_REGISTERS ALWAYS_INLINE void store_gathered(char *out, __m128i bytes, const uint8_t *places, int64_t size)
{
    const __m128i all = _mm_shuffle_epi8(bytes, load<__m128i>(places));
    store(out, _mm_cvtsi128_si32(all));
    store(out + four_places.of[size][1], _mm_extract_epi32(all, 1));
    store(out + four_places.of[size][2], _mm_extract_epi32(all, 2));
    store(out + size - 4, _mm_extract_epi32(all, 3));
}

// Encodes eight units if it may, and moves out. The first done were encoded before, to what stands in front of out. The second four
// begin at the one of that number.
template <typename Unit>
ZEMT_WIDE_REGISTERS ALWAYS_INLINE bool encode_window(const EncodingConstants &constants, __m256i values, uint32_t done,
                                                     uint32_t second, char *&out, const char *full)
{
    const __m256i less_1 = _mm256_sub_epi32(values, get256(&constants.one));
    __m256i refused = _mm256_cmpeq_epi32(_mm256_max_epu32(less_1, get256(&constants.beyond)), less_1);
    if (sizeof(Unit) == 2) {
        const __m256i kind = _mm256_and_si256(values, get256(&constants.surrogate_bits));
        refused = _mm256_or_si256(refused, _mm256_cmpeq_epi32(kind, get256(&constants.surrogates)));
    }
    const __m256i two = _mm256_cmpgt_epi32(values, get256(&constants.one_byte));
    const __m256i three = _mm256_cmpgt_epi32(values, get256(&constants.two_bytes));
    const __m256i four = _mm256_cmpgt_epi32(values, get256(&constants.three_bytes));
    // A bit for each byte: which of the eight have a second, a third, a fourth, a first one.
    const uint32_t upper = mask_of(three);
    const uint32_t counted = mask_of(two) | upper << 8 | mask_of(four) << 16 | 0xFF000000;
    const auto size_of = [counted](uint32_t units) ZEMT_WIDE_REGISTERS { return std::popcount(counted & units * 0x01010101); };
    const int64_t second_place = size_of(_bzhi_u32(0x0F, second));
    const int64_t second_size = size_of(0xF0);
    char *const dst = out - (done == 0 ? 0 : size_of(_bzhi_u32(0xFF, done)));
    if (!_mm256_testz_si256(refused, refused) || full - dst < second_place + second_size) return false;

    const __m256i first_bits = _mm256_srli_epi32(values, 18);
    const __m256i second_bits = _mm256_and_si256(_mm256_srli_epi32(values, 4), get256(&constants.second_six));
    const __m256i third_bits = _mm256_and_si256(_mm256_slli_epi32(values, 10), get256(&constants.third_six));
    const __m256i last_bits = _mm256_and_si256(_mm256_slli_epi32(values, 24), get256(&constants.last_six));
    const __m256i bits = _mm256_or_si256(_mm256_or_si256(first_bits, second_bits), _mm256_or_si256(third_bits, last_bits));
    __m256i marks = _mm256_blendv_epi8(get256(&constants.two_marks), get256(&constants.three_marks), three);
    marks = _mm256_blendv_epi8(marks, get256(&constants.four_marks), four);
    // A character's bytes stand at the upper end of its lane.
    const __m256i bytes = _mm256_blendv_epi8(_mm256_slli_epi32(values, 24), _mm256_or_si256(bits, marks), two);
    const uint32_t middle = counted ^ counted >> 16;
    const uint8_t *const first_places = constants.gathered[(middle & 15) | (upper & 15) << 4];
    const uint8_t *const second_places = constants.gathered[(middle >> 4 & 15) | (upper & 0xF0)];
    store_gathered(dst, _mm256_castsi256_si128(bytes), first_places, size_of(0x0F));
    store_gathered(dst + second_place, _mm256_extracti128_si256(bytes, 1), second_places, second_size);
    out = dst + second_place + second_size;
    return true;
}

// Encodes a text that begins at begin from a place in it on. The last window ends with the text: what it has in common with the one
// before, or one half with the other, is written twice, alike.
template <typename Unit>
ZEMT_WIDE_REGISTERS ALWAYS_INLINE Progress pass_windows(Encoder<Unit>, Progress at, const char *begin, const char *end,
                                                        const char *full)
{
    constexpr ptrdiff_t unit = sizeof(Unit), half = 4 * unit;
    const EncodingConstants &constants = loaded(encoding_constants);
    const char *in = at.in;
    char *out = at.out;
    if (end - begin < (at.in == begin ? half : 2 * half)) return at;
    for (; end - in >= 2 * half; in += 2 * half)
        if (!encode_window<Unit>(constants, load_units<Unit>(in, in + half), 0, 4, out, full)) return {in, out};
    if (in == end) return {in, out};
    const char *const last = end - begin < 2 * half ? begin : end - 2 * half;
    const auto done = static_cast<uint32_t>((in - last) / unit);
    const auto second = static_cast<uint32_t>((end - half - last) / unit);
    const bool passed = encode_window<Unit>(constants, load_units<Unit>(last, end - half), done, second, out, full);
    return {passed ? end : in, out};
}

// ---- Blocks under masks ------------------------------------------------------------------------------------------------------

// The code points of 2 to 16 units.
struct CodePoints {
    __m512i values;  // in the lanes of their first units, zeros in the others
    int64_t units;   // that they are made of
    bool sound;      // each has 1 to 21 bits, and every surrogate its partner
};

template <typename Unit>
ZEMT_BYTE_MASKS inline CodePoints load_code_points(const EncodingConstants &constants, const char *in, int64_t count)
{
    const auto present = static_cast<__mmask16>(first_of_64(count));
    if constexpr (sizeof(Unit) == 4) {
        const __m512i values = _mm512_maskz_loadu_epi32(present, in);
        const __m512i less_1 = _mm512_sub_epi32(values, get512(&constants.one));
        return {values, count, _mm512_mask_cmpge_epu32_mask(present, less_1, get512(&constants.beyond)) == 0};
    } else {
        const __m512i units = _mm512_maskz_cvtepu16_epi32(present, _mm256_maskz_loadu_epi16(present, in));
        const __m512i kind = _mm512_and_si512(units, every_lane(0xFC00));
        const uint32_t high = _mm512_cmpeq_epi32_mask(kind, every_lane(0xD800));
        const uint32_t low = _mm512_cmpeq_epi32_mask(kind, every_lane(0xDC00));
        const int64_t whole = count - (high >> (count - 1) & 1);  // the last may have its partner behind these
        const bool sound = low == (high << 1 & present) && _mm512_mask_testn_epi32_mask(present, units, units) == 0;
        // (high - 0xD800) * 0x400 + low - 0xDC00 + 0x10000
        const __m512i next = _mm512_maskz_alignr_epi32(0xFFFF, units, units, 1);
        const __m512i pairs =
            _mm512_add_epi32(_mm512_maskz_slli_epi32(0xFFFF, units, 10), _mm512_sub_epi32(next, every_lane(0x35FDC00)));
        const __m512i values = _mm512_mask_mov_epi32(units, static_cast<__mmask16>(high), pairs);
        return {_mm512_maskz_mov_epi32(static_cast<__mmask16>(first_of_64(whole) & ~low), values), whole, sound};
    }
}

template <typename Unit>
ZEMT_BYTE_MASKS ALWAYS_INLINE Progress pass_blocks(Encoder<Unit>, Progress at, const char *end, const char *full)
{
    constexpr int unit = sizeof(Unit);
    const EncodingConstants &constants = loaded(encoding_constants);
    const char *in = at.in;
    char *out = at.out;
    while (end - in > Encoder<Unit>::few_side_by_side * unit) {
        const auto [values, units, sound] = load_code_points<Unit>(constants, in, std::min<int64_t>((end - in) / unit, 16));
        const __mmask16 two = _mm512_cmpgt_epu32_mask(values, get512(&constants.one_byte));
        const __mmask16 three = _mm512_cmpgt_epu32_mask(values, get512(&constants.two_bytes));
        const __mmask16 four = _mm512_cmpgt_epu32_mask(values, get512(&constants.three_bytes));
        __m512i marks = _mm512_mask_mov_epi32(get512(&constants.two_marks), three, get512(&constants.three_marks));
        marks = _mm512_mask_mov_epi32(marks, four, get512(&constants.four_marks));
        const __m512i sixes = _mm512_and_si512(
            _mm512_maskz_multishift_epi64_epi8(~uint64_t{0}, get512(&constants.sixes), values), get512(&constants.six_bits));
        // A character's bytes stand at the upper end of its lane, zeros below them.
        const __m512i ascii = _mm512_maskz_slli_epi32(0xFFFF, values, 24);
        const __m512i bytes = _mm512_mask_or_epi32(ascii, two, sixes, marks);
        const uint64_t used = _mm512_test_epi8_mask(bytes, bytes);
        const int size = std::popcount(used);
        if (!sound || full - out < size) break;
        _mm512_mask_storeu_epi8(out, first_of_64(size), _mm512_maskz_compress_epi8(used, bytes));
        in += units * unit;
        out += size;
    }
    return {in, out};
}

}  // namespace zemt

#endif
