// Packed decimal and VARNUM against strings of digits: padded, cut, with the point moved, and taken in pairs.
#include "support.h"

namespace {

std::wstring random_digits(Random &random, size_t count)
{
    std::wstring text(count, '0');
    for (wchar_t &digit : text) digit += static_cast<wchar_t>(random() % 10);
    return text;
}

// A byte for every two digits: first + step * number.
std::string paired(const std::wstring &digits, int base, int first = 0, int step = 1)
{
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(first + step * std::stoi(digits.substr(i, 2), nullptr, base));
    return bytes;
}

void read_packed(int precision, const std::wstring &nibbles, size_t i)
{
    SCOPED_TRACE(precision);
    const ZEMTCnvParms parms{{}, precision, 0, 0, 0, nullptr};
    const size_t places = std::min(nibbles.find_first_not_of(L"0123456789"), nibbles.size() - 1);
    const std::wstring text = nibbles.substr(0, places).erase(0, std::min(nibbles.find_first_not_of('0'), places));
    const auto length = static_cast<int32_t>(text.size()), size = static_cast<int32_t>(nibbles.size() / 2);
    for (const size_t unit : {1u, 4u}) {
        auto *const convert = unit == 1 ? ZEMTCnvDecKestToVarcharSz : ZEMTCnvDecKestToWVarcharSz;
        // No byte behind the first that has another nibble is looked at.
        expect_call(convert, paired(nibbles, 16).substr(0, places / 2 + 1), (text.size() + 1) * unit, 0, &parms, i,
                    {places + 1 == nibbles.size() ? 0 : -1, spelled(text + L'\0', unit), length, size});
    }
}

// Every character leaves the last of its hexadecimal digits.
void write_packed(int precision, const std::wstring &text, size_t i)
{
    SCOPED_TRACE(precision);
    const ZEMTCnvParms parms{{}, precision, 0, 0, 0, nullptr};
    const auto size = static_cast<size_t>(ZEMT_SIZE_DEC_KEST(precision));
    std::wstring nibbles(2 * size - std::min(2 * size, text.size() + 1), '0');
    for (const wchar_t character : text) nibbles += L"0123456789ABCDEF"[character & 15];
    for (const size_t unit : {1u, 4u}) {
        auto *const convert = unit == 1 ? ZEMTCnvVarcharSzToDecKest : ZEMTCnvWVarcharSzToDecKest;
        Outcome wanted{0, paired(nibbles + L'C', 16), static_cast<int32_t>(size), static_cast<int32_t>(text.size() * unit)};
        if (text.size() >= 2 * size) wanted = {-1, "", kept, 0};
        expect_call(convert, spelled(text + L'\0', unit), size, -1, &parms, i, wanted);
    }
}

TEST(Packed, ReadsAndWritesEveryPrecision)
{
    Random random(41);
    std::vector<int> precisions = {63, 64, 100, 999, 2000};
    for (int precision = 0; precision <= 62; ++precision) precisions.push_back(precision);
    for (const int precision : precisions) {
        const size_t places = static_cast<size_t>(precision) / 2 * 2 + 1, step = precision > 100 ? 97 : 1;
        for (size_t i = 0; i < 6 * places + 60; i += step) {
            const size_t zeros = random() % 4 == 0 ? 0 : random() % (places + 1);
            std::wstring nibbles = std::wstring(zeros, '0') + random_digits(random, places - zeros);
            read_packed(precision, nibbles += L"0123456789ABCDEF"[random() % 16], i);
            for (const size_t bad : {i % places, random() % places}) {
                nibbles[bad] = L"ABCDEF"[random() % 6];
                read_packed(precision, nibbles, i);
            }
        }
        for (size_t i = 12 * (step == 1 ? 0 : places - 4); i < 12 * (places + 4); ++i) {
            std::wstring text = random_digits(random, i / 12);
            for (wchar_t &character : text)
                if (i % 2 != 0) character = static_cast<wchar_t>(random() << 8 | (1 + random() % 255));
            write_packed(precision, text, i);
        }
    }
    const ZEMTCnvParms five{{}, 5, 0, 0, 0, nullptr},
        negative[] = {{{}, -1, 0, 0, 0, nullptr}, {{}, INT32_MIN, 0, 0, 0, nullptr}};
    EXPECT_EQ(call(ZEMTCnvWVarcharSzToDecKest, wide(L"7\x100\x10000\0"s), 0, 3, 0, &five),
              (Outcome{0, "\x00\x70\x0C"s, 3, 12}));
    for (auto *const convert :
         {ZEMTCnvDecKestToVarcharSz, ZEMTCnvDecKestToWVarcharSz, ZEMTCnvVarcharSzToDecKest, ZEMTCnvWVarcharSzToDecKest}) {
        for (const ZEMTCnvParms &parms : negative)
            EXPECT_EQ(call(convert, std::string(4, '\0'), 0, 8, 8, &parms), (Outcome{-1, "", kept, 0})) << parms.precision;
    }
}

const std::string zero = "\x01\x80"s;

// The VARNUM of digits with at most one point; empty for an exponent that is too large.
std::string varnum(const std::wstring &number, bool negative = false)
{
    std::wstring digits = number.substr(0, number.find('.')),
                 fraction = number.substr(std::min(digits.size() + 1, number.size()));
    digits.insert(0, digits.size() % 2, '0');
    auto exponent = static_cast<int>(digits.size() / 2) - 1;
    digits += fraction.append(fraction.size() % 2, '0');
    while (digits.ends_with(L"00")) digits.resize(digits.size() - 2);
    for (; digits.starts_with(L"00"); --exponent) digits.erase(0, 2);
    if (digits.empty() || exponent < -65) return zero;
    digits = digits.substr(0, 40);
    std::string bytes = negative ? paired(digits, 10, 101, -1) : paired(digits, 10, 1);
    bytes.insert(0, 1, static_cast<char>(negative ? 62 - exponent : 193 + exponent));
    if (negative && bytes.size() < 21) bytes += '\x66';
    return exponent > 62 ? "" : static_cast<char>(bytes.size()) + bytes;
}

// The text of digits to the base 100, the first with that exponent.
std::wstring text_of(std::wstring digits, int exponent)
{
    digits.insert(0, static_cast<size_t>(std::max(-2 - 2 * exponent, 0)), '0');
    const auto point = static_cast<size_t>(std::max(2 + 2 * exponent, 0));
    if (digits.size() < point) digits.resize(point, '0');
    if (digits.size() > point) digits.insert(point, 1, '.');
    return digits.substr(digits[0] == '0');
}

void read_varnum(const std::string &bytes, const std::wstring &text, bool refused = false)
{
    for (const size_t unit : {1u, 4u}) {
        auto *const convert = unit == 1 ? ZEMTCnvOraVarnumToVarcharSz_Unsigned : ZEMTCnvOraVarnumToWVarcharSz_Unsigned;
        const int32_t length = static_cast<uint8_t>(bytes[0]) + 1;
        Outcome wanted{0, spelled(text + L'\0', unit), static_cast<int32_t>(text.size()), length};
        if (refused) wanted = {-1, "", 0, length};
        const size_t room = refused ? 0 : unit * (text.size() + 1);
        EXPECT_EQ(call(convert, bytes, bytes.size() % 3 * 7, room, 0, nullptr, bytes.size()), wanted) << PrintToString(bytes);
    }
}

void write_varnum(std::wstring text)
{
    for (const size_t unit : {4u, 1u}) {
        auto *const convert = unit == 1 ? ZEMTCnvVarcharSz_UnsignedToOraVarnum : ZEMTCnvWVarcharSz_UnsignedToOraVarnum;
        const auto length = static_cast<int32_t>(text.size()), cell = text.empty() ? 7 : static_cast<int16_t>(length);
        const auto points = std::count(text.begin(), text.end(), '.');
        const bool refused = text.find_first_not_of(L"0123456789.") != text.npos || points > 1 || length - points > 266;
        const std::string bytes = refused ? "" : varnum(text);
        EXPECT_EQ(call(convert, spelled(text + L'\0', unit), 7, ZEMT_SIZE_ORA_VARNUM, 0, nullptr, text.size()),
                  (bytes.empty() ? Outcome{-1, "", kept, cell} : Outcome{0, bytes, static_cast<int32_t>(bytes.size()), cell}))
            << PrintToString(text);
        for (wchar_t &character : text) character &= 0xFF;
        text = text.c_str();  // what is left of it in 8-bit characters
    }
}

TEST(Varnum, ReadsAndWritesTheEdges)
{
    // clang-format off
    const std::pair<std::wstring, std::string> rows[] = {
        {L"0", zero}, {L"1", "\x02\xC1\x02"}, {L"99", "\x02\xC1\x64"}, {L"1.50", "\x03\xC1\x02\x33"}, {L".50", "\x02\xC0\x33"},
        {L".05", "\x02\xC0\x06"}, {L"100", "\x02\xC2\x02"}, {L"102", "\x03\xC2\x02\x03"}, {L".000001", "\x02\xBE\x02"},
        {L"1000000", "\x02\xC4\x02"}, {L"123.4560", "\x05\xC2\x02\x18\x2E\x3D"}, {L"12.10", "\x03\xC1\x0D\x0B"},
        {L"1234567.10", "\x06\xC4\x02\x18\x2E\x44\x0B"}, {L"." + std::wstring(129, '0') + L"1", "\x02\x80\x02"},
        {L"99" + std::wstring(124, '0'), "\x02\xFF\x64"},
    };
    // clang-format on
    for (const auto &[text, bytes] : rows) {
        EXPECT_EQ(varnum(text), bytes);
        EXPECT_LT(text.size(), size_t{ZEMT_ROOM_ORA_VARNUM});
        write_varnum(text);
        read_varnum(bytes, text);
    }
    write_varnum(std::wstring(40000, '1'));
    for (const wchar_t *const text : {L"", L".", L"0.0", L"5.", L"..", L"1.2.3", L"-1", L"1 ", L"1e5"}) write_varnum(text);
    for (const size_t zeros : {124u, 125u, 126u, 127u, 129u, 130u, 131u, 265u, 266u, 1000u}) {
        for (const wchar_t *const text : {L"1", L"99", L".", L"0"}) write_varnum(text + std::wstring(zeros, '0'));
        for (const wchar_t *const text : {L"1", L"99", L"", L"."}) write_varnum(L"." + std::wstring(zeros, '0') + text);
    }
    for (size_t i = 0; i < 256 * 256; ++i) {
        const size_t length = i / 256, exponent = i % 256;
        std::string bytes = {static_cast<char>(length), static_cast<char>(exponent)};
        bytes.resize(1 + std::min(length, 21ul), '\x02');
        if (length == 0 || length > 21 || exponent < 128 || (length == 1 && exponent != 128)) read_varnum(bytes, L"", true);
    }
    read_varnum("\x16\xC1" + std::string(21, '\x02'), L"", true);
    for (auto *const convert : {ZEMTCnvVarcharSz_UnsignedToOraVarnum, ZEMTCnvWVarcharSz_UnsignedToOraVarnum}) {
        int32_t source_length = kept, length = 0;
        EXPECT_EQ(convert(nullptr, &source_length, destinations.offer(2), 0, &length, nullptr), 0);
        EXPECT_TRUE(destinations.found() == zero && length == 2 && source_length == kept);
    }
}

TEST(Varnum, ReadsAndWritesEveryExponentWithAnyDigits)
{
    Random random(31);
    for (size_t i = 0; i < 128 * 20 * 3; ++i) {
        const int exponent = static_cast<int>(i % 128) - 65;
        const std::wstring digits = random_digits(random, i / 128 % 20 * 2 + 2);
        std::string bytes = {static_cast<char>(digits.size() / 2 + 1), static_cast<char>(193 + exponent)};
        std::wstring text = text_of(digits, exponent);
        read_varnum(bytes += paired(digits, 10, 1), text);
        write_varnum(text);
        write_varnum(text + random_digits(random, random() % 9));
        write_varnum(std::wstring(random() % 9, '0') + text);
        text[random() % text.size()] = L" +-/:,e.\xB0\x660\x130\x80000030\x10000"[random() % 13];
        write_varnum(text);
        bytes[2 + random() % (bytes.size() - 2)] = "\0\x65\x7F\x80\xFF"[random() % 5];
        read_varnum(bytes, L"", true);
    }
    for (int i = 0; i < 16000; ++i) {
        const uint32_t most = i % 4 == 0 ? 140 : 30;
        std::wstring text = std::wstring(random() % most, '0') + random_digits(random, random() % most);
        if (random() % 4 > 0) text.insert(random() % (text.size() + 1), 1, '.');
        write_varnum(text);
    }
}

// The digits, which may be changed, end at a fence, too.
void build(const std::wstring &digits, int count, int scale, char sign)
{
    const bool refused = count > 133 || (sign != '+' && sign != '-');
    std::wstring number = digits.substr(0, count < 0 ? 0 : digits.size());
    const size_t places = static_cast<size_t>(std::max(scale, 0));
    number.insert(0, places - std::min(places, number.size()), '0').append(static_cast<size_t>(std::max(-scale, 0)), '0');
    const std::string bytes = refused ? "" : varnum(number.insert(number.size() - places, 1, '.'), sign == '-');
    auto *const held = const_cast<uint8_t *>(sources.hold<uint8_t>(paired(digits, 10)));
    char *const dst = destinations.offer(ZEMT_SIZE_ORA_VARNUM, digits.size() / 2);
    Outcome got{ConvertBCDToOraVarNum(dst, held, static_cast<int16_t>(count), static_cast<int16_t>(scale), sign)};
    got.value = destinations.found();
    EXPECT_EQ(got, (Outcome{bytes.empty() ? -1 : 0, bytes})) << PrintToString(digits) << ", " << scale << ", " << sign;
    sources.found();
}

TEST(Varnum, IsBuiltFromDigitsOfEitherSign)
{
    EXPECT_EQ(varnum(L"1", true), "\x03\x3E\x64\x66");
    EXPECT_EQ(varnum(L"12.34", true), "\x04\x3E\x59\x43\x66");
    Random random(32);
    for (int i = 0; i < 135 * 40; ++i) {
        const int ends[] = {INT16_MIN, INT16_MIN + 1, INT16_MAX - 1, INT16_MAX}, count = i % 135;
        std::wstring digits = random_digits(random, static_cast<size_t>(2 * count));
        if (i % 4 > 0) std::fill_n(digits.begin(), random() % (digits.size() + 1), '0');
        if (i % 7 > 2) std::fill_n(digits.rbegin(), random() % (digits.size() + 1), '0');
        build(digits, count, i % 50 == 0 ? ends[random() % 4] : static_cast<int>(random() % 550) - 140, "+-"[random() % 2]);
    }
    for (const char sign : {' ', '\0', 'x', '\xAB', '\xAD'}) build(L"0102", 2, 2, sign);
    for (const int count : {-1, INT16_MIN}) build(L"05", count, 1, '-');
}

}  // namespace
