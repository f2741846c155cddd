// Units of text at any address, and the six text layouts.
#pragma once

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "vectors/memory.h"

namespace zemt {

// The unit of wide text. Signed, as the tests of its range are, whatever wchar_t is on the platform.
using Wide = int32_t;

inline const char *bytes(const void *at)
{
    return static_cast<const char *>(at);
}

inline char *bytes(void *at)
{
    return static_cast<char *>(at);
}

// The place of a unit; Byte is char or const char.
template <typename Unit, typename Byte>
inline Byte *unit_place(Byte *text, int64_t index)
{
    return text + index * int64_t{sizeof(Unit)};
}

template <typename Unit>
inline int64_t units_between(const char *begin, const char *end)
{
    return (end - begin) / int64_t{sizeof(Unit)};
}

// The number of characters before the terminator.
template <typename Unit>
inline int64_t terminated_length(const char *text)
{
    if constexpr (sizeof(Unit) == 1) {
        return static_cast<int64_t>(std::strlen(text));
    } else {
        if (reinterpret_cast<uintptr_t>(text) % alignof(wchar_t) == 0)
            return static_cast<int64_t>(std::wcslen(reinterpret_cast<const wchar_t *>(text)));
        int64_t length = 0;
        while (load<Wide>(text + length * 4) != 0) ++length;
        return length;
    }
}

// A layout's unit, and what stands around the characters. As a destination, a layout may also say how dstSize counts.
template <typename UnitType, bool has_prefix, bool has_terminator>
struct Layout {
    using Unit = UnitType;
    static constexpr int unit = sizeof(Unit);
    static constexpr bool prefixed = has_prefix;
    static constexpr bool terminated = has_terminator;
    static constexpr bool length_in_units = has_terminator;  // *outLen: units, else bytes with the prefix
    static constexpr bool prefix_in_size = false;
    static constexpr int32_t largest_size = INT32_MAX;
};

using Char = Layout<char, false, false>;
using Varchar = Layout<char, true, false>;
using VarcharSz = Layout<char, false, true>;
using WChar = Layout<Wide, false, false>;
using WVarchar = Layout<Wide, true, false>;
using WVarcharSz = Layout<Wide, false, true>;

constexpr int prefix_size = 2;
constexpr int32_t largest_prefix = 32767;

// The prefix is part of dstSize.
template <typename Destination>
struct Counted : Destination {
    static constexpr bool prefix_in_size = true;
};

// dstSize is a 16-bit number.
template <typename Destination>
struct ShortSize : Destination {
    static constexpr int32_t largest_size = 32767;
};

// *outLen counts bytes although there is a terminator.
template <typename Destination>
struct LengthInBytes : Destination {
    static constexpr bool length_in_units = false;
};

}  // namespace zemt
