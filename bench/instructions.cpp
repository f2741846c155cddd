// Instructions of each family, a thousand values at a time, told to callgrind under a name: see scripts/instructions.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

#include "zemt.h"

namespace {

constexpr size_t count = 1000;
std::mt19937 random_bits(42);
ZEMTCnvParms parms{};

template <typename Value>
std::string image(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

std::string wide(const std::string &text)
{
    std::string bytes;
    for (const char character : text + '\0') bytes += image(int32_t{static_cast<uint8_t>(character)});
    return bytes;
}

std::string digits(size_t most)
{
    std::string text(1, static_cast<char>('1' + random_bits() % 9));
    for (size_t more = random_bits() % most; more > 0; --more) text += static_cast<char>('0' + random_bits() % 10);
    return text;
}

// Wide text of characters of each script by turns, and the same as UTF-8.
std::string random_text(size_t length, bool is_ascii)
{
    std::wstring text;
    while (text.size() < length) {
        const uint32_t chance = is_ascii ? 0 : random_bits() % 10;
        text += static_cast<wchar_t>(chance < 4   ? 'a' + random_bits() % 26
                                     : chance < 7 ? 0x430 + random_bits() % 32
                                                  : 0x4E00 + random_bits() % 0x5000);
    }
    return {reinterpret_cast<const char *>(text.c_str()), (text.size() + 1) * sizeof(wchar_t)};
}

std::string utf8(const std::string &text)
{
    std::string bytes(text.size(), '\0');
    int32_t length = 0;
    Convert32To8(bytes.data(), static_cast<int32_t>(bytes.size()), reinterpret_cast<const wchar_t *>(text.data()),
                 static_cast<int32_t>(text.size() / 4), &length);
    bytes.resize(static_cast<size_t>(length) + 1, '\0');
    return bytes;
}

template <typename Make>
void measure(const char *name, ZEMTConversion *convert, Make make)
{
    std::vector<std::string> values;
    for (size_t i = 0; i < count; ++i) values.push_back(make());
    static char dst[4096];
    int32_t length = 0, out_length = 0, failed = 0;
    convert(values[0].data(), &length, dst, 4000, &out_length, &parms);  // what is asked or bound once
    CALLGRIND_ZERO_STATS;
    for (const std::string &value : values) {
        length = 0;
        failed += convert(value.data(), &length, dst, 4000, &out_length, &parms) != ZEMT_RC_OK;
    }
    CALLGRIND_DUMP_STATS_AT(name);
    if (failed > 0) printf("%s: %d of the values are refused\n", name, failed);
}

}  // namespace

int main()
{
    const wchar_t format[] = L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF";
    ZEMTFmtItem list[std::size(format)];
    int32_t kind = ZEMT_KIND_DATE;
    ZEMTGetFormatCodes(format, list, &kind);
    ZEMTDateFormat date_format{};
    date_format.formatCodes = list;
    date_format.formatLength = static_cast<int32_t>(wcslen(format));
    parms.dateFormat = &date_format;
    parms.precision = 18;

    for (const size_t length : {8u, 32u, 256u}) {
        for (const bool is_ascii : {true, false}) {
            const std::string name = (is_ascii ? "ASCII " : "mixed ") + std::to_string(length);
            const auto text = [&] { return random_text(length, is_ascii); };
            measure((name + " from UTF-8").c_str(), ZEMTCnvVarcharSzToWVarcharSz, [&] { return utf8(text()); });
            measure((name + " to UTF-8").c_str(), ZEMTCnvWVarcharSzToVarcharSz, text);
        }
    }
    const auto blanks = [] { return wide(digits(18) + std::string(12, ' ')); };
    const auto utf16 = [](const void *src, int32_t *, void *dst, int32_t size, int32_t *length, const ZEMTCnvParms *) noexcept {
        const char *const text = static_cast<const char *>(src);
        return Convert8To16(static_cast<uint16_t *>(dst), size / 2, text, static_cast<int32_t>(strlen(text)), length);
    };
    const auto trimming = [](const void *src, int32_t *, void *dst, int32_t, int32_t *length, const ZEMTCnvParms *) noexcept {
        const auto *const text = static_cast<const wchar_t *>(src);
        *length = static_cast<int32_t>(wcslen(text));
        return TrimSpacesW(wcscpy(static_cast<wchar_t *>(dst), text), length, 1, 1);
    };
    const auto parsing = [](const void *src, int32_t *, void *dst, int32_t, int32_t *length, const ZEMTCnvParms *) noexcept {
        return ZEMTGetFormatCodes(static_cast<const wchar_t *>(src), static_cast<ZEMTFmtItem *>(dst), length);
    };
    measure("mixed 32 to UTF-16", utf16, [] { return utf8(random_text(32, false)); });
    measure("8-bit copy", ZEMTCnvVarcharSzToVarcharSz, [] { return digits(40); });
    measure("wide copy", ZEMTCnvWVarcharSzToWVarcharSz, blanks);
    measure("narrowing", ZEMTCnvWVarcharToVarcharSz, [] { return "\x60" + std::string(1, '\0') + wide(std::string(24, 'n')); });
    measure("trimming", trimming, blanks);
    measure("format list", parsing, [] { return wide("%DD.%MONTH %YYYY, %HH:%MI %PM"); });
    const auto bits = [] { return image(uint64_t{random_bits()} << 32 | random_bits()); };
    const auto record = [] {
        return image(ZEMTTS{2024,
                            static_cast<uint16_t>(1 + random_bits() % 12),
                            static_cast<uint16_t>(1 + random_bits() % 28),
                            static_cast<uint16_t>(random_bits() % 24),
                            30,
                            59,
                            static_cast<int32_t>(random_bits() % 1000000),
                            {}});
    };
    const auto text_of = [&](ZEMTConversion *convert, const std::string &value) {
        char text[200];
        int32_t length = 0, out_length = 0;
        convert(value.data(), &length, text, 160, &out_length, &parms);
        return std::string(text, sizeof text);
    };
    const auto packed = [&] { return text_of(ZEMTCnvWVarcharSzToDecKest, wide(digits(18))); };
    const auto varnum_text = [] { return wide(digits(18) + "." + digits(18)); };
    const auto real = [] { return image(static_cast<double>(random_bits()) / 100); };
    measure("integer to text", ZEMTCnvLongLongToWVarcharSz, bits);
    measure("integer from text", ZEMTCnvWVarcharSzToLongLong, [] { return wide(digits(18)); });
    measure("double to text", ZEMTCnvDblToWVarcharSz, real);
    measure("double from text", ZEMTCnvWVarcharSzToDbl, [] { return wide(digits(8) + "." + digits(3)); });
    const auto single = [] { return image(static_cast<float>(random_bits()) / 100); };
    measure("float to text", ZEMTCnvFltToWVarcharSz, single);
    measure("float from text", ZEMTCnvWVarcharSzToFlt, [] { return wide(digits(8) + "." + digits(3)); });
    measure("packed to text", ZEMTCnvDecKestToWVarcharSz, packed);
    measure("packed from text", ZEMTCnvWVarcharSzToDecKest, [] { return wide(digits(18)); });
    measure("VARNUM to text", ZEMTCnvOraVarnumToWVarcharSz_Unsigned,
            [&] { return text_of(ZEMTCnvWVarcharSz_UnsignedToOraVarnum, varnum_text()); });
    measure("VARNUM from text", ZEMTCnvWVarcharSz_UnsignedToOraVarnum, varnum_text);
    measure("timestamp to wide text", ZEMTCnvZEMTTSToWVarcharSz, record);
    measure("timestamp to UTF-8", ZEMTCnvZEMTTSToVarcharSz, record);
    measure("timestamp from wide text", ZEMTCnvDateTimeWSzToZEMTTS,
            [&] { return text_of(ZEMTCnvZEMTTSToWVarcharSz, record()); });
    measure("timestamp from UTF-8", ZEMTCnvDateTimeSzToZEMTTS, [&] { return text_of(ZEMTCnvZEMTTSToVarcharSz, record()); });
}
