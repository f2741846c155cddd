// Text to date/time records: the parser and its conversions.
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "format_language.h"
#include "literals.h"
#include "scratch.h"
#include "text/calling_form.h"
#include "text/layouts.h"
#include "validation.h"

namespace zemt {
namespace {

// ---- The parser --------------------------------------------------------------------------------------------------------------

enum class Meridiem { Unknown, Am, Pm };

constexpr int32_t no_hour = -1;
constexpr uint32_t code_without_keyword = 20;  // passed over

// The numbers read so far. A record takes the low 16 bits of all but the fraction.
enum Component : uint8_t { Year, Month, Day, Hour, Minute, Second, Fraction };
using Components = int32_t[7];

// The hour of the 12-hour clock waits for its half of the day, whichever of the two the format has first.
struct Clock {
    int32_t pending_hour = no_hour;
    Meridiem meridiem = Meridiem::Unknown;
};

inline void settle_hour(Components &components, Clock &clock)
{
    if (clock.meridiem == Meridiem::Unknown) return;
    const uint32_t half = clock.meridiem == Meridiem::Pm ? 12 : 0;
    components[Hour] = static_cast<int32_t>(static_cast<uint32_t>(clock.pending_hour) + half);
    clock.pending_hour = no_hour;
}

inline void read_indicator(Text text, Components &components, Clock &clock)
{
    if (begins_with(text.at(), L"PM", 2))
        clock.meridiem = Meridiem::Pm;
    else if (begins_with(text.at(), L"AM", 2))
        clock.meridiem = Meridiem::Am;
    else
        clock.meridiem = Meridiem::Unknown;
    if (clock.pending_hour >= 0) settle_hour(components, clock);
}

// Reads the name of a month, or its first three letters.
inline bool read_month(Text &text, bool abbreviated, int32_t &month)
{
    int32_t number = 0;
    for (const MonthName &name : ZEMT_FullMonths) {
        ++number;
        const int32_t length = abbreviated ? abbreviated_month : name.length;
        if (!begins_with(text.at(), name.name, length)) continue;
        month = number;
        text.skip(length);
        return true;
    }
    return false;
}

// Reads a number of width characters where, as usual, all of them are digits.
template <int32_t width>
inline bool read_digits(Text &text, int32_t &number)
{
    uint32_t value = 0;
    for (int32_t i = 0; i < width; ++i) {
        const uint32_t digit = static_cast<uint32_t>(text[i]) - '0';
        if (digit > 9) return false;
        value = value * 10 + digit;
    }
    number = static_cast<int32_t>(value);
    text.skip(width);
    return true;
}

// Reads a number that is not what its keyword says: width characters at most, as its list entry has it, after which the text
// goes on behind advance characters.
__attribute__((noinline, cold)) bool read_unusual(Text &text, int32_t width, int32_t advance, int32_t &component)
{
    int32_t number;
    const auto *const characters = reinterpret_cast<const wchar_t *>(text.at());
    if (ZEMTCnvWVarcharSzToInt(characters, &number, 0, width) != ZEMT_RC_OK) return false;
    component = number;
    text.skip(text.characters_up_to(advance));
    return true;
}

// Reads a number of width digits, whose keyword may have a suffix that is not part of the width.
template <int32_t width, int32_t suffix = 0>
inline bool read_number(Text &text, const ZEMTFmtItem &entry, int32_t &component)
{
    if (entry.length == width + suffix) [[likely]] {
        if (read_digits<width>(text, component)) [[likely]]
            return true;
    }
    Text at = text;  // a copy, so that text itself stays in a register
    const bool read = read_unusual(at, entry.length > suffix ? entry.length - suffix : 0, width, component);
    text = at;
    return read;
}

// Reads what one code stands for and moves text behind it; false where the parse fails.
inline bool read_entry(Text &text, const ZEMTFmtItem &entry, Components &components, Clock &clock)
{
    constexpr int32_t hour24_suffix = 2;  // "24"
    switch (entry.code) {
    case ZEMT_FMT_YYYY: return read_number<4>(text, entry, components[Year]);
    case ZEMT_FMT_YY: return read_number<2>(text, entry, components[Year]);
    case ZEMT_FMT_MONTH: return read_month(text, false, components[Month]);
    case ZEMT_FMT_MMM: return read_month(text, true, components[Month]);
    case ZEMT_FMT_MM: return read_number<2>(text, entry, components[Month]);
    case ZEMT_FMT_DD: return read_number<2>(text, entry, components[Day]);
    case ZEMT_FMT_HH24: return read_number<2, hour24_suffix>(text, entry, components[Hour]);
    case ZEMT_FMT_HH:
        if (!read_number<2>(text, entry, clock.pending_hour)) return false;
        settle_hour(components, clock);
        return true;
    case ZEMT_FMT_MI: return read_number<2>(text, entry, components[Minute]);
    case ZEMT_FMT_SS: return read_number<2>(text, entry, components[Second]);
    case ZEMT_FMT_FFFFFF: return read_number<6>(text, entry, components[Fraction]);
    case ZEMT_FMT_FFFFF: return read_number<5>(text, entry, components[Fraction]);
    case ZEMT_FMT_FFFF: return read_number<4>(text, entry, components[Fraction]);
    case ZEMT_FMT_FFF: return read_number<3>(text, entry, components[Fraction]);
    case ZEMT_FMT_FF: return read_number<2>(text, entry, components[Fraction]);
    case ZEMT_FMT_F: return read_number<1>(text, entry, components[Fraction]);
    case ZEMT_FMT_PM:
        read_indicator(text, components, clock);
        text.skip(text.characters_up_to(2));
        return true;
    case code_without_keyword: return true;
    default: return false;
    }
}

// Moves entry and text to the next code, in the usual case past a single literal that stands in its place.
inline int32_t pass_literals(const ZEMTFmtItem *&entry, Text &text)
{
    const bool before_code = entry[1].code - 1 < ZEMT_FMT_END - 1;
    if (text[0] == entry->ch && before_code) [[likely]] {
        ++entry;
        text.skip(1);
        return ZEMT_RC_OK;
    }
    const ZEMTFmtItem *next = entry;  // copies, so that the originals stay in registers
    Text at = text;
    const int32_t status = next_code(next, at);
    entry = next;
    text = at;
    return status;
}

struct Parsed {
    int32_t status;
    Text rest;  // where reading ended
};

// Reads text under a list.
inline Parsed parse(Text text, const ZEMTFmtItem *entry, Components &components)
{
    Clock clock;
    for (; !text.ended(); ++entry) {
        if (entry->code == ZEMT_FMT_LITERAL) {
            const int32_t status = pass_literals(entry, text);
            if (status == ZEMT_RC_ERROR) return {status, text};
            if (status == ZEMT_RC_END_OF_FORMAT) break;
        } else if (entry->code == ZEMT_FMT_END) {
            break;
        }
        if (!read_entry(text, *entry, components, clock)) return {ZEMT_RC_ERROR, text};
    }
    if (clock.pending_hour != no_hour) components[Hour] = clock.pending_hour;
    return {ZEMT_RC_OK, text};
}

// ---- The conversions ---------------------------------------------------------------------------------------------------------

// Packs three or four components as the records have them. Records are put together in registers, because a wide load of what
// has just been stored in small parts has to wait for all of them.
inline uint64_t pack(int32_t first, int32_t second, int32_t third, int32_t fourth = 0)
{
    const auto part = [](int32_t component) { return uint64_t{static_cast<uint16_t>(component)}; };
    return part(first) | part(second) << 16 | part(third) << 32 | part(fourth) << 48;
}

template <typename Record>
inline void write_record(void *dst, const Components &components)
{
    const auto [year, month, day, hour, minute, second, fraction] = components;
    char *const record = bytes(dst);
    if constexpr (std::is_same_v<Record, ZEMTTime>) {
        store(record, pack(hour, minute, second));
        store(record + 8, uint64_t{0});
    } else if constexpr (std::is_same_v<Record, ZEMTDate>) {
        store(record, pack(year, month, day));
        store(record + 8, uint64_t{0});
    } else {
        store(record, pack(year, month, day, hour));
        store(record + 8, pack(minute, second, 0) | uint64_t{static_cast<uint32_t>(fraction)} << 32);
        store(record + 16, uint64_t{0});
    }
}

// Checks all components, as a timestamp that has their low 16 bits.
inline int32_t check(const Components &components)
{
    const auto low = [&components](Component component) { return static_cast<uint16_t>(components[component]); };
    const int32_t status = check_date(static_cast<int16_t>(low(Year)), low(Month), low(Day));
    return status != ZEMT_RC_OK ? status : check_time(low(Hour), low(Minute), low(Second));
}

// Parses and checks wide text, writes the record, and moves text to where reading ended. Whatever the record keeps, the text has to
// hold a valid date.
template <typename Record>
inline int32_t parse_and_deliver(Text &text, void *dst, int32_t *outLen, const ZEMTDateFormat &format)
{
    if (format.formatLength < 1) return ZEMT_RC_ERROR;
    Components components{};
    const Parsed parsed = parse(text, format.formatCodes, components);
    text = parsed.rest;
    if (parsed.status != ZEMT_RC_OK) return parsed.status;
    if (const int32_t status = check(components); status != ZEMT_RC_OK) return status;
    write_record<Record>(dst, components);
    *outLen = sizeof(Record);
    return ZEMT_RC_OK;
}

using TextScratch = Scratch<wchar_t, 128>;

// Characters of a source, and how many the source says there are.
struct Source {
    int32_t status;
    const char *at;
    int32_t length;  // bytes of 8-bit text, characters of wide text
};

inline Source source_of(int64_t length, const void *at)
{
    if (length < 0 || length > (INT32_MAX - 4) / 4) return {ZEMT_RC_ERROR, nullptr, 0};
    return {length == 0 ? ZEMT_RC_EMPTY_SOURCE : ZEMT_RC_OK, bytes(at), static_cast<int32_t>(length)};
}

inline Source prefixed_source(const void *src, int unit)
{
    const auto prefix = load<int16_t>(src);
    return source_of(prefix < 0 ? -1 : prefix / unit, bytes(src) + prefix_size);
}

enum class Reported { Nothing, OnceRead, OnSuccess };

// Parses UTF-8 text: all three 8-bit layouts read alike once their characters have been found.
template <Reported reported>
inline int32_t parse_narrow(Source source, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (source.status != ZEMT_RC_OK) return source.status;
    TextScratch scratch(static_cast<size_t>(source.length) + 1);
    wchar_t *const characters = scratch.items();
    if (characters == nullptr) return ZEMT_RC_ERROR;
    characters[0] = L'\0';  // what a skipped transcoding leaves
    int32_t count;
    const int32_t room = source.length * 4 + 4;
    int32_t status = ZEMTCnvCharToWVarcharSz(source.at, &source.length, characters, room, &count, parms);
    if (status != ZEMT_RC_OK) return status;
    if (reported == Reported::OnceRead) report_source_length(srcLen, source.length);
    Text text(characters);
    status = parse_and_deliver<ZEMTTS>(text, dst, outLen, *parms->dateFormat);
    if (status == ZEMT_RC_OK && reported == Reported::OnSuccess) report_source_length(srcLen, source.length);
    return status;
}

// Parses wide text that has no terminator: a copy of it has.
inline int32_t parse_copy(Source source, int32_t *srcLen, int32_t reported, void *dst, int32_t *outLen,
                          const ZEMTCnvParms *parms)
{
    if (source.status != ZEMT_RC_OK) return source.status;
    TextScratch scratch(static_cast<size_t>(source.length) + 1);
    wchar_t *const characters = scratch.items();
    if (characters == nullptr) return ZEMT_RC_ERROR;
    std::memcpy(characters, source.at, static_cast<size_t>(source.length) * 4);
    characters[source.length] = L'\0';
    Text text(characters);
    const int32_t status = parse_and_deliver<ZEMTTS>(text, dst, outLen, *parms->dateFormat);
    if (status == ZEMT_RC_OK) report_source_length(srcLen, reported);
    return status;
}

// Parses wide text where it stands. Its length, if asked for, is counted from where the parser left it.
template <typename Record>
inline int32_t parse_in_place(const void *src, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    Text text(src);
    if (*srcLen != 0) return parse_and_deliver<Record>(text, dst, outLen, *parms->dateFormat);
    if (text.ended()) return ZEMT_RC_EMPTY_SOURCE;
    const int32_t status = parse_and_deliver<Record>(text, dst, outLen, *parms->dateFormat);
    const int64_t rest = text.ended() ? 0 : terminated_length<Wide>(text.at());
    report_source_length(srcLen, (text.at() - bytes(src)) / 4 + rest);
    return status;
}

inline bool lacks_argument(const void *src, const void *dst, const ZEMTCnvParms *parms)
{
    return src == nullptr || dst == nullptr || date_format_of(parms) == nullptr;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

int32_t ZEMTGetNextCodePosInSourceW(const ZEMTFmtItem **entry, const wchar_t **sourcePos, wchar_t *literalBuffer) noexcept
{
    for (const ZEMTFmtItem *literal = *entry; literal->code == ZEMT_FMT_LITERAL; ++literal) *literalBuffer++ = literal->ch;
    *literalBuffer = L'\0';
    Text text(*sourcePos);
    const int32_t status = next_code(*entry, text);
    *sourcePos = reinterpret_cast<const wchar_t *>(text.at());
    return status;
}

int32_t ZEMTWVarcharSzToTS(const wchar_t *text, int32_t, const ZEMTFmtItem *formatCodes, int32_t formatLength, ZEMTTS *ts,
                           int32_t) noexcept
{
    if (text == nullptr || formatCodes == nullptr || ts == nullptr || formatLength < 1) return ZEMT_RC_ERROR;
    Components components{};
    const Parsed parsed = parse(Text(text), formatCodes, components);
    write_record<ZEMTTS>(ts, components);
    return parsed.status;
}

#define PARSER(name, ...) ZEMT_ROW(name, lacks_argument(src, dst, parms) ? ZEMT_RC_ERROR : __VA_ARGS__)

PARSER(ZEMTCnvDateTimeCharToZEMTTS, parse_narrow<Reported::Nothing>(source_of(*srcLen, src), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeVarcharToZEMTTS, parse_narrow<Reported::OnceRead>(prefixed_source(src, 1), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeSzToZEMTTS,
       parse_narrow<Reported::OnSuccess>(source_of(terminated_length<char>(bytes(src)), src), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWcharToZEMTTS, parse_copy(source_of(*srcLen, src), nullptr, 0, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWVarcharToZEMTTS, parse_copy(prefixed_source(src, 4), srcLen, load<int16_t>(src), dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTTS, parse_in_place<ZEMTTS>(src, srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTDate, parse_in_place<ZEMTDate>(src, srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTTime, parse_in_place<ZEMTTime>(src, srcLen, dst, outLen, parms))

int32_t ZEMTDateCharToDate(const char *text, ZEMTDate *date) noexcept
{
    if (date->formatText == nullptr) return ZEMT_RC_ERROR;
    const size_t length = std::wcslen(date->formatText);
    Scratch<ZEMTFmtItem, 64> scratch(length + 1);
    ZEMTFmtItem *const list = scratch.items();
    if (list == nullptr) return ZEMT_RC_ERROR;
    int32_t kind = ZEMT_KIND_DATE;
    int32_t status = ZEMTGetFormatCodes(date->formatText, list, &kind);
    if (status != ZEMT_RC_OK) return status;

    ZEMTDateFormat format{};
    format.formatCodes = list;
    format.formatLength = static_cast<int32_t>(length);
    ZEMTCnvParms parms{};
    parms.dateFormat = &format;
    ZEMTTS ts;
    int32_t size;
    status = ZEMTCnvDateTimeSzToZEMTTS(text, nullptr, &ts, 0, &size, &parms);
    if (status != ZEMT_RC_OK) return status;
    date->year = ts.year;
    date->month = ts.month;
    date->day = ts.day;
    return ZEMT_RC_OK;
}
