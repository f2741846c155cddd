#include "columns.h"

#include <algorithm>
#include <cstring>

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

// "-007" -> "-7", "-0" -> "0", "" -> "0"; "-" stays
std::string plain_integer(std::string_view text)
{
    const bool negative = text.starts_with('-');
    const std::string_view digits = text.substr(negative ? 1 : 0);
    const std::size_t first = digits.find_first_not_of('0');
    if (first == std::string_view::npos) return negative && digits.empty() ? "-" : "0";
    return std::string(negative ? "-" : "").append(digits.substr(first));
}

// The library reads integers modulo 2^N and "-" as 0, which nobody means.
bool same_integer(const Column & /*column*/, std::string_view field, std::string_view read_back)
{
    return plain_integer(field) == plain_integer(read_back);
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

// The bytes behind the components of a date/time record say nothing.
constexpr std::size_t stamp_components = offsetof(ZEMTTS, reserved);
constexpr std::size_t date_components = offsetof(ZEMTDate, reserved);
constexpr std::size_t time_components = offsetof(ZEMTTime, reserved);

constexpr Rules text_rules{Takes::Length, Empty::Text, SIZE_MAX, same_text};
constexpr Rules int_rules{Takes::Nothing, Empty::Zero, SIZE_MAX, same_integer};
constexpr Rules stamp_rules{Takes::Format, Empty::Unset, stamp_components, same_moment};
constexpr Rules date_rules{Takes::Format, Empty::Unset, date_components, same_moment, ZEMT_KIND_DATE};
// All bytes 0 is midnight. The library reads a time only together with a valid date.
constexpr Rules time_rules{Takes::Format,  Empty::Refused,   time_components, same_moment,
                           ZEMT_KIND_TIME, "%YYYY-%MM-%DD ", "2000-01-01 "};

// ---- The table --------------------------------------------------------------------------------------------------------------

constexpr int32_t no_limit = 1 << 20;
constexpr int32_t varchar_limit = 32767;
constexpr int32_t wvarchar_limit = varchar_limit / wide;

constexpr ColumnType column_types[] = {
    // clang-format off
    // name        longest         storage           rules        to text                        from text
    {"Char",       no_limit,       padded<1>,        text_rules,  ZEMTCnvCharToWVarcharSz,       ZEMTCnvWVarcharSzToChar},
    {"Varchar",    varchar_limit,  prefixed,         text_rules,  ZEMTCnvVarcharToWVarcharSz,    ZEMTCnvWVarcharSzToVarchar},
    {"VarcharSz",  no_limit,       terminated<1>,    text_rules,  ZEMTCnvVarcharSzToWVarcharSz,  ZEMTCnvWVarcharSzToVarcharSz},
    {"WChar",      no_limit,       padded<wide>,     text_rules,  ZEMTCnvWCharToWVarcharSz,      ZEMTCnvWVarcharSzToWChar},
    {"WVarchar",   wvarchar_limit, wide_prefixed,    text_rules,  ZEMTCnvWVarcharToWVarcharSz,   ZEMTCnvWVarcharSzToWVarchar},
    {"WVarcharSz", no_limit,       terminated<wide>, text_rules,  ZEMTCnvWVarcharSzToWVarcharSz, ZEMTCnvWVarcharSzToWVarcharSz},
    {"TinyInt",    0,              whole<1>,         int_rules,   ZEMTCnvTinyIntToWVarcharSz,    ZEMTCnvWVarcharSzToTinyInt},
    {"SmallInt",   0,              whole<2>,         int_rules,   ZEMTCnvSmallIntToWVarcharSz,   ZEMTCnvWVarcharSzToSmallInt},
    {"Int",        0,              whole<4>,         int_rules,   ZEMTCnvIntToWVarcharSz1,       ZEMTCnvWVarcharSzToInt1},
    {"LongLong",   0,              whole<8>,         int_rules,   ZEMTCnvLongLongToWVarcharSz,   ZEMTCnvWVarcharSzToLongLong},
    {"ZEMTTS",     0,              whole<24>,        stamp_rules, ZEMTCnvZEMTTSToWVarcharSz,     ZEMTCnvDateTimeWSzToZEMTTS},
    {"ZEMTDate",   0,              whole<16>,        date_rules,  ZEMTCnvZEMTDateToWVarcharSz,   ZEMTCnvDateTimeWSzToZEMTDate},
    {"ZEMTTime",   0,              whole<16>,        time_rules,  ZEMTCnvZEMTTimeToWVarcharSz,   ZEMTCnvDateTimeWSzToZEMTTime},
    // clang-format on
};

// ---- Slots ------------------------------------------------------------------------------------------------------------------

bool holds(std::span<const std::byte> slot, std::size_t at, std::size_t size, uint32_t character)
{
    uint32_t found = 0;
    std::memcpy(&found, slot.data() + at, size);
    return found == character;
}

std::span<const std::byte> before_padding(std::span<const std::byte> slot, std::size_t unit)
{
    std::size_t end = slot.size();
    while (end != 0 && holds(slot, end - unit, unit, ' ')) end -= unit;
    return slot.first(end);
}

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

}  // namespace

std::span<const std::byte> value_in(const Column &column, std::span<const std::byte> slot)
{
    const int32_t unit = column.type->storage.unit;
    switch (column.type->storage.frame) {
    case Frame::Padded: return before_padding(slot, static_cast<std::size_t>(unit));
    case Frame::Prefixed: return behind_prefix(slot, unit);
    case Frame::Terminated: return before_terminator(slot, static_cast<std::size_t>(unit));
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
        names.append(names.empty() ? "" : ", ").append(type.name).append(type.rules.takes == Takes::Length ? "(n)" : "");
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
