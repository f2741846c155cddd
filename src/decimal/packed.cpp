// Packed decimal fields to and from text of digits.
#include <algorithm>
#include <array>
#include <bit>

#include "decimal_masks.h"
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

// Sanitizers take a read behind a field for a fault, although the page is there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEMT_READS_BYTEWISE 1
#elif defined(__has_feature)
#define ZEMT_READS_BYTEWISE                                                                                                    \
    (__has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || __has_feature(thread_sanitizer))
#else
#define ZEMT_READS_BYTEWISE 0
#endif

namespace zemt {
namespace {

// Nibbles in registers stand as in the field: the first in the highest bits.
constexpr uint64_t sign = 0xC;
constexpr uint64_t sign_bits = 0xF;
constexpr int64_t short_field = 16;  // bytes that two registers hold

// ---- To text ----------------------------------------------------------------------------------------------------------------

// The last size (1..8) bytes of a field at the right end of a register. Their parts may overlap.
inline uint64_t load_last(const char *end, int64_t size)
{
    const char *const at = end - size;
    if (size == 8) return __builtin_bswap64(load<uint64_t>(at));
    if (size >= 4) {
        const uint64_t upper = __builtin_bswap32(load<uint32_t>(at));
        return upper << 8 * (size - 4) | __builtin_bswap32(load<uint32_t>(end - 4));
    }
    if (size == 1) return static_cast<uint8_t>(at[0]);
    const uint64_t upper = __builtin_bswap16(load<uint16_t>(at));
    return upper << 8 * (size - 2) | __builtin_bswap16(load<uint16_t>(end - 2));
}

constexpr bool all_digits(uint64_t nibbles)
{
    return (nibbles & 0x8888888888888888 & (nibbles << 1 | nibbles << 2)) == 0;
}

// Sixteen nibbles as characters: 0x12... -> "12..."
inline std::array<uint64_t, 2> characters(uint64_t nibbles)
{
    const Bytes16 pairs = bytes16(__builtin_bswap64(nibbles), 0);
    const Bytes16 digits =
        __builtin_shufflevector(pairs >> 4, pairs & 0x0F, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    return std::bit_cast<std::array<uint64_t, 2>>(digits + '0');
}

// Writes the first count (1..15) of 16 nibbles.
template <typename Unit>
inline void write_up_to_15(char *dst, uint64_t nibbles, int32_t count)
{
    const auto [low, high] = characters(nibbles);
    if (count <= 8) return write_up_to_8<Unit>(dst, low, count);
    write_bytes<Unit, 8>(dst, low);
    write_bytes<Unit, 8>(unit_place<Unit>(dst, count - 8), low >> (8 * count - 64) | high << (128 - 8 * count));
}

template <typename Unit>
inline void write_16(char *dst, uint64_t nibbles)
{
    const auto [low, high] = characters(nibbles);
    write_bytes<Unit, 8>(dst, low);
    write_bytes<Unit, 8>(unit_place<Unit>(dst, 8), high);
}

// Writes the digits of a short field without leading zeros; returns how many they are, or -1 where one is above 9.
template <typename Unit>
inline int32_t unpack_short(char *dst, const char *field, int64_t size)
{
    const uint64_t low = load_last(field + size, std::min(size, int64_t{8}));
    const uint64_t high = size > 8 ? load_last(field + size - 8, size - 8) : 0;
    const uint64_t digits = low & ~sign_bits;
    if (!all_digits(digits) || !all_digits(high)) return -1;
    if (high == 0) {
        const int zeros = std::countl_zero(low | sign) / 4;  // the sign is never one of them
        if (zeros < 15) write_up_to_15<Unit>(dst, digits << 4 * zeros, 15 - zeros);
        return 15 - zeros;
    }
    const int zeros = std::countl_zero(high) / 4;
    write_16<Unit>(dst, high << 4 * zeros | digits >> 1 >> (63 - 4 * zeros));
    write_16<Unit>(unit_place<Unit>(dst, 15 - zeros), high << 60 | low >> 4);
    return 31 - zeros;
}

// Whether all of a field can be read if its first byte can. It may be shorter than its precision says and end with its sign.
inline bool stands_on_one_page([[maybe_unused]] const char *field, [[maybe_unused]] int64_t size)
{
#if ZEMT_READS_BYTEWISE
    return false;
#else
    constexpr int64_t page = 4096;
    return static_cast<int64_t>(reinterpret_cast<uintptr_t>(field) % page) + size <= page;
#endif
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
    const int64_t size = ZEMT_SIZE_DEC_KEST(parms->precision);
    report_source_length(srcLen, size);
    if (size <= short_field && stands_on_one_page(bytes(src), size)) {
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
struct TakenNibbles {
    uint64_t nibbles;
    int count;
};

template <typename Unit>
inline TakenNibbles take_nibbles(const char *text)
{
    TakenNibbles taken{0, 0};
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
    write_up_to_8<char>(end - size, __builtin_bswap64(nibbles) >> (64 - 8 * size), static_cast<int>(size));
}

// What packs a text returns how many characters it has, or -1 where they are more than the field holds.

template <typename Unit>
inline int64_t pack_short(char *field, int64_t size, const char *text)
{
    const TakenNibbles first = take_nibbles<Unit>(text);
    const TakenNibbles second = first.count < 16 ? TakenNibbles{0, 0} : take_nibbles<Unit>(unit_place<Unit>(text, 16));
    const int64_t length = first.count + second.count;
    if (length >= 2 * size) return -1;
    const int shift = 4 * second.count;
    const uint64_t low = first.nibbles << shift | second.nibbles;
    store_last(field + size, low << 4 | sign, size < 8 ? size : 8);
    if (size > 8) {
        const uint64_t high = first.nibbles >> 4 >> (60 - shift);
        store_last(field + size - 8, high << 4 | low >> 60, size - 8);
    }
    return length;
}

template <typename Unit>
[[gnu::noinline]] inline int64_t pack_long(char *field, int64_t size, const char *text)
{
    int64_t length = 0;
    while (unit_at<Unit>(text, length) != 0) {
        if (++length == 2 * size) return -1;
    }
    int64_t left = length;
    uint32_t low = sign;
    for (int64_t i = size - 1; i >= 0; --i, low = left > 0 ? unit_at<Unit>(text, --left) & 0xF : 0) {
        const uint32_t high = left > 0 ? unit_at<Unit>(text, --left) & 0xF : 0;
        field[i] = static_cast<char>(high << 4 | low);
    }
    return length;
}

template <typename Unit>
inline int64_t pack(char *field, int64_t size, const char *text)
{
#if ZEMT_X86_64
    if (size > 8 && 2 * size <= most_masked && has_byte_masks()) {
        const int64_t length = terminated_length<Unit>(text);
        if (length >= 2 * size) return -1;
        pack_nibbles<Unit>(field, size, text, length, sign);
        return length;
    }
#endif
    return size <= short_field ? pack_short<Unit>(field, size, text) : pack_long<Unit>(field, size, text);
}

template <typename Unit>
inline int32_t text_to_packed(const void *src, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (parms->precision < 0) return ZEMT_RC_ERROR;
    const int64_t size = ZEMT_SIZE_DEC_KEST(parms->precision);
    const int64_t length = pack<Unit>(bytes(dst), size, bytes(src));
    if (length < 0) return ZEMT_RC_ERROR;
    *outLen = static_cast<int32_t>(size);
    report_source_length(srcLen, length * int64_t{sizeof(Unit)});
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

ZEMT_ROW(ZEMTCnvDecKestToVarcharSz, packed_to_text<char>(src, srcLen, dst, outLen, parms))
ZEMT_ROW(ZEMTCnvDecKestToWVarcharSz, packed_to_text<Wide>(src, srcLen, dst, outLen, parms))
ZEMT_ROW(ZEMTCnvVarcharSzToDecKest, text_to_packed<char>(src, srcLen, dst, outLen, parms))
ZEMT_ROW(ZEMTCnvWVarcharSzToDecKest, text_to_packed<Wide>(src, srcLen, dst, outLen, parms))
