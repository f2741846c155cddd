#include "columns.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace recordcsv {
namespace {

constexpr int32_t prefix_size = sizeof(int16_t);
constexpr int32_t wide = sizeof(wchar_t);
constexpr int32_t no_limit = 1 << 20;
constexpr int32_t varchar_limit = 32767;
constexpr int32_t wvarchar_limit = varchar_limit / wide;
constexpr std::string_view number_in_double = "a decimal number that the type can hold, and not one that only rounds to 0";

// 8-bit text has conversions for integers of 32 and 64 bits. What does not fit narrower ones is told by reading it back.
template <typename Int>
int32_t integer_to_text(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen,
                        const ZEMTCnvParms *parms) noexcept
{
    Int value;
    std::memcpy(&value, src, sizeof value);
    auto *text = static_cast<char *>(dst);
    if constexpr (std::is_signed_v<Int> && sizeof(Int) < 8) {
        return ZEMTCnvIntToVarcharSz(value, text, outLen);
    } else if constexpr (sizeof(Int) < 8) {
        const uint32_t number = value;
        return ZEMTCnvUIntToVarcharSz(&number, srcLen, text, dstSize, outLen, parms);
    } else {
        const bool negative = std::is_signed_v<Int> && value < Int{0};
        const uint64_t number = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
        *text = '-';
        const int32_t status = ZEMTCnvULONGLONGToVarcharSz(&number, srcLen, text + negative, dstSize, outLen, parms);
        *outLen += negative;
        return status;
    }
}

template <typename Int>
int32_t text_to_integer(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen,
                        const ZEMTCnvParms *parms) noexcept
{
    const auto *const text = static_cast<const char *>(src);
    std::conditional_t<sizeof(Int) == 8, uint64_t, uint32_t> number = 0;
    int32_t status;
    if constexpr (std::is_signed_v<Int> && sizeof(Int) < 8) {
        int32_t signed_number = 0;
        status = ZEMTCnvVarcharSzToInt(text, &signed_number, 0, INT32_MAX);
        number = static_cast<uint32_t>(signed_number);
    } else if constexpr (sizeof(Int) < 8) {
        status = ZEMTCnvVarcharSzToUInt(text, srcLen, &number, dstSize, outLen, parms);
    } else {
        const bool negative = std::is_signed_v<Int> && *text == '-';
        status = ZEMTCnvVarcharSzToULONGLONG(text + negative, srcLen, &number, dstSize, outLen, parms);
        if (negative) number = 0 - number;
    }
    const auto value = static_cast<Int>(number);
    std::memcpy(dst, &value, sizeof value);
    return status;
}

constexpr ColumnType column_types[] = {
    // clang-format off
    // name        family            frame              takes            unit  largest         to text                        from text                       expected
    {"Char",       Family::Text,     Frame::Padded,     Takes::Length,   1,    no_limit,       ZEMTCnvCharToWVarcharSz,       ZEMTCnvWVarcharSzToChar,        {}},
    {"Varchar",    Family::Text,     Frame::Prefixed,   Takes::Length,   1,    varchar_limit,  ZEMTCnvVarcharToWVarcharSz,    ZEMTCnvWVarcharSzToVarchar,     {}},
    {"VarcharSz",  Family::Text,     Frame::Terminated, Takes::Length,   1,    no_limit,       ZEMTCnvVarcharSzToWVarcharSz,  ZEMTCnvWVarcharSzToVarcharSz,   {}},
    {"WChar",      Family::WideText, Frame::Padded,     Takes::Length,   wide, no_limit,       ZEMTCnvWCharToWVarcharSz,      ZEMTCnvWVarcharSzToWChar,       {}},
    {"WVarchar",   Family::WideText, Frame::Prefixed,   Takes::Length,   wide, wvarchar_limit, ZEMTCnvWVarcharToWVarcharSz,   ZEMTCnvWVarcharSzToWVarchar,    {}},
    {"WVarcharSz", Family::WideText, Frame::Terminated, Takes::Length,   wide, no_limit,       ZEMTCnvWVarcharSzToWVarcharSz, ZEMTCnvWVarcharSzToWVarcharSz,  {}},

    {"TinyInt",    Family::Integer,  Frame::Whole,      Takes::Nothing,  1,    0,              integer_to_text<int8_t>, text_to_integer<int8_t>, "an integer of -128..127"},
    {"SmallInt",   Family::Integer,  Frame::Whole,      Takes::Nothing,  2,    0,              integer_to_text<int16_t>, text_to_integer<int16_t>, "an integer of -32768..32767"},
    {"Int",        Family::Integer,  Frame::Whole,      Takes::Nothing,  4,    0,              integer_to_text<int32_t>, text_to_integer<int32_t>, "an integer of -2147483648..2147483647"},
    {"LongLong",   Family::Integer,  Frame::Whole,      Takes::Nothing,  8,    0,              integer_to_text<int64_t>, text_to_integer<int64_t>, "an integer of -9223372036854775808..9223372036854775807"},
    {"TinyUInt",   Family::Integer,  Frame::Whole,      Takes::Nothing,  1,    0,              integer_to_text<uint8_t>, text_to_integer<uint8_t>, "an integer of 0..255"},
    {"SmallUInt",  Family::Integer,  Frame::Whole,      Takes::Nothing,  2,    0,              integer_to_text<uint16_t>, text_to_integer<uint16_t>, "an integer of 0..65535"},
    {"UInt",       Family::Integer,  Frame::Whole,      Takes::Nothing,  4,    0,              integer_to_text<uint32_t>, text_to_integer<uint32_t>, "an integer of 0..4294967295"},
    {"ULONGLONG",  Family::Integer,  Frame::Whole,      Takes::Nothing,  8,    0,              integer_to_text<uint64_t>, text_to_integer<uint64_t>, "an integer of 0..18446744073709551615"},
    {"Dbl",        Family::Float,    Frame::Whole,      Takes::Nothing,  8,    0,              ZEMTCnvDblToWVarcharSz,        ZEMTCnvWVarcharSzToDbl,         number_in_double},
    {"Flt",        Family::Float,    Frame::Whole,      Takes::Nothing,  4,    0,              ZEMTCnvFltToWVarcharSz,        ZEMTCnvWVarcharSzToFlt,         number_in_double},
    {"DecKest",    Family::Packed,   Frame::Whole,      Takes::Precision, 0,   no_limit,       ZEMTCnvDecKestToVarcharSz,    ZEMTCnvVarcharSzToDecKest,     {}},
    {"OraVarnum",  Family::Varnum,   Frame::Counted,    Takes::Nothing,  ZEMT_SIZE_ORA_VARNUM, 0, ZEMTCnvOraVarnumToVarcharSz_Unsigned, ZEMTCnvVarcharSz_UnsignedToOraVarnum, "a decimal number without exponent, of 1e-130 to below 1e126 and up to 40 digits"},

    {"ZEMTTS",     Family::Moment,   Frame::Whole,      Takes::Format,   24,   0,              ZEMTCnvZEMTTSToWVarcharSz,     ZEMTCnvDateTimeWSzToZEMTTS,     "a valid timestamp"},
    {"ZEMTDate",   Family::Moment,   Frame::Whole,      Takes::Format,   16,   0,              ZEMTCnvZEMTDateToWVarcharSz,   ZEMTCnvDateTimeWSzToZEMTDate,   "a valid date", ZEMT_KIND_DATE},
    {"ZEMTTime",   Family::Moment,   Frame::Whole,      Takes::Format,   16,   0,              ZEMTCnvZEMTTimeToWVarcharSz,   ZEMTCnvDateTimeWSzToZEMTTime,   "a valid time", ZEMT_KIND_TIME},
    {"Skip",       Family::Filler,   Frame::Whole,      Takes::Length,   1,    no_limit,       nullptr,                       nullptr,                        {}},
    // clang-format on
};

// ---- Slots ------------------------------------------------------------------------------------------------------------------

std::string_view before_blanks(const Column &column, const char *slot)
{
    std::size_t end = column.slot_size;
    if (column.type->unit == 1) {
        uint64_t eight_blanks = 0;
        uint64_t last = 0;
        std::memset(&eight_blanks, column.blank, sizeof eight_blanks);
        while (end >= 8 && (std::memcpy(&last, slot + end - 8, 8), last == eight_blanks)) end -= 8;
        while (end != 0 && slot[end - 1] == column.blank) --end;
    } else {
        const auto is_blank = [slot](std::size_t at) { return std::memcmp(slot + at, " \0\0", wide) == 0; };
        while (end != 0 && is_blank(end - wide)) end -= wide;
    }
    return {slot, end};
}

std::string_view behind_prefix(const Column &column, const char *slot)
{
    int16_t size = 0;
    std::memcpy(&size, slot, prefix_size);
    const std::size_t room = column.slot_size - prefix_size;
    if (size < 0 || static_cast<std::size_t>(size) > room)
        throw ValueFailure("length prefix " + std::to_string(size) + " outside 0.." + std::to_string(room));
    if (size % column.type->unit != 0) throw ValueFailure("length prefix " + std::to_string(size) + " ends inside a character");
    return {slot + prefix_size, static_cast<std::size_t>(size)};
}

std::string_view before_terminator(const Column &column, const char *slot)
{
    const auto unit = static_cast<std::size_t>(column.type->unit);
    std::size_t end = 0;
    if (unit == 1) {
        end = strnlen(slot, column.slot_size);
    } else {
        while (end < column.slot_size && std::memcmp(slot + end, "\0\0\0", wide) != 0) end += unit;
    }
    if (end < column.slot_size) return {slot, end};
    throw ValueFailure("no terminator within " + std::to_string(column.slot_size) + " bytes");
}

// The value with its count. One that is 0 or beyond the slot is left to the library, which refuses it.
std::string_view with_count(const Column &column, const char *slot)
{
    const std::size_t size = 1 + static_cast<std::size_t>(static_cast<unsigned char>(*slot));
    return {slot, size == 1 || size > column.slot_size ? column.slot_size : size};
}

bool is_control(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

}  // namespace

void refuse(int32_t status)
{
    throw ValueFailure(status, "status " + std::to_string(status) + ", " + ZEMTStatusText(status));
}

bool is_utf8(std::string_view text)
{
    constexpr std::string_view replacement = "\xEF\xBF\xBD";  // which the library reads as '?'
    if (const std::size_t at = text.find(replacement); at != std::string_view::npos)
        return is_utf8(text.substr(0, at)) && is_utf8(text.substr(at + replacement.size()));
    std::vector<wchar_t> characters(text.size() + 1);
    std::string again(text.size() + 1, '\0');
    int32_t length = 0;
    int32_t bytes = 0;
    const auto size = static_cast<int32_t>(text.size());
    const bool read = Convert8To32(characters.data(), size, text.data(), size, &length) == ZEMT_RC_OK &&
                      Convert32To8(again.data(), size, characters.data(), length, &bytes) == ZEMT_RC_OK;
    const auto is_character = [](wchar_t character) {
        const auto value = std::bit_cast<uint32_t>(character);
        return value <= 0x10FFFF && (value & 0xFFFFF800) != 0xD800;
    };
    return read && std::string_view(again).substr(0, static_cast<std::size_t>(bytes)) == text &&
           std::all_of(characters.begin(), characters.begin() + length, is_character);
}

std::string shown(std::string_view text)
{
    constexpr std::size_t longest = 40;
    std::size_t end = std::min(text.size(), longest);
    while (end < text.size() && end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    std::string shown(text.substr(0, end));
    std::ranges::replace_if(shown, is_control, '?');
    if (!is_utf8(shown))
        std::ranges::replace_if(
            shown, [](char character) { return (character & 0x80) != 0; }, '?');
    return '"' + shown + (end < text.size() ? "...\"" : "\"");
}

void Column::prepare()
{
    const auto number = static_cast<std::size_t>(length);
    const auto unit = static_cast<std::size_t>(type->unit);
    switch (type->frame) {
    case Frame::Padded: slot_size = number * unit; break;
    case Frame::Prefixed: slot_size = prefix_size + number * unit; break;
    case Frame::Terminated: slot_size = (number + 1) * unit; break;
    case Frame::Whole:
    case Frame::Counted: slot_size = unit; break;
    }
    if (type->family == Family::Packed) slot_size = ZEMT_SIZE_DEC_KEST(number);
    if (type->family == Family::Filler) slot_size = number;
    // The conversion into a Varchar counts the prefix in its room, those into the other layouts count characters only.
    const bool counts_prefix = type->family == Family::Text && type->frame == Frame::Prefixed;
    write_room = type->frame == Frame::Whole || type->frame == Frame::Counted
                     ? static_cast<int32_t>(slot_size)
                     : length * type->unit + (counts_prefix ? prefix_size : 0);
    // A VARNUM takes most of the numbers, a packed field of B bytes takes 2B, and a format's keywords grow to 16 characters at
    // most.
    const int32_t format_length = write_format ? write_format->prepared.formatLength : 0;
    text_room = std::max({ZEMT_ROOM_ORA_VARNUM, length + 2, 16 * format_length + 1});
    is_plain_text = (type->family == Family::Text || type->family == Family::WideText) && !trim && encoding.empty();
    write_parms.precision = read_parms.precision = length;
    write_parms.dateFormat = write_format ? &write_format->prepared : nullptr;
    read_parms.dateFormat = read_format ? &read_format->prepared : nullptr;
}

std::string Column::expected() const
{
    const std::string count = std::to_string(length);
    switch (type->family) {
    case Family::Text: return "text of up to " + count + " bytes" + (encoding.empty() ? " of UTF-8" : " of " + encoding);
    case Family::WideText: return "text of up to " + count + " characters";
    case Family::Packed:
        return "a number of up to " + count + " digits" +
               (scale > 0 ? ", " + std::to_string(scale) + " of them behind the point" : "");
    case Family::Moment: return std::string(type->expected) + " as in \"" + format + '"';
    default: return std::string(type->expected);
    }
}

std::string_view value_in(const Column &column, const char *slot)
{
    switch (column.type->frame) {
    case Frame::Padded: return before_blanks(column, slot);
    case Frame::Prefixed: return behind_prefix(column, slot);
    case Frame::Terminated: return before_terminator(column, slot);
    case Frame::Counted: return with_count(column, slot);
    case Frame::Whole: break;
    }
    return {slot, column.slot_size};
}

void clear_slot(const Column &column, char *slot)
{
    const bool padded = column.type->frame == Frame::Padded;
    std::memset(slot, padded && column.type->unit == 1 ? column.blank : 0, column.slot_size);
    if (!padded || column.type->unit == 1) return;
    for (std::size_t at = 0; at < column.slot_size; at += wide) slot[at] = ' ';
}

const ColumnType *find_type(std::string_view name)
{
    const auto *found = std::ranges::find(column_types, name, &ColumnType::name);
    return found == std::end(column_types) ? nullptr : found;
}

std::string type_names()
{
    std::string names;
    for (const ColumnType &type : column_types) {
        const char *number = type.takes == Takes::Length ? "(n)" : type.takes == Takes::Precision ? "(p[,s])" : "";
        names.append(names.empty() ? "" : ", ").append(type.name).append(number);
    }
    return names;
}

PreparedFormat::PreparedFormat(std::string_view format)
{
    std::vector<wchar_t> text(format.size() + 1);
    int32_t length = 0;
    int32_t bytes = 0;
    const auto room = static_cast<int32_t>(format.size());
    if (!is_utf8(format)) throw ValueFailure("not UTF-8 text");
    require_success(Convert8To32(text.data(), room, format.data(), room, &length));
    items.resize(static_cast<std::size_t>(length) + 1);
    require_success(ZEMTGetFormatCodes(text.data(), items.data(), &kind));
    prepared.formatCodes = items.data();
    prepared.formatLength = length;

    auto last = std::ranges::find(items, uint32_t{ZEMT_FMT_END}, &ZEMTFmtItem::code);
    while (last != items.begin() && std::prev(last)->code == ZEMT_FMT_LITERAL) --last;
    std::vector<wchar_t> literals;
    for (; last->code != ZEMT_FMT_END; ++last) literals.push_back(last->ch);
    ending.resize(literals.size() * 4);
    require_success(Convert32To8(ending.data(), static_cast<int32_t>(ending.size()), literals.data(),
                                 static_cast<int32_t>(literals.size()), &bytes));
    ending.resize(static_cast<std::size_t>(bytes));
}

bool PreparedFormat::has(uint32_t code) const
{
    return std::ranges::find(items, code, &ZEMTFmtItem::code) != items.end();
}

}  // namespace recordcsv
