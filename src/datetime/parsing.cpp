// Text to date/time records: the literal matcher, the parser, and its conversions.
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "format_language.h"
#include "scratch.h"
#include "text/calling_form.h"
#include "text/layouts.h"

namespace zemt {
namespace {

// ---- Literals ----------------------------------------------------------------------------------------------------------------

// Literal entries of a list, one after the other. A 0 character among them ends the run, as it would end a text.
struct Run {
    const ZEMTFmtItem *first;
    const ZEMTFmtItem *end;
};

inline Run run_at(const ZEMTFmtItem *entry)
{
    const ZEMTFmtItem *const first = entry;
    while (entry->code == ZEMT_FMT_LITERAL && entry->ch != L'\0') ++entry;
    return {first, entry};
}

inline bool stands_at(const wchar_t *text, Run run)
{
    for (const ZEMTFmtItem *entry = run.first; entry != run.end; ++entry, ++text) {
        if (*text != entry->ch) return false;  // also at the text's terminator, which no entry of a run equals
    }
    return true;
}

// The position behind the first occurrence of a run in a text, or null.
inline const wchar_t *find_behind(const wchar_t *text, Run run)
{
    for (;; ++text) {
        if (stands_at(text, run)) return text + (run.end - run.first);
        if (*text == L'\0') return nullptr;
    }
}

// Moves entry to the next code and position behind the literals before it.
inline int32_t next_code(const ZEMTFmtItem *&entry, const wchar_t *&position)
{
    const Run run = run_at(entry);
    entry = run.end;
    while (entry->code == ZEMT_FMT_LITERAL) ++entry;
    if (entry->code == ZEMT_FMT_END) return ZEMT_RC_END_OF_FORMAT;
    const wchar_t *const behind = find_behind(position, run);
    if (behind == nullptr) return ZEMT_RC_ERROR;
    position = behind;
    return ZEMT_RC_OK;
}

// ---- The parser --------------------------------------------------------------------------------------------------------------

enum class Meridiem { Unknown, Am, Pm };

constexpr int32_t no_hour = -1;
constexpr uint32_t code_without_keyword = 20;  // passed over

// The hour of the 12-hour clock waits for its half of the day, whichever of the two the format has first.
struct Clock {
    int32_t pending_hour = no_hour;
    Meridiem meridiem = Meridiem::Unknown;
};

inline void settle_hour(ZEMTTS &ts, Clock &clock)
{
    if (clock.meridiem == Meridiem::Unknown) return;
    const uint32_t half = clock.meridiem == Meridiem::Pm ? 12 : 0;
    ts.hour = static_cast<uint16_t>(static_cast<uint32_t>(clock.pending_hour) + half);
    clock.pending_hour = no_hour;
}

inline void read_indicator(const wchar_t *text, ZEMTTS &ts, Clock &clock)
{
    if (begins_with(text, L"PM", 2))
        clock.meridiem = Meridiem::Pm;
    else if (begins_with(text, L"AM", 2))
        clock.meridiem = Meridiem::Am;
    else
        clock.meridiem = Meridiem::Unknown;
    if (clock.pending_hour >= 0) settle_hour(ts, clock);
}

// Reads the name of a month, or its first three letters; returns the characters of the name, or -1.
inline int32_t read_month(const wchar_t *text, bool abbreviated, uint16_t &month)
{
    uint16_t number = 0;
    for (const MonthName &name : ZEMT_FullMonths) {
        ++number;
        const int32_t length = abbreviated ? abbreviated_month : name.length;
        if (!begins_with(text, name.name, length)) continue;
        month = number;
        return length;
    }
    return -1;
}

// A number of as many digits as its keyword has letters, in the usual case that digits are all it has: returns the characters
// read, or 0 where the field reader has to look at them.
template <int32_t width>
inline int32_t read_digits(const wchar_t *text, int32_t &number)
{
    uint32_t value = 0;
    for (int32_t i = 0; i < width; ++i) {
        const uint32_t digit = static_cast<uint32_t>(text[i]) - '0';
        if (digit > 9) return 0;
        value = value * 10 + digit;
    }
    number = static_cast<int32_t>(value);
    return width;
}

// Characters up to count before the terminator.
inline int32_t characters_up_to(const wchar_t *text, int32_t count)
{
    int32_t found = 0;
    while (found < count && text[found] != L'\0') ++found;
    return found;
}

// Reads a number of the entry's width into component; returns the characters to go forward, or -1.
template <int32_t width, typename Component>
inline int32_t read_field(const wchar_t *text, int32_t entry_width, Component &component)
{
    int32_t number;
    int32_t advance = entry_width == width ? read_digits<width>(text, number) : 0;
    if (advance == 0) {
        if (ZEMTCnvWVarcharSzToInt(text, &number, 0, entry_width) != ZEMT_RC_OK) return -1;
        advance = characters_up_to(text, width);
    }
    component = static_cast<Component>(number);
    return advance;
}

// Reads what one code stands for at text into ts; returns the characters to go forward, or -1 where the parse fails.
inline int32_t read_entry(const wchar_t *text, const ZEMTFmtItem &entry, ZEMTTS &ts, Clock &clock)
{
    constexpr int32_t hour24_suffix = 2;  // the '2' and '4' of the keyword are not part of the field
    switch (entry.code) {
    case ZEMT_FMT_YYYY: return read_field<4>(text, entry.length, ts.year);
    case ZEMT_FMT_YY: return read_field<2>(text, entry.length, ts.year);
    case ZEMT_FMT_MONTH: return read_month(text, false, ts.month);
    case ZEMT_FMT_MMM: return read_month(text, true, ts.month);
    case ZEMT_FMT_MM: return read_field<2>(text, entry.length, ts.month);
    case ZEMT_FMT_DD: return read_field<2>(text, entry.length, ts.day);
    case ZEMT_FMT_HH24: return read_field<2>(text, entry.length - hour24_suffix, ts.hour);
    case ZEMT_FMT_HH: {
        const int32_t advance = read_field<2>(text, entry.length, clock.pending_hour);
        if (advance >= 0) settle_hour(ts, clock);
        return advance;
    }
    case ZEMT_FMT_MI: return read_field<2>(text, entry.length, ts.minute);
    case ZEMT_FMT_SS: return read_field<2>(text, entry.length, ts.second);
    case ZEMT_FMT_FFFFFF: return read_field<6>(text, entry.length, ts.fraction);
    case ZEMT_FMT_FFFFF: return read_field<5>(text, entry.length, ts.fraction);
    case ZEMT_FMT_FFFF: return read_field<4>(text, entry.length, ts.fraction);
    case ZEMT_FMT_FFF: return read_field<3>(text, entry.length, ts.fraction);
    case ZEMT_FMT_FF: return read_field<2>(text, entry.length, ts.fraction);
    case ZEMT_FMT_F: return read_field<1>(text, entry.length, ts.fraction);
    case ZEMT_FMT_PM: read_indicator(text, ts, clock); return characters_up_to(text, 2);
    case code_without_keyword: return 0;
    default: return -1;
    }
}

inline int32_t parse(const wchar_t *position, const ZEMTFmtItem *entry, ZEMTTS &ts)
{
    ts = {};
    Clock clock;
    for (; *position != L'\0'; ++entry) {
        if (entry->code == ZEMT_FMT_LITERAL) {
            const int32_t status = next_code(entry, position);
            if (status == ZEMT_RC_END_OF_FORMAT) break;
            if (status != ZEMT_RC_OK) return status;
        }
        if (entry->code == ZEMT_FMT_END) break;
        const int32_t advance = read_entry(position, *entry, ts, clock);
        if (advance < 0) return ZEMT_RC_ERROR;
        position += advance;
    }
    if (clock.pending_hour != no_hour) ts.hour = static_cast<uint16_t>(clock.pending_hour);
    return ZEMT_RC_OK;
}

// ---- The conversions ---------------------------------------------------------------------------------------------------------

inline void deliver(const ZEMTTS &ts, ZEMTTS &record)
{
    record = ts;
}

inline void deliver(const ZEMTTS &ts, ZEMTDate &record)
{
    record.year = ts.year;
    record.month = ts.month;
    record.day = ts.day;
}

inline void deliver(const ZEMTTS &ts, ZEMTTime &record)
{
    record.hour = ts.hour;
    record.minute = ts.minute;
    record.second = ts.second;
}

// Parses and checks wide text, and writes the record. Whatever the record keeps, the text has to hold a valid date.
template <typename Record>
inline int32_t parse_and_deliver(const wchar_t *text, void *dst, int32_t *outLen, const ZEMTDateFormat &format)
{
    if (format.formatLength < 1) return ZEMT_RC_ERROR;
    ZEMTTS ts;
    if (const int32_t status = parse(text, format.formatCodes, ts); status != ZEMT_RC_OK) return status;
    if (const int32_t status = ZEMTValidateDateTime(&ts, ZEMT_KIND_TIMESTAMP); status != ZEMT_RC_OK) return status;
    Record record{};
    deliver(ts, record);
    store(dst, record);
    *outLen = sizeof(Record);
    return ZEMT_RC_OK;
}

using TextScratch = Scratch<wchar_t, 128>;

// Characters of a source, and how long the source says it is.
struct Source {
    int32_t status;
    const char *at;
    int32_t length;  // bytes of 8-bit text, characters of wide text
};

inline Source source_of(int64_t length, const char *at)
{
    if (length < 0 || length > (INT32_MAX - 4) / 4) return {ZEMT_RC_ERROR, nullptr, 0};
    return {length == 0 ? ZEMT_RC_EMPTY_SOURCE : ZEMT_RC_OK, at, static_cast<int32_t>(length)};
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
    wchar_t *const text = scratch.items();
    if (text == nullptr) return ZEMT_RC_ERROR;
    text[0] = L'\0';  // what a skipped transcoding leaves
    int32_t characters;
    const int32_t room = source.length * 4 + 4;
    int32_t status = ZEMTCnvCharToWVarcharSz(source.at, &source.length, text, room, &characters, parms);
    if (status != ZEMT_RC_OK) return status;
    if (reported == Reported::OnceRead) report_source_length(srcLen, source.length);
    status = parse_and_deliver<ZEMTTS>(text, dst, outLen, *parms->dateFormat);
    if (status == ZEMT_RC_OK && reported == Reported::OnSuccess) report_source_length(srcLen, source.length);
    return status;
}

// Parses a copy of wide text, which gives it a terminator or an aligned place.
template <typename Record>
inline int32_t parse_copy(Source source, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (source.status != ZEMT_RC_OK) return source.status;
    TextScratch scratch(static_cast<size_t>(source.length) + 1);
    wchar_t *const text = scratch.items();
    if (text == nullptr) return ZEMT_RC_ERROR;
    std::memcpy(text, source.at, static_cast<size_t>(source.length) * 4);
    text[source.length] = L'\0';
    return parse_and_deliver<Record>(text, dst, outLen, *parms->dateFormat);
}

template <typename Record>
inline int32_t parse_terminated(const void *src, int32_t *srcLen, void *dst, int32_t *outLen, const ZEMTCnvParms *parms)
{
    if (*srcLen == 0) {
        const Source source = source_of(terminated_length<Wide>(bytes(src)), bytes(src));
        if (source.status != ZEMT_RC_OK) return source.status;
        *srcLen = source.length;
    }
    if (is_aligned(src)) return parse_and_deliver<Record>(static_cast<const wchar_t *>(src), dst, outLen, *parms->dateFormat);
    Source source = source_of(terminated_length<Wide>(bytes(src)), bytes(src));
    if (source.status == ZEMT_RC_EMPTY_SOURCE) source.status = ZEMT_RC_OK;  // *srcLen says that the text is not empty
    return parse_copy<Record>(source, dst, outLen, parms);
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
    return next_code(*entry, *sourcePos);
}

int32_t ZEMTWVarcharSzToTS(const wchar_t *text, int32_t, const ZEMTFmtItem *formatCodes, int32_t formatLength, ZEMTTS *ts,
                           int32_t) noexcept
{
    if (text == nullptr || formatCodes == nullptr || ts == nullptr || formatLength < 1) return ZEMT_RC_ERROR;
    return parse(text, formatCodes, *ts);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeCharToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_narrow<Reported::Nothing>(source_of(*srcLen, bytes(src)), srcLen, dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeVarcharToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_narrow<Reported::OnceRead>(prefixed_source(src, 1), srcLen, dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeSzToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    const Source source = source_of(terminated_length<char>(bytes(src)), bytes(src));
    return parse_narrow<Reported::OnSuccess>(source, srcLen, dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeWcharToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_copy<ZEMTTS>(source_of(*srcLen, bytes(src)), dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeWVarcharToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    const int32_t status = parse_copy<ZEMTTS>(prefixed_source(src, 4), dst, outLen, parms);
    if (status == ZEMT_RC_OK) report_source_length(srcLen, load<int16_t>(src));
    return status;
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeWSzToZEMTTS)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_terminated<ZEMTTS>(src, srcLen, dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeWSzToZEMTDate)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_terminated<ZEMTDate>(src, srcLen, dst, outLen, parms);
}

ZEMT_COMMON_FORM(ZEMTCnvDateTimeWSzToZEMTTime)
{
    if (lacks_argument(src, dst, parms)) return ZEMT_RC_ERROR;
    return parse_terminated<ZEMTTime>(src, srcLen, dst, outLen, parms);
}

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
    if (status == ZEMT_RC_OK) deliver(ts, *date);
    return status;
}
