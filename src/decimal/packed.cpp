// Packed decimal fields to and from text of digits.
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// Nibbles in registers stand as in the field: the first in the highest bits.
constexpr uint64_t sign = 0xC;
constexpr int64_t short_field = 16;  // bytes that two registers hold

constexpr int64_t field_size(int32_t precision)
{
    return (int64_t{precision} + 2) / 2;
}

struct Nibbles {
    uint64_t high, low;
};

// ---- To text ----------------------------------------------------------------------------------------------------------------

// The digits of a short field at the right end of two registers.
inline Nibbles load_digits(const char *field, int64_t size)
{
    if (size <= 8) return {0, __builtin_bswap64(load_up_to_8(field, static_cast<int>(size))) >> (64 - 8 * size) >> 4};
    const uint64_t low = __builtin_bswap64(load<uint64_t>(field + size - 8));
    const uint64_t high = __builtin_bswap64(load<uint64_t>(field)) >> 4 * (16 - size) >> 4 * (16 - size);
    return {high >> 4, high << 60 | low >> 4};
}

constexpr bool has_stranger(uint64_t nibbles)
{
    return (nibbles & 0x8888888888888888 & (nibbles << 1 | nibbles << 2)) != 0;
}

// Nibbles without their leading zeros at the left end of the register, and how many they are.
struct Significant {
    uint64_t nibbles;
    int count;
};

inline Significant without_leading_zeros(uint64_t nibbles)
{
    const int zeros = std::countl_zero(nibbles) / 4;
    return {nibbles << (4 * zeros & 63), 16 - zeros};
}

template <typename Unit>
inline void write_eight(char *dst, uint64_t nibbles)
{
    write_digits<Unit>(dst, split_nibbles(static_cast<uint32_t>(nibbles >> 32)));
}

// Writes the first count (2, 4 ... 16) nibbles of a register.
template <typename Unit>
inline void write_nibbles(char *dst, uint64_t nibbles, int64_t count)
{
    const uint64_t first = split_nibbles(static_cast<uint32_t>(nibbles >> 32));
    switch (count) {
    case 2: return write_digits<Unit, 2>(dst, first);
    case 4: return write_digits<Unit, 4>(dst, first);
    case 6: return write_digits<Unit, 6>(dst, first);
    default: write_digits<Unit>(dst, first); write_eight<Unit>(unit_place<Unit>(dst, count - 8), nibbles << 4 * (count - 8));
    }
}

// Writes the digits of a short field without leading zeros; returns how many they are, or -1 where one is above 9. The room of
// 2 * size positions is overwritten.
template <typename Unit>
inline int32_t unpack_short(char *dst, const char *field, int64_t size)
{
    const Nibbles digits = load_digits(field, size);
    if (has_stranger(digits.high) || has_stranger(digits.low)) return -1;
    if (size <= 8) {
        const Significant significant = without_leading_zeros(digits.low);
        write_nibbles<Unit>(dst, significant.nibbles, 2 * size);
        return significant.count;
    }
    const bool one = digits.high == 0;
    const Significant first = without_leading_zeros(one ? digits.low : digits.high);
    const uint64_t behind = one ? 0 : digits.low;
    const int free = 4 * (16 - first.count) & 63;
    const uint64_t left = first.nibbles | behind >> 1 >> (63 - free);
    write_nibbles<Unit>(dst, left, 16);
    const uint64_t right = behind << free;
    const int64_t rest = 2 * size - 16;
    write_nibbles<Unit>(unit_place<Unit>(dst, 16), right, rest);
    return first.count + (one ? 0 : 16);
}

template <typename Unit>
[[gnu::noinline]] inline int32_t unpack_long(char *dst, const char *field, int64_t size, int32_t *outLen)
{
    int32_t count = 0;
    int32_t status = ZEMT_RC_OK;
    for (int64_t i = 0; i < 2 * size - 1; ++i) {
        const auto byte = static_cast<uint8_t>(field[i / 2]);
        const uint32_t digit = i % 2 == 0 ? byte >> 4 : byte & 0xF;
        if (digit > 9) {
            status = ZEMT_RC_ERROR;
            break;
        }
        if (count > 0 || digit > 0) write_unit<Unit>(dst, count++, '0' + digit);
    }
    write_unit<Unit>(dst, count, 0);
    *outLen = count;
    return status;
}

template <typename Unit>
inline int32_t packed_to_text(const void *src, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (parms->precision < 0) return ZEMT_RC_ERROR;
    const int64_t size = field_size(parms->precision);
    report_source_length(srcLen, size);
    if (size <= short_field) {
        const int32_t count = unpack_short<Unit>(bytes(dst), bytes(src), size);
        if (count >= 0) {
            write_unit<Unit>(bytes(dst), count, 0);
            *outLen = count;
            return ZEMT_RC_OK;
        }
    }
    return unpack_long<Unit>(bytes(dst), bytes(src), size, outLen);
}

// ---- From text --------------------------------------------------------------------------------------------------------------

// The low four bits of characters up to a terminator or as many as a register holds, at its right end.
struct Taken {
    uint64_t nibbles;
    int count;
};

template <typename Unit>
inline Taken take_nibbles(const char *text)
{
    Taken taken{0, 0};
    while (taken.count < 16) {
        uint32_t group = 0;
        for (int i = 0; i < 4; ++i) {
            const uint32_t character = unit_at<Unit>(text, taken.count + i);
            if (character == 0) return {taken.nibbles << 4 * i | group, taken.count + i};
            group = group << 4 | (character & 0xF);
        }
        taken.nibbles = taken.nibbles << 16 | group;
        taken.count += 4;
    }
    return taken;
}

inline void store_last(char *end, uint64_t nibbles, int64_t size)
{
    store_up_to_8(end - size, __builtin_bswap64(nibbles) >> (64 - 8 * size), static_cast<int>(size));
}

template <typename Unit>
inline bool pack_short(char *field, int64_t size, const char *text, int64_t *length)
{
    const Taken first = take_nibbles<Unit>(text);
    const Taken second = first.count < 16 ? Taken{0, 0} : take_nibbles<Unit>(unit_place<Unit>(text, 16));
    *length = first.count + second.count;
    if (*length >= 2 * size) return false;
    const int shift = 4 * second.count;
    const uint64_t low = first.nibbles << shift | second.nibbles;
    store_last(field + size, low << 4 | sign, size < 8 ? size : 8);
    if (size > 8) {
        const uint64_t high = first.nibbles >> 4 >> (60 - shift);
        store_last(field + size - 8, high << 4 | low >> 60, size - 8);
    }
    return true;
}

template <typename Unit>
[[gnu::noinline]] inline bool pack_long(char *field, int64_t size, const char *text, int64_t *length)
{
    int64_t left = 0;
    while (unit_at<Unit>(text, left) != 0) {
        if (++left == 2 * size) return false;
    }
    *length = left;
    uint32_t low = sign;
    for (int64_t i = size - 1; i >= 0; --i, low = left > 0 ? unit_at<Unit>(text, --left) & 0xF : 0) {
        const uint32_t high = left > 0 ? unit_at<Unit>(text, --left) & 0xF : 0;
        field[i] = static_cast<char>(high << 4 | low);
    }
    return true;
}

template <typename Unit>
inline int32_t text_to_packed(const void *src, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (parms->precision < 0) return ZEMT_RC_ERROR;
    const int64_t size = field_size(parms->precision);
    int64_t length;
    const bool packed = size <= short_field ? pack_short<Unit>(bytes(dst), size, bytes(src), &length)
                                            : pack_long<Unit>(bytes(dst), size, bytes(src), &length);
    if (!packed) return ZEMT_RC_ERROR;
    *outLen = static_cast<int32_t>(size);
    report_source_length(srcLen, length * int64_t{sizeof(Unit)});
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

#define TO_TEXT(name, Unit)                                                                                                    \
    ZEMT_COMMON_FORM(name)                                                                                                     \
    {                                                                                                                          \
        return packed_to_text<Unit>(src, srcLen, dst, outLen, parms);                                                          \
    }
#define FROM_TEXT(name, Unit)                                                                                                  \
    ZEMT_COMMON_FORM(name)                                                                                                     \
    {                                                                                                                          \
        return text_to_packed<Unit>(src, srcLen, dst, outLen, parms);                                                          \
    }

TO_TEXT(ZEMTCnvDecKestToVarcharSz, char)
TO_TEXT(ZEMTCnvDecKestToWVarcharSz, Wide)
FROM_TEXT(ZEMTCnvVarcharSzToDecKest, char)
FROM_TEXT(ZEMTCnvWVarcharSzToDecKest, Wide)
