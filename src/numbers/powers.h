// Powers of ten in 128 bits, and the 192-bit product of one with a 64-bit number.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace zemt {

__extension__ using Bits128 = unsigned __int128;

// floor(log2(10^power)) and floor(log10(2^power)), for the powers in reach of a double.
constexpr int floor_log2_of_ten(int power)
{
    return static_cast<int>((int64_t{power} * 1741647) >> 19);
}

constexpr int floor_log10_of_two(int power)
{
    return static_cast<int>((int64_t{power} * 1262611) >> 22);
}

constexpr int least_power = -342;        // 10^19 * 10^-343 is less than half of the smallest double
constexpr int largest_power = 340;       // makes 17 digits of the smallest double
constexpr int largest_exact_power = 55;  // 5^55 has 128 bits

// The first 128 bits of a power of ten, the topmost set. What is behind them is cut off, and nothing for the powers from 0 to
// the largest exact one.
struct Power {
    uint64_t high, low;
};

// A number of 16 words, the lowest first; what the powers of five are made of.
struct LongNumber {
    std::array<uint64_t, 16> words{};

    constexpr void times_five()
    {
        uint64_t carry = 0;
        for (uint64_t &word : words) {
            const Bits128 product = Bits128{word} * 5 + carry;
            word = static_cast<uint64_t>(product);
            carry = static_cast<uint64_t>(product >> 64);
        }
    }

    constexpr void divided_by_five()
    {
        uint64_t rest = 0;
        for (size_t i = words.size(); i-- > 0;) {
            const Bits128 part = Bits128{rest} << 64 | words[i];
            words[i] = static_cast<uint64_t>(part / 5);
            rest = static_cast<uint64_t>(part % 5);
        }
    }

    constexpr Power leading_bits() const
    {
        size_t top = words.size() - 1;
        while (words[top] == 0) --top;
        const auto word = [this, top](size_t behind) { return behind <= top ? words[top - behind] : 0; };
        const int zeros = std::countl_zero(word(0));
        const auto shifted = [zeros](uint64_t upper, uint64_t lower) {
            return zeros == 0 ? upper : upper << zeros | lower >> (64 - zeros);
        };
        return {shifted(word(0), word(1)), shifted(word(1), word(2))};
    }
};

constexpr auto make_powers()
{
    std::array<Power, largest_power - least_power + 1> powers_of_ten{};
    LongNumber number;
    number.words[0] = 1;
    for (int power = 0; power <= largest_power; ++power, number.times_five())
        powers_of_ten[static_cast<size_t>(power - least_power)] = number.leading_bits();
    // 5^342 has 795 bits, so that 5^-342 has more than 128 bits left of these 960. A quotient cut off and divided again is cut
    // off where the whole quotient is.
    number = {};
    number.words[15] = 1;
    for (int power = -1; power >= least_power; --power) {
        number.divided_by_five();
        powers_of_ten[static_cast<size_t>(power - least_power)] = number.leading_bits();
    }
    return powers_of_ten;
}

inline constexpr auto powers_of_ten = make_powers();

static_assert(powers_of_ten[-least_power].high == uint64_t{1} << 63);

// A number times a power of ten: top * 2^exponent, to which less than 2 * 2^exponent is to be added.
struct Scaled {
    Bits128 top;
    int exponent;
    bool power_is_exact;  // the addition is then less than 2^exponent ...
    bool product_ends;    // ... and 0 where this holds, too
};

// number * 2^exponent * 10^power
inline Scaled scale(uint64_t number, int exponent, int power)
{
    const Power &ten = powers_of_ten[static_cast<size_t>(power - least_power)];
    const Bits128 low = Bits128{number} * ten.low;
    const Bits128 top = Bits128{number} * ten.high + (low >> 64);
    return {top, exponent + floor_log2_of_ten(power) - 63, power >= 0 && power <= largest_exact_power,
            static_cast<uint64_t>(low) == 0};
}

// Rounds number, behind which rest has been cut off a scaled number, to nearest, ties to even; half is what half of number's
// last place is in rest. False where that takes more bits than there are. Which way it goes is no branch: processors guess it
// wrong every other time.
inline bool round_to_nearest(uint64_t &number, const Scaled &scaled, Bits128 rest, Bits128 half)
{
    bool up = rest > half;
    if (half - rest < 2) {
        if (!scaled.power_is_exact) return false;
        up = rest == half && (!scaled.product_ends || number % 2 != 0);
    }
    number += up;
    return true;
}

}  // namespace zemt
