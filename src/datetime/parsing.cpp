// Text to date/time records: the parser and its conversions.
#include <cstring>
#include <cwchar>

#include "components.h"
#include "format_language.h"
#include "literals.h"
#include "scratch.h"
#include "text/calling_form.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// ---- The parser --------------------------------------------------------------------------------------------------------------

constexpr uint32_t code_without_keyword = 20;  // passed over

// The hour of the 12-hour clock waits for its half of the day, whichever of the two the format has first.
struct Clock {
    static constexpr int32_t unknown = -1;
    int32_t hour = unknown;
    int32_t half = unknown;  // the hour that it begins with
};

inline void settle_hour(Components &components, Clock &clock)
{
    if (clock.half == Clock::unknown) return;
    components[Hour] = static_cast<int32_t>(static_cast<uint32_t>(clock.hour) + static_cast<uint32_t>(clock.half));
    clock.hour = Clock::unknown;
}

inline void read_indicator(Text text, Components &components, Clock &clock)
{
    clock.half = begins_with(text.at(), L"PM", 2) ? 12 : begins_with(text.at(), L"AM", 2) ? 0 : Clock::unknown;
    if (clock.hour >= 0) settle_hour(components, clock);
}

// Reads the name of a month, or its first three letters.
inline bool read_month(Text &text, bool abbreviated, int32_t &month)
{
    for (int32_t number = 0; const MonthName &name : ZEMT_FullMonths) {
        const int32_t length = abbreviated ? abbreviated_month : name.length;
        ++number;
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
    if (entry.length == width + suffix && read_digits<width>(text, component)) [[likely]]
        return true;
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
    case ZEMT_FMT_MONTH:
    case ZEMT_FMT_MMM: return read_month(text, entry.code == ZEMT_FMT_MMM, components[Month]);
    case ZEMT_FMT_MM: return read_number<2>(text, entry, components[Month]);
    case ZEMT_FMT_DD: return read_number<2>(text, entry, components[Day]);
    case ZEMT_FMT_HH24: return read_number<2, hour24_suffix>(text, entry, components[Hour]);
    case ZEMT_FMT_HH:
        if (!read_number<2>(text, entry, clock.hour)) return false;
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
    default: return entry.code == code_without_keyword;
    }
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
            const bool before_code = entry[1].code - 1 < ZEMT_FMT_END - 1;
            int32_t status = ZEMT_RC_OK;
            if (text[0] == entry->ch && before_code) [[likely]] {  // the usual literal: one, where it is expected
                ++entry;
                text.skip(1);
            } else {
                const ZEMTFmtItem *next = entry;  // copies, so that the originals stay in registers
                Text at = text;
                status = next_code(next, at);
                entry = next;
                text = at;
            }
            if (status == ZEMT_RC_ERROR) return {status, text};
            if (status == ZEMT_RC_END_OF_FORMAT) break;
        } else if (entry->code == ZEMT_FMT_END) {
            break;
        }
        if (!read_entry(text, *entry, components, clock)) return {ZEMT_RC_ERROR, text};
    }
    if (clock.hour != Clock::unknown) components[Hour] = clock.hour;
    return {ZEMT_RC_OK, text};
}

// ---- The conversions ---------------------------------------------------------------------------------------------------------

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
    if (const int32_t status = check(components, ZEMT_KIND_TIMESTAMP); status != ZEMT_RC_OK) return status;
    write_record<Record>(dst, components);
    *outLen = sizeof(Record);
    return ZEMT_RC_OK;
}

// Characters of a source, how many there are, and what is reported of them.
struct Source {
    int32_t status;
    const char *at;
    int32_t length;  // bytes of 8-bit text, characters of wide text
    int32_t reported;
};

inline Source source_of(int64_t length, const void *at)
{
    if (length < 0 || length > (INT32_MAX - 4) / 4) return {ZEMT_RC_ERROR, nullptr, 0, 0};
    const auto count = static_cast<int32_t>(length);
    return {count == 0 ? ZEMT_RC_EMPTY_SOURCE : ZEMT_RC_OK, bytes(at), count, count};
}

inline Source prefixed_source(const void *src, int unit)
{
    const auto prefix = load<int16_t>(src);
    Source source = source_of(prefix < 0 ? -1 : prefix / unit, bytes(src) + prefix_size);
    source.reported = prefix;
    return source;
}

enum class Reports { Nothing, OnceRead, OnSuccess };

// Parses text of units without a terminator, or of another size, in a copy.
template <typename Unit, Reports reports>
inline int32_t parse_copy(Source source, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (source.status != ZEMT_RC_OK) return source.status;
    Scratch<wchar_t, 128> scratch(static_cast<size_t>(source.length) + 1);
    wchar_t *const characters = scratch.items();
    if (characters == nullptr) return ZEMT_RC_ERROR;
    if constexpr (sizeof(Unit) == 1) {
        characters[0] = L'\0';  // what a skipped transcoding leaves
        int32_t count;
        const int32_t room = source.length * 4 + 4;
        const int32_t status = ZEMTCnvCharToWVarcharSz(source.at, &source.length, characters, room, &count, parms);
        if (status != ZEMT_RC_OK) return status;
    } else {
        std::memcpy(characters, source.at, static_cast<size_t>(source.length) * 4);
        characters[source.length] = L'\0';
    }
    if (reports == Reports::OnceRead) report_source_length(srcLen, source.reported);
    Text text(characters);
    const int32_t status = parse_and_deliver<ZEMTTS>(text, dst, outLen, *parms->dateFormat);
    if (status == ZEMT_RC_OK && reports == Reports::OnSuccess) report_source_length(srcLen, source.reported);
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

// clang-format off
PARSER(ZEMTCnvDateTimeCharToZEMTTS,     parse_copy<char, Reports::Nothing>(source_of(*srcLen, src), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeVarcharToZEMTTS,  parse_copy<char, Reports::OnceRead>(prefixed_source(src, 1), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeSzToZEMTTS,       parse_copy<char, Reports::OnSuccess>(source_of(terminated_length<char>(bytes(src)), src), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWcharToZEMTTS,    parse_copy<Wide, Reports::Nothing>(source_of(*srcLen, src), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWVarcharToZEMTTS, parse_copy<Wide, Reports::OnSuccess>(prefixed_source(src, 4), srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTTS,      parse_in_place<ZEMTTS>(src, srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTDate,    parse_in_place<ZEMTDate>(src, srcLen, dst, outLen, parms))
PARSER(ZEMTCnvDateTimeWSzToZEMTTime,    parse_in_place<ZEMTTime>(src, srcLen, dst, outLen, parms))
// clang-format on

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

    const ZEMTDateFormat format{{}, list, static_cast<int32_t>(length), 0};
    const ZEMTCnvParms parms{{}, 0, 0, 0, 0, &format};
    ZEMTTS ts;
    int32_t size;
    status = ZEMTCnvDateTimeSzToZEMTTS(text, nullptr, &ts, 0, &size, &parms);
    if (status != ZEMT_RC_OK) return status;
    date->year = ts.year;
    date->month = ts.month;
    date->day = ts.day;
    return ZEMT_RC_OK;
}
