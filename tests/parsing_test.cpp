// Dates and times read from text.
#include "support.h"

namespace {

enum Report { Never, OnceRead, OnSuccess, AtOnce };  // when a *srcLen of 0 receives the length

const struct Parser {
    ZEMTConversion *parse, *format;
    Layout layout;
    Report report;
    size_t first = 0, last = 24;  // bytes of the ZEMTTS that are delivered
} parsers[] = {{ZEMTCnvDateTimeCharToZEMTTS, ZEMTCnvZEMTTSToChar, Char, Never},
               {ZEMTCnvDateTimeVarcharToZEMTTS, ZEMTCnvZEMTTSToVarchar, Varchar, OnceRead},
               {ZEMTCnvDateTimeSzToZEMTTS, ZEMTCnvZEMTTSToVarcharSz, VarcharSz, OnSuccess},
               {ZEMTCnvDateTimeWcharToZEMTTS, ZEMTCnvZEMTTSToWchar, WChar, Never},
               {ZEMTCnvDateTimeWVarcharToZEMTTS, ZEMTCnvZEMTTSToWVarchar, WVarchar, OnSuccess},
               {ZEMTCnvDateTimeWSzToZEMTTS, ZEMTCnvZEMTTSToWVarcharSz, WVarcharSz, AtOnce},
               {ZEMTCnvDateTimeWSzToZEMTDate, ZEMTCnvZEMTTSToWVarcharSz, WVarcharSz, AtOnce, 0, 6},
               {ZEMTCnvDateTimeWSzToZEMTTime, ZEMTCnvZEMTTSToWVarcharSz, WVarcharSz, AtOnce, 6, 12}};

Outcome parsed(const Parser &p, int32_t status, const ZEMTTS &record, std::optional<int32_t> cell)
{
    if (status != 0) return {status, "", kept, cell.value_or(kept)};
    std::string bytes = image(record).substr(p.first, p.last - p.first);
    bytes.resize(p.last == 24 ? 24 : 16);
    return {0, bytes, static_cast<int32_t>(bytes.size()), cell.value_or(kept)};
}

// Through every function that reads text; status is what the conversions return, record what the parser leaves.
void parse(const std::wstring &format_text, const std::wstring &text, int32_t status, const ZEMTTS &record)
{
    SCOPED_TRACE(testing::PrintToString(format_text) + " reads " + testing::PrintToString(text));
    const Format format(format_text);
    const wchar_t *source = sources.hold<wchar_t>(laid_out(WVarcharSz, wide(text)));
    auto *const ts = destinations.offer<ZEMTTS>(sizeof(ZEMTTS));
    const int32_t result = ZEMTWVarcharSzToTS(source, -1, format.list.data(), 1, ts, 0);
    EXPECT_EQ((Outcome{result, destinations.found()}), (Outcome{status == -1 ? -1 : 0, image(record)}));
    std::string utf8;
    for (const wchar_t character : text) utf8 += write8(static_cast<char32_t>(character));
    for (const Parser &p : parsers) {
        const std::string characters = unit_of[p.layout] == 1 ? utf8 : wide(text);
        const bool in_characters = p.layout == WChar || p.layout == WVarcharSz;
        const auto length = static_cast<int32_t>(characters.size() / (in_characters ? 4 : 1));
        for (std::optional<int32_t> cell : {std::optional(0), std::optional(3), std::optional<int32_t>()}) {
            if (p.report == AtOnce && (!cell || (text.empty() && cell != 0))) continue;
            if (p.report == Never) cell = length;
            const Outcome got =
                call(p.parse, laid_out(p.layout, characters), cell, p.last == 24 ? 24 : 16, 0, &format.parms, cell == 3);
            if (cell == 0 && (p.report == AtOnce || p.report == OnceRead || status == 0)) cell = length;
            EXPECT_EQ(got, parsed(p, status, record, cell)) << "by parser " << &p - parsers;
        }
    }
    ZEMTDate date{1, 2, 3, {4, 5}, format_text.c_str()}, wanted = date;
    if (status == 0) memcpy(&wanted, &record, 6);
    EXPECT_EQ(ZEMTDateCharToDate(sources.hold(utf8 + '\0'), &date), status);
    EXPECT_EQ(image(date), image(wanted));
}

TEST(Parsing, ReadsTextUnderAFormat)
{
    const wchar_t *const iso = L"%YYYY-%MM-%DD", *const run = L"%YYYY%MM%DD", *const pm = L"%YYYY-%MM-%DD %HH %PM";
    const wchar_t *const full = L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF";
    const ZEMTTS none{}, year = at(2024, 0, 0), day = at(2024, 1, 15), ten = at(2024, 1, 15, 10);
    // clang-format off
    const struct { const wchar_t *format, *text; int32_t status; ZEMTTS record; } rows[] = {
        {iso, L"", 30, none}, {iso, L"2024xx-01-15", 0, day}, {iso, L"2024-01-15abc", 0, day}, {iso, L"2024/01/15", -1, year},
        {iso, L" 2024-01-15", -1, none}, {iso, L"2024-1", 55, at(2024, 1, 0)}, {iso, L"2024-1a-02", -1, year},
        {run, L"20240115", 0, day}, {iso, L"-999-01-15", 54, at(-999, 1, 15)}, {iso, L"2024--1-15", 56, at(2024, -1, 15)},
        {L"%YYYY-%MM-%DD.", L"2024-01-15X", 0, day}, {L"%YYYY-%MM-%DD.", L"2024-01-15.", 0, day}, {L"abc", L"abc", 54, none},
        {L"%DD\x20AC\xE9%MM\xE9%YYYY", L"24\xE9\x20AC\xE9\x31\x32\xE9\x32\x30\x32\x33", 0, at(2023, 12, 24)},
        {L"aab%YYYY %MM %DD", L"aaab2024 2 30", -1, year}, {L"aab%YYYY %MM %DD", L"aaab2024 02 30", 55, at(2024, 2, 30)},
        {L"%DD %MONTH %YYYY", L"15 march 2024", 0, at(2024, 3, 15)}, {L"%YYYY-%MMM-%DD", L"2024-Sep-09", 0, at(2024, 9, 9)},
        {L"%YYYY-%month-%DD", L"2024-sEPTEMBER-09", 0, at(2024, 9, 9)}, {L"%MONTH %DD, %YYYY", L"Jun 01, 2024", -1, none},
        {L"abc%F", L"abd", -1, none}, {L"%MONTH %DD, %YYYY", L"May 01, 2024", 0, at(2024, 5, 1)},
        {L"%YYYY-%MONTH", L"2024-Decembe", -1, year}, {L"%YYYY-%M", L"2024-1", -1, year}, {L"%YYYY-%MMM", L"2024-Ma", -1, year},
        {L"%MMM", L"\x17F\x65\x70", -1, none}, {L"%DD-%MMM-%YY", L"15-Mar-24", 0, at(24, 3, 15)},
        {L"%YY-%MM-%DD", L"00-01-15", 54, at(0, 1, 15)}, {L"%PM%HH%YYYY%MM%DD", L"Am1220240115", 0, at(2024, 1, 15, 12)},
        {L"%HH:%MI %PM %YYYY-%MM-%DD", L"01:30 PM 2024-01-15", 0, at(2024, 1, 15, 13, 30)}, {pm, L"2024-01-15 00 AM", 0, day},
        {L"%YYYY-%MM-%DD %PM %HH", L"2024-01-15 pm 07", 0, at(2024, 1, 15, 19)}, {pm, L"2024-01-15 10 X", 0, ten},
        {L"%PM%HH%PM%YYYY%MM%DD", L"PM-1AM20240115", 0, at(2024, 1, 15, 11)}, {pm, L"2024-01-15 12 AM", 0, at(2024, 1, 15, 12)},
        {L"%PM%PM%HH%YYYY%MM%DD", L"PMxx1020240115", 0, ten}, {pm, L"2024-01-15 12 PM", 57, at(2024, 1, 15, 24)},
        {pm, L"2024-01-15 10 P", 0, ten}, {pm, L"2024-01-15 10", 0, ten}, {pm, L"2024-01-15 10 AM", 0, ten},
        {pm, L"2024-01-15 -1 PM", 0, day}, {pm, L"2024-01-15 -2 PM", 57, at(2024, 1, 15, -2)},
        {L"%YYYY-%MM-%DD%D", L"2024-01-15", 0, day}, {L"%YYYY-%MM-%DD%D", L"2024-01-15 ", -1, day},
        {L"%YYYY-%MM-%DD %FFF", L"2024-07-04 -5", 0, at(2024, 7, 4, 0, 0, 0, -5)},
        {L"%YYYY%MM%DD%FF%MI%SS", L"202401150761", 58, at(2024, 1, 15, 0, 61, 0, 7)},
        {full, L"2024-01-15 23:59:60", 59, at(2024, 1, 15, 23, 59, 60)},
        {L"%HH24:%MI:%SS.%FFF", L"12:30:15.045", 54, at(0, 0, 0, 12, 30, 15, 45)},
    };
    // clang-format on
    for (const auto &row : rows) parse(row.format, row.text, row.status, row.record);
    for (const size_t more : {58u, 110u, 116u, 117u, 118u, 119u, 8000u}) {
        parse(iso, L"2024-01-15" + std::wstring(more, 'x'), 0, day);
        parse(iso, L"2024" + std::wstring(more, L'\xE9') + L"-01-15", 0, day);
        parse(run + std::wstring(more, ' '), L"20241301", 56, at(2024, 13, 1));
    }
    for (size_t size = 1; size <= 26; ++size) {
        const std::string text = "2024-01-15 13:45:30.123456"s.substr(0, size);
        const auto field = [&](size_t from, size_t width) { return size < from ? 0 : atoi(text.substr(from, width).c_str()); };
        parse(full, std::wstring(text.begin(), text.end()),
              size < 7   ? 56
              : size < 9 ? 55
                         : 0,
              at(field(0, 4), field(5, 2), field(8, 2), field(11, 2), field(14, 2), field(17, 2), field(20, 6)));
    }
}

// Every keyword reads what it writes, the text goes on behind that, and a literal behind the last code is not sought.
TEST(Parsing, ReadsEveryKeyword)
{
    const std::pair<std::wstring, ZEMTTS> rows[] = {
        // clang-format off
        {L"YYYY", at(2024, 0, 0)}, {L"YY", at(24, 0, 0)}, {L"MONTH", at(0, 9, 0)}, {L"MMM", at(0, 9, 0)}, {L"MM", at(0, 9, 0)},
        {L"DD", at(0, 0, 5)}, {L"HH24", at(0, 0, 0, 13)}, {L"HH", at(0, 0, 0, 1)}, {L"MI", at(0, 0, 0, 0, 7)},
        {L"SS", at(0, 0, 0, 0, 0, 8)}, {L"FFFFFF", at(0, 0, 0, 0, 0, 0, 123456)}, {L"FFFFF", at(0, 0, 0, 0, 0, 0, 12345)},
        {L"FFFF", at(0, 0, 0, 0, 0, 0, 1234)}, {L"FFF", at(0, 0, 0, 0, 0, 0, 123)}, {L"FF", at(0, 0, 0, 0, 0, 0, 12)},
        {L"F", at(0, 0, 0, 0, 0, 0, 1)}, {L"PM", at(0, 0, 0)}, {L"M", at(0, 9, 0)}, {L"D", at(0, 0, 5)},
        // clang-format on
    };
    for (const auto &[keyword, record] : rows) {
        ZEMTTS wanted = record, ts;
        wanted.minute = keyword == L"MI" ? 7 : 42;
        const Format written(L'%' + keyword), read(L'%' + keyword + (keyword == L"MI" ? L"!" : L"%MI!"));
        wchar_t text[20];
        EXPECT_EQ(ZEMTTSToWVarcharSz(text, 20, written.list.data(), &record, 3), 0);
        const int32_t status = ZEMTWVarcharSzToTS(wcscat(text, L"42."), 0, read.list.data(), 1, &ts, 0);
        EXPECT_EQ((Outcome{status, image(ts)}),
                  (keyword.size() > 1 || keyword == L"F" ? Outcome{0, image(wanted)} : Outcome{-1, image(ZEMTTS{})}))
            << PrintToString(keyword);
    }
}

TEST(Parsing, ReadsBackWhatIsWritten)
{
    Random random(4);
    for (int i = 0; i < 1000; ++i) {
        const Format format(i % 2 ? L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF"
                                  : L"%PM %MONTH\xE9%DD, %YYYY; %HH:%MI %FFFFFF'%SS\"");
        const auto below = [&](uint32_t limit) { return static_cast<int>(random() % limit); };
        const ZEMTTS record =
            at(1 + below(9999), 1 + below(12), 1 + below(28), below(24), below(60), below(60), below(1000000));
        for (const Parser &p : parsers) {
            const Outcome text = call(p.format, image(record).substr(0, 16), std::nullopt, 400, 300, &format.parms);
            const int32_t length = p.layout == WChar ? text.out_length / 4 : text.out_length;
            EXPECT_EQ(call(p.parse, text.value, length, 24, 24, &format.parms), parsed(p, 0, record, length)) << text;
        }
    }
}

TEST(Parsing, SeeksLiterals)
{
    // clang-format off
    const struct { const wchar_t *format, *text; int32_t status; ptrdiff_t position; std::wstring literals; } rows[] = {
        {L"aab%F", L"aaab7", 0, 4, L"aab"}, {L"%F", L"7", 0, 0, L""}, {L"a%F", L"xxA a", 0, 5, L"a"}, {L"", L"x", 6444, 0, L""},
        {L"abc", L"abc", 6444, 0, L"abc"}, {L"ab%F", L"xaab", 0, 4, L"ab"}, {L"ab%F", L"aa", -1, kept, L"ab"},
        {L"abab%F", L"ababab", 0, 4, L"abab"}, {L"%F", L"", 0, 0, L""}, {L"b%F", L"", -1, kept, L"b"},
        {L"abac%F", L"abaabac", 0, 7, L"abac"},
    };
    // clang-format on
    for (const auto &row : rows) {
        const Format format(row.format);
        const ZEMTFmtItem *entry = format.list.data();
        const wchar_t *const text = sources.hold<wchar_t>(laid_out(WVarcharSz, wide(row.text))), *position = text;
        auto *const literals = destinations.offer<wchar_t>((row.literals.size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(ZEMTGetNextCodePosInSourceW(&entry, &position, literals), row.status) << PrintToString(row.format);
        EXPECT_EQ(destinations.found(), laid_out(WVarcharSz, wide(row.literals)));
        EXPECT_EQ(entry, format.list.data() + row.literals.size());
        EXPECT_TRUE(position - text == row.position || row.position == kept) << PrintToString(row.format) << position - text;
    }
}

TEST(Parsing, RefusesWhatItCannotRead)
{
    Format format(L"%YYYY%MM%DD");
    const ZEMTTS day = at(2024, 1, 15);
    const std::string text = "20240115", wide_text = wide(L"20240115");
    // clang-format off
    const struct { ZEMTConversion *parse; std::string source; int32_t cell, status, cell_after; } rows[] = {
        {ZEMTCnvDateTimeCharToZEMTTS, text + "\xC3", 9, 28, 9}, {ZEMTCnvDateTimeSzToZEMTTS, "\xF0\0"s, 0, 28, 0},
        {ZEMTCnvDateTimeVarcharToZEMTTS, laid_out(Varchar, text + "\xE2"), 0, 28, 0},
        {ZEMTCnvDateTimeVarcharToZEMTTS, "\xFF\xFF", 0, -1, 0}, {ZEMTCnvDateTimeWVarcharToZEMTTS, "\3\0abc"s, 0, 30, 0},
        {ZEMTCnvDateTimeWVarcharToZEMTTS, "\x21\0"s + wide_text + "x", 0, 0, 33},
        {ZEMTCnvDateTimeCharToZEMTTS, text, -8, -1, -8}, {ZEMTCnvDateTimeWcharToZEMTTS, wide_text, -8, -1, -8},
        {ZEMTCnvDateTimeWSzToZEMTTS, "\0\0\0\0"s, 1, 54, 1}, {ZEMTCnvDateTimeWSzToZEMTTS, wide_text + "\0\0\0\0"s, -7, 0, -7}, {ZEMTCnvDateTimeCharToZEMTTS, text + "\xC3(", 10, 0, 10},
    };
    // clang-format on
    for (const auto &row : rows) {
        const Outcome got = call(row.parse, row.source, row.cell, 24, 0, &format.parms);
        EXPECT_EQ(got, parsed(parsers[0], row.status, day, row.cell_after)) << PrintToString(row.source);
    }
    for (const Parser &p : parsers) {
        const std::string source = laid_out(p.layout, unit_of[p.layout] == 1 ? text : wide_text);
        expect_refusals(p.parse, source, format.parms, true);
        format.parms.skipTranscode = 1 << 20;
        EXPECT_EQ(call(p.parse, source, 8, 24, 0, &format.parms), parsed(p, unit_of[p.layout] == 1 ? 54 : 0, day, 8))
            << &p - parsers;
        format.date_format.formatLength = format.parms.skipTranscode = 0;
        EXPECT_EQ(call(p.parse, source, 8, 24, 0, &format.parms), (Outcome{-1, "", kept, 8})) << &p - parsers;
        format.date_format.formatLength = 11;
    }
    const ZEMTFmtItem passed[] = {{'x', 20, 2, 0}, {0, 1, 4, 0}, {0, 21, 0, 0}},
                      unknown[] = {{0, 1, 4, 0}, {0, 22, 0, 0}, {0, 21, 0, 0}};
    // A literal 0 ends the run that is sought, and the text goes on behind the width of a keyword, whatever the entry's length.
    const ZEMTFmtItem cut[] = {{'a', 0, 0, 0}, {0, 0, 0, 0}, {'b', 0, 0, 0}, {0, 1, 4, 0}, {0, 21, 0, 0}},
                      odd[] = {{0, 1, 2, 0}, {0, 5, 2, 0}, {0, 1, 5, 0}, {0, 21, 0, 0}};
    ZEMTTS ts;
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"xa2025", 4, cut, 9, &ts, 3) == 0 && ts.year == 2025);
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"209912", 4, odd, 9, &ts, 3) == 0 && ts.year == 20 && ts.month == 12);
    ZEMTFmtItem year_of_5[] = {{0, 1, 5, 0}, {0, 5, 2, 0}, {0, 7, 2, 0}, {0, 21, 0, 0}};
    Format cut_to_16_bits(L"%YYYY%MM%DD");
    cut_to_16_bits.date_format.formatCodes = year_of_5;
    EXPECT_EQ(call(ZEMTCnvDateTimeWSzToZEMTTS, wide(L"67560115") + "\0\0\0\0"s, 1, 24, 0, &cut_to_16_bits.parms),
              parsed(parsers[0], 0, day, 1));
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"2024", 4, passed, 9, &ts, 3) == 0 && ts.year == 2024);
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"2023", 4, unknown, 9, &ts, 3) == 0 && ts.year == 2023);
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"2022.", 5, unknown, 9, &ts, 3) == -1 && ts.year == 2022);
    EXPECT_TRUE(ZEMTWVarcharSzToTS(L"2021", 4, passed, 0, &ts, 3) == -1 && ts.year == 2022);
    for (const int32_t length : {INT32_MIN, INT32_MIN + 1, 0, 1, 2}) {
        const ZEMTFmtItem narrow_hour[] = {{0, ZEMT_FMT_HH24, length, 0}, {0, ZEMT_FMT_END, 0, 0}};
        EXPECT_TRUE(ZEMTWVarcharSzToTS(L"12", 2, narrow_hour, 9, &ts, 3) == 0 && ts.hour == 0) << length;
    }
    EXPECT_EQ(ZEMTWVarcharSzToTS(nullptr, 4, passed, 9, &ts, 3), -1);
    EXPECT_EQ(ZEMTWVarcharSzToTS(L"2020", 4, nullptr, 9, &ts, 3), -1);
    EXPECT_EQ(ZEMTWVarcharSzToTS(L"2020", 4, passed, 9, nullptr, 3), -1);
    ZEMTDate date{1, 2, 3, {}, L"%DD.%MM.%"};
    EXPECT_TRUE(ZEMTDateCharToDate("24.12.2023", &date) == 67 && date.year == 1 && date.day == 3);
}

}  // namespace
