// Integers to and from decimal text: two templates, a row for each conversion of the common form, and the short forms.
#include <limits>
#include <type_traits>

#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// The digits of the longest text of an unsigned number of as many bits.
template <typename Int>
constexpr int most_digits = std::numeric_limits<std::make_unsigned_t<Int>>::digits10 + 1;

// Writes value, sign and terminator; zero is the empty text. Returns the number of characters. The positions written are those
// of the longest text of the type and its terminator.
template <typename Int, typename Unit>
inline int32_t format(char *dst, Int value)
{
    using Unsigned = std::make_unsigned_t<Int>;
    int32_t length = 0;
    if (value != 0) {
        // A first digit takes the place of the sign where there is none.
        if (std::is_signed_v<Int>) write_unit<Unit>(dst, 0, '-');
        const auto negative = static_cast<Unsigned>(value < 0);
        const auto magnitude = static_cast<Unsigned>((static_cast<Unsigned>(value) ^ (0u - negative)) + negative);
        length = static_cast<int32_t>(negative);
        length += write_number<Unit, most_digits<Int>>(unit_place<Unit>(dst, length), magnitude);
    }
    write_unit<Unit>(dst, length, 0);
    return length;
}

template <typename Int, typename Unit>
inline int32_t format_integer(const void *src, int32_t *srcLen, void *dst, int32_t *outLen)
{
    *outLen = format<Int, Unit>(bytes(dst), load<Int>(src));
    report_source_length(srcLen, sizeof(Int));
    return ZEMT_RC_OK;
}

template <typename Int, typename Unit>
inline int32_t parse_integer(const void *src, int32_t *srcLen, void *dst, int32_t *outLen)
{
    using Sum = std::conditional_t<sizeof(Int) == 8, uint64_t, uint32_t>;
    const char *const text = bytes(src);
    const bool negative = std::is_signed_v<Int> && unit_at<Unit>(text, 0) == '-';
    constexpr int few = most_digits<Int> <= 5 ? most_digits<Int> : 0;
    const auto [sum, end] = take_digits<Unit, few>(Sum{0}, unit_place<Unit>(text, negative));
    if (unit_at<Unit>(end, 0) != 0) return ZEMT_RC_ERROR;
    store(dst, static_cast<Int>(negative ? 0 - sum : sum));
    *outLen = sizeof(Int);
    report_source_length(srcLen, end - text);
    return ZEMT_RC_OK;
}

// The value builds up in *result, so that a refused character leaves what stood before it.
template <typename Unit>
inline int32_t read_field(const char *text, int32_t *result, int32_t start, int32_t count)
{
    uint32_t value = 0;
    bool negative = false;
    const char *at = unit_place<Unit>(text, start);
    for (; count > 0; --count, at += sizeof(Unit)) {
        const uint32_t character = unit_at<Unit>(at, 0);
        if (const uint32_t digit = character - '0'; digit <= 9) {
            value = value * 10 + digit;
        } else if (character == 0) {
            break;
        } else if (character == '-' && !negative) {
            negative = true;
        } else {
            *result = static_cast<int32_t>(value);
            return ZEMT_RC_ERROR;
        }
    }
    *result = static_cast<int32_t>(negative ? 0 - value : value);
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

// clang-format off
//       exported name                                integer   text
ZEMT_ROW(ZEMTCnvTinyIntToWVarcharSz,   format_integer<int8_t,   Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvSmallIntToWVarcharSz,  format_integer<int16_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvIntToWVarcharSz1,      format_integer<int32_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvLongLongToWVarcharSz,  format_integer<int64_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvTinyUIntToWVarcharSz,  format_integer<uint8_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvSmallUIntToWVarcharSz, format_integer<uint16_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvUIntToWVarcharSz,      format_integer<uint32_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvULONGLONGToWVarcharSz, format_integer<uint64_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvUIntToVarcharSz,       format_integer<uint32_t, char>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvULONGLONGToVarcharSz,  format_integer<uint64_t, char>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToTinyInt,   parse_integer<int8_t,   Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToSmallInt,  parse_integer<int16_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToInt1,      parse_integer<int32_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToLongLong,  parse_integer<int64_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToTinyUInt,  parse_integer<uint8_t,  Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToSmallUInt, parse_integer<uint16_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToUInt,      parse_integer<uint32_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvWVarcharSzToULONGLONG, parse_integer<uint64_t, Wide>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvVarcharSzToUInt,       parse_integer<uint32_t, char>(src, srcLen, dst, outLen))
ZEMT_ROW(ZEMTCnvVarcharSzToULONGLONG,  parse_integer<uint64_t, char>(src, srcLen, dst, outLen))
// clang-format on

int32_t ZEMTCnvIntToVarcharSz(int32_t value, char *dst, int32_t *outLen) noexcept
{
    *outLen = format<int32_t, char>(dst, value);
    return ZEMT_RC_OK;
}

int32_t ZEMTCnvIntToWVarcharSz(int32_t value, wchar_t *dst, int32_t *outLen) noexcept
{
    if (value <= 0) return ZEMT_RC_NOT_POSITIVE;
    *outLen = format<int32_t, Wide>(bytes(dst), value);
    return ZEMT_RC_OK;
}

int32_t ZEMTCnvVarcharSzToInt(const char *text, int32_t *result, int32_t start, int32_t count) noexcept
{
    return read_field<char>(text, result, start, count);
}

int32_t ZEMTCnvWVarcharSzToInt(const wchar_t *text, int32_t *result, int32_t start, int32_t count) noexcept
{
    return read_field<Wide>(bytes(text), result, start, count);
}
