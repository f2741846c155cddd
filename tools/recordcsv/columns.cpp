#include "columns.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "decimals.h"
#include "values.h"

namespace recordcsv {
namespace {

// ---- Storage ----------------------------------------------------------------------------------------------------------------

constexpr int32_t prefix_size = sizeof(int16_t);

template <int32_t Bytes>
constexpr int32_t whole_size(int32_t /*length*/)
{
    return Bytes;
}

template <int32_t Unit>
constexpr int32_t characters_size(int32_t length)
{
    return length * Unit;
}

template <int32_t Unit>
constexpr int32_t prefixed_size(int32_t length)
{
    return prefix_size + length * Unit;
}

template <int32_t Unit>
constexpr int32_t terminated_size(int32_t length)
{
    return (length + 1) * Unit;
}

constexpr int32_t packed_size(int32_t precision)
{
    return (precision + 2) / 2;
}

constexpr int32_t wide = sizeof(wchar_t);

template <int32_t Bytes>
constexpr Storage whole{Frame::Whole, Bytes, whole_size<Bytes>, whole_size<Bytes>};
template <int32_t Unit>
constexpr Storage padded{Frame::Padded, Unit, characters_size<Unit>, characters_size<Unit>};
template <int32_t Unit>
constexpr Storage terminated{Frame::Terminated, Unit, terminated_size<Unit>, characters_size<Unit>};
// The conversion into a Varchar counts the prefix in its room, the one into a WVarchar does not.
constexpr Storage prefixed{Frame::Prefixed, 1, prefixed_size<1>, prefixed_size<1>};
constexpr Storage wide_prefixed{Frame::Prefixed, wide, prefixed_size<wide>, characters_size<wide>};
constexpr Storage packed{Frame::Whole, 1, packed_size, packed_size};
constexpr int32_t varnum_size = ZEMT_SIZE_ORA_VARNUM;
constexpr Storage varnum{Frame::Counted, 1, whole_size<varnum_size>, whole_size<varnum_size>};

bool holds(std::span<const std::byte> bytes, std::size_t at, std::size_t size, uint32_t character)
{
    uint32_t found = 0;
    std::memcpy(&found, bytes.data() + at, size);
    return found == character;
}

std::span<const std::byte> before_blanks(std::span<const std::byte> text, std::size_t unit)
{
    std::size_t end = text.size();
    while (end != 0 && holds(text, end - unit, unit, ' ')) end -= unit;
    return text.first(end);
}

std::span<const std::byte> behind_blanks(std::span<const std::byte> text, std::size_t unit)
{
    std::size_t start = 0;
    while (start != text.size() && holds(text, start, unit, ' ')) start += unit;
    return text.subspan(start);
}

// ---- Rules ------------------------------------------------------------------------------------------------------------------

std::string_view without_trailing_blanks(std::string_view text)
{
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool same_text(const Column &column, std::string_view field, std::string_view read_back)
{
    if (column.type->storage.frame == Frame::Padded) return without_trailing_blanks(field) == read_back;
    return field == read_back;
}

// The library reads integers modulo 2^N and "-" as 0, packs any character and drops digits that a VARNUM cannot hold.
bool same_digits(const Column & /*column*/, std::string_view field, std::string_view read_back)
{
    return same_number(field, read_back);
}

// The nearest number stands for what has been written, but the library does not say that it stopped at the 'a' of "12abc", and
// takes more notations for a number than people do.
bool nearest_number(const Column & /*column*/, std::string_view field, std::string_view /*read_back*/)
{
    return parse_decimal(field).has_value();
}

char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// The library reads on over characters that do not belong to the format and leaves off behind its last keyword: the value
// counts only if all of the field was understood. The field may end early.
bool same_moment(const Column &column, std::string_view field, std::string_view read_back)
{
    const std::string complete = std::string(read_back) + column.write_format->ending;
    return field.size() <= complete.size() &&
           std::ranges::equal(field, std::string_view(complete).substr(0, field.size()), {}, lower, lower);
}

template <std::size_t Meaningful>
bool same_start(const Column & /*column*/, std::span<const std::byte> value, std::span<const std::byte> read_back)
{
    return std::ranges::equal(value.first(Meaningful), read_back.first(Meaningful));
}

bool same_bytes(const Column & /*column*/, std::span<const std::byte> value, std::span<const std::byte> read_back)
{
    return std::ranges::equal(value, read_back);
}

bool same_characters(const Column &column, std::span<const std::byte> value, std::span<const std::byte> read_back)
{
    if (!column.trim) return std::ranges::equal(value, read_back);
    const auto unit = static_cast<std::size_t>(column.type->storage.unit);
    return std::ranges::equal(behind_blanks(before_blanks(value, unit), unit), read_back);
}

// The sign 0xF says that a number has none, and 0xC is written in its place. All others would be lost in the text.
bool same_packed(const Column & /*column*/, std::span<const std::byte> value, std::span<const std::byte> read_back)
{
    constexpr std::byte sign{0x0F};
    constexpr std::byte positive{0x0C};
    const bool no_sign = (value.back() & sign) == sign;
    const std::byte last = no_sign ? (value.back() & ~sign) | positive : value.back();
    const std::size_t rest = value.size() - 1;
    return std::ranges::equal(value.first(rest), read_back.first(rest)) && last == read_back.back();
}

// The bytes behind the components of a date/time record say nothing.
constexpr auto same_stamp = same_start<offsetof(ZEMTTS, reserved)>;
constexpr auto same_date = same_start<offsetof(ZEMTDate, reserved)>;
constexpr auto same_time = same_start<offsetof(ZEMTTime, reserved)>;

constexpr Rules text_rules{Takes::Length, Empty::Text, same_characters, same_text};
constexpr Rules int_rules{Takes::Nothing, Empty::Zero, same_bytes, same_digits, Zero::Converted};
constexpr Rules float_rules{Takes::Nothing, Empty::Zero, same_bytes, nearest_number, Zero::Cleared};
constexpr Rules packed_rules{Takes::Precision, Empty::Zero, same_packed, same_digits, Zero::Converted};
constexpr Rules varnum_rules{Takes::Nothing, Empty::Unset, same_bytes, same_digits, Zero::Converted};
constexpr Rules stamp_rules{Takes::Format, Empty::Unset, same_stamp, same_moment};
constexpr Rules date_rules{Takes::Format, Empty::Unset, same_date, same_moment, Zero::None, ZEMT_KIND_DATE};
// All bytes 0 is midnight. The library reads a time only together with a valid date.
constexpr Rules time_rules{Takes::Format, Empty::Refused, same_time,        same_moment,
                           Zero::None,    ZEMT_KIND_TIME, "%YYYY-%MM-%DD ", "2000-01-01 "};

// ---- Conversions ------------------------------------------------------------------------------------------------------------

// Eight digits tell most numbers of 32 bits apart, nine tell all: 1000.00006 is written as "1.00000006E+03", because
// "1.0000001E+03" is its neighbour 1000.0001.
int32_t flt_to_text(const void *source, int32_t *source_length, void *text, int32_t room, int32_t *length,
                    const ZEMTCnvParms *parms) noexcept
{
    const int32_t status = ZEMTCnvFltToWVarcharSz(source, source_length, text, room, length, parms);
    if (status != ZEMT_RC_OK) return status;
    float value = 0;
    float read_back = 0;  // stays so for a zero
    std::memcpy(&value, source, sizeof value);
    ZEMTCnvWVarcharSzToFlt(text, nullptr, &read_back, sizeof read_back, nullptr, nullptr);
    if (value == read_back) return status;
    auto *const characters = static_cast<wchar_t *>(text);
    const int32_t longer = FloatToString(static_cast<double>(value), characters, 8);
    *length = static_cast<int32_t>(std::wcslen(characters));
    return longer;
}

// ---- The table --------------------------------------------------------------------------------------------------------------

constexpr int32_t no_limit = 1 << 20;
constexpr int32_t varchar_limit = 32767;
constexpr int32_t wvarchar_limit = varchar_limit / wide;

constexpr ColumnType column_types[] = {
    // clang-format off
    // name        largest         storage           rules       to text                        from text
    {"Char",       no_limit,       padded<1>,        text_rules, ZEMTCnvCharToWVarcharSz,       ZEMTCnvWVarcharSzToChar},
    {"Varchar",    varchar_limit,  prefixed,         text_rules, ZEMTCnvVarcharToWVarcharSz,    ZEMTCnvWVarcharSzToVarchar},
    {"VarcharSz",  no_limit,       terminated<1>,    text_rules, ZEMTCnvVarcharSzToWVarcharSz,  ZEMTCnvWVarcharSzToVarcharSz},
    {"WChar",      no_limit,       padded<wide>,     text_rules, ZEMTCnvWCharToWVarcharSz,      ZEMTCnvWVarcharSzToWChar},
    {"WVarchar",   wvarchar_limit, wide_prefixed,    text_rules, ZEMTCnvWVarcharToWVarcharSz,   ZEMTCnvWVarcharSzToWVarchar},
    {"WVarcharSz", no_limit,       terminated<wide>, text_rules, ZEMTCnvWVarcharSzToWVarcharSz, ZEMTCnvWVarcharSzToWVarcharSz},

    {"TinyInt",   0,        whole<1>, int_rules,    ZEMTCnvTinyIntToWVarcharSz,            ZEMTCnvWVarcharSzToTinyInt},
    {"SmallInt",  0,        whole<2>, int_rules,    ZEMTCnvSmallIntToWVarcharSz,           ZEMTCnvWVarcharSzToSmallInt},
    {"Int",       0,        whole<4>, int_rules,    ZEMTCnvIntToWVarcharSz1,               ZEMTCnvWVarcharSzToInt1},
    {"LongLong",  0,        whole<8>, int_rules,    ZEMTCnvLongLongToWVarcharSz,           ZEMTCnvWVarcharSzToLongLong},
    {"TinyUInt",  0,        whole<1>, int_rules,    ZEMTCnvTinyUIntToWVarcharSz,           ZEMTCnvWVarcharSzToTinyUInt},
    {"SmallUInt", 0,        whole<2>, int_rules,    ZEMTCnvSmallUIntToWVarcharSz,          ZEMTCnvWVarcharSzToSmallUInt},
    {"UInt",      0,        whole<4>, int_rules,    ZEMTCnvUIntToWVarcharSz,               ZEMTCnvWVarcharSzToUInt},
    {"ULONGLONG", 0,        whole<8>, int_rules,    ZEMTCnvULONGLONGToWVarcharSz,          ZEMTCnvWVarcharSzToULONGLONG},
    {"Dbl",       0,        whole<8>, float_rules,  ZEMTCnvDblToWVarcharSz,                ZEMTCnvWVarcharSzToDbl},
    {"Flt",       0,        whole<4>, float_rules,  flt_to_text,                           ZEMTCnvWVarcharSzToFlt},
    {"DecKest",   no_limit, packed,   packed_rules, ZEMTCnvDecKestToWVarcharSz,            ZEMTCnvWVarcharSzToDecKest},
    {"OraVarnum", 0, varnum, varnum_rules, ZEMTCnvOraVarnumToWVarcharSz_Unsigned, ZEMTCnvWVarcharSz_UnsignedToOraVarnum},

    {"ZEMTTS",   0, whole<24>, stamp_rules, ZEMTCnvZEMTTSToWVarcharSz,   ZEMTCnvDateTimeWSzToZEMTTS},
    {"ZEMTDate", 0, whole<16>, date_rules,  ZEMTCnvZEMTDateToWVarcharSz, ZEMTCnvDateTimeWSzToZEMTDate},
    {"ZEMTTime", 0, whole<16>, time_rules,  ZEMTCnvZEMTTimeToWVarcharSz, ZEMTCnvDateTimeWSzToZEMTTime},
    // clang-format on
};

// ---- Slots ------------------------------------------------------------------------------------------------------------------

std::span<const std::byte> behind_prefix(std::span<const std::byte> slot, int32_t unit)
{
    int16_t size = 0;
    std::memcpy(&size, slot.data(), prefix_size);
    const std::span<const std::byte> room = slot.subspan(prefix_size);
    if (size < 0 || static_cast<std::size_t>(size) > room.size()) {
        throw ValueFailure("length prefix " + std::to_string(size) + " outside 0.." + std::to_string(room.size()));
    }
    if (size % unit != 0) throw ValueFailure("length prefix " + std::to_string(size) + " ends inside a character");
    return room.first(static_cast<std::size_t>(size));
}

std::span<const std::byte> before_terminator(std::span<const std::byte> slot, std::size_t unit)
{
    for (std::size_t at = 0; at < slot.size(); at += unit) {
        if (holds(slot, at, unit, 0)) return slot.first(at);
    }
    throw ValueFailure("no terminator within " + std::to_string(slot.size()) + " bytes");
}

// The value with its count. One that is 0 or beyond the slot is left to the library, which refuses it.
std::span<const std::byte> with_count(std::span<const std::byte> slot)
{
    const std::size_t size = 1 + std::to_integer<std::size_t>(slot.front());
    return size == 1 || size > slot.size() ? slot : slot.first(size);
}

}  // namespace

std::span<const std::byte> value_in(const Column &column, std::span<const std::byte> slot)
{
    const int32_t unit = column.type->storage.unit;
    switch (column.type->storage.frame) {
    case Frame::Padded: return before_blanks(slot, static_cast<std::size_t>(unit));
    case Frame::Prefixed: return behind_prefix(slot, unit);
    case Frame::Terminated: return before_terminator(slot, static_cast<std::size_t>(unit));
    case Frame::Counted: return with_count(slot);
    case Frame::Whole: break;
    }
    return slot;
}

void clear_slot(const Column &column, std::span<std::byte> slot)
{
    std::ranges::fill(slot, std::byte{0});
    if (column.type->storage.frame != Frame::Padded) return;
    const auto unit = static_cast<std::size_t>(column.type->storage.unit);
    for (std::size_t at = 0; at < slot.size(); at += unit) slot[at] = std::byte{' '};
}

const ColumnType *find_type(std::string_view name)
{
    const auto found = std::ranges::find(column_types, name, &ColumnType::name);
    return found == std::end(column_types) ? nullptr : found;
}

std::string type_names()
{
    std::string names;
    for (const ColumnType &type : column_types) {
        const bool takes_number = type.rules.takes == Takes::Length || type.rules.takes == Takes::Precision;
        names.append(names.empty() ? "" : ", ").append(type.name).append(takes_number ? "(n)" : "");
    }
    return names;
}

PreparedFormat::PreparedFormat(std::string_view format)
{
    WideText wide_format;
    decode(format, wide_format);
    std::string understood;
    encode(wide_format, understood);
    if (understood != format) throw ValueFailure("not UTF-8 text");
    const auto length = static_cast<std::size_t>(wide_format.length);
    items.resize(length + 1);
    require_success(ZEMTGetFormatCodes(wide_format.buffer.data(), items.data(), &kind));
    prepared.formatCodes = items.data();
    prepared.formatLength = wide_format.length;

    auto last = std::ranges::find(items, uint32_t{ZEMT_FMT_END}, &ZEMTFmtItem::code);
    while (last != items.begin() && std::prev(last)->code == ZEMT_FMT_LITERAL) --last;
    WideText literals;
    for (; last->code != ZEMT_FMT_END; ++last) literals.buffer.push_back(last->ch);
    literals.length = static_cast<int32_t>(literals.buffer.size());
    literals.buffer.push_back(L'\0');
    encode(literals, ending);
}

}  // namespace recordcsv
