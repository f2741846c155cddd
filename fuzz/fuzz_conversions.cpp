// Feeds every conversion with sources of its own shape in buffers of exactly the size that the interface asks for, so that the
// address sanitizer sees a read or a write too many. What the caller owes is kept: terminators, room, a list that ends.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "zemt.h"

namespace {

enum class Shape { Char, Varchar, VarcharSz, WChar, WVarchar, WVarcharSz, Record };

// dst bytes beside dstSize (of text), or all that there are (of numbers and records)
struct Conversion {
    ZEMTConversion *convert;
    Shape source;
    int32_t room_besides_size;
    int32_t fixed_room;
};

constexpr Conversion conversions[] = {
    {ZEMTCnvCharToVarcharSz, Shape::Char, 1, 0},
    {ZEMTCnvCharToWVarcharSz, Shape::Char, 4, 0},
    {ZEMTCnvWCharToVarcharSz, Shape::WChar, 1, 0},
    {ZEMTCnvWCharToWVarcharSz, Shape::WChar, 4, 0},
    {ZEMTCnvVarcharToVarcharSz, Shape::Varchar, 1, 0},
    {ZEMTCnvVarcharToWVarcharSz, Shape::Varchar, 4, 0},
    {ZEMTCnvWVarcharToVarcharSz, Shape::WVarchar, 1, 0},
    {ZEMTCnvWVarcharToWVarcharSz, Shape::WVarchar, 4, 0},
    {ZEMTCnvVarcharSzToVarcharSz, Shape::VarcharSz, 1, 0},
    {ZEMTCnvVarcharSzToWVarcharSz, Shape::VarcharSz, 4, 0},
    {ZEMTCnvWVarcharSzToWVarcharSz, Shape::WVarcharSz, 4, 0},
    {ZEMTCnvWVarcharSzToWVarcharSzOut, Shape::WVarcharSz, 4, 0},
    {ZEMTCnvVarcharSzToChar, Shape::VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToChar, Shape::WVarcharSz, 0, 0},
    {ZEMTCnvVarcharSzToWChar, Shape::VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToWChar, Shape::WVarcharSz, 0, 0},
    {ZEMTCnvVarcharSzToVarchar, Shape::VarcharSz, 2, 0},
    {ZEMTCnvWVarcharSzToVarchar, Shape::WVarcharSz, 0, 0},
    {ZEMTCnvVarcharSzToWVarchar, Shape::VarcharSz, 0, 0},
    {ZEMTCnvWVarcharSzToWVarchar, Shape::WVarcharSz, 2, 0},
    {ZEMTCnvWVarcharSzToVarcharSz, Shape::WVarcharSz, 1, 0},
    {ZEMTCnvTinyIntToWVarcharSz, Shape::Record, 0, 20},
    {ZEMTCnvSmallIntToWVarcharSz, Shape::Record, 0, 28},
    {ZEMTCnvIntToWVarcharSz1, Shape::Record, 0, 48},
    {ZEMTCnvLongLongToWVarcharSz, Shape::Record, 0, 84},
    {ZEMTCnvWVarcharSzToTinyInt, Shape::WVarcharSz, 0, 1},
    {ZEMTCnvWVarcharSzToSmallInt, Shape::WVarcharSz, 0, 2},
    {ZEMTCnvWVarcharSzToInt1, Shape::WVarcharSz, 0, 4},
    {ZEMTCnvWVarcharSzToLongLong, Shape::WVarcharSz, 0, 8},
    {ZEMTCnvZEMTDateToWVarcharSz, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTimeToWVarcharSz, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTSToWVarcharSz, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTSToWchar, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTSToWVarchar, Shape::Record, 2, 0},
    {ZEMTCnvZEMTTSToChar, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTSToVarchar, Shape::Record, 0, 0},
    {ZEMTCnvZEMTTSToVarcharSz, Shape::Record, 1, 0},
    {ZEMTCnvDateTimeCharToZEMTTS, Shape::Char, 0, 24},
    {ZEMTCnvDateTimeVarcharToZEMTTS, Shape::Varchar, 0, 24},
    {ZEMTCnvDateTimeSzToZEMTTS, Shape::VarcharSz, 0, 24},
    {ZEMTCnvDateTimeWcharToZEMTTS, Shape::WChar, 0, 24},
    {ZEMTCnvDateTimeWVarcharToZEMTTS, Shape::WVarchar, 0, 24},
    {ZEMTCnvDateTimeWSzToZEMTTS, Shape::WVarcharSz, 0, 24},
    {ZEMTCnvDateTimeWSzToZEMTDate, Shape::WVarcharSz, 0, 16},
    {ZEMTCnvDateTimeWSzToZEMTTime, Shape::WVarcharSz, 0, 16},
};

void require(bool condition)
{
    if (!condition) std::abort();
}

// A source of its shape, and its length as srcLen takes it.
struct Source {
    std::unique_ptr<char[]> bytes;
    int32_t length;
};

Source source_of(Shape shape, bool counts_characters, std::string_view data)
{
    const bool wide = shape == Shape::WChar || shape == Shape::WVarchar || shape == Shape::WVarcharSz;
    if (wide) data = data.substr(0, data.size() / 4 * 4);
    std::string image;
    if (shape == Shape::Varchar || shape == Shape::WVarchar) {
        const auto prefix = static_cast<int16_t>(data.size());
        image.append(reinterpret_cast<const char *>(&prefix), 2);
    }
    image += data;
    if (shape == Shape::VarcharSz) image += '\0';
    if (shape == Shape::WVarcharSz) image.append(4, '\0');
    if (shape == Shape::Record) image.resize(sizeof(ZEMTTS));
    Source source{std::make_unique<char[]>(image.size()), 0};
    std::memcpy(source.bytes.get(), image.data(), image.size());
    if (shape == Shape::Char || shape == Shape::WChar)
        source.length = static_cast<int32_t>(data.size() / (counts_characters ? 4 : 1));
    return source;
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

    const std::string_view rest(reinterpret_cast<const char *>(data) + 8 + format_size, size - 8 - format_size);
    const Source source = source_of(conversion.source, conversion.convert == ZEMTCnvDateTimeWcharToZEMTTS, rest);
    const auto room =
        static_cast<size_t>(conversion.fixed_room != 0 ? conversion.fixed_room : size_given + conversion.room_besides_size);
    const std::unique_ptr<char[]> dst(new char[room]);
    int32_t length = source.length;
    int32_t out_length = -77;
    errno = 77;
    const int32_t status = conversion.convert(source.bytes.get(), &length, dst.get(), size_given, &out_length, &parms);
    require(errno == 77);
    require((status == ZEMT_RC_OK) == (out_length != -77));
    require(status != ZEMT_RC_OK || (out_length >= 0 && (out_length == 0 || static_cast<size_t>(out_length) <= room)));

    // A counting call of the codec says what the converting one needs.
    if (conversion.source == Shape::Char) {
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
