// Oracle VARNUM to and from plain decimal text.
#include <algorithm>
#include <bit>

#include "decimal_masks.h"
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// All digits here are to the base 100, the most significant first. The exponent of a number is that of its first digit.
constexpr int most_digits = 20;
constexpr int least_exponent = -65;
constexpr int largest_exponent = 62;
constexpr int longest_value = 1 + most_digits;  // what the length byte may count: exponent and digits
constexpr uint8_t negative_end = 102;
constexpr int positive_bias = 193;
constexpr int negative_bias = 62;

// The longest text that is converted: 266 decimal digits make at most 134 pairs, where the point splits two of them.
constexpr int64_t longest_number = 266;
constexpr int longest_pairs = 134;

// ---- To text ----------------------------------------------------------------------------------------------------------------

template <typename Unit>
inline char *write_zeros(char *dst, int count)
{
    for (; count > 0; --count, dst += sizeof(Unit)) write_unit<Unit>(dst, 0, '0');
    return dst;
}

template <typename Unit>
inline char *write_pairs(char *dst, const uint8_t *digits, int count)
{
    for (int i = 0; i < count; ++i, dst += 2 * sizeof(Unit)) write_pair<Unit>(dst, digits[i] - 1u);
    return dst;
}

// Writes the text of digits as they are stored, without terminator, and returns its end; null where one is no digit: "100",
// "1.50", ".0050". The first pair of an integer part loses a leading zero, and no other zero is dropped or added.
template <typename Unit>
[[gnu::noinline]] inline char *write_decimal(char *dst, const uint8_t *digits, int count, int exponent)
{
    if (!std::all_of(digits, digits + count, [](uint32_t stored) { return stored - 1 < 100; })) return nullptr;
    const int integers = std::clamp(exponent + 1, 0, count);
    if (integers > 0) {
        const uint32_t first = digits[0] - 1u;
        write_pair<Unit>(dst, first);
        if (first < 10) write_unit<Unit>(dst, 0, '0' + first);
        dst = write_pairs<Unit>(unit_place<Unit>(dst, first < 10 ? 1 : 2), digits + 1, integers - 1);
        dst = write_zeros<Unit>(dst, 2 * (exponent + 1 - integers));
    }
    if (integers == count) return dst;
    write_unit<Unit>(dst, 0, '.');
    dst = write_zeros<Unit>(unit_place<Unit>(dst, 1), 2 * (-1 - exponent));
    return write_pairs<Unit>(dst, digits + integers, count - integers);
}

#if ZEMT_X86_64
// The same for a number whose point stands in or next to its digits, without a branch on any of that, and with its terminator.
template <typename Unit>
[[gnu::noinline]] ZEMT_BYTE_MASKS inline int32_t write_by_masks(char *dst, const uint8_t *stored, int count, int exponent,
                                                                int32_t *outLen)
{
    const __m256i digits = _mm256_maskz_loadu_epi8(static_cast<__mmask32>(first_of_64(count)), stored);
    const __m256i values = _mm256_sub_epi8(digits, _mm256_set1_epi8(1));
    if (_mm256_cmple_epu8_mask(values, _mm256_set1_epi8(99)) != first_of_64(count)) return ZEMT_RC_ERROR;
    const int dropped = exponent >= 0 && stored[0] <= 10 ? 1 : 0;
    const int integers = 2 * (exponent + 1) - dropped;
    const bool has_point = exponent + 1 < count;
    const int length = has_point ? 2 * count - dropped + 1 : integers;
    *outLen = length;
    store_decimal<Unit>(dst, values, count, dropped, has_point ? integers : 63, length);
    return ZEMT_RC_OK;
}
#endif

template <typename Unit>
inline int32_t varnum_to_text(const void *src, int32_t *srcLen, void *dst, int32_t *outLen)
{
    const auto *const varnum = static_cast<const uint8_t *>(src);
    char *const text = bytes(dst);
    const int length = varnum[0];
    *outLen = 0;
    *srcLen = length + 1;
    if (length < 1 || length > longest_value) return ZEMT_RC_ERROR;
    const int count = length - 1;
    const int exponent = varnum[1] - positive_bias;
    if (exponent < least_exponent) return ZEMT_RC_ERROR;
    if (count == 0) {
        if (exponent != least_exponent) return ZEMT_RC_ERROR;
        write_unit<Unit>(text, 0, '0');
        write_unit<Unit>(text, 1, 0);
        *outLen = 1;
        return ZEMT_RC_OK;
    }
#if ZEMT_X86_64
    if (count > 1 && exponent >= -1 && exponent < most_digits && has_byte_masks())
        return write_by_masks<Unit>(text, varnum + 2, count, exponent, outLen);
#endif
    char *const end = write_decimal<Unit>(text, varnum + 2, count, exponent);
    if (end == nullptr) return ZEMT_RC_ERROR;
    write_unit<Unit>(end, 0, 0);
    *outLen = static_cast<int32_t>(units_between<Unit>(text, end));
    return ZEMT_RC_OK;
}

// ---- From digits ------------------------------------------------------------------------------------------------------------

inline int write_zero(uint8_t *dst)
{
    dst[0] = 1;
    dst[1] = positive_bias + least_exponent;
    return 2;
}

// Writes a number whose first digit has that exponent, and returns its size; 0 where the exponent is too large. Digits behind
// the 20th are dropped.
inline int write_varnum(uint8_t *dst, const uint8_t *digits, int count, int exponent, bool negative)
{
    while (count > 0 && digits[count - 1] == 0) --count;
    for (; count > 0 && digits[0] == 0; ++digits, --count) --exponent;
    if (count <= 0 || exponent < least_exponent) return write_zero(dst);
    if (exponent > largest_exponent) return 0;
    count = std::min(count, most_digits);
    for (int i = 0; i < count; ++i) dst[2 + i] = static_cast<uint8_t>(negative ? 101 - digits[i] : digits[i] + 1);
    dst[1] = static_cast<uint8_t>(negative ? negative_bias - exponent : positive_bias + exponent);
    int size = 2 + count;
    if (negative && count < most_digits) dst[size++] = negative_end;
    dst[0] = static_cast<uint8_t>(size - 1);
    return size;
}

// ---- From text --------------------------------------------------------------------------------------------------------------

// Any text: writes a VARNUM and returns its size; 0 where the text is no number or one that does not fit.
template <typename Unit>
[[gnu::noinline]] inline int read_any(uint8_t *dst, const char *text, int64_t length)
{
    if (length > longest_number + 1) return 0;
    uint8_t digits[longest_number + 3];
    uint8_t *end = digits;
    *end++ = 0;
    const auto take = [&end, text](int64_t from) {
        for (uint32_t digit; (digit = unit_at<Unit>(text, from) - '0') <= 9; ++from) *end++ = static_cast<uint8_t>(digit);
        return from;
    };
    const int64_t integers = take(0);
    const int64_t taken = unit_at<Unit>(text, integers) == '.' ? take(integers + 1) : integers;
    if (taken != length || end - digits > longest_number + 1) return 0;
    *end = 0;
    // The digits on either side of the point are paired: "123.4" -> 1, 23, 40.
    const uint8_t *const first = digits + 1 - integers % 2;
    const auto count = static_cast<int>((end - first + 1) / 2);
    uint8_t pairs[longest_pairs];
    for (int i = 0; i < count; ++i) pairs[i] = static_cast<uint8_t>(first[2 * i] * 10 + first[2 * i + 1]);
    return write_varnum(dst, pairs, count, static_cast<int>((integers + 1) / 2) - 1, false);
}

#if ZEMT_X86_64
// The same for a text of up to most_masked characters, without a branch on where its point is.
template <typename Unit>
ZEMT_BYTE_MASKS inline int read_usual(uint8_t *dst, const char *text, int64_t length)
{
    const PairedDigits pairs = pair_by_masks<Unit>(text, length);
    if (!pairs.valid) return 0;
    if (pairs.nonzero == 0) return write_zero(dst);
    const int leading = std::countr_zero(pairs.nonzero);
    const int count = std::min(32 - std::countl_zero(pairs.nonzero) - leading, most_digits);
    const auto exponent = static_cast<uint32_t>(positive_bias + pairs.exponent - leading);
    const int size = 2 + count;
    store_digits(dst, static_cast<uint32_t>(size - 1) | exponent << 8, pairs.digits, leading, size);
    return size;
}
#endif

template <typename Unit>
inline int32_t text_to_varnum(const void *src, int32_t *srcLen, void *dst, int32_t *outLen)
{
    const char *const text = bytes(src);
    auto *const varnum = static_cast<uint8_t *>(dst);
    if (text == nullptr || unit_at<Unit>(text, 0) == 0) {
        *outLen = write_zero(varnum);
        return ZEMT_RC_OK;
    }
    const int64_t length = terminated_length<Unit>(text);
    *srcLen = static_cast<int16_t>(length);
#if ZEMT_X86_64
    const bool usual = length <= most_masked && has_byte_masks();
    const int size = usual ? read_usual<Unit>(varnum, text, length) : read_any<Unit>(varnum, text, length);
#else
    const int size = read_any<Unit>(varnum, text, length);
#endif
    if (size == 0) return ZEMT_RC_ERROR;
    *outLen = size;
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

ZEMT_ROW(ZEMTCnvOraVarnumToVarcharSz_Unsigned, varnum_to_text<char>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvOraVarnumToWVarcharSz_Unsigned, varnum_to_text<Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvVarcharSz_UnsignedToOraVarnum, text_to_varnum<char>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSz_UnsignedToOraVarnum, text_to_varnum<Wide>(src, srcLen, dst, outLen))

int16_t ConvertBCDToOraVarNum(void *dst, uint8_t *digits, int16_t count, int16_t scale, char sign) noexcept
{
    if ((sign != '+' && sign != '-') || count >= longest_pairs) return ZEMT_RC_ERROR;
    // Times 10 where the point would stand inside a digit: 12, 34 -> 1, 23, 40.
    const int shift = scale % 2 != 0 && count > 0 ? 1 : 0;
    uint8_t aligned[longest_pairs];
    for (int i = 0; i < count + shift; ++i) {
        const int upper = i > 0 ? digits[i - 1] : 0;
        const int lower = i < count ? digits[i] : 0;
        aligned[i] = static_cast<uint8_t>(shift != 0 ? upper % 10 * 10 + lower / 10 : lower);
    }
    const int exponent = count + shift - (scale + shift) / 2 - 1;
    const int size = write_varnum(static_cast<uint8_t *>(dst), aligned, count + shift, exponent, sign == '-');
    return size == 0 ? ZEMT_RC_ERROR : ZEMT_RC_OK;
}
