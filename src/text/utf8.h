// The codec behind the exported converters, for texts at any address. A negative capacity or length counts as 0; where dst is
// null, the units are only counted.
#pragma once

#include <cstdint>

#include "vectors.h"

namespace zemt {

struct Transcoded {
    int32_t status;
    int32_t count;  // units produced, also where the status is a failure
};

inline int32_t report(Transcoded result, int32_t *outCount)
{
    if (outCount != nullptr) *outCount = result.count;
    return result.status;
}

int32_t decode_any(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount);
int32_t encode_any(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount);

// Most values are plain and short: those of 8 to 32 characters are moved by two steps that overlap, without a call.

inline bool widen_short(char *dst, const char *src, int32_t length)
{
    if (length <= 16) {
        const Bytes16 both = bytes16(load<uint64_t>(src), load<uint64_t>(src + length - 8));
        if (!all_plain(both)) return false;
        widen_halves<Wide>(dst, dst + ptrdiff_t{length - 8} * 4, both);
    } else {
        const Bytes16 first = load16(src);
        const Bytes16 last = load16(src + length - 16);
        if (!all_plain(first) || !all_plain(last)) return false;
        widen16<Wide>(dst, first);
        widen16<Wide>(dst + ptrdiff_t{length - 16} * 4, last);
    }
    return true;
}

inline bool narrow_short(char *dst, const char *src, int32_t count)
{
    if (count <= 16) {
        const uint64_t first = narrow8(src);
        const uint64_t last = narrow8(src + ptrdiff_t{count - 8} * 4);
        if (!all_plain(bytes16(first, last))) return false;
        store(dst, first);
        store(dst + count - 8, last);
    } else {
        Bytes16 first, last;
        if (!narrow16<Wide>(src, first) || !narrow16<Wide>(src + ptrdiff_t{count - 16} * 4, last)) return false;
        if (!all_plain(first) || !all_plain(last)) return false;
        store16(dst, first);
        store16(dst + count - 16, last);
    }
    return true;
}

inline bool is_short(int32_t length, int32_t room)
{
    return static_cast<uint32_t>(length) - 8 <= 32 - 8 && length <= room;
}

inline int32_t decode_utf8_to_32(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    if (dst != nullptr && is_short(length, capacity) && widen_short(dst, src, length)) return report({0, length}, outCount);
    return decode_any(dst, capacity, src, length, outCount);
}

inline int32_t encode_utf8_from_32(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    if (dst != nullptr && is_short(count, capacity) && narrow_short(dst, src, count)) return report({0, count}, outCount);
    return encode_any(dst, capacity, src, count, outCount);
}

}  // namespace zemt
