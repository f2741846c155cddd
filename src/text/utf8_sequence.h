// One character: the 31-bit form of UTF-8 published in RFC 2279, sequences of 1 to 6 bytes, and UTF-16. Overlong forms,
// surrogates and values above 0x10FFFF pass like others; stray continuation bytes, 0xFE and 0xFF are characters of that value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "layouts.h"
#include "vectors/processor.h"

namespace zemt {

// How far a conversion has come.
struct Progress {
    const char *in;
    char *out;
};

// Of ASCII all but NUL, which ends a text.
constexpr bool is_ascii(uint32_t character)
{
    return character - 1 < 0x7F;
}

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

// U+FFFD stands for a character that was lost before the text came here.
constexpr uint32_t without_replacement(uint32_t value)
{
    return value == 0xFFFD ? '?' : value;
}

enum class Found { CodePoint, EndOfText, Malformed, CutOff };

struct Sequence {
    Found found;
    int size;  // bytes that it has or, cut off, would need
    uint32_t value;
};

inline Sequence decode_sequence(const char *at, ptrdiff_t available)
{
    if (available < 1) return {Found::CutOff, 1, 0};
    const uint32_t first = load<uint8_t>(at);
    if (first == 0) return {Found::EndOfText, 0, 0};
    const int size = sequence_size(first);
    if (size == 1) return {Found::CodePoint, 1, first};
    if (size > available) return {Found::CutOff, size, 0};
    uint32_t value = first & (0x7Fu >> size);
    for (int i = 1; i < size; ++i) {
        const uint32_t byte = load<uint8_t>(at + i);
        if ((byte & 0xC0) != 0x80) return {Found::Malformed, -1, first};
        value = value << 6 | (byte & 0x3F);
    }
    return {Found::CodePoint, size, without_replacement(value)};
}

// Sizes are known where they are compiled, but for those that are rare.
ALWAYS_INLINE void encode_sequence(char *dst, uint32_t value, int size)
{
    const auto tail = [value](int shift) { return 0x80 | (value >> shift & 0x3F); };
    if (size == 1) {
        *dst = static_cast<char>(value);
    } else if (size == 2) {
        store(dst, static_cast<uint16_t>(0xC0 | value >> 6 | tail(0) << 8));
    } else if (size == 3) {
        store(dst, static_cast<uint16_t>(0xE0 | value >> 12 | tail(6) << 8));
        dst[2] = static_cast<char>(tail(0));
    } else if (size == 4) {
        store(dst, 0xF0 | value >> 18 | tail(12) << 8 | tail(6) << 16 | tail(0) << 24);
    } else {
        for (int i = size - 1; i > 0; --i, value >>= 6) dst[i] = static_cast<char>(0x80 | (value & 0x3F));
        *dst = static_cast<char>(0xFF00u >> size | value);  // as many 1 bits in front as there are bytes
    }
}

// Wide text has a unit for each code point, UTF-16 two from 0x10000 on.

template <typename Unit>
constexpr uint32_t largest_code_point = sizeof(Unit) == 2 ? 0x10FFFF : 0x7FFFFFFF;

template <typename Unit>
constexpr int units_of(uint32_t value)
{
    return sizeof(Unit) == 2 && value > 0xFFFF ? 2 : 1;
}

template <typename Unit>
inline void store_units(char *dst, uint32_t value, int units)
{
    if (units == 1) return store(dst, static_cast<Unit>(value));
    store(dst, static_cast<uint16_t>(0xD800 + ((value - 0x10000) >> 10)));
    store(dst + 2, static_cast<uint16_t>(0xDC00 + (value & 0x3FF)));
}

struct CodePoint {
    uint32_t value;
    int units;  // none where a surrogate has no partner
};

template <typename Unit>
inline CodePoint load_code_point(const char *at, ptrdiff_t available)
{
    const uint32_t first = static_cast<std::make_unsigned_t<Unit>>(load<Unit>(at));
    if (sizeof(Unit) == 4 || (first & 0xF800) != 0xD800) return {first, 1};
    if (first >= 0xDC00 || available < 4) return {first, 0};
    const uint32_t second = load<uint16_t>(at + 2);
    if ((second & 0xFC00) != 0xDC00) return {first, 0};
    return {0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00), 2};
}

}  // namespace zemt
