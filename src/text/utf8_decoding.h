// Many characters of UTF-8 at a time, on x86-64, whatever characters they are.
//
// Processors with AVX2 decode windows of 16 bytes, those with byte masks blocks of 64. Both go on over sequences of 1 to 4 bytes
// that are well-formed and fit, windows to UTF-16 of 1 to 3, and stop at NUL; the rest of a text is left to the loops that know
// every rule. The way hardly depends on what the characters are, and nothing is written behind the last one.
#pragma once

#include "utf8_sequence.h"
#include "vectors/ascii.h"
#include "vectors/masks.h"

#if ZEMT_X86_64

#include <algorithm>
#include <bit>
#include <utility>

namespace zemt {

template <typename Unit>
struct Decoder;

struct DecodingConstants {
    Repeated<uint8_t> lead{0xC0}, three_byte_lead{0xE0}, four_byte_lead{0xF0}, longer_lead{0xF8}, beyond_utf16{0xF4};
    // The same leads for windows: what is taken away from bytes so that only they, and what is above, keep the highest bit.
    Repeated<uint8_t> two_bytes{0x40}, three_bytes{0x60}, four_bytes{0x70}, five_bytes{0x78};
    Repeated<uint8_t> low_half{0x0F}, high_places{8}, next_lanes{16};
    Repeated<uint32_t> following{0x03020100};
    Repeated<uint32_t> payload{0x3F3F3F7F};
    Repeated<uint32_t> join_pairs{0x01400140};  // times 64 and 1
    Repeated<uint32_t> join_fours{0x00011000};  // times 4096 and 1
    Repeated<uint32_t> lowest_byte{0xFF}, lost{0xFFFD}, question_mark{'?'};
    // By the upper half of a first byte: its bits of the value, and how many of four times six bits are not the character's:
    // those of the two bytes behind a character of 2 bytes are 12.
    Repeated<uint8_t> lead_payload{127, 127, 127, 127, 127, 127, 127, 127, 63, 63, 63, 63, 31, 31, 15, 7};
    Repeated<uint8_t> surplus{18, 18, 18, 18, 18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0};
    // The places of bytes are from 64 on; from fewer on are places that move bytes up.
    alignas(64) uint8_t counting[128] = {};
    // By a count of characters: for each lane that is stored the number of its character, in all of its bytes.
    uint8_t lanes[17][64] = {};
    // By a mask of 8 bits: the places of those that are 1, one in each byte.
    uint64_t places_of_bits[256] = {};

    constexpr DecodingConstants()
    {
        for (uint8_t i = 0; i < 128; ++i) counting[i] = static_cast<uint8_t>(i - 64);
        for (size_t count = 4; count < 17; ++count)
            for (size_t i = 0; i < 64; ++i) lanes[count][i] = static_cast<uint8_t>(four_places.of[count][i / 16] + i % 16 / 4);
        for (size_t mask = 0; mask < 256; ++mask)
            for (uint64_t place = 0, shift = 0; place < 8; ++place)
                if (mask >> place & 1) places_of_bits[mask] |= place << std::exchange(shift, shift + 8);
    }
};

inline constexpr DecodingConstants decoding_constants;

// How many of the first four bytes of a text come before the last that begins a character; 0 if none does.
inline int64_t last_start(const char *text)
{
    const uint32_t marks = load<uint32_t>(text) ^ 0x80808080;  // 00xxxxxx in a continuation byte
    return 3 - (std::countl_zero(((marks | marks << 1) & 0x80808080) | 0x80) >> 3);
}

// ---- Windows ----------------------------------------------------------------------------------------------------------------

// Which bytes begin a character of so many bytes or more.
ZEMT_WIDE_REGISTERS inline uint32_t at_least(__m128i text, const Repeated<uint8_t> &lead)
{
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_subs_epu8(text, load<__m128i>(&lead))));
}

// The code points of eight characters that begin at the places in all bytes of each lane.
ZEMT_WIDE_REGISTERS inline __m256i decode_eight(const DecodingConstants &constants, __m256i first, __m256i payload,
                                                __m256i surplus)
{
    const __m256i four_bytes = _mm256_shuffle_epi8(payload, _mm256_add_epi32(first, get256(&constants.following)));
    const __m256i sixes = _mm256_and_si256(four_bytes, get256(&constants.payload));
    const __m256i twelves = _mm256_maddubs_epi16(sixes, get256(&constants.join_pairs));
    const __m256i all = _mm256_madd_epi16(twelves, get256(&constants.join_fours));
    const __m256i shifts = _mm256_and_si256(_mm256_shuffle_epi8(surplus, first), get256(&constants.lowest_byte));
    const __m256i values = _mm256_srlv_epi32(all, shifts);
    const __m256i lost = _mm256_cmpeq_epi32(values, get256(&constants.lost));
    return _mm256_blendv_epi8(values, get256(&constants.question_mark), lost);
}

template <typename Unit>
ZEMT_WIDE_REGISTERS inline void store_four(char *out, __m128i values)
{
    if constexpr (sizeof(Unit) == 4) return store(out, values);
    store(out, _mm_cvtsi128_si64(_mm_packus_epi32(values, values)));
}

// Decodes the bytes up to size if it may, and moves out. A whole window has 13 bytes or more from its first on, so that
// four characters are sure. Of another the first done bytes were decoded before, to what stands in front of out, and may begin
// within a character.
template <typename Unit, bool whole>
ZEMT_WIDE_REGISTERS ALWAYS_INLINE bool decode_window(const DecodingConstants &constants, __m128i bytes, uint32_t done,
                                                     uint32_t size, char *&out, const char *full)
{
    constexpr int64_t unit = sizeof(Unit);
    const uint32_t two = at_least(bytes, constants.two_bytes);
    const uint32_t three = at_least(bytes, constants.three_bytes);
    const uint32_t four = at_least(bytes, constants.four_bytes);
    const uint32_t refused = unit == 4 ? at_least(bytes, constants.five_bytes) : four;
    const uint32_t continuation = _bzhi_u32(static_cast<uint32_t>(_mm_movemask_epi8(bytes)) & ~two, size);
    const uint32_t expected = (two + (three + four * 2) * 2) * 2;  // sums carry only behind a place that is wrong
    const uint32_t starts = _bzhi_u32(~continuation, size);
    const int64_t count = std::popcount(starts);
    uint32_t wrong = _bzhi_u32((continuation ^ expected) | refused, size + 1);
    char *dst = out;
    if (!whole) {
        wrong >>= std::countr_zero(starts | 1u << done);
        dst -= std::popcount(_bzhi_u32(starts, done)) * unit;
    }
    if (wrong != 0 || (!whole && count < 4) || full - dst < count * unit) return false;

    const __m256i text = _mm256_broadcastsi128_si256(bytes);
    const __m256i upper_halves = _mm256_and_si256(_mm256_srli_epi16(text, 4), get256(&constants.low_half));
    const __m256i payload = _mm256_and_si256(text, _mm256_shuffle_epi8(get256(&constants.lead_payload), upper_halves));
    const __m256i surplus = _mm256_shuffle_epi8(get256(&constants.surplus), upper_halves);
    // The places where characters begin, one behind the other.
    const __m128i low = _mm_loadu_si64(&constants.places_of_bits[starts & 0xFF]);
    const __m128i high =
        _mm_add_epi8(_mm_loadu_si64(&constants.places_of_bits[starts >> 8]), load<__m128i>(&constants.high_places));
    const __m128i behind_low = load<__m128i>(constants.counting + 64 - std::popcount(starts & 0xFF));
    const __m256i places = _mm256_broadcastsi128_si256(_mm_or_si128(low, _mm_shuffle_epi8(high, behind_low)));
    const uint8_t *const lanes = constants.lanes[count];
    const __m256i front = decode_eight(constants, _mm256_shuffle_epi8(places, get256(lanes)), payload, surplus);
    const __m256i back = decode_eight(constants, _mm256_shuffle_epi8(places, get256(lanes + 32)), payload, surplus);
    const __m256i zeros = _mm256_cmpeq_epi32(_mm256_min_epu32(front, back), _mm256_setzero_si256());
    if (!_mm256_testz_si256(zeros, zeros)) return false;
    store_four<Unit>(dst, _mm256_castsi256_si128(front));
    store_four<Unit>(dst + four_places.of[count][1] * unit, _mm256_extracti128_si256(front, 1));
    store_four<Unit>(dst + four_places.of[count][2] * unit, _mm256_castsi256_si128(back));
    store_four<Unit>(dst + (count - 4) * unit, _mm256_extracti128_si256(back, 1));
    out = dst + count * unit;
    return true;
}

// Decodes a text that begins at begin from a place in it on. The last window ends with the text: what it has in common with the one
// before is written twice, alike, so that nothing is left over.
template <typename Unit>
ZEMT_WIDE_REGISTERS ALWAYS_INLINE Progress pass_windows(Decoder<Unit>, Progress at, const char *begin, const char *end,
                                                        const char *full)
{
    const DecodingConstants &constants = loaded(decoding_constants);
    const char *in = at.in;
    char *out = at.out;
    const char *const last = end - begin < 16 ? begin : end - 16;
    __m128i text;
    if (end - begin < 16) {
        if (in != begin || end - begin < 8) return at;
        const uint64_t high = load<uint64_t>(end - 8) >> (8 * (16 - (end - begin)) & 63);  // of 8 bytes none is looked at
        text = std::bit_cast<__m128i>(bytes16(load<uint64_t>(begin), high));
    } else {
        for (int64_t size; end - in > 16; in += size) {
            size = 13 + last_start(in + 13);
            if (!decode_window<Unit, true>(constants, load<__m128i>(in), 0, static_cast<uint32_t>(size), out, full))
                return {in, out};
        }
        if (end - in <= 3) return {in, out};
        text = load<__m128i>(last);
    }
    const auto done = static_cast<uint32_t>(in - last);
    const bool passed = decode_window<Unit, false>(constants, text, done, static_cast<uint32_t>(end - last), out, full);
    return {passed ? end : in, out};
}

// ---- Blocks under masks ------------------------------------------------------------------------------------------------------

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

template <typename Unit>
ZEMT_BYTE_MASKS ALWAYS_INLINE Progress pass_blocks(Decoder<Unit>, Progress at, const char *end, const char *full)
{
    const char *in = at.in;
    char *out = at.out;
    const DecodingConstants &constants = loaded(decoding_constants);
    while (end - in > Decoder<Unit>::few_side_by_side) {
        const int64_t size = end - in < 64 ? end - in : 60 + last_start(in + 60);
        const __m512i text = _mm512_maskz_loadu_epi8(first_of_64(size), in);
        const uint64_t continuation = _mm512_cmplt_epi8_mask(text, get512(&constants.lead));
        const uint64_t two = _mm512_cmpge_epu8_mask(text, get512(&constants.lead));
        const uint64_t three = _mm512_cmpge_epu8_mask(text, get512(&constants.three_byte_lead));
        const uint64_t four = _mm512_cmpge_epu8_mask(text, get512(&constants.four_byte_lead));
        uint64_t refused = continuation ^ (two + (three + four * 2) * 2) * 2;
        if (four != 0)  // which has all of these, too
            refused |=
                _mm512_cmpge_epu8_mask(text, get512(sizeof(Unit) == 4 ? &constants.longer_lead : &constants.beyond_utf16));
        const uint64_t starts = first_of_64(size) & ~continuation;
        int64_t count = std::popcount(starts);
        const int64_t units = sizeof(Unit) == 4 ? count : count + std::popcount(four);
        if (refused != 0 || full - out < units * int64_t{sizeof(Unit)}) break;

        const __m512i upper_halves = _mm512_and_si512(_mm512_srli_epi16(text, 4), get512(&constants.low_half));
        const __m512i payload = _mm512_and_si512(text, _mm512_shuffle_epi8(get512(&constants.lead_payload), upper_halves));
        const __m512i surplus = _mm512_shuffle_epi8(get512(&constants.surplus), upper_halves);
        const __m512i places = _mm512_maskz_compress_epi8(starts, get512(constants.counting + 64));
        __m512i lanes = get512(constants.lanes[16]);
        for (;; count -= 16, lanes = _mm512_add_epi8(lanes, get512(&constants.next_lanes))) {
            const __m512i first = permute_bytes(lanes, places);
            const __m512i four_bytes = permute_bytes(_mm512_add_epi32(first, get512(&constants.following)), payload);
            const __m512i sixes = _mm512_and_si512(four_bytes, get512(&constants.payload));
            const __m512i twelves = _mm512_maddubs_epi16(sixes, get512(&constants.join_pairs));
            const __m512i all = _mm512_madd_epi16(twelves, get512(&constants.join_fours));
            const __m512i shifts = _mm512_and_si512(permute_bytes(first, surplus), get512(&constants.lowest_byte));
            __m512i value = _mm512_maskz_srlv_epi32(0xFFFF, all, shifts);
            const __mmask16 lost = _mm512_cmpeq_epi32_mask(value, get512(&constants.lost));
            value = _mm512_mask_mov_epi32(value, lost, get512(&constants.question_mark));
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

}  // namespace zemt

#endif
