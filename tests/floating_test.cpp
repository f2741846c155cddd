// Floating-point numbers against the C library's printer and reader, whose results are correctly rounded.
#include <unistd.h>

#include <cfenv>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <filesystem>
#include <thread>

#include "support.h"

namespace {

int32_t to_string(const void *src, int32_t *, void *dst, int32_t digits, int32_t *out_length, const ZEMTCnvParms *) noexcept
{
    double value;
    memcpy(&value, src, sizeof value);
    const int32_t status = FloatToString(value, static_cast<wchar_t *>(dst), static_cast<int16_t>(digits));
    if (status == 0) *out_length = static_cast<int32_t>(wcslen(static_cast<wchar_t *>(dst)));
    return status;
}

template <class Real>
void write(ZEMTConversion *convert, Real value, int digits, int room, int32_t dst_size, size_t i)
{
    std::wstring text(static_cast<size_t>(digits) + 9, '\0');
    const int length = swprintf(text.data(), text.size(), L"%#.*E", digits, double{value});
    text.resize(static_cast<size_t>(length) + 1);
    text[text[0] == '-' ? 2 : 1] = '.';  // whatever the locale has there
    expect_call(convert, image(value), static_cast<size_t>(room) * sizeof(wchar_t), dst_size, nullptr, i,
                {0, wide(text), length, 0}, Behind::Open);
}

void write(double value, int digits, size_t i)
{
    write(to_string, value, digits, ZEMT_ROOM_FLOAT_TO_STRING(digits), digits, 0);
    write(ZEMTCnvDblToWVarcharSz, value, 16, ZEMT_ROOM_DBL, 31, i);
    if (std::abs(value) <= double{FLT_MAX}) write(ZEMTCnvFltToWVarcharSz, static_cast<float>(value), 7, ZEMT_ROOM_FLT, 31, i);
}

template <class Real>
void read(ZEMTConversion *convert, const std::wstring &text, Real value)
{
    const bool refused = value == 0 || !std::isfinite(value);
    expect_call(convert, wide(text + L'\0'), sizeof value, -1, nullptr, text.size(),
                {refused ? -1 : 0, refused ? "" : image(value), kept, 0});
}

void read(const std::wstring &text, std::optional<double> known = std::nullopt)
{
    SCOPED_TRACE(PrintToString(text));
    const double value = known ? *known : wcstod(text.c_str(), nullptr);
    read(ZEMTCnvWVarcharSzToDbl, text, value);
    read(ZEMTCnvWVarcharSzToFlt, text, static_cast<float>(value));
}

std::vector<double> numbers()
{
    std::mt19937_64 random(51);
    std::vector<double> values = {0.0, -0.0, DBL_MAX, -DBL_MAX, DBL_MIN, FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, 1234.5};
    const auto add_around = [&](double value) {
        values.insert(values.end(), {value, std::nextafter(value, 0), std::nextafter(value, 2 * value), value + 0.5, -value});
    };
    for (int power = -1074; power <= 1022; ++power) add_around(std::ldexp(1, power));
    for (int power = -323; power <= 307; ++power) add_around(strtod(("1e" + std::to_string(power)).c_str(), nullptr));
    for (int i = 0; i < 20000; ++i) {
        const uint64_t bits = random(), exponent = i % 8 == 0 ? 0x7FF0000000000000 : 0;  // one in eight is subnormal
        const double few{std::bit_cast<float>(static_cast<uint32_t>(bits))}, many = std::bit_cast<double>(bits & ~exponent);
        values.push_back(std::isfinite(few) ? few : 1);
        values.push_back(std::isfinite(many) ? many : 1);
        values.push_back(static_cast<double>(bits / 10 * 10 + 5));
    }
    return values;
}

TEST(Floating, WritesTheExactDigitsThatReadBack)
{
    const std::vector<double> values = numbers();
    wchar_t text[40];
    for (size_t i = 0; i < values.size(); ++i) {
        write(values[i], i % 400 == 0 ? 800 + static_cast<int>(i % 800) * 79 : static_cast<int>(i % 41), i);
        swprintf(text, std::size(text), L"%.16e", values[i]);
        read(text, values[i]);
    }
    write(25, 0, 0);
    // Odd numbers of halves, quarters ... that end with a 5 behind the last digit wanted, mostly.
    std::mt19937_64 random(52);
    for (int i = 0; i < 20000; ++i) {
        const int digits = i % 17 + 1, places = static_cast<int>(random() % 20) + 1;
        const double mantissa = std::pow(10, digits) / std::pow(5, places) * (1 + static_cast<double>(random() % 9000) / 1000);
        write(std::ldexp(std::floor(mantissa / 2) * 2 + 1, -places), digits - 1, 0);
    }
}

TEST(Floating, RefusesWhatIsNoNumberAndTooLittleRoom)
{
    const Outcome refused{-1, "", kept, 0};
    for (const double value : {std::strtod("inf", nullptr), std::strtod("-inf", nullptr), std::strtod("nan", nullptr), 1.5}) {
        for (const int32_t size : {INT16_MIN, -1, 0, 30, 31, 40, INT16_MAX}) {
            const bool is_refused = value != 1.5 || size <= 30;
            EXPECT_EQ(call(to_string, image(value), 0, 200, size) == refused, value != 1.5 || size < 0 || size > 40)
                << value << size;
            EXPECT_EQ(call(ZEMTCnvDblToWVarcharSz, image(value), 0, 100, size) == refused, is_refused) << value << size;
            EXPECT_EQ(call(ZEMTCnvFltToWVarcharSz, image(static_cast<float>(value)), 0, 60, size) == refused, is_refused)
                << value << size;
        }
    }
    expect_refusals(ZEMTCnvDblToWVarcharSz, image(1.5), {}, false);
    expect_refusals(ZEMTCnvFltToWVarcharSz, image(1.5F), {}, false);
    for (auto *const convert : {ZEMTCnvWVarcharSzToDbl, ZEMTCnvWVarcharSzToFlt}) {
        EXPECT_EQ(convert(L"1.5", nullptr, destinations.offer(8), 0, nullptr, nullptr), 0);
        expect_refusals(convert, wide(L"1.5\0"s), {}, false);
    }
}

// Made of one piece of each row. A '#' becomes a digit and a '*' some, hexadecimal ones behind an 'x'.
std::wstring random_text(Random &random)
{
    static const std::wstring zeros(1000, '0');
    static const std::vector<std::wstring> rows[] = {
        {L"", L"", L"", L" ", L"\t\n\v\f\r ", L"\x2003", L"\x85\x3000"},
        {L"", L"", L"-", L"+"},
        {L"", L"", L"", L"0x", L"0X", L"0", L"000", zeros},
        {L"", L"#", L"###", L"*", L"*", L"**"},
        {L"", L".", L".", L",", L"\x66B", L"." + zeros},
        {L"", L"#", L"###", L"*", L"*", L"**"},
        {L"", L"", L"", L"e", L"e#", L"E-##", L"e+#", L"E+", L"e-", L"p#", L"P-##", L"e-3##", L"e2##", L"e*"},
        {L"", L"", L"", L"xyz", L" 1", L".5", L",5", L"e5", L"\x661"},
    };
    std::wstring text;
    for (const auto &row : rows) {
        const uint32_t base = text.find_first_of(L"xX") == text.npos ? 10 : 22;
        for (const wchar_t piece : row[random() % row.size()]) {
            for (uint32_t count = piece == '*' ? random() % 40 : 1; count > 0; --count)
                text += piece == '*' || piece == '#' ? L"0123456789abcdefABCDEF"[random() % base] : piece;
        }
    }
    if (random() % 8 == 0 && !text.empty())
        text[random() % text.size()] = L"0.,eE+-xXpPinfaNAN() \x660\xFF11\x80000030"[random() % 23];
    return text;
}

// The exact digits halfway between two numbers, cut off, whole, and with one more.
void read_around(double below)
{
    char text[1200];
    const double above = std::nextafter(below, INFINITY);
    for (const int digits : {17, 18, 19, 25, 790}) {
        const int length = snprintf(text, sizeof text, "%.*Le", digits, below / 2.0L + above / 2.0L);
        std::wstring halfway(text, text + length);
        read(halfway);
        read(halfway.insert(halfway.find('e'), 1, '1'));
    }
}

TEST(Floating, ReadsTextAsTheCLibraryDoes)
{
    // clang-format off
    const wchar_t *const texts[] = {
        L"", L"0", L"-0.0", L"0x0p9", L"abc", L"1.5", L"  2.5xyz", L"0x1p3", L"0x1.8", L"0x", L"0x.p1", L"0x.8", L"1,5", L"1e",
        L"1e+", L"1e+x", L".5", L"5.", L".", L"-.", L".e5", L"+-1", L"- 1", L"1e999", L"-1e999", L"inf", L"-INFINITY",
        L"infinit", L"nan", L"-nan(1)", L"NAN(x", L"1e99999999999999999999", L"1e-99999999999999999999", L"1e4294967297",
        L"1e18446744073709551617", L"0e99999999999999999999", L"3.4028235e38", L"3.4028236e38", L"3.40282356779733e38", L"1e39",
        L"1e-50", L"7e-46", L"7.1e-46", L"1.4e-45", L"2.4e-324", L"2.5e-324", L"1.7976931348623157e308",
        L"1.7976931348623159e308", L"2.2250738585072011e-308", L"9007199254740993",
        L"9007199254740993.0000000000000000000000001", L"18446744073709551616", L"18446744073709551615e3", L"1e22", L"1e23", L"1e308", L"9999999999999999999e-342",
        L"\x661\x662", L"\xA0\x31", L"1'000", L"0x1p-1074", L"0x1p-1075", L"0x1.fffffffffffff8p0",
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
    for (int i = 0; i < 3000; ++i) {
        const uint64_t bits = uint64_t{random()} << 32 | random();
        read_around(std::bit_cast<double>(bits % 0x7FEFFFFFFFFFFFFF));
        read_around(static_cast<double>(bits >> random() % 11));
        read_around(double{std::bit_cast<float>(static_cast<uint32_t>(bits % 0x7F800000))});
        read(std::to_wstring(bits / 1024 * 1024 + (1 << random() % 11)));
    }
}

// Threads may trap exceptions, round otherwise, and take subnormals for zero.
TEST(Floating, WritesTheSameInEveryEnvironment)
{
    const float subnormal = std::bit_cast<float>(0xF00u), signalling = std::bit_cast<float>(0x7F800001u);
    const double tiny = 4e-310, no_number = std::bit_cast<double>(0x7FF0000000000001u);
    float narrowed;
    wchar_t text[5][25];
    int32_t length, status[5];
    fenv_t environment;
    fegetenv(&environment);
    fesetround(FE_UPWARD);
#ifdef __SSE2__
    __builtin_ia32_ldmxcsr(__builtin_ia32_stmxcsr() | 0x8040);  // flush to zero, denormals are zeros
#endif
    feenableexcept(FE_ALL_EXCEPT);
    status[0] = ZEMTCnvFltToWVarcharSz(&subnormal, nullptr, text[0], 31, &length, nullptr);
    status[1] = ZEMTCnvDblToWVarcharSz(&tiny, nullptr, text[1], 31, &length, nullptr);
    status[2] = ZEMTCnvFltToWVarcharSz(&signalling, nullptr, text[2], 31, &length, nullptr);
    status[3] = ZEMTCnvDblToWVarcharSz(&no_number, nullptr, text[3], 31, &length, nullptr);
    status[4] = ZEMTCnvWVarcharSzToFlt(L"1e39", nullptr, &narrowed, 0, nullptr, nullptr);
    fesetenv(&environment);
    EXPECT_EQ(std::vector(status, status + 5), (std::vector{0, 0, -1, -1, -1}));
    EXPECT_STREQ(text[0], L"5.3809861E-42");
    EXPECT_STREQ(text[1], L"3.9999999999999878E-310");
}

// Also for dates, as Turkish has an upper case of its own for i.
TEST(Floating, ReadsThePointOfTheThreadsLocaleAndWritesItsOwn)
{
    const auto directory = std::filesystem::path(testing::TempDir()) / ("zemt-" + std::to_string(getpid()));
    std::filesystem::create_directory(directory);
    setenv("LOCPATH", directory.c_str(), 1);
    for (const auto &[name, point] : {std::pair{"tr_TR"s, L','}, {"ps_AF"s, L'\x66B'}}) {
        const auto read_points = [point = point](bool is_default) {
            for (const std::wstring &end : {L"5"s, L'5' + std::wstring(40, '0'), L"5e0 "s}) {
                read(std::wstring(L"1") + point + end, is_default ? 1 : 1.5);
                read(L"1." + end, is_default ? 1.5 : 1);
            }
        };
        const std::string path = directory / name, log = " > " + path + ".log 2>&1";
        const int made = std::system(("localedef -c -i " + name + " -f UTF-8 " + path + log).c_str());
        ASSERT_STREQ(setlocale(LC_ALL, name.c_str()), name.c_str())
            << "localedef returned " << made << ". Is Debian's package locales installed?";
        read_points(false);
        write(-1234.5, 3, 0);
        ZEMTTS ts;
        EXPECT_TRUE(ZEMTWVarcharSzToTS(L"aprIL30", 7, Format(L"%month%mi").list.data(), 9, &ts, 3) == 0 && ts.minute == 30);
        const locale_t locale = duplocale(LC_GLOBAL_LOCALE);
        setlocale(LC_ALL, "C");
        read_points(true);
        uselocale(locale);
        read_points(false);
        std::thread(read_points, true).join();
        uselocale(LC_GLOBAL_LOCALE);
        freelocale(locale);
    }
    unsetenv("LOCPATH");
    std::filesystem::remove_all(directory);
}

}  // namespace
