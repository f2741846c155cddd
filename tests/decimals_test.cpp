// Packed decimal and VARNUM.
#include "expect.h"
#include "models/decimals.h"

namespace {

std::string random_digits(Random &random, size_t count)
{
    std::string text(count, '0');
    for (char &digit : text) digit = "0123456789"[random() % 10];
    return text;
}

void read(Layout from, const std::string &bytes, int precision = 0)
{
    const ZEMTCnvParms parms{{}, precision, 0, 0, 0, nullptr};
    for (const Function &f : functions_of(Decimals))
        if (f.from == from) expect(f, bytes, -1, &parms);
}

void write(Layout to, const auto &text, int precision = 0)
{
    const ZEMTCnvParms parms{{}, precision, 0, 0, 0, nullptr};
    for (const Function &f : functions_of(Decimals))
        if (f.to == to) expect(f, std::wstring(text.begin(), text.end()), -1, &parms);
}

// No byte behind the first that has another nibble is looked at.
void read_packed_field(int precision, const std::string &nibbles)
{
    const size_t places = std::min(nibbles.find_first_not_of("0123456789"), nibbles.size() - 1);
    read(Packed, paired(nibbles, 16).substr(0, places / 2 + 1), precision);
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
            std::string nibbles = std::string(zeros, '0') + random_digits(random, places - zeros);
            read_packed_field(precision, nibbles += "0123456789ABCDEF"[random() % 16]);
            for (const size_t bad : {i % places, random() % places}) {
                nibbles[bad] = "ABCDEF"[random() % 6];
                read_packed_field(precision, nibbles);
            }
        }
        for (size_t i = 12 * (step == 1 ? 0 : places - 4); i < 12 * (places + 4); ++i) {
            std::wstring text(i / 12, '0');
            for (wchar_t &character : text)
                character = static_cast<wchar_t>(i % 2 == 0 ? '0' + random() % 10 : random() << 8 | (1 + random() % 255));
            write(Packed, text, precision);
        }
    }
}

TEST(Varnum, ReadsAndWritesEveryExponentWithAnyDigits)
{
    Random random(31);
    for (size_t i = 0; i < 128 * 20 * 3; ++i) {
        const int exponent = static_cast<int>(i % 128) - 65;
        const std::string digits = random_digits(random, i / 128 % 20 * 2 + 2), text = text_of(digits, exponent);
        std::string bytes = {static_cast<char>(digits.size() / 2 + 1), static_cast<char>(193 + exponent)};
        read(Varnum, bytes += paired(digits, 10, 1));
        write(Varnum, text);
        write(Varnum, text + random_digits(random, random() % 9));
        write(Varnum, std::string(random() % 9, '0') + text);
        std::wstring other(text.begin(), text.end());
        other[random() % text.size()] = L" +-/:,e.\xB0\x660\x130\x80000030\x10000"[random() % 13];
        write(Varnum, other);
        bytes[2 + random() % (bytes.size() - 2)] = "\0\x65\x7F\x80\xFF"[random() % 5];
        read(Varnum, bytes);
        bytes[0] = "\0\1\2\x14\x15\x16\x80\xFF"[random() % 8];
        bytes.resize(22, '\2');
        read(Varnum, bytes.substr(0, 1 + static_cast<uint8_t>(bytes[0])));
    }
    for (size_t length = 120; length < 270; ++length)
        for (const char *const text : {"", "1", ".", ".0"})
            write(Varnum, text + std::string(length, '0') + (length % 5 == 0 ? "7" : ""));
    for (int i = 0; i < 16000; ++i) {
        const uint32_t most = i % 4 == 0 ? 140 : 30;
        std::string text = std::string(random() % most, '0') + random_digits(random, random() % most);
        if (random() % 4 > 0) text.insert(random() % (text.size() + 1), 1, '.');
        write(Varnum, text);
    }
}

TEST(Varnum, IsBuiltFromDigitsOfEitherSign)
{
    Random random(32);
    for (int i = 0; i < 135 * 40; ++i) {
        const int ends[] = {INT16_MIN, INT16_MIN + 1, INT16_MAX - 1, INT16_MAX}, count = i % 135;
        std::string digits = random_digits(random, static_cast<size_t>(2 * count));
        if (i % 4 > 0) std::fill_n(digits.begin(), random() % (digits.size() + 1), '0');
        if (i % 7 > 2) std::fill_n(digits.rbegin(), random() % (digits.size() + 1), '0');
        const int scale = i % 50 == 0 ? ends[random() % 4] : static_cast<int>(random() % 550) - 140, sign = "+-"[i / 7 % 2];
        expect("ConvertBCDToOraVarNum", paired(digits, 10), static_cast<uint16_t>(scale) | sign << 16, nullptr, count);
    }
}

}  // namespace
