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
    for (const Function &f : functions_of(Parsing)) expect(f, unit_of[f.from] == 1 ? utf8 : wide(text), 0, &format.parms);
}

TEST(Formatting, ChecksTheComponents)
{
    const Format format(L"%YYYY");
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
    return format.append(random() % 2, L'-');
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
        if (i % 4 < 2) write(format, record);
        record.month = static_cast<uint16_t>((record.month - 1) % 12 + 1);
        std::wstring text = formatted(format.list.data(), record, 3).value_or(L"").c_str();
        read(format, text);
        for (int changes = 0; changes < 2; ++changes) {
            const size_t place = random() % (text.size() + 1);
            if (random() % 4 == 0) text.resize(place);
            if (random() % 4 == 0) text.insert(place, 1, L"-0aP%"[random() % 5]);
            if (place < text.size()) text[place] = L"0-9:/m\xE9\x17F\x80000030"[random() % 9];
            read(format, text);
        }
    }
}

TEST(Dates, OfAnyLength)
{
    for (const size_t length : {32767u, 32768u}) expect("ZEMTGetFormatCodes", std::wstring(length, 'x'), 0, nullptr, 1);
    const std::wstring iso = L"%YYYY-%MM-%DD", run = L"%YYYY%MM%DD";
    for (const size_t more : {0u, 58u, 110u, 116u, 117u, 118u, 119u, 235u, 244u, 245u, 8000u}) {
        read(Format(iso), L"2024-01-15" + std::wstring(more, 'x'));
        read(Format(iso), L"2024" + std::wstring(more, L'\xE9') + L"-01-15");
        read(Format(run + std::wstring(more, ' ')), L"20240115");
        write(Format(run + std::wstring(more, ' ') + L"%MI"), at(2024, 1, 15));
    }
}

}  // namespace
