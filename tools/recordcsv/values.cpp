#include "values.h"

#include <algorithm>

#include "decimals.h"

namespace recordcsv {
namespace {

constexpr int32_t utf8_longest = 6;
constexpr std::byte sign_bit{0x80};  // in the last byte of a floating-point number

struct StatusText {
    int32_t status;
    const char *text;
};

constexpr StatusText status_texts[] = {
    {ZEMT_RC_ERROR, "not a value of this type and format"},
    {ZEMT_RC_INVALID_CHAR, "a character that UTF-8 cannot carry"},
    {ZEMT_RC_NOT_POSITIVE, "a number below 1"},
    {ZEMT_RC_NO_SPACE, "no room for the text, or UTF-8 cut off inside a character"},
    {ZEMT_RC_EMPTY_SOURCE, "empty"},
    {ZEMT_RC_INVALID_YEAR, "year outside 1..9999"},
    {ZEMT_RC_INVALID_DAY, "day outside its month"},
    {ZEMT_RC_INVALID_MONTH, "month outside 1..12"},
    {ZEMT_RC_INVALID_HOUR, "hour above 23"},
    {ZEMT_RC_INVALID_MINUTE, "minute above 59"},
    {ZEMT_RC_INVALID_SECOND, "second above 59"},
    {ZEMT_RC_UNKNOWN_FORMAT_CODE, "a '%' in the format without a keyword"},
    {ZEMT_RC_END_OF_FORMAT, "the format has ended"},
};

// Characters for the text of any value of the column, terminator included. A VARNUM takes most of the numbers, a packed field of B
// bytes takes 2B, which is two more than its precision at most, and a format's keywords grow to 16 characters each at most.
int32_t text_room(const Column &column)
{
    const int32_t format_length = column.write_format ? column.write_format->prepared.formatLength : 0;
    return std::max({ZEMT_ROOM_ORA_VARNUM, column.length + 2, 16 * format_length + 1});
}

ZEMTCnvParms parameters(const Column &column, const PreparedFormat *format)
{
    ZEMTCnvParms parms{};
    parms.precision = column.length;
    parms.dateFormat = format ? &format->prepared : nullptr;
    return parms;
}

bool all_zero(std::span<const std::byte> bytes)
{
    return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
}

bool is_empty(const Column &column, std::span<const std::byte> value)
{
    return column.type->rules.empty == Empty::Unset ? all_zero(value) : value.empty();
}

// At an even precision the library has room for one digit more, which other readers of the file may not expect.
void require_precision(const Column &column, std::string_view field)
{
    if (column.type->rules.takes != Takes::Precision) return;
    const std::optional<Decimal> number = parse_decimal(field);
    if (number && number->whole.size() > static_cast<std::size_t>(column.length)) {
        throw ValueFailure("more than " + std::to_string(column.length) + " digits");
    }
}

bool is_control(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

}  // namespace

std::string describe_status(int32_t status)
{
    const auto *found = std::ranges::find(status_texts, status, &StatusText::status);
    const char *text = found == std::end(status_texts) ? "unknown" : found->text;
    return "status " + std::to_string(status) + ", " + text;
}

void require_success(int32_t status)
{
    if (status != ZEMT_RC_OK) throw ValueFailure(describe_status(status));
}

std::string shown(std::string_view text)
{
    constexpr std::size_t longest = 40;
    std::size_t end = std::min(text.size(), longest);
    while (end < text.size() && end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    std::string shown(text.substr(0, end));
    std::ranges::replace_if(shown, is_control, '?');
    return '"' + shown + (end < text.size() ? "...\"" : "\"");
}

void decode(std::string_view utf8, WideText &text)
{
    text.length = 0;
    text.buffer.resize(std::max(text.buffer.size(), utf8.size() + 1));
    text.buffer[0] = L'\0';
    if (utf8.empty()) return;
    int32_t source_length = static_cast<int32_t>(utf8.size());
    require_success(
        ZEMTCnvCharToWVarcharSz(utf8.data(), &source_length, text.buffer.data(), source_length * 4, &text.length, nullptr));
}

void encode(const WideText &text, std::string &utf8)
{
    const int32_t room = text.length * utf8_longest;
    int32_t source_length = 0;
    int32_t length = 0;
    utf8.resize(static_cast<std::size_t>(room) + 1);
    require_success(ZEMTCnvWVarcharSzToVarcharSz(text.buffer.data(), &source_length, utf8.data(), room, &length, nullptr));
    utf8.resize(static_cast<std::size_t>(length));
}

std::string_view Converter::read(const Column &column, std::span<const std::byte> slot)
{
    const std::span<const std::byte> value = value_in(column, slot);
    if (is_empty(column, value)) return {};

    const ColumnType &type = *column.type;
    const ZEMTCnvParms parms = parameters(column, column.write_format.get());
    const int32_t room = text_room(column);
    int32_t source_length = type.storage.frame == Frame::Padded ? static_cast<int32_t>(value.size()) : 0;
    wide_.buffer.resize(std::max(wide_.buffer.size(), static_cast<std::size_t>(room) + 1));
    require_success(type.to_text(slot.data(), &source_length, wide_.buffer.data(), room * 4, &wide_.length, &parms));
    if (column.trim) TrimSpacesW(wide_.buffer.data(), &wide_.length, 1, 1);
    wide_.buffer[static_cast<std::size_t>(wide_.length)] = L'\0';
    encode(wide_, field_);
    if (type.rules.zero == Zero::None) return field_;
    // The library writes the zero of some types as the empty text.
    if (field_.empty() || is_zero(field_)) return field_.starts_with('-') ? "-0" : "0";
    return field_;
}

void Converter::write(const Column &column, std::string_view field, std::span<std::byte> slot)
{
    const ColumnType &type = *column.type;
    clear_slot(column, slot);
    if (field.empty()) {
        if (type.rules.empty == Empty::Refused) throw ValueFailure(describe_status(ZEMT_RC_EMPTY_SOURCE));
        return;
    }
    if (type.rules.zero != Zero::None && is_zero(field)) {
        if (type.rules.zero == Zero::Cleared) {
            if (field.starts_with('-')) slot.back() = sign_bit;
            return;
        }
        field = "0";
    }
    require_precision(column, field);
    with_leading_text_.assign(type.rules.leading_text).append(field);
    decode(with_leading_text_, wide_);
    if (wide_.length == 0) throw ValueFailure(shown(field) + " is not UTF-8 text");

    const ZEMTCnvParms parms = parameters(column, column.read_format.get());
    int32_t source_length = 0;
    int32_t length = 0;
    require_success(type.from_text(wide_.buffer.data(), &source_length, slot.data(), type.storage.write_room(column.length),
                                   &length, &parms));
}

std::string_view Converter::to_csv(const Column &column, std::span<const std::byte> slot)
{
    const std::string_view field = read(column, slot);
    slot_.resize(slot.size());
    try {
        write(column, field, slot_);
    } catch (const ValueFailure &failure) {
        throw ValueFailure(shown(field) + " cannot be read back: " + failure.what());
    }
    if (!column.type->rules.same_slot(column, value_in(column, slot), value_in(column, slot_))) {
        throw ValueFailure("not all of the value can be written as text, only " + shown(field));
    }
    return field;
}

std::string_view Converter::without_blanks_around(std::string_view field)
{
    trimmed_ = field;
    int32_t length = static_cast<int32_t>(field.size());
    TrimSpaces(trimmed_.data(), &length, 1, 1);
    return std::string_view(trimmed_).substr(0, static_cast<std::size_t>(length));
}

void Converter::from_csv(const Column &column, std::string_view field, std::span<std::byte> slot)
{
    if (column.trim) field = without_blanks_around(field);
    if (field.empty() && column.type->rules.empty == Empty::Zero) field = "0";
    write(column, field, slot);
    if (field.empty()) return;
    const std::string_view read_back = read(column, slot);
    if (!column.type->rules.same_value(column, field, read_back)) {
        throw ValueFailure(shown(field) + " would be stored as " + shown(read_back));
    }
}

}  // namespace recordcsv
