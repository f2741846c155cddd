// Texts: UTF-8 to and from units of 32 or 16 bits. Nothing is ever written behind the last character.
#pragma once

#include <algorithm>

#include "utf8.h"
#include "utf8_decoding.h"
#include "utf8_encoding.h"
#include "utf8_sequence.h"
#include "vectors/ascii.h"
#include "zemt.h"

namespace zemt {

// A direction has these members, of which the loops at the end of this file are made:
//   In                 the type of a unit that is read
//   in_unit, out_unit  bytes of a unit of either side
//   few                a text of up to as many units is too short to look for runs in it
//   few_side_by_side   a text, or the rest of one, of up to as many units is converted faster without vectors, which cost the same
//                      whatever it holds
//   one_by_one         converts whole characters with room for them until the position reaches until
//   pass_ascii         converts ASCII characters in front, many at a time
//   status_at          why there was no going on at a place before the end

// ---- Decoding ---------------------------------------------------------------------------------------------------------------

template <typename Unit>
struct Decoder {
    using In = uint8_t;
    static constexpr int in_unit = sizeof(In);
    static constexpr int out_unit = sizeof(Unit);
    static constexpr ptrdiff_t few = 16;
    static constexpr ptrdiff_t few_side_by_side = 7;

    // The frequent sizes have a way each of its own: a size that is looked up would hold up the next character.
    static ALWAYS_INLINE Progress one_by_one(Progress at, const char *until, const char *end, const char *full)
    {
        const char *in = at.in;
        char *out = at.out;
        while (in < until && out < full) {
            const uint32_t first = load<uint8_t>(in);
            const auto tail = [in](int index) {
                return load<uint8_t>(in + index) ^ 0x80u;
            };  // below 0x40 in a continuation byte
            uint32_t value = first;
            int size = 1;
            int units = 1;
            if (is_ascii(first)) {
            } else if (first - 0xC0 < 0x20 && end - in >= 2 && tail(1) < 0x40) {
                value = (first & 0x1F) << 6 | tail(1);
                size = 2;
            } else if (first - 0xE0 < 0x10 && end - in >= 3 && (tail(1) | tail(2)) < 0x40) {
                value = without_replacement((first & 0x0F) << 12 | tail(1) << 6 | tail(2));
                size = 3;
            } else {
                const Sequence sequence = decode_sequence(in, end - in);
                value = sequence.found == Found::CodePoint ? sequence.value : 0;
                size = sequence.size;
                units = units_of<Unit>(value);
                if (value > largest_code_point<Unit> || full - out < units * out_unit) break;
            }
            if (value == 0) break;
            store_units<Unit>(out, value, units);
            in += size;
            out += units * out_unit;
        }
        return {in, out};
    }

    [[gnu::noinline]] static Progress pass_ascii(Progress at, const char *end, const char *full)
    {
        const ptrdiff_t moved = widen_ascii<Unit>(at.out, at.in, std::min<ptrdiff_t>(end - at.in, (full - at.out) / out_unit));
        return {at.in + moved, at.out + moved * out_unit};
    }

    static int32_t status_at(const char *in, const char *end)
    {
        const Sequence sequence = decode_sequence(in, end - in);
        if (sequence.found == Found::CutOff) return ZEMT_RC_NO_SPACE;
        if (sequence.found != Found::CodePoint || sequence.value == 0) return ZEMT_RC_OK;
        return sequence.value > largest_code_point<Unit> ? ZEMT_RC_INVALID_CHAR : ZEMT_RC_NO_SPACE;
    }
};

// ---- Encoding ---------------------------------------------------------------------------------------------------------------

template <typename Unit>
struct Encoder {
    using In = std::make_unsigned_t<Unit>;
    static constexpr int in_unit = sizeof(In);
    static constexpr int out_unit = 1;
    static constexpr ptrdiff_t few = 10;
    static constexpr ptrdiff_t few_side_by_side = 3;

    static ALWAYS_INLINE Progress one_by_one(Progress at, const char *until, const char *end, const char *full)
    {
        const char *in = at.in;
        char *out = at.out;
        while (in < until) {
            const auto [value, units] = load_code_point<Unit>(in, end - in);
            int size = 1;
            if (is_ascii(value) && out < full) {
                *out = static_cast<char>(value);
            } else if (value - 0x80 < 0x800 - 0x80 && full - out >= 2) {
                encode_sequence(out, value, size = 2);
            } else if (value - 0x800 < 0x10000 - 0x800 && full - out >= 3 && units != 0) {
                encode_sequence(out, value, size = 3);
            } else {
                size = encoded_size(value);
                if (value - 1 >= largest_code_point<Wide> || units == 0 || full - out < size) break;
                encode_sequence(out, value, size);
            }
            out += size;
            in += units * in_unit;
        }
        return {in, out};
    }

    [[gnu::noinline]] static Progress pass_ascii(Progress at, const char *end, const char *full)
    {
        const ptrdiff_t moved = narrow_ascii<Unit>(at.out, at.in, std::min<ptrdiff_t>((end - at.in) / in_unit, full - at.out));
        return {at.in + moved * in_unit, at.out + moved};
    }

    static int32_t status_at(const char *in, const char *end)
    {
        const CodePoint point = load_code_point<Unit>(in, end - in);
        if (point.value == 0) return ZEMT_RC_OK;
        return point.units == 0 || point.value > largest_code_point<Wide> ? ZEMT_RC_INVALID_CHAR : ZEMT_RC_NO_SPACE;
    }
};

// ---- Either way -------------------------------------------------------------------------------------------------------------

template <typename Codec>
ALWAYS_INLINE int32_t finish(Progress at, const char *end, const char *dst, int32_t *outCount)
{
    return report((at.out - dst) / Codec::out_unit, outCount, at.in == end ? ZEMT_RC_OK : Codec::status_at(at.in, end));
}

// Out of line: what surrounds it would take its registers.
template <typename Codec>
[[gnu::noinline]] inline Progress pass_characters(Progress at, const char *until, const char *end, const char *full)
{
    return Codec::one_by_one(at, until, end, full);
}

#if ZEMT_X86_64

template <typename Codec>
[[gnu::noinline]] ZEMT_BYTE_MASKS inline Progress pass_all_blocks(Progress at, const char *end, const char *full)
{
    return pass_blocks(Codec{}, at, end, full);
}

template <typename Codec>
[[gnu::noinline]] ZEMT_WIDE_REGISTERS inline Progress pass_all_windows(Progress at, const char *begin, const char *end,
                                                                       const char *full)
{
    return pass_windows(Codec{}, at, begin, end, full);
}

#endif

// Converts as far as there are whole characters with room for them: ASCII, and what goes side by side, then one character after the
// other, ever more of them where they are strange.
template <typename Codec>
inline Progress convert_by_steps(Progress at, const char *end, const char *full)
{
    [[maybe_unused]] const char *const begin = at.in;
    for (ptrdiff_t step = ptrdiff_t{64} * Codec::in_unit; at.in < end; step *= 2) {
        Progress behind_runs = Codec::pass_ascii(at, end, full);
#if ZEMT_X86_64
        if (has_byte_masks())
            behind_runs = pass_all_blocks<Codec>(behind_runs, end, full);
        else if (has_wide_registers())
            behind_runs = pass_all_windows<Codec>(behind_runs, begin, end, full);
#endif
        if (behind_runs.in != at.in) step = ptrdiff_t{32} * Codec::in_unit;
        const char *const until = behind_runs.in + std::min(end - behind_runs.in, step);
        at = pass_characters<Codec>(behind_runs, until, end, full);
        if (at.in < until) break;
    }
    return at;
}

// The following convert the text from in to end into the room from out to full, and report what then stands from dst on. One is
// left by a jump to another, so that short texts pay for no registers but their own.

template <typename Codec>
[[gnu::noinline]] inline int32_t convert_few(const char *in, const char *end, char *out, const char *full, const char *dst,
                                             int32_t *outCount)
{
    return finish<Codec>(Codec::one_by_one({in, out}, end, end, full), end, dst, outCount);
}

template <typename Codec>
[[gnu::noinline]] inline int32_t convert_many(const char *in, const char *end, char *out, const char *full, const char *dst,
                                              int32_t *outCount)
{
    return finish<Codec>(convert_by_steps<Codec>({in, out}, end, full), end, dst, outCount);
}

template <typename Codec>
ALWAYS_INLINE int32_t convert_rest(Progress at, const char *end, const char *full, const char *dst, int32_t *outCount)
{
    if (at.in == end) return report((at.out - dst) / Codec::out_unit, outCount, ZEMT_RC_OK);
    const bool few = end - at.in <= Codec::few * Codec::in_unit;
    return few ? convert_few<Codec>(at.in, end, at.out, full, dst, outCount)
               : convert_many<Codec>(at.in, end, at.out, full, dst, outCount);
}

#if ZEMT_X86_64

template <typename Codec>
[[gnu::noinline]] ZEMT_BYTE_MASKS inline int32_t convert_blocks(const char *in, const char *end, char *out, const char *full,
                                                                const char *dst, int32_t *outCount)
{
    return convert_rest<Codec>(pass_blocks(Codec{}, {in, out}, end, full), end, full, dst, outCount);
}

template <typename Codec>
[[gnu::noinline]] ZEMT_WIDE_REGISTERS inline int32_t convert_windows(const char *in, const char *end, char *out,
                                                                     const char *full, const char *dst, int32_t *outCount)
{
    return convert_rest<Codec>(pass_windows(Codec{}, {in, out}, in, end, full), end, full, dst, outCount);
}

template <typename Codec>
ALWAYS_INLINE int32_t convert_side_by_side(const char *in, const char *end, char *out, const char *full, const char *dst,
                                           int32_t *outCount)
{
    return has_byte_masks() ? convert_blocks<Codec>(in, end, out, full, dst, outCount)
                            : convert_windows<Codec>(in, end, out, full, dst, outCount);
}

// ASCII in front is moved faster by itself.
template <typename Codec>
[[gnu::noinline]] inline int32_t convert_long(const char *in, const char *end, char *out, const char *full, const char *dst,
                                              int32_t *outCount)
{
    const Progress at = Codec::pass_ascii({in, out}, end, full);
    if (at.in == end) return report((at.out - dst) / Codec::out_unit, outCount, ZEMT_RC_OK);
    return convert_side_by_side<Codec>(at.in, end, at.out, full, dst, outCount);
}

#endif

// Converts count units at src. A negative count or capacity is 0.
template <typename Codec>
inline int32_t convert_text(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    const char *const full = dst + ptrdiff_t{std::max(capacity, 0)} * Codec::out_unit;
#if ZEMT_X86_64
    if (count > Codec::few_side_by_side && has_wide_registers()) {
        const char *const end = src + ptrdiff_t{count} * Codec::in_unit;
        return count < 32 || !is_ascii(load<typename Codec::In>(src))
                   ? convert_side_by_side<Codec>(src, end, dst, full, dst, outCount)
                   : convert_long<Codec>(src, end, dst, full, dst, outCount);
    }
#endif
    return convert_rest<Codec>({src, dst}, src + ptrdiff_t{std::max(count, 0)} * Codec::in_unit, full, dst, outCount);
}

// Counts the units that a text becomes: it is converted into a scratch, as often as that fills up.
template <typename Codec>
[[gnu::noinline]] inline int32_t count_units(const char *src, int32_t count, int32_t *outCount)
{
    char scratch[1024];
    const char *const full = scratch + sizeof scratch;
    const char *const end = src + ptrdiff_t{std::max(count, 0)} * Codec::in_unit;
    int64_t total = 0;
    for (const char *in = src;;) {
        const Progress at = convert_by_steps<Codec>({in, scratch}, end, full);
        total += (at.out - scratch) / Codec::out_unit;
        if (total > INT32_MAX) return report(INT32_MAX, outCount, ZEMT_RC_NO_SPACE);
        if (at.in == end) return report(total, outCount, ZEMT_RC_OK);
        if (at.in == in) return report(total, outCount, Codec::status_at(in, end));
        in = at.in;
    }
}

}  // namespace zemt
