// The codec behind the exported converters, for texts at any address. A negative capacity or length counts as 0; where dst
// is null, the units are only counted.
#pragma once

#include <cstdint>

namespace zemt {

struct Transcoded {
    int32_t status;
    int32_t count;  // units produced, also where the status is a failure
};

Transcoded decode_utf8_to_32(char *dst, int32_t capacity, const char *src, int32_t length);
Transcoded encode_utf8_from_32(char *dst, int32_t capacity, const char *src, int32_t count);

}  // namespace zemt
