// Floating-point numbers to and from wide text.
#include <langinfo.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <limits>

#include "bits.h"
#include "powers.h"
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

namespace zemt {
namespace {

constexpr int double_digits = 16;  // behind the point: 17 digits tell any two doubles apart
constexpr int float_digits = 7;

constexpr auto tens = [] {
    std::array<uint64_t, 20> powers{1};
    for (size_t i = 1; i != powers.size(); ++i) powers[i] = powers[i - 1] * 10;
    return powers;
}();

constexpr int largest_exact_double = 22;
constexpr double exact_doubles[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// ---- To text ----------------------------------------------------------------------------------------------------------------

// digits * 10^(exponent - n), where digits has n + 1 digits; 0 digits where more than 192 bits are needed to round correctly.
struct Decimal {
    uint64_t digits;
    int exponent;
};

// Rounds mantissa * 2^exponent, which is not 0, to n + 1 (1..17) digits.
inline Decimal round_to_digits(uint64_t mantissa, int exponent, int n)
{
    const uint64_t least = tens[static_cast<size_t>(n)];
    const int zeros = std::countl_zero(mantissa);
    // The number is from 10^tenth up and below 2 * 10^(tenth + 1): n + 1 digits stand before the point after scaling, or n + 2.
    int tenth = floor_log10_of_two(exponent + 63 - zeros);
    const Scaled scaled = scale(mantissa << zeros, exponent - zeros, n - tenth);
    const auto upper = static_cast<uint64_t>(scaled.top >> 64);
    const int cut = -scaled.exponent - 64;  // of the upper half
    const uint64_t all_digits = upper >> cut;
    const uint64_t fewer_digits = all_digits / 10;
    const bool one_more = all_digits >= 10 * least;
    uint64_t rest = upper - (all_digits << cut);
    uint64_t half = uint64_t{1} << (cut - 1);
    rest += one_more ? (all_digits - fewer_digits * 10) << cut : 0;
    half *= one_more ? 10 : 1;
    tenth += one_more;
    uint64_t digits = one_more ? fewer_digits : all_digits;
    const Bits128 whole_rest = Bits128{rest} << 64 | static_cast<uint64_t>(scaled.top);
    if (!round_to_nearest(digits, scaled, whole_rest, Bits128{half} << 64)) return {0, 0};
    return digits < 10 * least ? Decimal{digits, tenth} : Decimal{least, tenth + 1};
}

// Writes n + 1 digits with a point behind the first.
inline char *write_mantissa(char *dst, uint64_t digits, int n)
{
    constexpr uint64_t eight_digits = 100000000;
    write_unit<Wide>(dst, 1, '.');
    if (n == double_digits || n == float_digits) {
        const uint64_t least = tens[static_cast<size_t>(n)];
        const uint64_t others = digits % least;
        const uint64_t upper = n == double_digits ? others / eight_digits : others * 10;
        write_unit<Wide>(dst, 0, '0' + static_cast<uint32_t>(digits / least));
        write_digits<Wide>(unit_place<Wide>(dst, 2), split_digits(static_cast<uint32_t>(upper)));
        if (n == double_digits)
            write_digits<Wide>(unit_place<Wide>(dst, 10), split_digits(static_cast<uint32_t>(others % eight_digits)));
    } else {
        for (int i = n; i > 0; --i, digits /= 10) write_unit<Wide>(dst, 1 + i, '0' + static_cast<uint32_t>(digits % 10));
        write_unit<Wide>(dst, 0, '0' + static_cast<uint32_t>(digits));
    }
    return unit_place<Wide>(dst, 2 + n);
}

inline char *write_exponent(char *dst, int exponent)
{
    const auto magnitude = static_cast<uint32_t>(exponent < 0 ? -exponent : exponent);
    const uint32_t hundreds = magnitude / 100;
    write_unit<Wide>(dst, 0, 'E');
    write_unit<Wide>(dst, 1, exponent < 0 ? '-' : '+');
    write_unit<Wide>(dst, 2, '0' + hundreds);
    dst = unit_place<Wide>(dst, hundreds != 0 ? 3 : 2);  // two digits take the place of three
    write_pair<Wide>(dst, magnitude - hundreds * 100);
    return unit_place<Wide>(dst, 2);
}

// Any number of exact digits: those of mantissa * 2^exponent or, behind as many more places, of mantissa * 5^-exponent.
[[gnu::noinline, gnu::cold]] inline char *write_exactly(char *dst, uint64_t mantissa, int exponent, int n)
{
    constexpr uint64_t base = 1000000000;
    std::array<uint32_t, 86> words{static_cast<uint32_t>(mantissa % base), static_cast<uint32_t>(mantissa / base)};
    size_t used = 2;  // no double has more than 767 digits
    for (int left = std::abs(exponent); left > 0;) {
        uint64_t factor = 1;
        for (; left > 0 && factor < base / 5; --left) factor *= exponent < 0 ? 5 : 2;
        uint64_t carry = 0;
        for (size_t i = 0; i < used; ++i, carry /= base) {
            carry += words[i] * factor;
            words[i] = static_cast<uint32_t>(carry % base);
        }
        if (carry != 0) words[used++] = static_cast<uint32_t>(carry);
    }

    std::array<uint8_t, 1 + 9 * words.size()> digits{};  // a 0 in front, into which rounding may carry
    uint8_t *const end = digits.data() + 1 + 9 * used;
    uint8_t *first = end;
    for (size_t i = 0; i < 9 * used; ++i, words[(i - 1) / 9] /= 10) *--first = static_cast<uint8_t>(words[i / 9] % 10);
    const auto is_set = [](uint8_t digit) { return digit != 0; };
    first = std::find_if(first, end - 1, is_set);
    if (uint8_t *last = first + std::min<ptrdiff_t>(n, end - first); last + 1 < end) {
        const bool above_half = last[1] > 5 || (last[1] == 5 && std::any_of(last + 2, end, is_set));
        const bool up = above_half || (last[1] == 5 && *last % 2 != 0);
        for (; up && *last == 9; --last) *last = 0;
        *last += up;
        first = std::min(first, last);
    }
    write_unit<Wide>(dst, 1, '.');
    for (int i = 0; i <= n; ++i) write_unit<Wide>(dst, i + (i > 0), '0' + (i < end - first ? uint32_t{first[i]} : 0));
    return write_exponent(unit_place<Wide>(dst, 2 + n), static_cast<int>(end - 1 - first) + std::min(exponent, 0));
}

// Writes a finite double with n digits behind the point; returns the length of the text.
[[gnu::always_inline]] inline int32_t write_scientific(char *dst, uint64_t bits, int n)
{
    const auto stored_exponent = static_cast<int>(bits >> (mantissa_bits - 1) & 0x7FF);
    const uint64_t stored_mantissa = bits & (hidden_bit - 1);
    const bool normal = stored_exponent != 0;
    const uint64_t mantissa = stored_mantissa | (normal ? hidden_bit : 0);
    const int exponent = least_exponent - normal + stored_exponent;
    write_unit<Wide>(dst, 0, '-');
    char *const text = unit_place<Wide>(dst, static_cast<int64_t>(bits >> 63));
    Decimal decimal{0, 0};
    if (mantissa != 0 && n <= double_digits) decimal = round_to_digits(mantissa, exponent, n);
    const bool exactly = n > double_digits || (decimal.digits == 0 && mantissa != 0);
    char *const end = exactly ? write_exactly(text, mantissa, mantissa == 0 ? 0 : exponent, n)
                              : write_exponent(write_mantissa(text, decimal.digits, n), decimal.exponent);
    write_unit<Wide>(end, 0, 0);
    return static_cast<int32_t>(units_between<Wide>(dst, end));
}

template <typename Float, int n>
inline int32_t format_float(const void *src, void *dst, int32_t dstSize, int32_t *outLen)
{
    constexpr int32_t refused_size = 30;  // in whatever unit: callers count differently
    if (src == nullptr || dst == nullptr || dstSize <= refused_size) return ZEMT_RC_ERROR;
    const auto stored = load<BitsOf<Float>>(src);
    const uint64_t bits = sizeof(Float) == 8 ? stored : widen(static_cast<uint32_t>(stored));
    if (!is_finite(bits)) return ZEMT_RC_ERROR;
    *outLen = write_scientific(bytes(dst), bits, n);
    return ZEMT_RC_OK;
}

// ---- From text --------------------------------------------------------------------------------------------------------------

// What is not plain decimal text, and the few numbers that need more bits. wcstod reads characters one by one, so that it does
// not mind their address.
[[gnu::noinline, gnu::cold]] uint64_t read_any(const char *text)
{
    const int saved_errno = errno;
    const double value = std::wcstod(reinterpret_cast<const wchar_t *>(text), nullptr);
    errno = saved_errno;
    return std::bit_cast<uint64_t>(value);
}

// The decimal separator of the thread's locale, as wcstod takes it.
inline uint32_t decimal_separator()
{
#ifdef __GLIBC__
    // The item is the character itself, in the place of a pointer.
    const char *const item = nl_langinfo(_NL_NUMERIC_DECIMAL_POINT_WC);
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(item));
#else
    return static_cast<uint8_t>(*nl_langinfo(RADIXCHAR));
#endif
}

// A number's digits * 10^exponent. Not plain: there are no digits, or more than 64 bits hold, or what only wcstod understands.
struct Scanned {
    uint64_t digits;
    int64_t exponent;
    bool plain;
};

constexpr Scanned not_plain{0, 0, false};

// Reads the exponent behind the letter at text.
inline Scanned scan_exponent(const char *text, Scanned scanned)
{
    constexpr int64_t most_digits = 9;
    const uint32_t sign = unit_at<Wide>(text, 1);
    const bool negative = sign == '-';
    const char *const digits = unit_place<Wide>(text, 1 + (negative | (sign == '+')));
    const auto taken = take_digits<Wide, 0>(uint64_t{0}, digits);
    const int64_t count = units_between<Wide>(digits, taken.end);
    if (count == 0 || count > most_digits) return not_plain;
    const auto exponent = static_cast<int64_t>(taken.number);
    scanned.exponent += (exponent ^ -int64_t{negative}) + negative;
    return scanned;
}

// The separator is asked for by the caller, before there is anything that a call would push out of registers.
inline Scanned scan_number(const char *text, uint32_t separator)
{
    const int64_t most_digits = unit_at<Wide>(text, 0) == '0' ? 20 : 19;  // that 64 bits hold
    auto taken = take_digits<Wide, 0>(uint64_t{0}, text);
    int64_t count = units_between<Wide>(text, taken.end);
    int64_t fractions = 0;
    uint32_t next = unit_at<Wide>(taken.end, 0);
    if (next == separator && next != 0) {
        const char *const fraction = unit_place<Wide>(taken.end, 1);
        taken = take_digits<Wide, 0>(taken.number, fraction);
        fractions = units_between<Wide>(fraction, taken.end);
        count += fractions;
        next = unit_at<Wide>(taken.end, 0);
    } else if ((next | 0x20) == 'x') {
        return not_plain;
    }
    if (count == 0 || count > most_digits) return not_plain;
    const Scanned scanned{taken.number, -fractions, true};
    return (next | 0x20) == 'e' ? scan_exponent(taken.end, scanned) : scanned;
}

constexpr uint64_t unknown = UINT64_MAX;

// The double nearest to digits * 10^exponent, or unknown where that takes more than 192 bits.
inline uint64_t nearest_double(uint64_t digits, int64_t exponent)
{
    if (digits <= uint64_t{1} << mantissa_bits && exponent >= -largest_exact_double && exponent <= largest_exact_double) {
        // Both factors are exact, so that the processor rounds once.
        const auto number = static_cast<double>(digits);
        return std::bit_cast<uint64_t>(exponent < 0 ? number / exact_doubles[static_cast<size_t>(-exponent)]
                                                    : number * exact_doubles[static_cast<size_t>(exponent)]);
    }
    if (digits == 0 || exponent < least_power) return 0;
    if (exponent > std::numeric_limits<double>::max_exponent10) return infinity;

    const int zeros = std::countl_zero(digits);
    const Scaled scaled = scale(digits << zeros, -zeros, static_cast<int>(exponent));
    int cut = 128 - mantissa_bits - std::countl_zero(static_cast<uint64_t>(scaled.top >> 64));
    cut = std::max(cut, least_exponent - scaled.exponent);  // a subnormal has fewer bits
    if (cut > 126) return unknown;
    auto mantissa = static_cast<uint64_t>(scaled.top >> cut);
    if (!round_to_nearest(mantissa, scaled, scaled.top - (Bits128{mantissa} << cut), Bits128{1} << (cut - 1))) return unknown;

    // The hidden bit adds 1 to the stored exponent, as does a mantissa that was rounded up to the next power of two.
    const auto stored_exponent = static_cast<uint64_t>(scaled.exponent + cut - least_exponent);
    return std::min((stored_exponent << (mantissa_bits - 1)) + mantissa, infinity);
}

[[gnu::always_inline]] inline uint64_t read_number_text(const char *text)
{
    const uint32_t separator = decimal_separator();
    const char *at = text;
    while (unit_at<Wide>(at, 0) == ' ') at = unit_place<Wide>(at, 1);
    const uint32_t sign = unit_at<Wide>(at, 0);
    const bool negative = sign == '-';
    const Scanned scanned = scan_number(unit_place<Wide>(at, negative | (sign == '+')), separator);
    if (!scanned.plain) return read_any(text);
    const uint64_t magnitude = nearest_double(scanned.digits, scanned.exponent);
    return magnitude == unknown ? read_any(text) : with_sign(magnitude, negative);
}

template <typename Float>
inline int32_t parse_float(const void *src, void *dst)
{
    if (src == nullptr || dst == nullptr) return ZEMT_RC_ERROR;
    const uint64_t bits = read_number_text(bytes(src));
    if constexpr (sizeof(Float) == 8) {
        if (!is_finite(bits) || bits << 1 == 0) return ZEMT_RC_ERROR;
        store(dst, bits);
    } else {
        const uint32_t narrowed = narrow(bits);
        if ((narrowed & float_infinity) == float_infinity || narrowed << 1 == 0) return ZEMT_RC_ERROR;
        store(dst, narrowed);
    }
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

ZEMT_ROW(ZEMTCnvDblToWVarcharSz, format_float<double, double_digits>(src, dst, dstSize, outLen))
ZEMT_ROW(ZEMTCnvFltToWVarcharSz, format_float<float, float_digits>(src, dst, dstSize, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToDbl, parse_float<double>(src, dst))
ZEMT_ROW(ZEMTCnvWVarcharSzToFlt, parse_float<float>(src, dst))

int32_t FloatToString(double value, wchar_t *dst, int16_t digits) noexcept
{
    const auto bits = std::bit_cast<uint64_t>(value);
    if (digits < 0 || digits == INT16_MAX || !is_finite(bits)) return ZEMT_RC_ERROR;
    write_scientific(bytes(dst), bits, digits);
    return ZEMT_RC_OK;
}
