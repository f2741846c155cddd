// UTF-8 to and from 32-bit and UTF-16 text: the 31-bit form of RFC 2279, sequences of 1 to 6 bytes.
//
// Nothing is ever written behind the characters that a text turns out to have, so a step that moves several of them first
// makes sure that all of them are there.
#include "utf8.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "vectors.h"
#include "zemt.h"

#define ALWAYS_INLINE inline __attribute__((always_inline))

namespace zemt {
namespace {

// Why a conversion stopped: the low bits of each are the status that reports it.
enum class Stop : int32_t {
    SourceUsed = ZEMT_RC_OK,
    EndOfText = ZEMT_RC_OK | 0x100,
    NoRoom = ZEMT_RC_NO_SPACE,
    CutOff = ZEMT_RC_NO_SPACE | 0x100,
    InvalidCharacter = ZEMT_RC_INVALID_CHAR,
};

constexpr int32_t status_of(Stop stop)
{
    return static_cast<int32_t>(stop) & 0xFF;
}

// How far a conversion has come.
struct Progress {
    const char *in;
    char *out;
    Stop stop;
};

inline uint32_t byte_at(const char *at)
{
    return static_cast<uint8_t>(*at);
}

constexpr int sum_of_bytes(uint64_t eight_small_bytes)
{
    return static_cast<int>(eight_small_bytes * 0x0101010101010101 >> 56);
}

// ---- One sequence ------------------------------------------------------------------------------------------------------------

constexpr int sequence_size(uint32_t first_byte)
{
    if (first_byte < 0xC0 || first_byte >= 0xFE) return 1;
    if (first_byte < 0xE0) return 2;
    if (first_byte < 0xF0) return 3;
    if (first_byte < 0xF8) return 4;
    return first_byte < 0xFC ? 5 : 6;
}

constexpr int encoded_size(uint32_t value)
{
    if (value < 0x80) return 1;
    if (value < 0x800) return 2;
    if (value < 0x10000) return 3;
    if (value < 0x200000) return 4;
    return value < 0x4000000 ? 5 : 6;
}

constexpr bool is_continuation(uint32_t byte)
{
    return (byte & 0xC0) == 0x80;
}

// U+FFFD stands for a character that was lost before the text came here.
constexpr uint32_t without_replacement(uint32_t value)
{
    return value == 0xFFFD ? '?' : value;
}

enum class Found { Character, EndOfText, Malformed, CutOff };

struct Sequence {
    Found found;
    int size;  // bytes that it has or, cut off, would need
    uint32_t value;
};

inline Sequence decode_sequence(const char *at, ptrdiff_t available)
{
    if (available < 1) return {Found::CutOff, 1, 0};
    const uint32_t first = byte_at(at);
    if (first == 0) return {Found::EndOfText, 0, 0};
    const int size = sequence_size(first);
    if (size == 1) return {Found::Character, 1, first};
    if (size > available) return {Found::CutOff, size, 0};
    uint32_t value = first & (0x7Fu >> size);
    for (int i = 1; i < size; ++i) {
        const uint32_t byte = byte_at(at + i);
        if (!is_continuation(byte)) return {Found::Malformed, -1, first};
        value = value << 6 | (byte & 0x3F);
    }
    return {Found::Character, size, without_replacement(value)};
}

inline void encode_sequence(char *dst, uint32_t value, int size)
{
    if (size == 1) {
        *dst = static_cast<char>(value);
        return;
    }
    if (size == 2) return store(dst, static_cast<uint16_t>((0xC0 | value >> 6) | (0x80 | (value & 0x3F)) << 8));
    if (size == 3) {
        store(dst, static_cast<uint16_t>((0xE0 | value >> 12) | (0x80 | (value >> 6 & 0x3F)) << 8));
        dst[2] = static_cast<char>(0x80 | (value & 0x3F));
        return;
    }
    for (int i = size - 1; i > 0; --i, value >>= 6) dst[i] = static_cast<char>(0x80 | (value & 0x3F));
    *dst = static_cast<char>(0xFF00u >> size | value);  // as many 1 bits in front as there are bytes
}

// ---- Decoding a text ---------------------------------------------------------------------------------------------------------

template <typename Unit>
constexpr int units_of(uint32_t value)
{
    return sizeof(Unit) == 2 && value > 0xFFFF ? 2 : 1;
}

template <typename Unit>
inline char *put(char *dst, uint32_t value)
{
    if (units_of<Unit>(value) == 1) {
        store(dst, static_cast<Unit>(value));
        return dst + sizeof(Unit);
    }
    store(dst, static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10)));
    store(dst + 2, static_cast<uint16_t>(0xDC00 + (value & 0x3FF)));
    return dst + 4;
}

// Moves the plain characters that a text begins with, perhaps not all of them; returns how many.
template <typename Unit>
inline int32_t widen_plain(char *dst, const char *src, int32_t count)
{
    constexpr int unit = sizeof(Unit);
    int32_t moved = 0;
    if (unit == 4 && count >= long_text && has_wide_registers()) moved = widen_long(dst, src, count);
    for (; count - moved >= 16; moved += 16) {
        const Bytes16 text = load16(src + moved);
        if (!all_plain(text)) return moved;
        widen16<Unit>(dst + ptrdiff_t{moved} * unit, text);
    }
    return moved;
}

constexpr uint32_t low_bits(int count)
{
    return (1u << count) - 1;
}

constexpr int count_bits(uint32_t sixteen_bits)
{
    uint32_t x = sixteen_bits - (sixteen_bits >> 1 & 0x5555);
    x = (x & 0x3333) + (x >> 2 & 0x3333);
    x = (x + (x >> 4)) & 0x0F0F;
    return static_cast<int>((x + (x >> 8)) & 0x1F);
}

struct Window {
    int size;         // bytes of the whole characters in the window; 0: it holds something else than the scatter can take
    uint32_t starts;  // a bit for each byte that a character begins with
};

// Looks at up to 16 bytes of text at once: well-formed characters of 1 to 3 bytes, none of them 0.
inline Window survey(Bytes16 text, int available)
{
    const uint32_t all = low_bits(available);
    const uint32_t two = mask_from(text, 0xC0) & all;
    const uint32_t three = mask_from(text, 0xE0) & all;
    // A character that goes on behind the window is left to the next one.
    int size = available;
    if (((two << 1 | three << 2) & ~all) != 0) size = static_cast<int>(std::bit_width(two)) - 1;
    const uint32_t inside = low_bits(size);
    const uint32_t announced = (two & inside) << 1 | (three & inside) << 2;
    const uint32_t continuation = mask_from(text, 0x80) & ~mask_from(text, 0xC0) & inside;
    // Overlong forms of 0 end the text like 0 itself: C0 80 and E0 80 80 (and, refused by mistake, D0 80).
    const uint32_t zero = mask_zero(text) | (mask_equal(text, 0xCF, 0xC0) & mask_equal(text, 0xFF, 0x80) >> 1);
    const bool refused = announced != continuation || ((zero | mask_from(text, 0xF0)) & inside) != 0;
    return {refused ? 0 : size, inside & ~continuation};
}

// The same for characters of 1 and 2 bytes only, which takes half the time.
inline Window survey_pairs(Bytes16 text, int available)
{
    const uint32_t two = mask_from(text, 0xC0);
    const int size = available - static_cast<int>(two >> (available - 1) & 1);
    const uint32_t inside = low_bits(size);
    const uint32_t continuation = mask_high(text) & ~two & inside;
    // A character that ends behind the window although it is not the last to begin in it is malformed.
    const bool refused = (two & inside) << 1 != continuation || (mask_unpaired(text) & inside) != 0;
    return {refused ? 0 : size, inside & ~continuation};
}

// Decodes a window without a branch on what its characters are. Every byte is decoded as if it began a character. Stored from
// the last to the first, each at the place of the character that it belongs to, the values of continuation bytes are replaced by
// that of the byte before them.
template <typename Unit, size_t bytes_looked_at, bool with_threes>
inline int scatter(char *dst, Bytes16 text, uint32_t starts)
{
    uint16_t values[bytes_looked_at];
    decode_everywhere<bytes_looked_at, with_threes>(values, text);
    const int count = count_bits(starts);
    char *place = dst + (count - 1) * static_cast<int>(sizeof(Unit));
    for (size_t at = bytes_looked_at; at-- > 0;) {
        store(place, static_cast<Unit>(values[at]));
        place -= starts * sizeof(Unit) >> at & sizeof(Unit);
    }
    return count;
}

// Decodes characters of 1 to 3 bytes one after the other, as far as they go: the whole of most short texts.
template <typename Unit>
ALWAYS_INLINE Progress decode_common(const char *in, const char *const end, char *out, const char *const full)
{
    for (; in < end && out < full; out += sizeof(Unit)) {
        const uint32_t first = byte_at(in);
        uint32_t value = first;
        int size = 1;
        if (!is_plain(first)) {
            const auto tail = [in](int index) { return byte_at(in + index) ^ 0x80; };  // below 0x40 in a continuation byte
            if ((first & 0xF0) == 0xE0 && end - in >= 3 && (tail(1) | tail(2)) < 0x40) {
                value = without_replacement((first & 0x0F) << 12 | tail(1) << 6 | tail(2));
                size = 3;
            } else if ((first & 0xE0) == 0xC0 && end - in >= 2 && tail(1) < 0x40) {
                value = (first & 0x1F) << 6 | tail(1);
                size = 2;
            } else {
                break;
            }
            if (value == 0) break;
        }
        store(out, static_cast<Unit>(value));
        in += size;
    }
    return {in, out, Stop::SourceUsed};
}

// Decodes one character after the other, whatever it is, until the position reaches until, which is end or lies before it.
template <typename Unit>
__attribute__((noinline)) Progress decode_singly(const char *in, const char *const until, const char *const end, char *out,
                                                 const char *const full)
{
    constexpr int unit = sizeof(Unit);
    while (in < until) {
        const Sequence sequence = decode_sequence(in, end - in);
        if (sequence.found == Found::CutOff) return {in, out, Stop::CutOff};
        if (sequence.found != Found::Character || sequence.value == 0) return {in, out, Stop::EndOfText};
        if (sizeof(Unit) == 2 && sequence.value > 0x10FFFF) return {in, out, Stop::InvalidCharacter};
        if (full - out < units_of<Unit>(sequence.value) * unit) return {in, out, Stop::NoRoom};
        out = put<Unit>(out, sequence.value);
        in += sequence.size;
    }
    return {in, out, Stop::SourceUsed};
}

// Decodes a text of 9 to 63 bytes that has characters of 3 bytes only. The last step is made up with characters before it.
ALWAYS_INLINE bool decode_threes_run(char *out, const char *in, int32_t length)
{
    const char *const end = in + length;
    char *const out_end = out + ptrdiff_t{length / 3} * 4;
    if (length < 12) {
        const auto first = load<uint64_t>(in) & 0xFFFFFFFFFFFF;
        const auto last = load<uint64_t>(end - 8) >> 16;
        char four[16];
        if (!decode_threes<Wide>(four, bytes16(first | last << 48, last >> 16))) return false;
        store(out, load<uint64_t>(four));
        store(out_end - 8, load<uint64_t>(four + 8));
        return true;
    }
    for (; end - in >= 12; in += 12, out += 16) {
        if (!decode_threes<Wide>(out, load12(in))) return false;
    }
    return in == end || decode_threes<Wide>(out_end - 16, load12(end - 12));
}

// Decodes what is left of a text, from 4 bytes on and up to 16 of them, if it is well-formed and there is surely room for it.
template <typename Unit>
ALWAYS_INLINE Progress decode_last_window(const char *in, const char *const end, char *out, const char *const full)
{
    constexpr int unit = sizeof(Unit);
    const auto left = static_cast<int>(std::min<ptrdiff_t>(end - in, 16));
    if (left < 4 || full - out < left * unit) return {in, out, Stop::SourceUsed};
    const Bytes16 text = left == 16 ? load16(in) : load_partial(in, left);
    const Window window = survey_pairs(text, left);
    if (window.size == 0) return {in, out, Stop::SourceUsed};
    const int count =
        left <= 8 ? scatter<Unit, 8, false>(out, text, window.starts) : scatter<Unit, 16, false>(out, text, window.starts);
    return {in + window.size, out + count * unit, Stop::SourceUsed};
}

// Decodes 16 bytes at a time, and what is left of a text in the end, while there is room for them and they are well-formed.
template <typename Unit>
ALWAYS_INLINE Progress decode_windows(const char *in, const char *const end, char *out, const char *const full)
{
    constexpr int unit = sizeof(Unit);
    for (; end - in >= 16 && full - out >= 16 * unit;) {
        const Bytes16 text = load16(in);
        if (all_plain(text)) {
            widen16<Unit>(out, text);
            in += 16;
            out += 16 * unit;
        } else if (decode_threes<Unit>(out, text)) {
            in += 12;
            out += 4 * unit;
        } else {
            Window window = survey_pairs(text, 16);
            if (window.size != 0) {
                out += scatter<Unit, 16, false>(out, text, window.starts) * unit;
            } else {
                window = survey(text, 16);
                if (window.size == 0) return {in, out, Stop::SourceUsed};
                out += scatter<Unit, 16, true>(out, text, window.starts) * unit;
            }
            in += window.size;
        }
    }
    if (in < end && byte_at(in) < 0xE0) return decode_last_window<Unit>(in, end, out, full);
    return {in, out, Stop::SourceUsed};
}

template <typename Unit>
ALWAYS_INLINE Progress decode(char *const dst, int32_t capacity, const char *src, int32_t length)
{
    constexpr int unit = sizeof(Unit);
    const char *const end = src + length;
    const char *const full = dst + ptrdiff_t{capacity} * unit;
    Progress at{src, dst, Stop::SourceUsed};
    if (length >= 16) {
        const int32_t plain = widen_plain<Unit>(dst, src, std::min(length, capacity));
        at.in += plain;
        at.out += ptrdiff_t{plain} * unit;
    }
    while (at.in < end && at.stop == Stop::SourceUsed) {
        at = decode_windows<Unit>(at.in, end, at.out, full);
        // What is left are few characters, unusual ones, or little room.
        const char *const until = at.in + std::min<ptrdiff_t>(end - at.in, 16);
        at = decode_common<Unit>(at.in, until, at.out, full);
        if (at.in < until) at = decode_singly<Unit>(at.in, until, end, at.out, full);
    }
    return at;
}

// ---- Encoding a text ---------------------------------------------------------------------------------------------------------

template <typename Unit>
inline int32_t narrow_plain(char *dst, const char *src, int32_t count)
{
    constexpr int unit = sizeof(Unit);
    int32_t moved = 0;
    if (unit == 4 && count >= long_text && has_wide_registers()) moved = narrow_long(dst, src, count);
    const auto move16 = [dst, src](int32_t at) {
        Bytes16 narrow;
        if (!narrow16<Unit>(src + ptrdiff_t{at} * unit, narrow) || !all_plain(narrow)) return false;
        store16(dst + at, narrow);
        return true;
    };
    for (; count - moved >= 16; moved += 16) {
        if (!move16(moved)) return moved;
    }
    // The rest goes together with characters before it: the same ones once more.
    return moved > 0 && moved < count && move16(count - 16) ? count : moved;
}

// Stores pairs in exactly size bytes. The upper four may have some of the lower four among them.
inline void store_pairs(char *out, const Pairs &pairs, int size)
{
    const int high_size = sum_of_bytes(pairs.sizes >> 32);
    if (size >= 8) {
        store(out, pairs.low);
        const int half = 4 * (size - 8);  // twice, as a shift by 64 is none
        store(out + size - 8, pairs.high << (64 - 8 * high_size) | pairs.low >> half >> half);
    } else {
        store(out, static_cast<uint32_t>(pairs.low));
        store(out + size - 4, static_cast<uint32_t>(pairs.high >> (8 * high_size - 32)));
    }
}

// Encodes characters of 1 and 2 bytes, 8 at a time, without a branch on which they are. The last step is made up with characters
// before it, where there are some from src on.
ALWAYS_INLINE Progress encode_pairs_run(const char *const src, const char *in, const char *const end, char *out,
                                        const char *const full)
{
    Pairs pairs;
    while (end - in >= 8 * 4) {
        if (!encode_pairs(in, in + 16, pairs)) return {in, out, Stop::SourceUsed};
        const int size = sum_of_bytes(pairs.sizes);
        if (full - out < size) return {in, out, Stop::SourceUsed};
        store_pairs(out, pairs, size);
        in += 8 * 4;
        out += size;
    }
    const auto left = static_cast<int>(end - in) / 4;
    if (left > 0 && end - src >= 8 * 4) {
        if (!encode_pairs(end - 32, end - 16, pairs)) return {in, out, Stop::SourceUsed};
        const int size = sum_of_bytes(pairs.sizes >> (8 * (8 - left)));
        if (full - out < size) return {in, out, Stop::SourceUsed};
        store_pairs(out + size - sum_of_bytes(pairs.sizes), pairs, sum_of_bytes(pairs.sizes));
        in = end;
        out += size;
    }
    return {in, out, Stop::SourceUsed};
}

// Encodes four units if they take 3 bytes each.
inline bool encode_four_threes(char *dst, const char *src)
{
    const Threes threes = encode_threes(load16(src));
    if (!threes.all) return false;
    store(dst, threes.low | threes.high << 48);
    store(dst + 8, static_cast<uint32_t>(threes.high >> 16));
    return true;
}

// Encodes two or three units if they take 3 bytes each: two from either end, which overlap.
inline bool encode_few_threes(char *dst, const char *src, int32_t count)
{
    const ptrdiff_t rest = count - 2;
    const Threes threes = encode_threes(bytes16(load<uint64_t>(src), load<uint64_t>(src + rest * 4)));
    if (!threes.all) return false;
    const auto store6 = [](char *at, uint64_t six) {
        store(at, static_cast<uint32_t>(six));
        store(at + 4, static_cast<uint16_t>(six >> 32));
    };
    store6(dst, threes.low);
    store6(dst + rest * 3, threes.high);
    return true;
}

// Encodes units that take 3 bytes each, 4 at a time. The last step is made up with units before it.
ALWAYS_INLINE Progress encode_threes_run(const char *const src, const char *in, const char *const end, char *out,
                                         const char *const full)
{
    for (; end - in >= 4 * 4 && full - out >= 4 * 3 && encode_four_threes(out, in); in += 4 * 4) out += 4 * 3;
    const auto left = static_cast<int>(end - in) / 4;
    if (left == 0 || left >= 4 || full - out < left * 3) return {in, out, Stop::SourceUsed};
    if (end - src < 4 * 4 || !encode_four_threes(out + left * 3 - 4 * 3, end - 4 * 4)) return {in, out, Stop::SourceUsed};
    return {end, out + left * 3, Stop::SourceUsed};
}

// Encodes 32-bit units below 0x10000 while the next of them are all of 1 or 2 bytes, or all of 3, and while there is room.
ALWAYS_INLINE Progress encode_mixed(const char *const src, const char *in, const char *const end, char *out,
                                    const char *const full)
{
    if (in < end && load<uint32_t>(in) >= 0x800) return encode_threes_run(src, in, end, out, full);
    return encode_pairs_run(src, in, end, out, full);
}

// The code point that a text goes on with, and the units it takes; none where a surrogate has no partner.
struct CodePoint {
    uint32_t value;
    int units;
};

template <typename Unit>
inline CodePoint code_point_at(const char *at, ptrdiff_t available)
{
    const uint32_t first = static_cast<std::make_unsigned_t<Unit>>(load<Unit>(at));
    if (sizeof(Unit) == 4 || (first & 0xF800) != 0xD800) return {first, 1};
    if (first >= 0xDC00 || available < 4) return {first, 0};
    const uint32_t second = load<uint16_t>(at + 2);
    if ((second & 0xFC00) != 0xDC00) return {first, 0};
    return {0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00), 2};
}

// Encodes 32-bit units of 1 to 3 bytes one after the other, as far as they go: the whole of most short texts.
ALWAYS_INLINE Progress encode_common(const char *in, const char *const end, char *out, const char *const full)
{
    for (; in < end; in += 4) {
        const auto value = load<uint32_t>(in);
        if (is_plain(value) && out < full) {
            *out++ = static_cast<char>(value);
        } else if (value - 0x80 < 0x800 - 0x80 && full - out >= 2) {
            encode_sequence(out, value, 2);
            out += 2;
        } else if (value - 0x800 < 0x10000 - 0x800 && full - out >= 3) {
            encode_sequence(out, value, 3);
            out += 3;
        } else {
            break;
        }
    }
    return {in, out, Stop::SourceUsed};
}

// Encodes one character after the other, whatever it is.
template <typename Unit>
__attribute__((noinline)) Progress encode_singly(const char *in, const char *const until, const char *const end, char *out,
                                                 const char *const full)
{
    while (in < until) {
        const CodePoint point = code_point_at<Unit>(in, end - in);
        if (point.value == 0) return {in, out, Stop::EndOfText};
        if (point.units == 0 || point.value > 0x7FFFFFFF) return {in, out, Stop::InvalidCharacter};
        const int size = encoded_size(point.value);
        if (full - out < size) return {in, out, Stop::NoRoom};
        encode_sequence(out, point.value, size);
        in += point.units * static_cast<int>(sizeof(Unit));
        out += size;
    }
    return {in, out, Stop::SourceUsed};
}

template <typename Unit>
__attribute__((noinline)) Progress encode(char *const dst, int32_t capacity, const char *src, int32_t count)
{
    constexpr int unit = sizeof(Unit);
    const char *const end = src + ptrdiff_t{count} * unit;
    const char *const full = dst + capacity;
    Progress at{src, dst, Stop::SourceUsed};
    if (count >= 16) {
        const int32_t plain = narrow_plain<Unit>(dst, src, std::min(count, capacity));
        at.in += ptrdiff_t{plain} * unit;
        at.out += plain;
    }
    while (at.in < end && at.stop == Stop::SourceUsed) {
        if constexpr (unit == 4) at = encode_mixed(src, at.in, end, at.out, full);
        const char *const until = at.in + std::min<ptrdiff_t>(end - at.in, 16 * unit);
        if constexpr (unit == 4) at = encode_common(at.in, until, at.out, full);
        if (at.in < until) at = encode_singly<Unit>(at.in, until, end, at.out, full);
    }
    return at;
}

// ---- The converters ----------------------------------------------------------------------------------------------------------

template <int dst_unit, auto convert>
__attribute__((noinline)) Transcoded count_only(const char *in, int32_t count, int src_unit)
{
    constexpr int32_t scratch_units = 256;
    char scratch[size_t{scratch_units} * dst_unit];
    const char *const end = in + ptrdiff_t{count} * src_unit;
    int64_t total = 0;
    for (;;) {
        const Progress done = convert(scratch, scratch_units, in, static_cast<int32_t>((end - in) / src_unit));
        total += (done.out - scratch) / dst_unit;
        in = done.in;
        if (total > INT32_MAX) return {ZEMT_RC_NO_SPACE, INT32_MAX};
        if (done.stop != Stop::NoRoom) return {status_of(done.stop), static_cast<int32_t>(total)};
    }
}

// Runs a conversion into dst or, where the units are only to be counted, into a scratch as often as it fills up.
template <int src_unit, int dst_unit, auto convert>
inline Transcoded transcode(void *dst, int32_t capacity, const void *src, int32_t count)
{
    count = std::max(count, 0);
    if (dst == nullptr) return count_only<dst_unit, convert>(bytes(src), count, src_unit);
    const Progress done = convert(bytes(dst), std::max(capacity, 0), bytes(src), count);
    return {status_of(done.stop), static_cast<int32_t>((done.out - bytes(dst)) / dst_unit)};
}

// Short texts of one kind go through functions that do little else, each kept out of line so that none pays for the registers of
// another. Where one does not come to the end, the conversion begins again.

constexpr bool is_brief(int32_t count)
{
    return count > 0 && count < 64;
}

__attribute__((noinline)) int32_t decode_rest(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    return report(transcode<1, 4, decode<Wide>>(dst, capacity, src, length), outCount);
}

__attribute__((noinline)) int32_t encode_rest(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    return report(transcode<4, 1, encode<Wide>>(dst, capacity, src, count), outCount);
}

// Eight bytes are 4 to 8 characters of 1 and 2 bytes: four from either end, which overlap.
__attribute__((noinline)) int32_t decode_eight(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    const Bytes16 text = bytes16(load<uint64_t>(src), 0);
    const uint32_t two = mask_from(text, 0xC0);
    const uint32_t continuation = mask_high(text) & ~two;
    if (capacity < 8 || two << 1 != continuation || (mask_unpaired(text) & 0xFF) != 0)
        return decode_rest(dst, capacity, src, length, outCount);
    const Pairs pairs = decode_pairs(text);
    const int count = sum_of_bytes(pairs.sizes);
    const int low_count = sum_of_bytes(pairs.sizes & 0xFFFFFFFF);
    const int surplus = 8 * (count - 4);  // twice, as a shift by 64 is none
    widen4(dst, pairs.low | pairs.high << (8 * low_count) << (8 * low_count));
    widen4(dst + ptrdiff_t{count - 4} * 4, pairs.low >> surplus >> surplus | pairs.high << (16 * (4 + low_count - count)));
    return report({ZEMT_RC_OK, count}, outCount);
}

__attribute__((noinline)) int32_t decode_brief_mixed(char *dst, int32_t capacity, const char *src, int32_t length,
                                                     int32_t *outCount)
{
    const char *const end = src + length;
    const Progress done = decode_last_window<Wide>(src, end, dst, dst + ptrdiff_t{capacity} * 4);
    if (done.in == end) return report({ZEMT_RC_OK, static_cast<int32_t>((done.out - dst) / 4)}, outCount);
    return decode_rest(dst, capacity, src, length, outCount);
}

// The eight are four from either end, which overlap.
__attribute__((noinline)) int32_t encode_few_pairs(char *dst, int32_t capacity, const char *src, int32_t count,
                                                   int32_t *outCount)
{
    Pairs pairs;
    if (count < 4 || !encode_pairs(src, src + (count - 4) * 4, pairs)) return encode_rest(dst, capacity, src, count, outCount);
    const int half = 4 * (8 - count);
    const int size = sum_of_bytes(pairs.sizes & 0xFFFFFFFF) + sum_of_bytes(pairs.sizes >> 32 >> half >> half);
    if (capacity < size) return encode_rest(dst, capacity, src, count, outCount);
    store_pairs(dst, pairs, size);
    return report({ZEMT_RC_OK, size}, outCount);
}

template <auto encode_run>
__attribute__((noinline)) int32_t encode_brief(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    const char *const end = src + count * 4;
    const Progress done = encode_run(src, src, end, dst, dst + capacity);
    if (done.in == end) return report({ZEMT_RC_OK, static_cast<int32_t>(done.out - dst)}, outCount);
    return encode_rest(dst, capacity, src, count, outCount);
}

}  // namespace

__attribute__((noinline)) int32_t decode_any(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    if (dst != nullptr && capacity > 0 && is_brief(length)) {
        if (byte_at(src) >= 0xE0) {
            if (length >= 9 && capacity >= length / 3 && decode_threes_run(dst, src, length))
                return report({ZEMT_RC_OK, length / 3}, outCount);
        } else if (length == 8) {
            return decode_eight(dst, capacity, src, length, outCount);
        } else if (length <= 16) {
            return decode_brief_mixed(dst, capacity, src, length, outCount);
        }
    }
    return decode_rest(dst, capacity, src, length, outCount);
}

__attribute__((noinline)) int32_t encode_any(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    if (dst != nullptr && capacity > 0 && is_brief(count)) {
        if (load<uint32_t>(src) < 0x800)
            return count <= 8 ? encode_few_pairs(dst, capacity, src, count, outCount)
                              : encode_brief<encode_pairs_run>(dst, capacity, src, count, outCount);
        if (count >= 4) return encode_brief<encode_threes_run>(dst, capacity, src, count, outCount);
        if (count >= 2 && capacity >= count * 3 && encode_few_threes(dst, src, count))
            return report({ZEMT_RC_OK, count * 3}, outCount);
    }
    return encode_rest(dst, capacity, src, count, outCount);
}

}  // namespace zemt

using namespace zemt;

int32_t ConvertTo8(char **pdst, int32_t room, uint32_t value, int32_t *status, int32_t *count) noexcept
{
    const int size = encoded_size(value);
    if (value > 0x7FFFFFFF) {
        *status = ZEMT_RC_INVALID_CHAR;
        return 0;
    }
    if (*pdst != nullptr) {
        if (room < size) {
            *status = ZEMT_RC_NO_SPACE;
            return 0;
        }
        encode_sequence(*pdst, value, size);
        *pdst += size;
    }
    *count += size;
    return 1;
}

int32_t ConvertFrom8(uint32_t *value, const char **psrc, int32_t avail, int32_t *status, int32_t *consumed) noexcept
{
    const Sequence sequence = decode_sequence(*psrc, avail);
    *value = sequence.value;
    *consumed = sequence.size;
    if (avail > 0) *psrc += sequence.found == Found::Character ? sequence.size : 1;
    if (sequence.found != Found::CutOff) return 1;
    *status = ZEMT_RC_NO_SPACE;
    return 0;
}

int32_t Convert32To8(char *dst, int32_t dstCap, const wchar_t *src, int32_t srcCount, int32_t *outCount) noexcept
{
    return encode_utf8_from_32(bytes(dst), dstCap, bytes(src), srcCount, outCount);
}

int32_t Convert16To8(char *dst, int32_t dstCap, const uint16_t *src, int32_t srcCount, int32_t *outCount) noexcept
{
    return report(transcode<2, 1, encode<uint16_t>>(dst, dstCap, src, srcCount), outCount);
}

int32_t Convert8To32(wchar_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    return decode_utf8_to_32(bytes(dst), dstCap, src, srcLen, outCount);
}

int32_t Convert8To16(uint16_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    return report(transcode<1, 2, decode<uint16_t>>(dst, dstCap, src, srcLen), outCount);
}
