// Date/time records to text: the formatter, its eight conversions, and the texts of fixed shape.
#include <algorithm>
#include <cstring>

#include "components.h"
#include "format_language.h"
#include "scratch.h"
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// ---- Numbers ----------------------------------------------------------------------------------------------------------------

// What writes at a place in a room that ends at full returns where it has ended, or null where that and a terminator do not fit.

// Writes a number as "%.*d" does.
template <typename Unit>
[[gnu::noinline]] inline char *put_any_number(char *at, const char *full, int32_t number, int32_t digits)
{
    char reversed[11];  // 10 digits and a sign
    int32_t count = 0;
    auto magnitude = number < 0 ? 0 - static_cast<uint32_t>(number) : static_cast<uint32_t>(number);
    for (; magnitude != 0 || count < digits; magnitude /= 10) reversed[count++] = static_cast<char>('0' + magnitude % 10);
    if (number < 0) reversed[count++] = '-';
    if (units_between<Unit>(at, full) <= count) return nullptr;
    for (; count > 0; at += sizeof(Unit)) write_unit<Unit>(at, 0, static_cast<uint32_t>(reversed[--count]));
    return at;
}

// The same where that is, as usual, the very number of digits, and even.
template <int32_t digits>
inline char *put_number(char *at, const char *full, int32_t number)
{
    constexpr uint32_t limit = digits == 2 ? 100 : digits == 4 ? 10000 : 1000000;
    auto value = static_cast<uint32_t>(number);
    if (value >= limit || full - at <= digits * 4) [[unlikely]]
        return put_any_number<Wide>(at, full, number, digits);
    for (int32_t pair = digits - 2; pair > 0; pair -= 2, value /= 100) write_pair<Wide>(at + pair * 4, value % 100);
    write_pair<Wide>(at, value);
    return at + digits * 4;
}

// ---- The formatter -----------------------------------------------------------------------------------------------------------

constexpr int32_t no_room = -1;

// A bit for each component that a record of that kind has.
constexpr uint32_t components_in(int32_t kind)
{
    constexpr uint32_t date = 1 << Year | 1 << Month | 1 << Day;
    constexpr uint32_t time = 1 << Hour | 1 << Minute | 1 << Second;
    if (kind == ZEMT_KIND_TIMESTAMP) return date | time | 1 << Fraction;
    return kind == ZEMT_KIND_DATE ? date : kind == ZEMT_KIND_TIME ? time : 0;
}

struct Indicator {
    char *place = nullptr;  // where it goes; none yet
    const wchar_t *text = L"  ";
};

inline char *put_name(char *at, const char *full, int32_t month, bool abbreviated)
{
    if (month < 1 || month > 12) return nullptr;
    const MonthName &name = ZEMT_FullMonths[month - 1];
    const int32_t length = abbreviated ? abbreviated_month : name.length;
    if (full - at <= length * 4) return nullptr;
    std::memcpy(at, name.name, static_cast<size_t>(length) * 4);
    return unit_place<Wide>(at, length);
}

inline char *put_component(char *at, const char *full, uint32_t code, Meaning meaning, const Components &components,
                           Indicator &indicator)
{
    int32_t number = components[meaning.component];
    switch (code) {
    case ZEMT_FMT_MONTH:
    case ZEMT_FMT_MMM: return put_name(at, full, number, code == ZEMT_FMT_MMM);
    case ZEMT_FMT_PM: indicator.place = at; return at;
    case ZEMT_FMT_YYYY: return put_number<4>(at, full, number);
    case ZEMT_FMT_FFFFFF: return put_number<6>(at, full, number);
    case ZEMT_FMT_YY: number %= 100; break;
    case ZEMT_FMT_HH24: indicator.place = nullptr; break;
    case ZEMT_FMT_HH:
        indicator.text = number <= 12 ? L"AM" : L"PM";
        number -= number <= 12 ? 0 : 12;
        break;
    default:
        if (meaning.digits != 2) return put_any_number<Wide>(at, full, number, meaning.digits);
    }
    return put_number<2>(at, full, number);
}

// Writes a record's text and returns how many characters it has, or no_room.
ALWAYS_INLINE int32_t format(char *dst, int32_t size, const ZEMTFmtItem *list, const Components &components, int32_t kind)
{
    if (size <= 0) return no_room;
    const char *const full = unit_place<Wide>(dst, size);
    uint32_t pending = components_in(kind);
    const uint32_t other_kinds = pending != 0 ? ~static_cast<uint32_t>(kind) : ~0u;  // are not written
    char *at = dst;
    bool cut = false;  // by a literal that is a terminator
    Indicator indicator;
    for (const ZEMTFmtItem *entry = list; entry->code != ZEMT_FMT_END; ++entry) {
        const Meaning meaning = meaning_of(entry->code);
        if (meaning.kind != 0) {
            if ((meaning.kind & other_kinds) == 0) at = put_component(at, full, entry->code, meaning, components, indicator);
            if (at == nullptr) return no_room;
            pending &= ~(1u << meaning.component);
        } else {
            if (full - at < 8) return no_room;
            write_unit<Wide>(at, 0, static_cast<uint32_t>(entry->ch));
            cut |= entry->ch == L'\0';
            at += 4;
        }
        if (pending == 0) break;
    }
    if (indicator.place != nullptr) {
        if (full - at <= 8) return no_room;
        std::memmove(indicator.place + 8, indicator.place, static_cast<size_t>(at - indicator.place));
        std::memcpy(indicator.place, indicator.text, 8);
        at += 8;
    }
    write_unit<Wide>(at, 0, 0);
    return static_cast<int32_t>(cut ? terminated_length<Wide>(dst) : units_between<Wide>(dst, at));
}

// ---- The conversions ---------------------------------------------------------------------------------------------------------

template <typename Record, int32_t kind>
inline int32_t format_in_place(const void *src, void *dst, int32_t dstSize, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    const Components components = components_of<Record>(src);
    if (const int32_t status = check(components, kind); status != ZEMT_RC_OK) return status;
    const int32_t length = format(bytes(dst), dstSize / 4, parms->dateFormat->formatCodes, components, kind);
    if (length == no_room) return ZEMT_RC_ERROR;
    *outLen = length;
    return ZEMT_RC_OK;
}

// No code reaches this many characters for each of its format.
constexpr int64_t room_for_format_character = 16;

// Texts of up to this many characters, which those of all formats of up to 31 are, are written without heap memory.
constexpr int64_t longest_on_stack = 255;

inline int32_t format_through(ZEMTConversion *deliver, const void *src, void *dst, int32_t dstSize, int32_t *outLen,
                              const ZEMTCnvParms *parms)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    const Components components = components_of<ZEMTTS>(src);
    if (const int32_t status = check(components, ZEMT_KIND_TIMESTAMP); status != ZEMT_RC_OK) return status;
    const int64_t longest = std::min<int64_t>(parms->dateFormat->formatLength * room_for_format_character, INT32_MAX);
    for (int64_t size = std::min(longest, longest_on_stack + 1);; size = longest) {
        Scratch<wchar_t, longest_on_stack + 1> scratch(static_cast<size_t>(std::max<int64_t>(size, 0)));
        wchar_t *const text = scratch.items();
        if (text == nullptr) return ZEMT_RC_ERROR;
        const auto room = static_cast<int32_t>(size);
        if (format(bytes(text), room, parms->dateFormat->formatCodes, components, ZEMT_KIND_TIMESTAMP) != no_room)
            return deliver(text, nullptr, dst, dstSize, outLen, parms);
        if (size >= longest) return ZEMT_RC_ERROR;
    }
}

// ---- The fixed shape ---------------------------------------------------------------------------------------------------------

template <typename Unit>
inline int32_t format_fixed_shape(const ZEMTTS &ts, char *buf, int32_t size, int32_t *outLen)
{
    if (size <= 0) return ZEMT_RC_ERROR;
    const struct {
        char separator;  // in front
        int32_t number, digits;
    } pieces[] = {{'\0', ts.day, 2},   {'/', ts.month, 2},  {'/', ts.year, 4},    {' ', ts.hour, 2},
                  {':', ts.minute, 2}, {':', ts.second, 2}, {':', ts.fraction, 6}};
    const char *const full = unit_place<Unit>(buf, size);
    char *at = buf;
    for (const auto &piece : pieces) {
        if (at != buf) {
            write_unit<Unit>(at, 0, static_cast<uint32_t>(piece.separator));
            at += sizeof(Unit);
        }
        at = put_any_number<Unit>(at, full, piece.number, piece.digits);
        if (at == nullptr) return ZEMT_RC_ERROR;
    }
    write_unit<Unit>(at, 0, 0);
    if (outLen != nullptr) *outLen = static_cast<int32_t>(units_between<Unit>(buf, at));
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

int32_t ZEMTTSToWVarcharSz(wchar_t *dst, int32_t size, const ZEMTFmtItem *list, const ZEMTTS *ts, int32_t mode) noexcept
{
    if (dst == nullptr || list == nullptr || ts == nullptr) return ZEMT_RC_ERROR;
    return format(bytes(dst), size, list, components_of<ZEMTTS>(ts), mode) == no_room ? ZEMT_RC_ERROR : ZEMT_RC_OK;
}

ZEMT_ROW(ZEMTCnvZEMTDateToWVarcharSz, format_in_place<ZEMTDate, ZEMT_KIND_DATE>(src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTimeToWVarcharSz, format_in_place<ZEMTTime, ZEMT_KIND_TIME>(src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToWVarcharSz, format_in_place<ZEMTTS, ZEMT_KIND_TIMESTAMP>(src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToWchar, format_through(ZEMTCnvWVarcharSzToWChar, src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToWVarchar, format_through(ZEMTCnvWVarcharSzToWVarchar, src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToChar, format_through(ZEMTCnvWVarcharSzToChar, src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToVarchar, format_through(ZEMTCnvWVarcharSzToVarchar, src, dst, dstSize, outLen, parms))
ZEMT_ROW(ZEMTCnvZEMTTSToVarcharSz, format_through(ZEMTCnvWVarcharSzToVarcharSz, src, dst, dstSize, outLen, parms))

int32_t ZEMTGetStringFromTS(const ZEMTTS *ts, wchar_t *buf, int32_t size, int32_t *outLen) noexcept
{
    return format_fixed_shape<Wide>(*ts, bytes(buf), size, outLen);
}

int32_t ZEMTGetStringAFromTS(const ZEMTTS *ts, char *buf, int32_t size, int32_t *outLen) noexcept
{
    return format_fixed_shape<char>(*ts, buf, size, outLen);
}
