// Floating-point numbers as their bits (IEEE 754), and rounded in integers: a caller may have traps set, or subnormals flushed
// to zero, and conversions by the processor would heed that.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <type_traits>

namespace zemt {

constexpr int mantissa_bits = 53;      // of a double, with the topmost, which is not stored
constexpr int least_exponent = -1074;  // of the lowest bit of a subnormal
constexpr uint64_t hidden_bit = uint64_t{1} << (mantissa_bits - 1);
constexpr uint64_t infinity = uint64_t{0x7FF} << (mantissa_bits - 1);

constexpr int float_mantissa_bits = 24;
constexpr int float_least_exponent = -126;  // of the topmost bit of a number that is not subnormal
constexpr int float_largest_exponent = 127;
constexpr uint32_t float_infinity = 0x7F800000;
constexpr int double_bias = 1023;
constexpr int fewer_mantissa_bits = mantissa_bits - float_mantissa_bits;

template <typename Float>
using BitsOf = std::conditional_t<sizeof(Float) == 8, uint64_t, uint32_t>;

constexpr bool is_finite(uint64_t bits)
{
    return (bits & infinity) != infinity;
}

constexpr uint64_t with_sign(uint64_t magnitude, bool negative)
{
    return magnitude | uint64_t{negative} << 63;
}

// A float as a double, which is exact.
constexpr uint64_t widen(uint32_t bits)
{
    const uint32_t stored_exponent = bits >> (float_mantissa_bits - 1) & 0xFF;
    uint32_t mantissa = bits & ((1u << (float_mantissa_bits - 1)) - 1);
    if (stored_exponent == 0xFF) return infinity;
    if (stored_exponent == 0 && mantissa == 0) return with_sign(0, bits >> 31 != 0);
    int exponent = static_cast<int>(stored_exponent) - float_largest_exponent;
    if (stored_exponent == 0) {
        const int zeros = std::countl_zero(mantissa) - (32 - float_mantissa_bits);
        mantissa = (mantissa << zeros) & ((1u << (float_mantissa_bits - 1)) - 1);
        exponent = float_least_exponent - zeros;
    }
    const uint64_t upper = static_cast<uint64_t>(exponent + double_bias) << (mantissa_bits - 1);
    return with_sign(upper | uint64_t{mantissa} << fewer_mantissa_bits, bits >> 31 != 0);
}

// The float nearest to a double; infinity for a NaN, too.
constexpr uint32_t narrow(uint64_t bits)
{
    const uint32_t sign = static_cast<uint32_t>(bits >> 63) << 31;
    const int exponent = static_cast<int>((bits & infinity) >> (mantissa_bits - 1)) - double_bias;
    if (exponent > float_largest_exponent) return sign | float_infinity;
    if (exponent < float_least_exponent - float_mantissa_bits) return sign;
    const int cut = fewer_mantissa_bits + std::max(0, float_least_exponent - exponent);  // a subnormal has fewer bits
    const uint64_t mantissa = (bits & (hidden_bit - 1)) | hidden_bit;
    const uint64_t half = uint64_t{1} << (cut - 1);
    const uint64_t rest = mantissa & (2 * half - 1);
    uint64_t kept = mantissa >> cut;
    kept += rest > half || (rest == half && kept % 2 != 0);
    // The topmost bit of the mantissa adds 1 to the stored exponent, as does rounding up to the next power of two.
    const auto stored_exponent = static_cast<uint32_t>(std::max(exponent - float_least_exponent, 0));
    return sign | ((stored_exponent << (float_mantissa_bits - 1)) + static_cast<uint32_t>(kept));
}

}  // namespace zemt
