// Many characters of UTF-8 at a time, on x86-64.
//
// Every processor converts runs of characters of three bytes four at a time, but for those of UTF-16 to UTF-8. Those with byte
// masks convert all text: up to 64 bytes of it, or 16 code units, side by side, whatever characters they are. Both loops go on
// while a block is well-formed, has up to 4 bytes a character and fits; the rest of a text is left to the loops that know every
// rule.
#pragma once

#include "utf8_sequence.h"
#include "vectors/vectors.h"

#if ZEMT_X86_64

#include <algorithm>
#include <array>
#include <bit>

namespace zemt {

// ---- Runs of three-byte characters ----------------------------------------------------------------------------------------

// Decodes the first 12 of 16 bytes if they are four characters of 3 bytes, none of them 0.
template <typename Unit>
inline bool decode_threes(char *dst, __m128i text)
{
    const __m128i kind = _mm_setr_epi8(-16, -64, -64, -16, -64, -64, -16, -64, -64, -16, -64, -64, 0, 0, 0, 0);
    const __m128i threes = _mm_setr_epi8(-32, -128, -128, -32, -128, -128, -32, -128, -128, -32, -128, -128, 0, 0, 0, 0);
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(text, kind), threes)) != 0xFFFF) return false;
    const __m128i low = _mm_unpacklo_epi32(text, _mm_srli_si128(text, 3));
    const __m128i high = _mm_unpacklo_epi32(_mm_srli_si128(text, 6), _mm_srli_si128(text, 9));
    const __m128i each = _mm_unpacklo_epi64(low, high);  // a character's bytes and one more in each 32 bits
    const __m128i first = _mm_and_si128(_mm_slli_epi32(each, 12), _mm_set1_epi32(0xF000));
    const __m128i second = _mm_and_si128(_mm_srli_epi32(each, 2), _mm_set1_epi32(0x0FC0));
    const __m128i third = _mm_and_si128(_mm_srli_epi32(each, 16), _mm_set1_epi32(0x003F));
    __m128i value = _mm_or_si128(_mm_or_si128(first, second), third);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(value, _mm_setzero_si128())) != 0) return false;
    const __m128i lost = _mm_cmpeq_epi32(value, _mm_set1_epi32(0xFFFD));
    value = _mm_or_si128(_mm_andnot_si128(lost, value), _mm_and_si128(lost, _mm_set1_epi32('?')));
    if constexpr (sizeof(Unit) == 4) {
        store(dst, value);
    } else {
        value = _mm_srai_epi32(_mm_slli_epi32(value, 16), 16);  // sign-extended, so that the pack does not saturate
        store(dst, _mm_cvtsi128_si64(_mm_packs_epi32(value, value)));
    }
    return true;
}

// Encodes four units if they take 3 bytes each.
inline bool encode_threes(char *out, __m128i units)
{
    const __m128i beyond = _mm_cmpgt_epi32(units, _mm_set1_epi32(0xFFFF));
    if (_mm_movemask_epi8(_mm_andnot_si128(beyond, _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7FF)))) != 0xFFFF) return false;
    const __m128i first = _mm_srli_epi32(units, 12);
    const __m128i second = _mm_and_si128(_mm_slli_epi32(units, 2), _mm_set1_epi32(0x3F00));
    const __m128i third = _mm_and_si128(_mm_slli_epi32(units, 16), _mm_set1_epi32(0x3F0000));
    const __m128i each = _mm_or_si128(_mm_or_si128(first, second), _mm_or_si128(third, _mm_set1_epi32(0x8080E0)));
    const auto join = [](__m128i lanes) {
        const auto two = static_cast<uint64_t>(_mm_cvtsi128_si64(lanes));
        return (two & 0xFFFFFF) | two >> 32 << 24;
    };
    const uint64_t last = join(_mm_unpackhi_epi64(each, each));
    store(out, join(each) | last << 48);
    store(out + 8, static_cast<uint32_t>(last >> 16));
    return true;
}

// ---- Blocks under masks ------------------------------------------------------------------------------------------------------

// The two directions, each of which passes blocks of its own.
template <typename Unit>
struct Decoder;
template <typename Unit>
struct Encoder;

// Loaded from memory where they are used: compilers would make each of them anew for every block, in the ports that do the work.
struct DecodingConstants {
    uint32_t lead = 0xC0C0C0C0, three_byte_lead = 0xE0E0E0E0, four_byte_lead = 0xF0F0F0F0, longer_lead = 0xF8F8F8F8;
    uint32_t beyond_utf16 = 0xF4F4F4F4;
    uint32_t low_halves = 0x0F0F0F0F;
    uint32_t following = 0x03020100;
    uint32_t payload = 0x3F3F3F7F;
    uint32_t join_pairs = 0x01400140;  // times 64 and 1
    uint32_t join_fours = 0x00011000;  // times 4096 and 1
    // By the upper half of a first byte: its bits of the value, and how many of four times six bits are not the character's.
    alignas(16) uint8_t lead_payload[16] = {127, 127, 127, 127, 127, 127, 127, 127, 63, 63, 63, 63, 31, 31, 15, 7};
    uint8_t surplus[16] = {18, 18, 18, 18, 18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0};
    alignas(64) std::array<uint8_t, 64> places = quotients(1);
    std::array<uint8_t, 64> lanes = quotients(4);

    static constexpr std::array<uint8_t, 64> quotients(size_t divisor)
    {
        std::array<uint8_t, 64> all{};
        for (size_t i = 0; i < 64; ++i) all[i] = static_cast<uint8_t>(i / divisor);
        return all;
    }
};

inline constexpr DecodingConstants decoding_constants;

// Stores the first count of 16 values as units; returns the place behind them.
template <typename Unit>
ZEMT_BYTE_MASKS inline char *store_values(char *out, __m512i values, int64_t count)
{
    if constexpr (sizeof(Unit) == 4) {
        _mm512_mask_storeu_epi32(out, static_cast<__mmask16>(first_of_64(count)), values);
        return out + count * 4;
    } else {
        // Either half of a lane is a unit, unless it is 0.
        const __mmask16 pairs = _mm512_cmpgt_epu32_mask(values, every_lane(0xFFFF));
        const __m512i high = _mm512_add_epi32(_mm512_maskz_srli_epi32(0xFFFF, values, 10), every_lane(0xDC00D7C0));
        const __m512i low = _mm512_and_si512(_mm512_maskz_slli_epi32(0xFFFF, values, 16), every_lane(0x03FF0000));
        const __m512i units = _mm512_mask_or_epi32(values, pairs, high, low);
        const auto used = static_cast<__mmask32>(_mm512_test_epi16_mask(units, units) & first_of_64(2 * count));
        const int used_count = std::popcount(used);
        _mm512_mask_storeu_epi16(out, static_cast<__mmask32>(first_of_64(used_count)),
                                 _mm512_maskz_compress_epi16(used, units));
        return out + used_count * 2;
    }
}

// Where the last character begins that 64 bytes of text may not hold to its end.
inline int64_t last_start(const char *text)
{
    const uint32_t marks = load<uint32_t>(text + 60) ^ 0x80808080;  // 00xxxxxx in a continuation byte
    return 63 - std::countl_zero((marks | marks << 1) & 0x80808080) / 8;
}

template <typename Unit>
ZEMT_BYTE_MASKS ALWAYS_INLINE Progress pass_blocks(Decoder<Unit>, Progress at, const char *end, const char *full)
{
    const char *in = at.in;
    char *out = at.out;
    const DecodingConstants *constants = &decoding_constants;
    asm("" : "+r"(constants));
    while (end - in > Decoder<Unit>::few_under_masks) {
        const int64_t size = end - in < 64 ? end - in : last_start(in);
        const __m512i text = _mm512_maskz_loadu_epi8(first_of_64(size), in);
        const uint64_t continuation = _mm512_cmplt_epi8_mask(text, every_lane(constants->lead));
        const uint64_t two = _mm512_cmpge_epu8_mask(text, every_lane(constants->lead));
        const uint64_t three = _mm512_cmpge_epu8_mask(text, every_lane(constants->three_byte_lead));
        const uint64_t four = _mm512_cmpge_epu8_mask(text, every_lane(constants->four_byte_lead));
        uint64_t refused = continuation ^ (two << 1 | three << 2 | four << 3);
        if (four != 0)
            refused |=
                _mm512_cmpge_epu8_mask(text, every_lane(sizeof(Unit) == 4 ? constants->longer_lead : constants->beyond_utf16));
        const uint64_t starts = first_of_64(size) & ~continuation;
        int64_t count = std::popcount(starts);
        const int64_t units = sizeof(Unit) == 4 ? count : count + std::popcount(four);
        if (refused != 0 || full - out < units * int64_t{sizeof(Unit)}) break;

        const __m512i upper_halves = _mm512_and_si512(_mm512_srli_epi16(text, 4), every_lane(constants->low_halves));
        const __m512i payload =
            _mm512_and_si512(text, _mm512_shuffle_epi8(every_quarter(constants->lead_payload), upper_halves));
        const __m512i surplus = _mm512_shuffle_epi8(every_quarter(constants->surplus), upper_halves);
        const __m512i places = _mm512_maskz_compress_epi8(starts, _mm512_load_si512(&constants->places));
        __m512i lanes = _mm512_load_si512(&constants->lanes);
        for (;; count -= 16, lanes = _mm512_add_epi8(lanes, every_byte(16))) {
            const __m512i first = permute_bytes(lanes, places);
            const __m512i four_bytes = permute_bytes(_mm512_add_epi32(first, every_lane(constants->following)), payload);
            const __m512i sixes = _mm512_and_si512(four_bytes, every_lane(constants->payload));
            const __m512i twelves = _mm512_maddubs_epi16(sixes, every_lane(constants->join_pairs));
            const __m512i all = _mm512_madd_epi16(twelves, every_lane(constants->join_fours));
            __m512i value =
                _mm512_maskz_srlv_epi32(0xFFFF, all, _mm512_maskz_permutexvar_epi8(0x1111111111111111, first, surplus));
            value = _mm512_mask_mov_epi32(value, _mm512_cmpeq_epi32_mask(value, every_lane(0xFFFD)), every_lane('?'));
            // The value 0 ends the text, however long its sequence. Lanes behind the last have the first value.
            const uint32_t ends = _mm512_testn_epi32_mask(value, value);
            if (ends != 0) return {end, store_values<Unit>(out, value, std::countr_zero(ends))};
            out = store_values<Unit>(out, value, std::min<int64_t>(count, 16));
            if (count <= 16) break;
        }
        in += size;
    }
    return {in, out};
}

// The code points of 2 to 16 units.
struct CodePoints {
    __m512i values;  // in the lanes of their first units, zeros in the others
    int64_t units;   // that they are made of
    bool sound;      // each has 1 to 21 bits, and every surrogate its partner
};

template <typename Unit>
ZEMT_BYTE_MASKS inline CodePoints load_code_points(const char *in, int64_t count)
{
    const auto present = static_cast<__mmask16>(first_of_64(count));
    if constexpr (sizeof(Unit) == 4) {
        const __m512i values = _mm512_maskz_loadu_epi32(present, in);
        const __m512i less_1 = _mm512_sub_epi32(values, every_lane(1));
        return {values, count, _mm512_mask_cmpgt_epu32_mask(present, less_1, every_lane(0x1FFFFE)) == 0};
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
    const char *in = at.in;
    char *out = at.out;
    constexpr int unit = sizeof(Unit);
    const __m512i shifts = _mm512_set1_epi64(0x20262C3200060C12);  // 18, 12, 6 and 0 bits of either half
    while (end - in > Encoder<Unit>::few_under_masks * unit) {
        const auto [values, units, sound] = load_code_points<Unit>(in, std::min<int64_t>((end - in) / unit, 16));
        const __mmask16 ascii = _mm512_cmplt_epu32_mask(values, every_lane(0x80));
        const __mmask16 three = _mm512_cmpge_epu32_mask(values, every_lane(0x800));
        const __mmask16 four = _mm512_cmpge_epu32_mask(values, every_lane(0x10000));
        __m512i marks = _mm512_mask_mov_epi32(every_lane(0x80C00000), three, every_lane(0x8080E000));
        marks = _mm512_mask_mov_epi32(marks, four, every_lane(0x808080F0));
        const __m512i sixes =
            _mm512_and_si512(_mm512_maskz_multishift_epi64_epi8(~uint64_t{0}, shifts, values), every_byte(0x3F));
        // A character's bytes stand at the upper end of its lane, zeros below them.
        const __m512i bytes = _mm512_mask_slli_epi32(_mm512_or_si512(sixes, marks), ascii, values, 24);
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
