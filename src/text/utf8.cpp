// UTF-8 to and from 32-bit and UTF-16 text: the 31-bit form of RFC 2279, sequences of 1 to 6 bytes.
//
// Nothing is ever written behind the characters that a text turns out to have, so a step that moves several of them first
// makes sure that all of them are there.
#include "utf8.h"

#include <algorithm>
#include <bit>
#include <climits>

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
    // The rest is moved together with characters before it: the same ones once more.
    if (moved > 0) {
        const Bytes16 last = load16(src + count - 16);
        if (!all_plain(last)) return moved;
        widen16<Unit>(dst + ptrdiff_t{count - 16} * unit, last);
        return count;
    }
    if (count >= 8) {
        const auto first = load<uint64_t>(src);
        const auto last = load<uint64_t>(src + count - 8);
        if (!all_plain(first) || !all_plain(last)) return 0;
        widen8<Unit>(dst, first);
        widen8<Unit>(dst + ptrdiff_t{count - 8} * unit, last);
        return count;
    }
    return 0;
}

// 16 to 64 bytes of a text, seen at once: a bit for each byte that starts a character of at least so many bytes.
struct Block {
    int size;  // bytes of the well-formed characters of 1 to 4 bytes that the block is made of; 0: it holds something else
    int units;
    uint64_t from_two;
    uint64_t from_three;
    uint64_t from_four;
};

template <typename Unit>
inline Block survey(const char *text, ptrdiff_t available)
{
    uint64_t from_one_more = 0, from_two = 0, from_three = 0, from_four = 0, refused = 0;
    uint64_t empty_lead = 0, empty_tail = 0;
    constexpr uint8_t first_refused = sizeof(Unit) == 2 ? 0xF4 : 0xF8;  // F4 is where values that UTF-16 lacks begin
    int size = 0;
    for (; available - size >= 16 && size < 64; size += 16) {
        const Bytes16 part = load16(text + size);
        from_one_more |= uint64_t{mask_from(part, 0x80)} << size;
        from_two |= uint64_t{mask_from(part, 0xC0)} << size;
        from_three |= uint64_t{mask_from(part, 0xE0)} << size;
        from_four |= uint64_t{mask_from(part, 0xF0)} << size;
        refused |= uint64_t{mask_from(part, first_refused) | mask_zero(part)} << size;
        empty_lead |= uint64_t{mask_equal(part, 0xCF, 0xC0)} << size;
        empty_tail |= uint64_t{mask_equal(part, 0xFF, 0x80)} << size;
    }
    // Overlong forms of 0 end the text like 0 itself: C0 80, E0 80 80 and F0 80 80 80 (and, refused by mistake, D0 80).
    refused |= empty_lead & empty_tail >> 1;
    // A character that goes on behind the block is left to the next one.
    if ((from_two >> (size - 1) & 1) != 0)
        size -= 1;
    else if ((from_three >> (size - 2) & 1) != 0)
        size -= 2;
    else if ((from_four >> (size - 3) & 1) != 0)
        size -= 3;
    const uint64_t inside = size == 64 ? ~uint64_t{0} : (uint64_t{1} << size) - 1;
    const uint64_t continuation = from_one_more & ~from_two & inside;
    from_two &= inside;
    from_three &= inside;
    from_four &= inside;
    const uint64_t announced = from_two << 1 | from_three << 2 | from_four << 3;
    if (announced != continuation || (refused & inside) != 0) return {};
    int units = size - std::popcount(continuation);
    if (sizeof(Unit) == 2) units += std::popcount(from_four);
    return {size, units, from_two, from_three, from_four};
}

// The well-formed character of 2 to 4 bytes at an address.
inline uint32_t decode_well_formed(const char *at, int size)
{
    const auto tail = [at](int index) { return byte_at(at + index) & 0x3F; };
    if (size == 2) return (byte_at(at) & 0x1F) << 6 | tail(1);
    if (size == 3) return without_replacement((byte_at(at) & 0x0F) << 12 | tail(1) << 6 | tail(2));
    return without_replacement((byte_at(at) & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3));
}

// Whether the low 3 of 4 bytes are a character of 3 bytes.
constexpr bool is_three(uint32_t bytes)
{
    return (bytes & 0xC0C0F0) == 0x8080E0;
}

// Moves a run of plain characters and the longer character behind it at a time. Each step writes reach units, so steps are
// made only while the block still has as many to be written over them.
template <typename Unit, int reach>
inline Progress decode_runs(const char *const src, const Block &block, const char *const block_end, Progress from)
{
    constexpr int unit = sizeof(Unit);
    auto at = static_cast<int>(from.in - src);
    char *out = from.out;
    const char *const last = block_end - reach * unit;
    while (out <= last) {
        const int run = std::countr_zero(block.from_two >> at | uint64_t{1} << reach);
        if constexpr (reach == 16)
            widen16<Unit>(out, load16(src + at));
        else
            widen8<Unit>(out, load<uint64_t>(src + at));
        at += run;
        out += run * unit;
        if (run == reach) continue;
        const int size = (block.from_three >> at & 1) == 0 ? 2 : (block.from_four >> at & 1) == 0 ? 3 : 4;
        out = put<Unit>(out, decode_well_formed(src + at, size));
        at += size;
    }
    return {src + at, out, Stop::SourceUsed};
}

// Decodes well-formed text of characters of all sizes while there are 16 bytes of it and room for what they hold.
template <typename Unit>
__attribute__((noinline)) Progress decode_mixed(const char *in, const char *const end, char *out, const char *const full)
{
    constexpr int unit = sizeof(Unit);
    while (end - in >= 16) {
        if (full - out >= 4 * unit && decode_threes<Unit>(out, load16(in))) {
            in += 12;
            out += 4 * unit;
            continue;
        }
        const Block block = survey<Unit>(in, end - in);
        char *const block_end = out + block.units * unit;
        if (block.size == 0 || block_end > full) break;
        Progress next = decode_runs<Unit, 16>(in, block, block_end, {in, out, Stop::SourceUsed});
        if (end - in < block.size + 16) next = decode_runs<Unit, 8>(in, block, block_end, next);
        if (next.in == in) break;
        in = next.in;
        out = next.out;
    }
    return {in, out, Stop::SourceUsed};
}

// Decodes one character after the other until the position reaches until, which is end or lies before it.
template <typename Unit, bool room_for_all>
ALWAYS_INLINE Progress decode_singly(const char *in, const char *const until, const char *const end, char *out,
                                     const char *const full)
{
    constexpr int unit = sizeof(Unit);
    const auto has_room = [&](int units) { return room_for_all || full - out >= units * unit; };
    while (in < until) {
        if (const uint32_t first = byte_at(in); is_plain(first)) {
            if (!has_room(1)) return {in, out, Stop::NoRoom};
            out = put<Unit>(out, first);
            ++in;
            continue;
        }
        if (end - in >= 4 && is_three(load<uint32_t>(in)) && has_room(1)) {
            if (const uint32_t value = decode_well_formed(in, 3); value != 0) {
                out = put<Unit>(out, value);
                in += 3;
                continue;
            }
        }
        const Sequence sequence = decode_sequence(in, end - in);
        if (sequence.found == Found::CutOff) return {in, out, Stop::CutOff};
        if (sequence.found != Found::Character || sequence.value == 0) return {in, out, Stop::EndOfText};
        if (sizeof(Unit) == 2 && sequence.value > 0x10FFFF) return {in, out, Stop::InvalidCharacter};
        if (!has_room(units_of<Unit>(sequence.value))) return {in, out, Stop::NoRoom};
        out = put<Unit>(out, sequence.value);
        in += sequence.size;
    }
    return {in, out, Stop::SourceUsed};
}

template <typename Unit>
ALWAYS_INLINE Progress decode(char *const dst, int32_t capacity, const char *src, int32_t length)
{
    constexpr int unit = sizeof(Unit);
    const int32_t plain = widen_plain<Unit>(dst, src, std::min(length, capacity));
    const char *const end = src + length;
    const char *const full = dst + ptrdiff_t{capacity} * unit;
    Progress at{src + plain, dst + ptrdiff_t{plain} * unit, Stop::SourceUsed};
    while (at.in < end && at.stop == Stop::SourceUsed) {
        const char *until = end;
        if (end - at.in >= 16) {
            const char *const before = at.in;
            at = decode_mixed<Unit>(at.in, end, at.out, full);
            if (at.in == before) until = before + 1;  // something that is not well-formed, or little room
        }
        const bool room_for_all = full - at.out >= (end - at.in) * unit;
        at = room_for_all ? decode_singly<Unit, true>(at.in, until, end, at.out, full)
                          : decode_singly<Unit, false>(at.in, until, end, at.out, full);
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
    if (unit == 4 && moved == 0 && count >= 8) {
        const uint64_t first = narrow8(src);
        const uint64_t last = narrow8(src + ptrdiff_t{count - 8} * unit);
        if (!all_plain(first) || !all_plain(last)) return 0;
        store(dst, first);
        store(dst + count - 8, last);
        return count;
    }
    // As in widen_plain, the rest goes together with characters before it.
    return moved > 0 && moved < count && move16(count - 16) ? count : moved;
}

// 16 to 64 units of wide text, seen at once: a bit for each that takes at least so many bytes.
struct WideBlock {
    int units;  // 0: the block holds something else than 1..0xFFFF
    int bytes;
    uint64_t from_two;
    uint64_t from_three;
};

inline WideBlock survey_wide(const char *text, ptrdiff_t available)
{
    uint64_t from_two = 0, from_three = 0;
    uint32_t refused = 0;
    int units = 0;
    for (; available - units >= 16 && units < 64; units += 16) {
        const char *const part = text + units * 4;
        from_two |= uint64_t{mask_above(part, 0x7F)} << units;
        from_three |= uint64_t{mask_above(part, 0x7FF)} << units;
        refused |= mask_above(part, 0xFFFF) | (mask_above(part, 0) ^ 0xFFFF);
    }
    if (refused != 0) return {};
    return {units, units + std::popcount(from_two) + std::popcount(from_three), from_two, from_three};
}

// As decode_runs: a run of plain characters and the longer one behind it at a time, each step writing reach bytes.
template <int reach>
inline Progress encode_runs(const char *const src, const WideBlock &block, const char *const block_end, Progress from)
{
    auto at = static_cast<int>((from.in - src) / 4);
    char *out = from.out;
    const char *const last = block_end - reach;
    while (out <= last && at <= block.units - reach) {
        const int run = std::countr_zero(block.from_two >> at | uint64_t{1} << reach);
        narrow_some<reach>(out, src + at * 4);
        at += run;
        out += run;
        if (run == reach) continue;
        const int size = (block.from_three >> at & 1) == 0 ? 2 : 3;
        encode_sequence(out, load<uint32_t>(src + at * 4), size);
        ++at;
        out += size;
    }
    return {src + at * 4, out, Stop::SourceUsed};
}

// Encodes 32-bit units below 0x10000 while there are 16 of them, or 4 that take 3 bytes each, and room for them.
__attribute__((noinline)) Progress encode_mixed(const char *in, const char *const end, char *out, const char *const full)
{
    while (end - in >= 4 * 4) {
        if (full - out >= 4 * 3 && encode_threes(out, in)) {
            in += 4 * 4;
            out += 4 * 3;
            continue;
        }
        if (end - in < 16 * 4) break;
        const WideBlock block = survey_wide(in, (end - in) / 4);
        const char *const block_end = out + block.bytes;
        if (block.units == 0 || block_end > full) break;
        Progress next = encode_runs<16>(in, block, block_end, {in, out, Stop::SourceUsed});
        if ((end - in) / 4 < block.units + 16) next = encode_runs<8>(in, block, block_end, next);
        if (next.in == in) break;
        in = next.in;
        out = next.out;
    }
    return {in, out, Stop::SourceUsed};
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

template <typename Unit>
ALWAYS_INLINE Progress encode_singly(const char *in, const char *const until, const char *const end, char *out,
                                     const char *const full)
{
    while (in < until) {
        if (const auto unit = load<Unit>(in); is_plain(static_cast<uint32_t>(unit))) {
            if (out == full) return {in, out, Stop::NoRoom};
            *out++ = static_cast<char>(unit);
            in += sizeof(Unit);
            continue;
        }
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
ALWAYS_INLINE Progress encode(char *const dst, int32_t capacity, const char *src, int32_t count)
{
    constexpr int unit = sizeof(Unit);
    const int32_t plain = narrow_plain<Unit>(dst, src, std::min(count, capacity));
    const char *const end = src + ptrdiff_t{count} * unit;
    const char *const full = dst + capacity;
    Progress at{src + ptrdiff_t{plain} * unit, dst + plain, Stop::SourceUsed};
    while (at.in < end && at.stop == Stop::SourceUsed) {
        const char *until = end;
        if (unit == 4 && end - at.in >= 4 * unit) {
            const char *const before = at.in;
            at = encode_mixed(at.in, end, at.out, full);
            if (at.in == before && end - before >= 16 * unit) until = before + unit;
        }
        at = encode_singly<Unit>(at.in, until, end, at.out, full);
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

inline int32_t report(Transcoded result, int32_t *outCount)
{
    if (outCount != nullptr) *outCount = result.count;
    return result.status;
}

}  // namespace

Transcoded decode_utf8_to_32(char *dst, int32_t capacity, const char *src, int32_t length)
{
    return transcode<1, 4, decode<Wide>>(dst, capacity, src, length);
}

Transcoded encode_utf8_from_32(char *dst, int32_t capacity, const char *src, int32_t count)
{
    return transcode<4, 1, encode<Wide>>(dst, capacity, src, count);
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
    return report(encode_utf8_from_32(dst, dstCap, bytes(src), srcCount), outCount);
}

int32_t Convert16To8(char *dst, int32_t dstCap, const uint16_t *src, int32_t srcCount, int32_t *outCount) noexcept
{
    return report(transcode<2, 1, encode<uint16_t>>(dst, dstCap, src, srcCount), outCount);
}

int32_t Convert8To32(wchar_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    return report(decode_utf8_to_32(bytes(dst), dstCap, src, srcLen), outCount);
}

int32_t Convert8To16(uint16_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    return report(transcode<1, 2, decode<uint16_t>>(dst, dstCap, src, srcLen), outCount);
}
