// The codec as the text conversions call it: texts at any address, a destination that is not null.
#pragma once

#include <cstdint>

#include "layouts.h"
#include "vectors/ascii.h"
#include "zemt.h"

namespace zemt {

int32_t decode_text(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount);
int32_t encode_text(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount);

// Most values are ASCII and short: those of 8 to 32 characters are moved by two steps that overlap, without a call.

constexpr bool is_short(int32_t length, int32_t room)
{
    return static_cast<uint32_t>(length) - 8 <= 32 - 8 && length <= room;
}

inline bool widen_short(char *dst, const char *src, int32_t length)
{
    if (length <= 16) {
        const Bytes16 both = bytes16(load<uint64_t>(src), load<uint64_t>(src + length - 8));
        if (!all_ascii(both)) return false;
        widen_halves<Wide>(dst, unit_place<Wide>(dst, length - 8), both);
    } else {
        const Bytes16 first = load16(src);
        const Bytes16 last = load16(src + length - 16);
        if (!all_ascii(first) || !all_ascii(last)) return false;
        widen_halves<Wide>(dst, unit_place<Wide>(dst, 8), first);
        widen_halves<Wide>(unit_place<Wide>(dst, length - 16), unit_place<Wide>(dst, length - 8), last);
    }
    return true;
}

inline bool narrow_short(char *dst, const char *src, int32_t count)
{
    if (count <= 16) {
        const uint64_t first = narrow8(src);
        const uint64_t last = narrow8(unit_place<Wide>(src, count - 8));
        if (!all_ascii(bytes16(first, last))) return false;
        store(dst, first);
        store(dst + count - 8, last);
    } else {
        Bytes16 first, last;
        if (!narrow16<Wide>(src, first) || !narrow16<Wide>(unit_place<Wide>(src, count - 16), last)) return false;
        if (!all_ascii(first) || !all_ascii(last)) return false;
        store16(dst, first);
        store16(dst + count - 16, last);
    }
    return true;
}

inline int32_t report(int64_t count, int32_t *outCount, int32_t status)
{
    if (outCount != nullptr) *outCount = static_cast<int32_t>(count);
    return status;
}

inline int32_t decode_utf8_to_32(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    if (is_short(length, capacity) && widen_short(dst, src, length)) return report(length, outCount, ZEMT_RC_OK);
    return decode_text(dst, capacity, src, length, outCount);
}

inline int32_t encode_utf8_from_32(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    if (is_short(count, capacity) && narrow_short(dst, src, count)) return report(count, outCount, ZEMT_RC_OK);
    return encode_text(dst, capacity, src, count, outCount);
}

}  // namespace zemt
