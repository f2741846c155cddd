// Integers and floating-point numbers.
#include <unistd.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <filesystem>

#include "expect.h"
#include "format.h"

namespace {

TEST(Integers, WriteEveryShortValueAndReadAnyText)
{
    std::mt19937_64 random(7);
    std::vector<int64_t> values = {INT32_MIN, INT32_MAX, UINT32_MAX, 1L << 32, INT64_MIN, INT64_MAX, 0};
    for (unsigned i = 0; i < 3200; ++i) values.push_back(static_cast<int64_t>(random()) >> i % 64);
    for (int64_t power = 1; power < INT64_MAX / 10; power *= 10)
        values.insert(values.end(), {power, -power, power * 10 - 1, 1 - power * 10});
    std::vector<std::wstring> texts = {L"", L"-", L"--1", L"300", L"-300", L"65536", L"4294967296", L"18446744073709551616"};
    for (const int64_t value : values) {
        texts.push_back(std::to_wstring(value));
        texts.push_back(std::to_wstring(static_cast<uint64_t>(value)) + std::to_wstring(random()).substr(0, random() % 40));
        std::wstring &text = texts.emplace_back(texts.back());
        text[random() % text.size()] = L" +-/:a.\xB0\x660\x130\x80000030\x10000"[random() % 12];
    }
    for (int64_t value = INT16_MIN; value <= UINT16_MAX; ++value) values.push_back(value);
    for (const Function &f : functions_of(Integers)) {
        for (const int64_t value : f.from == Record ? values : std::vector<int64_t>())
            expect(f, image(value).substr(0, f.size), 1);
        for (const std::wstring &text : f.from == Record ? std::vector<std::wstring>() : texts) expect(f, text, -1);
    }
}

void write(double value, int digits)
{
    expect("FloatToString", image(value), digits);
    for (const int32_t size : {30, 31}) {
        expect("ZEMTCnvDblToWVarcharSz", image(value), size);
        expect("ZEMTCnvFltToWVarcharSz", image(std::abs(value) > double{FLT_MAX} ? HUGE_VALF : static_cast<float>(value)),
               size);
    }
}

void read(const std::wstring &text)
{
    expect("ZEMTCnvWVarcharSzToDbl", text);
    expect("ZEMTCnvWVarcharSzToFlt", text);
}

std::vector<double> numbers()
{
    std::mt19937_64 random(51);
    std::vector<double> values = {0.0,     -0.0,         DBL_MAX, -DBL_MAX, DBL_MIN, FLT_MAX,  -FLT_MAX,
                                  FLT_MIN, FLT_TRUE_MIN, 1234.5,  25,       NAN,     INFINITY, -INFINITY};
    const auto add_around = [&](double value) {
        values.insert(values.end(), {value, std::nextafter(value, 0), std::nextafter(value, 2 * value), value + 0.5, -value});
    };
    for (int power = -1074; power <= 1022; ++power) add_around(std::ldexp(1, power));
    for (int power = -323; power <= 307; ++power) add_around(strtod(("1e" + std::to_string(power)).c_str(), nullptr));
    for (int i = 0; i < 20000; ++i) {
        const uint64_t bits = random(), exponent = i % 8 == 0 ? 0x7FF0000000000000 : 0;  // one in eight is subnormal
        values.push_back(double{std::bit_cast<float>(static_cast<uint32_t>(bits))});
        values.push_back(std::bit_cast<double>(bits & ~exponent));
        values.push_back(static_cast<double>(bits / 10 * 10 + 5));
    }
    return values;
}

TEST(Floating, WritesTheExactDigitsThatReadBack)
{
    const std::vector<double> values = numbers();
    wchar_t text[40];
    for (size_t i = 0; i < values.size(); ++i) {
        write(values[i], i % 400 == 0 ? 800 + static_cast<int>(i % 800) * 79 : static_cast<int>(i % 41));
        swprintf(text, std::size(text), L"%.16e", values[i]);
        read(text);
    }
    for (const int digits : {INT16_MIN, -1, INT16_MAX, 0}) write(25, digits);
}

// Made of one piece of each row, in which a '#' becomes a digit, a hexadecimal one behind an 'x'.
std::wstring random_text(Random &random)
{
    static const std::wstring zeros(1000, '0'), few = L"###", many(17, '#'), more(30, '#');
    static const std::vector<std::wstring> rows[] = {
        {L"", L"", L"", L" ", L"\t\n\v\f\r ", L"\x2003", L"\x85\x3000"},
        {L"", L"", L"-", L"+"},
        {L"", L"", L"", L"0x", L"0X", L"0", L"000", zeros},
        {L"", L"#", few, many, more},
        {L"", L".", L".", L",", L"\x66B", L"." + zeros},
        {L"", L"#", few, L"##", many, more},
        {L"", L"", L"", L"e", L"e#", L"E-##", L"e+#", L"E+", L"e-", L"p#", L"P-##", L"e-3##", L"e2##", L"e" + more},
        {L"", L"", L"", L"xyz", L" 1", L".5", L",5", L"e5", L"\x661"},
    };
    std::wstring text;
    for (const auto &row : rows) text += row[random() % row.size()];
    const uint32_t base = text.find_first_of(L"xX") < 8 ? 22 : 10;
    for (wchar_t &character : text)
        if (character == '#') character = L"0123456789abcdefABCDEF"[random() % base];
    if (random() % 8 == 0)
        text += text[random() % (text.size() + 1)] = L"0.,eE+-xXpPinfaNAN() \x660\xFF11\x80000030"[random() % 23];
    return text;
}

TEST(Floating, ReadsTextAsTheCLibraryDoes)
{
    // clang-format off
    const wchar_t *const texts[] = {
        L"", L"0", L"-0.0", L"0x0p9", L"0x.p1", L"1e+x", L"-.", L"- 1", L"1e999", L"inf", L"-INFINITY", L"nan", L"-nan(1)",
        L"1e99999999999999999999", L"1e-99999999999999999999", L"1e4294967297", L"1e18446744073709551617", L"3.4028235e38",
        L"3.4028236e38", L"3.40282356779733e38", L"1e39", L"7e-46", L"7.1e-46", L"1.4e-45", L"2.4e-324", L"2.5e-324",
        L"1.7976931348623157e308", L"1.7976931348623159e308", L"2.2250738585072011e-308", L"18446744073709551616",
        L"9007199254740993.0000000000000000000000001", L"18446744073709551615e3", L"1e22", L"1e23", L"1e308",
        L"9999999999999999999e-342", L"0x1p-1074", L"0x1p-1075", L"0x1.fffffffffffff8p0",
    };
    // clang-format on
    for (const wchar_t *const text : texts) read(text);
    for (const size_t count : {18u, 19u, 20u, 307u, 309u, 1000u}) {
        const std::wstring zeros(count, '0');
        for (const std::wstring text : {L"1", L"1.5", L"9007199254740993", L"e1001", L".1e999", L".1e1002"}) {
            read(zeros + text);
            read(L"0." + zeros + text);
            read(text + zeros + L"e-" + std::to_wstring(count));
        }
    }
    Random random(53);
    for (int i = 0; i < 30000; ++i) read(random_text(random));
    // Halfway between two numbers, and a little more.
    char halfway[1200];
    for (int i = 0; i < 5000; ++i) {
        const uint64_t bits = uint64_t{random()} << 32 | random();
        const double below =
            i % 2 == 0 ? std::bit_cast<double>(bits % 0x7FEFFFFFFFFFFFFF) : static_cast<double>(bits >> random() % 11);
        const long double half = below / 2.0L + std::nextafter(below, INFINITY) / 2.0L;
        const int length = snprintf(halfway, sizeof halfway, "%.*Le", i % 5 == 4 ? 790 : 17 + i % 5, half);
        std::wstring text(halfway, halfway + length);
        read(text);
        read(text.insert(text.find('e'), 1, '1'));
    }
}

// Also for dates, as Turkish has an upper case of its own for i.
TEST(Floating, ReadsThePointOfTheThreadsLocaleAndWritesItsOwn)
{
    const auto directory = std::filesystem::path(testing::TempDir()) / ("zemt-" + std::to_string(getpid()));
    std::filesystem::create_directory(directory);
    setenv("LOCPATH", directory.c_str(), 1);
    for (const auto &[name, point] : {std::pair{"tr_TR"s, L','}, {"ps_AF"s, L'\x66B'}}) {
        const auto read_points = [point = point] {
            for (const wchar_t separator : {point, L'.'})
                for (const auto &end : {L"5"s, L'5' + std::wstring(40, '0'), L"5e0 "s}) read(L"1"s + separator + end);
        };
        const std::string path = directory / name, log = " > " + path + ".log 2>&1";
        const int made = std::system(("localedef -c -i " + name + " -f UTF-8 " + path + log).c_str());
        ASSERT_STREQ(setlocale(LC_ALL, name.c_str()), name.c_str())
            << "localedef returned " << made << ". Is Debian's package locales installed?";
        read_points();
        write(-1234.5, 3);
        const Format format(L"%month%mi");
        expect("ZEMTWVarcharSzToTS", L"aprIL30"s, 0, &format.parms);
        const locale_t locale = duplocale(LC_GLOBAL_LOCALE);
        setlocale(LC_ALL, "C");
        read_points();
        uselocale(locale);
        read_points();
        uselocale(LC_GLOBAL_LOCALE);
        freelocale(locale);
    }
    unsetenv("LOCPATH");
    std::filesystem::remove_all(directory);
}

}  // namespace
