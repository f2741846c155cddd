// Decimal digits in 8-bit and wide text.
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

#include "layouts.h"
#include "vectors/ascii.h"

namespace zemt {

template <typename Unit>
inline void write_unit(char *dst, int64_t index, uint32_t character)
{
    store(unit_place<Unit>(dst, index), static_cast<Unit>(character));
}

template <typename Unit>
inline uint32_t unit_at(const char *text, int64_t index)
{
    return static_cast<std::make_unsigned_t<Unit>>(load<Unit>(unit_place<Unit>(text, index)));
}

// Two digits of a number below 100.
template <typename Unit>
inline void write_pair(char *dst, uint32_t number)
{
    using Pair = std::conditional_t<sizeof(Unit) == 1, uint16_t, uint64_t>;
    constexpr int unit_bits = 8 * sizeof(Unit);
    const uint32_t tens = number * 103 >> 10;
    const uint64_t ones = number - tens * 10;
    store(dst, static_cast<Pair>(('0' + tens) | ('0' + ones) << unit_bits));
}

// ---- Up to eight characters in a register, the first in the lowest byte ------------------------------------------------------

// Writes the lowest count (2, 4 or 8) of them.
template <typename Unit, int count>
inline void write_bytes(char *dst, uint64_t word)
{
    using Bytes = std::conditional_t<count == 8, uint64_t, std::conditional_t<count == 4, uint32_t, uint16_t>>;
    if constexpr (sizeof(Unit) == 4)
        widen_word<count>(dst, word);
    else
        store(dst, static_cast<Bytes>(word));
}

// Writes the lowest count (1..8) of them, by two steps that may overlap.
template <typename Unit>
inline void write_up_to_8(char *dst, uint64_t word, int count)
{
    if (count == 8) return write_bytes<Unit, 8>(dst, word);
    const uint64_t last = word << (64 - 8 * count);
    if (count >= 4) {
        write_bytes<Unit, 4>(dst, word);
        write_bytes<Unit, 4>(unit_place<Unit>(dst, count - 4), last >> 32);
    } else if (count >= 2) {
        write_bytes<Unit, 2>(dst, word);
        write_bytes<Unit, 2>(unit_place<Unit>(dst, count - 2), last >> 48);
    } else {
        write_unit<Unit>(dst, 0, word & 0xFF);
    }
}

// 12345678 -> 1, 2, 3, 4, 5, 6, 7, 8: halves, quarters and digits are divided side by side, by multiplications.
constexpr uint64_t split_digits(uint32_t number)
{
    const uint64_t fours = number / 10000 | uint64_t{number % 10000} << 32;
    const uint64_t hundreds = (fours * 10486 >> 20) & 0x7F0000007F;
    const uint64_t pairs = (fours - 100 * hundreds) << 16 | hundreds;
    const uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return (pairs - 10 * tens) << 8 | tens;
}

static_assert(split_digits(12345678) == 0x0807060504030201);

// Writes the first count (3, 5 or 8) of them.
template <typename Unit, int count = 8>
inline void write_digits(char *dst, uint64_t digits)
{
    digits |= 0x3030303030303030;  // "00000000"
    if constexpr (count == 8)
        write_bytes<Unit, 8>(dst, digits);
    else
        for (int i = 0; i < count; ++i) write_unit<Unit>(dst, i, digits >> (8 * i) & 0xFF);
}

// ---- Numbers ----------------------------------------------------------------------------------------------------------------

// Writes number, which is not 0, without leading zeros; returns its digits. Up to most positions are overwritten, where most is
// 3, 5, 10 or 20: the longest text of an unsigned number of 8, 16, 32 or 64 bits.
template <typename Unit, int most>
inline int write_number(char *dst, uint64_t number)
{
    constexpr uint64_t hundred_million = 100000000;
    const auto write_first = [dst](uint64_t below_hundred_million) {
        const uint64_t digits = split_digits(static_cast<uint32_t>(below_hundred_million));
        const int zeros = std::countr_zero(digits | uint64_t{1} << 63) / 8;  // the last digit stays
        write_digits<Unit, (most < 8 ? most : 8)>(dst, digits >> (8 * zeros));
        return 8 - zeros;
    };
    if (most < 8 || number < hundred_million) return write_first(number);
    const uint64_t upper = number / hundred_million;
    const auto lower = static_cast<uint32_t>(number % hundred_million);
    int count;
    if (most == 10 || upper < hundred_million) {
        count = write_first(upper);
    } else {
        count = write_first(upper / hundred_million);
        write_digits<Unit>(unit_place<Unit>(dst, count), split_digits(static_cast<uint32_t>(upper % hundred_million)));
        count += 8;
    }
    write_digits<Unit>(unit_place<Unit>(dst, count), split_digits(lower));
    return count + 8;
}

// Digits taken into a number, modulo 2^N, and the place behind them.
template <typename Sum>
struct Taken {
    Sum number;
    const char *end;
};

// The first few are taken without a branch on how many there are, which processors guess wrong; that pays where there are seldom
// more.
template <typename Unit, int few, typename Sum>
inline Taken<Sum> take_digits(Sum number, const char *at)
{
    const auto digit_at = [](const char *place) { return unit_at<Unit>(place, 0) - '0'; };
    uint32_t digit = digit_at(at);
    for (int i = 0; i < few; ++i) {
        const auto is_digit = static_cast<Sum>(Sum{0} - (digit <= 9));
        number += (number * 9 + digit) & is_digit;
        at += is_digit & sizeof(Unit);
        digit = digit_at(at);
    }
#pragma GCC unroll 4
    while (digit <= 9) {
        number = number * 10 + digit;
        at = unit_place<Unit>(at, 1);
        digit = digit_at(at);
    }
    return {number, at};
}

}  // namespace zemt
