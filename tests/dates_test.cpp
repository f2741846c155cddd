// Dates and times: records, formats, and text in both directions.
#include "expect.h"
#include "format.h"

namespace {

// Writes the record by every function, into rooms around the one needed.
void write(const Format &format, const ZEMTTS &record)
{
    const auto length = static_cast<int32_t>(formatted(format.list.data(), record, 3).value_or(L"").size());
    for (const Function &f : functions_of(Formatting)) {
        const bool is_own_form = (f.marks & Typed) != 0;
        const std::string source = image(record).substr(f.name == "ZEMTCnvZEMTTimeToWVarcharSz"s ? 6 : 0, f.size);
        for (int32_t mode = is_own_form ? 0 : 4; mode < 5; ++mode) {
            const int32_t unit = is_own_form ? 1 : 4, first = (f.marks & NoParms) != 0 ? length : mode == 4 ? 26 : mode;
            for (int32_t size = first * unit - 2; size < (first + 3) * unit; ++size)
                expect(f, source, size, &format.parms, is_own_form ? mode : std::optional<int32_t>());
        }
    }
}

// Reads the text by every function; UTF-8 where the characters are bytes.
void read(const Format &format, const std::wstring &text)
{
    std::string utf8;
    for (const wchar_t character : text) utf8 += write8(static_cast<char32_t>(character));
    for (const Function &f : functions_of(Parsing))
        expect(f, unit_of[f.from] == 1 ? utf8 : wide(text) + std::string(f.from == WVarchar, 'x'), 0, &format.parms);
}

// Written down, as those of examples_test.cpp.
TEST(Dates, ExamplesAreWhatTheModelsSay)
{
    static constexpr ZEMTTS sample = at(2024, 3, 5, 13, 7, 9, 450), day = at(2024, 1, 15), year = at(2024, 0, 0), none{};
    const wchar_t *const all = L"%YYYY-%MM-%DD %HH24:%MI:%SS", *const iso = L"%YYYY-%MM-%DD", *const clock = L"%HH:%MI:%SS %PM";
    const wchar_t *const half = L"%YYYY-%MM-%DD %HH %PM", *const english = L"%MONTH %DD, %YYYY";
    // clang-format off
    const struct { const wchar_t *format; int32_t mode; std::wstring text; ZEMTTS record = sample; } written[] = {
        {all, 1, L"2024-03-05"}, {all, 2, L"-- 13:07:09"}, {all, 3, L"2024-03-05 13:07:09"}, {L"%DD %MONTH %YYYY", 3, L"05 March 2024"},
        {L"%D.%M.%YY", 3, L"5.3.24"}, {L"%MMM", 3, L"Mar"}, {clock, 3, L"01:07:09 PM"}, {clock, 2, L"01:07:09"}, {L"x%YYYY", 0, L"x"},
        {clock, 3, L"12:00:00 AM", at(1, 1, 1, 12)}, {clock, 3, L"00:00:00 AM", at(1, 1, 1)}, {L"%PM %HH:%MI:%SS", 2, L"PM 01:07:09"},
        {L"%HH24:%MI %PM", 3, L"13:07   "}, {L"%PM%HH24:%MI", 3, L"13:07"}, {L"%SS.%FFF", 3, L"09.450"}, {L"", 3, L""}, {L"%YYYYx", 4, L""},
        {L"%SS.%FFF", 3, L"09.045", at(0, 0, 0, 0, 0, 9, 45)}, {L"%FF|%F", 3, L"1234567|1234567", at(0, 0, 0, 0, 0, 0, 1234567)},
        {L"%YYYY/%YY", 3, L"0005/05", at(5, 1, 1)}, {L"%MMM%MONTH", 3, L"SepSeptember", at(1, 9, 1)}, {L"%FFFFFF", 3, L"000450"},
    };
    const struct { const wchar_t *format, *text; int32_t status; ZEMTTS record; } readings[] = {
        {L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF", L"2024-01-15 13:45:30.123456", 0, at(2024, 1, 15, 13, 45, 30, 123456)},
        {L"%YYYY%MM%DD", L"20240115", 0, day}, {L"%DD %MONTH %YYYY", L"15 march 2024", 0, at(2024, 3, 15)}, {english, L"Jun 01, 2024", -1, none},
        {L"%YYYY-%MMM-%DD", L"2024-Sep-09", 0, at(2024, 9, 9)}, {L"%YYYY-%MONTH-%DD", L"2024-September-09", 0, at(2024, 9, 9)},
        {english, L"May 01, 2024", 0, at(2024, 5, 1)}, {L"%DD-%MMM-%YY", L"15-Mar-24", 0, at(24, 3, 15)}, {L"%YY-%MM-%DD", L"00-01-15", 54, at(0, 1, 15)},
        {L"%HH:%MI %PM %YYYY-%MM-%DD", L"01:30 PM 2024-01-15", 0, at(2024, 1, 15, 13, 30)}, {L"%PM%PM%HH%YYYY%MM%DD", L"PMxx1020240115", 0, at(2024, 1, 15, 10)},
        {L"%YYYY-%MM-%DD %PM %HH", L"2024-01-15 pm 07", 0, at(2024, 1, 15, 19)}, {half, L"2024-01-15 12 AM", 0, at(2024, 1, 15, 12)},
        {half, L"2024-01-15 00 AM", 0, day}, {half, L"2024-01-15 13 AM", 0, at(2024, 1, 15, 13)}, {half, L"2024-01-15 12 PM", 57, at(2024, 1, 15, 24)},
        {half, L"2024-01-15 10 X", 0, at(2024, 1, 15, 10)}, {half, L"2024-01-15 10 P", 0, at(2024, 1, 15, 10)}, {all, L"2024-01-15", 0, day},
        {iso, L"2024-1", 55, at(2024, 1, 0)}, {iso, L"2024xx-01-15", 0, day}, {iso, L"2024-01-15abc", 0, day}, {L"%YYYY-%MM-%DD.", L"2024-01-15X", 0, day},
        {iso, L"2024/01/15", -1, year}, {iso, L" 2024-01-15", -1, none}, {L"%YYYY-%M-%D", L"2024-1-5", -1, year}, {L"abc", L"abc", 54, none},
        {L"%YYYY-%MM-%DD %FFF", L"2024-07-04 -5", 0, at(2024, 7, 4, 0, 0, 0, -5)}, {L"aab%DD", L"aaab31", 54, at(0, 0, 31)},
    };
    const struct { const wchar_t *format; int32_t status, kind; std::vector<std::pair<uint32_t, int32_t>> codes; } listings[] = {
        {L"%YYYY-%MM-%DD", 0, 1, {{1, 0}, {0, 0}, {5, 6}, {0, 0}, {7, 10}, {21, 0}}}, {L"", 0, 0, {{21, 0}}}, {L"%hh24%PM", 0, 2, {{9, 0}, {19, 5}, {21, 0}}},
        {L"%M/%D%pm", 0, 0, {{6, 0}, {0, 0}, {8, 3}, {19, 5}, {21, 0}}}, {L"%MMMM%ss", 0, 3, {{4, 0}, {0, 0}, {12, 5}, {21, 0}}}, {L"x%AM", 67, 0, {{0, 0}}},
    };
    // clang-format on
    for (const auto &[format, mode, text, record] : written) {
        EXPECT_TRUE(formatted(Format(format).list.data(), record, mode) == text) << testing::PrintToString(text);
        write(Format(format), record);
    }
    // More than 16 characters for each of a format, which begins with no keyword's code.
    for (size_t more = 0; more < 10; ++more) {
        Format format(L"x%YYYY-%MM-%DD" + std::wstring(more, '!'));
        format.list[0].code = more % 2 == 0 ? 20 : 22;
        format.date_format.formatLength = 1;
        write(format, sample);
        read(format, L"2024-01-15");
    }
    for (const size_t length : {32767u, 32768u}) expect("ZEMTGetFormatCodes", std::wstring(length, 'x'), 0, nullptr, 1);
    for (const auto &[format, text, status, record] : readings) {
        const auto [parsed, ts] = read_record(text, Format(format).list.data());
        EXPECT_EQ(image(ts), image(record)) << testing::PrintToString(text);
        EXPECT_EQ(parsed != 0 ? parsed : validated(ts, 3), status) << testing::PrintToString(text);
        read(Format(format), text);
    }
    for (const auto &[format, status, kind, codes] : listings) {
        const Listed list = listed(format, 0);
        EXPECT_TRUE(list.status == status && list.kind == kind && list.items.size() == codes.size())
            << testing::PrintToString(format);
        for (size_t i = 0; i < codes.size(); ++i)
            EXPECT_TRUE(list.items[i].code == codes[i].first &&
                        (codes[i].first % 21 == 0 || list.items[i].position == codes[i].second));
    }
}

TEST(Formatting, ChecksTheComponents)
{
    const Format format(L"%YYYY%MMM");
    for (const int year : {INT16_MIN, -1, 0, 1, 4, 100, 400, 1800, 1900, 2000, 2023, 9999, 10000})
        for (int month = 0; month < 15; ++month)
            for (const int day : {0, 1, 28, 29, 30, 31, 32, 65535}) write(format, at(year, month % 14 - month / 14, day));
    for (const int value : {0, 23, 24, 59, 60, 65535})
        for (const ZEMTTS &record : {at(2024, 2, 29, value), at(2024, 2, 29, 23, value), at(2024, 2, 29, 0, 0, value),
                                     at(0, 2, 29, value), at(2024, 13, 29, 23, value, 60)})
            write(format, record);
}

// A format of keywords in either case and literals.
std::wstring random_format(Random &random)
{
    // All that a date needs, in some order, or anything.
    std::vector<std::wstring_view> pieces = {L"YYYY", L"MM", L"DD", L"HH24", L"MI", L"SS", L"FFFFFF"};
    if (random() % 2 == 0) pieces = {L"YYYY", std::array{L"MM", L"MMM", L"MONTH"}[random() % 3], L"DD", L"HH", L"PM", L"MI"};
    if (random() % 4 == 0) pieces.assign(random() % 9, L"");
    for (std::wstring_view &piece : pieces)
        if (random() % 8 == 0 || piece.empty()) piece = keywords[1 + random() % 19].text;
    if (random() % 2 == 0) std::shuffle(pieces.begin(), pieces.end(), random);
    std::wstring format;
    for (const std::wstring_view piece : pieces) {
        for (uint32_t literals = random() % 3; literals > 0; --literals) format += L"--/: ,aAb\xE9\x20AC\x32M"[random() % 13];
        format += L'%';
        for (const wchar_t letter : piece)
            format += static_cast<wchar_t>(letter | (letter > '9' && random() % 8 == 0 ? 32 : 0));
    }
    return format.append(random() % 16 == 0 ? random() % 300 : random() % 2, L'-');
}

TEST(Dates, AreWrittenAndReadUnderAnyFormat)
{
    Random random(4);
    const auto below = [&](uint32_t limit) { return static_cast<int>(random() % 16 == 0 ? random() : random() % limit); };
    for (int i = 0; i < 6000; ++i) {
        Format format(random_format(random));
        const int fraction = static_cast<int>(random()) >> random() % 32;
        ZEMTTS record = at(1 + below(9999), 1 + below(12), 1 + below(28), below(24), below(60), below(60), fraction);
        format.parms.skipTranscode = i % 64 == 0 ? 256 : 0;
        expect("ZEMTGetFormatCodes", format.text, 0, nullptr, i % 6 - 1);
        if (i % 4 < 2) write(format, record);
        record.month = static_cast<uint16_t>((record.month - 1) % 12 + 1);
        std::wstring text = formatted(format.list.data(), record, 3).value_or(L"").c_str();
        read(format, text);
        for (int changes = 0; changes < 2; ++changes) {
            const size_t place = random() % (text.size() + 1);
            if (random() % 4 == 0) text.resize(place);
            if (random() % 4 == 0) text.insert(place, random() % 8 == 0 ? 110 + random() % 20 : 1, L"-0aP%\xE9"[random() % 6]);
            if (place < text.size()) text[place] = L"0-9:/m\xE9\x17F\x80000030"[random() % 9];
            read(format, text);
        }
    }
}

}  // namespace
