// Date/time records to text: the formatter, its eight conversions, and the texts of fixed shape.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "format_language.h"
#include "scratch.h"
#include "text/calling_form.h"
#include "text/digits.h"
#include "text/layouts.h"
#include "validation.h"

namespace zemt {
namespace {

// ---- Numbers ----------------------------------------------------------------------------------------------------------------

constexpr int32_t no_room = -1;

// Writes a number that its digits do not hold, or that has an odd number of them.
template <typename Unit>
__attribute__((noinline)) int32_t put_any_number(char *dst, int32_t room, int32_t number, int32_t digits)
{
    char reversed[11];  // 10 digits and a sign
    int32_t count = 0;
    auto magnitude = number < 0 ? 0 - static_cast<uint32_t>(number) : static_cast<uint32_t>(number);
    for (; magnitude != 0 || count < digits; magnitude /= 10) reversed[count++] = static_cast<char>('0' + magnitude % 10);
    if (number < 0) reversed[count++] = '-';
    if (count >= room) return no_room;
    for (int32_t i = 0; i < count; ++i) write_unit<Unit>(dst, i, static_cast<uint32_t>(reversed[count - 1 - i]));
    return count;
}

// Writes a number as "%.*d" does; returns its characters, or no_room where they and a terminator do not fit.
template <typename Unit, int32_t digits>
inline int32_t put_number(char *dst, int32_t room, int32_t number)
{
    constexpr int unit = sizeof(Unit);
    constexpr uint32_t limit = digits == 2 ? 100 : digits == 4 ? 10000 : digits == 6 ? 1000000 : 0;
    auto value = static_cast<uint32_t>(number);
    if (value >= limit || room <= digits) return put_any_number<Unit>(dst, room, number, digits);
    for (int32_t at = digits - 2; at > 0; at -= 2, value /= 100) write_pair<Unit>(dst + at * unit, value % 100);
    write_pair<Unit>(dst, value);
    return digits;
}

// ---- The formatter -----------------------------------------------------------------------------------------------------------

enum Component : uint8_t { Year = 0x40, Month = 0x20, Day = 0x10, Hour = 0x08, Minute = 0x04, Second = 0x02, Fraction = 0x01 };
enum Mode : uint8_t { Date = 1, Time = 2, Timestamp = 4, Other = 8, Always = 15 };

// In which modes a code writes, and what it then has written.
struct Rule {
    uint8_t modes;
    uint8_t component;
};

constexpr Rule rules[] = {
    {Always, 0},                 // literal
    {Date | Timestamp, Year},    // YYYY
    {Date | Timestamp, Year},    // YY
    {Date | Timestamp, Month},   // MONTH
    {Date | Timestamp, Month},   // MMM
    {Date | Timestamp, Month},   // MM
    {Date | Timestamp, Month},   // M
    {Date | Timestamp, Day},     // DD
    {Date | Timestamp, Day},     // D
    {Time | Timestamp, Hour},    // HH24
    {Time | Timestamp, Hour},    // HH
    {Time | Timestamp, Minute},  // MI
    {Time | Timestamp, Second},  // SS
    {Timestamp, Fraction},       // FFFFFF
    {Timestamp, Fraction},       // FFFFF
    {Timestamp, Fraction},       // FFFF
    {Timestamp, Fraction},       // FFF
    {Timestamp, Fraction},       // FF
    {Timestamp, Fraction},       // F
    {Time | Timestamp, 0},       // PM
};

constexpr Rule rule_of(uint32_t code)
{
    return rules[code < std::size(rules) ? code : ZEMT_FMT_LITERAL];
}

constexpr uint8_t mode_of(int32_t mode)
{
    return mode == ZEMT_KIND_DATE ? Date : mode == ZEMT_KIND_TIME ? Time : mode == ZEMT_KIND_TIMESTAMP ? Timestamp : Other;
}

constexpr int wanted_components(uint8_t mode)
{
    constexpr int date = Year | Month | Day;
    constexpr int time = Hour | Minute | Second;
    return mode == Date ? date : mode == Time ? time : mode == Timestamp ? date | time | Fraction : 0;
}

struct Indicator {
    int32_t position = -1;  // where it goes; none yet
    const wchar_t *text = L"  ";
};

inline int32_t put_name(char *dst, int32_t room, uint16_t month, bool abbreviated)
{
    if (month < 1 || month > 12) return no_room;
    const MonthName &name = ZEMT_FullMonths[month - 1];
    const int32_t length = abbreviated ? abbreviated_month : name.length;
    if (length >= room) return no_room;
    std::memcpy(dst, name.name, static_cast<size_t>(length) * sizeof(wchar_t));
    return length;
}

// Writes what an entry stands for at position; returns its characters or no_room.
inline int32_t put_entry(char *dst, int32_t room, const ZEMTFmtItem &entry, const ZEMTTS &ts, int32_t position,
                         Indicator &indicator)
{
    switch (entry.code) {
    case ZEMT_FMT_YYYY: return put_number<Wide, 4>(dst, room, ts.year);
    case ZEMT_FMT_YY: return put_number<Wide, 2>(dst, room, ts.year % 100);
    case ZEMT_FMT_MONTH: return put_name(dst, room, ts.month, false);
    case ZEMT_FMT_MMM: return put_name(dst, room, ts.month, true);
    case ZEMT_FMT_MM: return put_number<Wide, 2>(dst, room, ts.month);
    case ZEMT_FMT_M: return put_number<Wide, 1>(dst, room, ts.month);
    case ZEMT_FMT_DD: return put_number<Wide, 2>(dst, room, ts.day);
    case ZEMT_FMT_D: return put_number<Wide, 1>(dst, room, ts.day);
    case ZEMT_FMT_HH24: indicator.position = -1; return put_number<Wide, 2>(dst, room, ts.hour);
    case ZEMT_FMT_HH:
        indicator.text = ts.hour <= 12 ? L"AM" : L"PM";
        return put_number<Wide, 2>(dst, room, ts.hour <= 12 ? ts.hour : ts.hour - 12);
    case ZEMT_FMT_MI: return put_number<Wide, 2>(dst, room, ts.minute);
    case ZEMT_FMT_SS: return put_number<Wide, 2>(dst, room, ts.second);
    case ZEMT_FMT_FFFFFF: return put_number<Wide, 6>(dst, room, ts.fraction);
    case ZEMT_FMT_FFFFF: return put_number<Wide, 5>(dst, room, ts.fraction);
    case ZEMT_FMT_FFFF: return put_number<Wide, 4>(dst, room, ts.fraction);
    case ZEMT_FMT_FFF: return put_number<Wide, 3>(dst, room, ts.fraction);
    case ZEMT_FMT_FF: return put_number<Wide, 2>(dst, room, ts.fraction);
    case ZEMT_FMT_F: return put_number<Wide, 1>(dst, room, ts.fraction);
    case ZEMT_FMT_PM: indicator.position = position; return 0;
    default:
        if (room < 2) return no_room;
        store(dst, static_cast<Wide>(entry.ch));
        return 1;
    }
}

struct Formatted {
    int32_t status;
    int32_t length;
};

inline Formatted format(char *dst, int32_t size, const ZEMTFmtItem *list, const ZEMTTS &ts, int32_t kind)
{
    if (size <= 0) return {ZEMT_RC_ERROR, 0};
    const uint8_t mode = mode_of(kind);
    int pending = wanted_components(mode);
    int32_t position = 0;
    Indicator indicator;
    for (const ZEMTFmtItem *entry = list; entry->code != ZEMT_FMT_END; ++entry) {
        if (entry->code == ZEMT_FMT_LITERAL && pending != 0) {
            if (position + 1 >= size) return {ZEMT_RC_ERROR, 0};
            write_unit<Wide>(dst, position++, static_cast<uint32_t>(entry->ch));
            continue;
        }
        const Rule rule = rule_of(entry->code);
        if ((rule.modes & mode) != 0) {
            char *const place = dst + ptrdiff_t{position} * 4;
            const int32_t written = put_entry(place, size - position, *entry, ts, position, indicator);
            if (written == no_room) return {ZEMT_RC_ERROR, 0};
            position += written;
            pending &= ~rule.component;
        }
        if (pending == 0) break;
    }
    if (indicator.position >= 0 && (mode & (Time | Timestamp)) != 0) {
        if (position >= size - 2) return {ZEMT_RC_ERROR, 0};
        char *const place = dst + ptrdiff_t{indicator.position} * 4;
        std::memmove(place + 8, place, static_cast<size_t>(position - indicator.position) * 4);
        std::memcpy(place, indicator.text, 8);
        position += 2;
    }
    write_unit<Wide>(dst, position, 0);
    return {ZEMT_RC_OK, position};
}

// ---- The conversions ---------------------------------------------------------------------------------------------------------

// The record to write: of a date or a time, all other components are zero.
template <typename Record>
inline ZEMTTS widened(const void *src)
{
    ZEMTTS ts{};
    if constexpr (std::is_same_v<Record, ZEMTTS>) {
        std::memcpy(&ts, src, offsetof(ZEMTTS, reserved));
    } else {
        constexpr size_t from = std::is_same_v<Record, ZEMTDate> ? offsetof(ZEMTTS, year) : offsetof(ZEMTTS, hour);
        std::memcpy(bytes(static_cast<void *>(&ts)) + from, src, 3 * sizeof(uint16_t));
    }
    return ts;
}

template <typename Record, int32_t kind>
inline int32_t format_in_place(const void *src, void *dst, int32_t dstSize, int32_t *outLen, const ZEMTCnvParms *parms)
{
    const ZEMTDateFormat *const date_format = date_format_of(parms);
    if (src == nullptr || dst == nullptr || date_format == nullptr) return ZEMT_RC_ERROR;
    const ZEMTTS ts = widened<Record>(src);
    if (const int32_t status = check(ts, kind); status != ZEMT_RC_OK) return status;
    const Formatted result = format(bytes(dst), dstSize / 4, date_format->formatCodes, ts, kind);
    if (result.status == ZEMT_RC_OK) *outLen = result.length;
    return result.status;
}

// No code reaches this many characters for each of its format.
constexpr int32_t room_for_format_character = 16;

// Formats of up to this many characters are written without heap memory.
constexpr int32_t longest_on_stack = 31;

inline int32_t format_through(ZEMTConversion *deliver, const void *src, void *dst, int32_t dstSize, int32_t *outLen,
                              const ZEMTCnvParms *parms)
{
    const ZEMTDateFormat *const date_format = date_format_of(parms);
    if (src == nullptr || dst == nullptr || date_format == nullptr) return ZEMT_RC_ERROR;
    const int64_t room = int64_t{std::max(date_format->formatLength, 0)} * room_for_format_character;
    Scratch<wchar_t, size_t{longest_on_stack * room_for_format_character + 1}> scratch(static_cast<size_t>(room + 1));
    if (scratch.items() == nullptr) return ZEMT_RC_ERROR;
    const ZEMTTS ts = widened<ZEMTTS>(src);
    if (const int32_t status = check(ts, ZEMT_KIND_TIMESTAMP); status != ZEMT_RC_OK) return status;
    const auto size = static_cast<int32_t>(std::min<int64_t>(room, INT32_MAX));
    const Formatted result = format(bytes(scratch.items()), size, date_format->formatCodes, ts, ZEMT_KIND_TIMESTAMP);
    if (result.status != ZEMT_RC_OK) return result.status;
    return deliver(scratch.items(), nullptr, dst, dstSize, outLen, parms);
}

// ---- The fixed shape ---------------------------------------------------------------------------------------------------------

template <typename Unit>
inline int32_t format_fixed_shape(const ZEMTTS &ts, char *buf, int32_t size, int32_t *outLen)
{
    int32_t position = 0;
    const auto put = [&]<int32_t digits>(char separator, int32_t number) {
        if (position > 0) write_unit<Unit>(buf, position++, static_cast<uint32_t>(separator));
        char *const place = unit_place<Unit>(buf, position);
        const int32_t written = put_number<Unit, digits>(place, size - position, number);
        position += written;
        return written != no_room;
    };
    const bool fits = put.template operator()<2>('\0', ts.day) && put.template operator()<2>('/', ts.month) &&
                      put.template operator()<4>('/', ts.year) && put.template operator()<2>(' ', ts.hour) &&
                      put.template operator()<2>(':', ts.minute) && put.template operator()<2>(':', ts.second) &&
                      put.template operator()<6>(':', ts.fraction);
    if (!fits) return ZEMT_RC_ERROR;
    write_unit<Unit>(buf, position, 0);
    if (outLen != nullptr) *outLen = position;
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

int32_t ZEMTTSToWVarcharSz(wchar_t *dst, int32_t size, const ZEMTFmtItem *list, const ZEMTTS *ts, int32_t mode) noexcept
{
    if (dst == nullptr || list == nullptr || ts == nullptr) return ZEMT_RC_ERROR;
    return format(bytes(dst), size, list, *ts, mode).status;
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
