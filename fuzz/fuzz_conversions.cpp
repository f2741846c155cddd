// Feeds every conversion with sources of its own shape in buffers of exactly the size that the interface asks for, so that the
// address sanitizer sees a read or a write too many. What the caller owes is kept: terminators, room, a list that ends.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zemt.h"

namespace {

enum Shape { Char, Varchar, VarcharSz, WChar, WVarchar, WVarcharSz, Record, Packed, Varnum };

// dst bytes beside dstSize (of text), or all that there are (of numbers and records; below 0 for each byte of a packed field)
struct Conversion {
    ZEMTConversion *convert;
    Shape source;
    int32_t room_besides_size;
    int32_t fixed_room;
    size_t record_size = 0;
};

// clang-format off
constexpr Conversion conversions[] = {
    {ZEMTCnvCharToVarcharSz, Char, 1, 0}, {ZEMTCnvCharToWVarcharSz, Char, 4, 0}, {ZEMTCnvWCharToVarcharSz, WChar, 1, 0},
    {ZEMTCnvWCharToWVarcharSz, WChar, 4, 0}, {ZEMTCnvVarcharToVarcharSz, Varchar, 1, 0},
    {ZEMTCnvVarcharToWVarcharSz, Varchar, 4, 0}, {ZEMTCnvWVarcharToVarcharSz, WVarchar, 1, 0},
    {ZEMTCnvWVarcharToWVarcharSz, WVarchar, 4, 0}, {ZEMTCnvVarcharSzToVarcharSz, VarcharSz, 1, 0},
    {ZEMTCnvVarcharSzToWVarcharSz, VarcharSz, 4, 0}, {ZEMTCnvWVarcharSzToWVarcharSz, WVarcharSz, 4, 0},
    {ZEMTCnvWVarcharSzToWVarcharSzOut, WVarcharSz, 4, 0}, {ZEMTCnvVarcharSzToChar, VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToChar, WVarcharSz, 0, 0}, {ZEMTCnvVarcharSzToWChar, VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToWChar, WVarcharSz, 0, 0}, {ZEMTCnvVarcharSzToVarchar, VarcharSz, 2, 0},
    {ZEMTCnvWVarcharSzToVarchar, WVarcharSz, 0, 0}, {ZEMTCnvVarcharSzToWVarchar, VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToWVarchar, WVarcharSz, 2, 0}, {ZEMTCnvWVarcharSzToVarcharSz, WVarcharSz, 1, 0},
    {ZEMTCnvTinyIntToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_TINY_INT, 1},
    {ZEMTCnvSmallIntToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_SMALL_INT, 2},
    {ZEMTCnvIntToWVarcharSz1, Record, 0, 4 * ZEMT_ROOM_INT, 4},
    {ZEMTCnvLongLongToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_LONG_LONG, 8},
    {ZEMTCnvWVarcharSzToTinyInt, WVarcharSz, 0, 1}, {ZEMTCnvWVarcharSzToSmallInt, WVarcharSz, 0, 2},
    {ZEMTCnvWVarcharSzToInt1, WVarcharSz, 0, 4}, {ZEMTCnvWVarcharSzToLongLong, WVarcharSz, 0, 8},
    {ZEMTCnvTinyUIntToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_TINY_UINT, 1},
    {ZEMTCnvSmallUIntToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_SMALL_UINT, 2},
    {ZEMTCnvUIntToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_UINT, 4},
    {ZEMTCnvULONGLONGToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_ULONGLONG, 8},
    {ZEMTCnvUIntToVarcharSz, Record, 0, ZEMT_ROOM_UINT, 4}, {ZEMTCnvULONGLONGToVarcharSz, Record, 0, ZEMT_ROOM_ULONGLONG, 8},
    {ZEMTCnvWVarcharSzToTinyUInt, WVarcharSz, 0, 1}, {ZEMTCnvWVarcharSzToSmallUInt, WVarcharSz, 0, 2},
    {ZEMTCnvWVarcharSzToUInt, WVarcharSz, 0, 4}, {ZEMTCnvWVarcharSzToULONGLONG, WVarcharSz, 0, 8},
    {ZEMTCnvVarcharSzToUInt, VarcharSz, 0, 4}, {ZEMTCnvVarcharSzToULONGLONG, VarcharSz, 0, 8},
    {ZEMTCnvDblToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_DBL, 8}, {ZEMTCnvFltToWVarcharSz, Record, 0, 4 * ZEMT_ROOM_FLT, 4},
    {ZEMTCnvWVarcharSzToDbl, WVarcharSz, 0, 8}, {ZEMTCnvWVarcharSzToFlt, WVarcharSz, 0, 4},
    {ZEMTCnvDecKestToVarcharSz, Packed, 0, -2}, {ZEMTCnvDecKestToWVarcharSz, Packed, 0, -8},
    {ZEMTCnvVarcharSzToDecKest, VarcharSz, 0, -1}, {ZEMTCnvWVarcharSzToDecKest, WVarcharSz, 0, -1},
    {ZEMTCnvOraVarnumToVarcharSz_Unsigned, Varnum, 0, ZEMT_ROOM_ORA_VARNUM},
    {ZEMTCnvOraVarnumToWVarcharSz_Unsigned, Varnum, 0, 4 * ZEMT_ROOM_ORA_VARNUM},
    {ZEMTCnvVarcharSz_UnsignedToOraVarnum, VarcharSz, 0, ZEMT_SIZE_ORA_VARNUM},
    {ZEMTCnvWVarcharSz_UnsignedToOraVarnum, WVarcharSz, 0, ZEMT_SIZE_ORA_VARNUM},
    {ZEMTCnvZEMTDateToWVarcharSz, Record, 0, 0, 6}, {ZEMTCnvZEMTTimeToWVarcharSz, Record, 0, 0, 6},
    {ZEMTCnvZEMTTSToWVarcharSz, Record, 0, 0, 16}, {ZEMTCnvZEMTTSToWchar, Record, 0, 0, 16},
    {ZEMTCnvZEMTTSToWVarchar, Record, 2, 0, 16}, {ZEMTCnvZEMTTSToChar, Record, 0, 0, 16},
    {ZEMTCnvZEMTTSToVarchar, Record, 0, 0, 16}, {ZEMTCnvZEMTTSToVarcharSz, Record, 1, 0, 16},
    {ZEMTCnvDateTimeCharToZEMTTS, Char, 0, 24}, {ZEMTCnvDateTimeVarcharToZEMTTS, Varchar, 0, 24},
    {ZEMTCnvDateTimeSzToZEMTTS, VarcharSz, 0, 24}, {ZEMTCnvDateTimeWcharToZEMTTS, WChar, 0, 24},
    {ZEMTCnvDateTimeWVarcharToZEMTTS, WVarchar, 0, 24}, {ZEMTCnvDateTimeWSzToZEMTTS, WVarcharSz, 0, 24},
    {ZEMTCnvDateTimeWSzToZEMTDate, WVarcharSz, 0, 16}, {ZEMTCnvDateTimeWSzToZEMTTime, WVarcharSz, 0, 16},
};
// clang-format on

void require(bool condition)
{
    if (!condition) std::abort();
}

// A source of its shape, and its length as srcLen takes it.
struct Source {
    std::unique_ptr<char[]> bytes;
    int32_t length;
};

Source source_of(const Conversion &conversion, size_t field_size, bool widen, std::string_view data)
{
    const Shape shape = conversion.source;
    const bool wide = shape == WChar || shape == WVarchar || shape == WVarcharSz;
    std::string widened;
    for (const char character : data) widened.append({character, '\0', '\0', '\0'});
    if (wide) data = widen ? widened : data.substr(0, data.size() / 4 * 4);
    std::string image;
    if (shape == Varchar || shape == WVarchar) {
        const auto prefix = static_cast<int16_t>(data.size());
        image.append(reinterpret_cast<const char *>(&prefix), 2);
    }
    image += data;
    if (shape == VarcharSz) image += '\0';
    if (shape == WVarcharSz) image.append(4, '\0');
    if (shape == Record) image.resize(conversion.record_size);
    if (shape == Packed) image.resize(field_size);
    if (shape == Varnum) image.resize(image.empty() ? 1 : 1 + std::min<size_t>(static_cast<uint8_t>(image[0]), 21));
    Source source{std::make_unique<char[]>(image.size()), 0};
    std::memcpy(source.bytes.get(), image.data(), image.size());
    if (shape == Char || shape == WChar)
        source.length = static_cast<int32_t>(data.size() / (conversion.convert == ZEMTCnvDateTimeWcharToZEMTTS ? 4 : 1));
    return source;
}

// The functions that have a form of their own. Each text has room for one character more than it holds.
void feed_others(std::string_view data, const uint8_t *choices)
{
    double value = 0;
    std::memcpy(&value, data.data(), std::min(data.size(), sizeof value));
    FloatToString(value, std::make_unique<wchar_t[]>(ZEMT_ROOM_FLOAT_TO_STRING(choices[1] + 0u)).get(), choices[1]);

    const auto count = static_cast<int32_t>(data.size());
    const auto narrow = std::make_unique<char[]>(data.size() + 1);
    const auto wide = std::make_unique<wchar_t[]>(data.size() + 1);
    const auto digits = std::make_unique<uint8_t[]>(data.size());
    for (size_t i = 0; i < data.size(); ++i) {
        narrow[i] = data[i];
        wide[i] = data[i];
        digits[i] = static_cast<uint8_t>(data[i]) % 100;
    }
    int32_t narrow_length = count, wide_length = count, kept = count;
    TrimSpaces(narrow.get(), &narrow_length, choices[2] % 3, choices[3] % 3);
    TrimSpacesW(wide.get(), &wide_length, choices[2] % 3, choices[3] % 3);
    TrimAllSpacesTabsW(wide.get(), &kept);
    require(narrow_length == wide_length && wide_length <= count && kept <= count);

    const auto scale = static_cast<int16_t>(choices[4] % 4 == 0 ? choices[5] << 8 : choices[5] - 64);
    const auto varnum = std::make_unique<uint8_t[]>(ZEMT_SIZE_ORA_VARNUM);
    const int16_t status =
        ConvertBCDToOraVarNum(varnum.get(), digits.get(), static_cast<int16_t>(count), scale, "+-x"[choices[6] % 3]);
    require(status == ZEMT_RC_ERROR || (varnum[0] >= 1 && varnum[0] <= 21));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 8 || size > 4096) return 0;
    const Conversion &conversion = conversions[data[0] % std::size(conversions)];
    const int32_t size_given = data[1] | (data[2] & 0x03) << 8;
    const size_t format_size = std::min<size_t>(data[3] % 32, size - 8);

    // The format is made of bytes of the input, 8 bits to a character, mostly of the letters of keywords.
    std::wstring format;
    for (size_t i = 0; i < format_size; ++i) {
        const uint8_t byte = data[8 + i];
        format += byte < 128 ? L"%%%%YYMMDDHH24MISSFFPMONTH-:. ,"[byte % 31] : static_cast<wchar_t>(byte);
    }
    std::vector<ZEMTFmtItem> list(format.size() + 1);
    int32_t kind = data[4] % 4;
    const bool parsed = ZEMTGetFormatCodes(format.c_str(), list.data(), &kind) == ZEMT_RC_OK;
    if (!parsed)
        list = {
            {0, ZEMT_FMT_YYYY, 4, 0}, {L'-', ZEMT_FMT_LITERAL, 0, 0}, {0, data[5] % 32u, data[6], 0}, {0, ZEMT_FMT_END, 0, 0}};
    ZEMTDateFormat date_format{};
    date_format.formatCodes = list.data();
    date_format.formatLength = parsed ? static_cast<int32_t>(format.size()) : data[7];
    ZEMTCnvParms parms{};
    parms.skipTranscode = data[4] / 64 == 3;
    parms.dateFormat = &date_format;
    parms.precision = data[7] - 3;

    const std::string_view rest(reinterpret_cast<const char *>(data) + 8 + format_size, size - 8 - format_size);
    const auto field_size = static_cast<size_t>(ZEMT_SIZE_DEC_KEST(std::max(parms.precision, 0)));
    const Source source = source_of(conversion, field_size, data[4] % 2 != 0, rest);
    auto room =
        static_cast<size_t>(conversion.fixed_room != 0 ? conversion.fixed_room : size_given + conversion.room_besides_size);
    if (conversion.fixed_room < 0) room = field_size * static_cast<size_t>(-conversion.fixed_room);
    const std::unique_ptr<char[]> dst(new char[room]);
    int32_t length = source.length;
    int32_t out_length = -77;
    errno = 77;
    const int32_t status = conversion.convert(source.bytes.get(), &length, dst.get(), size_given, &out_length, &parms);
    require(errno == 77);
    if (status == ZEMT_RC_OK && (conversion.convert == ZEMTCnvWVarcharSzToDbl || conversion.convert == ZEMTCnvWVarcharSzToFlt))
        require(std::exchange(out_length, conversion.fixed_room) == -77);
    const bool may_tell_of_failure = conversion.source == Packed || conversion.source == Varnum;
    require((status == ZEMT_RC_OK) == (out_length != -77) || (may_tell_of_failure && status != ZEMT_RC_OK));
    require(status != ZEMT_RC_OK || (out_length >= 0 && (out_length == 0 || static_cast<size_t>(out_length) <= room)));

    if (conversion.source == Record) feed_others(rest, data);

    // A counting call of the codec says what the converting one needs.
    if (conversion.source == Char) {
        int32_t needed, count;
        const auto bytes = static_cast<int32_t>(rest.size());
        const int32_t counted = Convert8To16(nullptr, 0, rest.data(), bytes, &needed);
        const std::unique_ptr<uint16_t[]> units(new uint16_t[static_cast<size_t>(needed)]);
        require(Convert8To16(units.get(), needed, rest.data(), bytes, &count) == counted && count == needed);
        const int32_t back = Convert16To8(nullptr, 0, units.get(), count, &needed);
        require(back == ZEMT_RC_OK || back == ZEMT_RC_INVALID_CHAR);
    }
    return 0;
}
