#include "values.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <cwchar>

#include "decimals.h"

namespace recordcsv {
namespace {

constexpr std::size_t utf8_longest = 4;
constexpr char zeros[2 + readable_behind] = "-0";
constexpr std::string_view minus_zero(zeros, 2);
constexpr std::string_view zero(zeros + 1, 1);
constexpr unsigned char packed_sign = 0x0F;
constexpr unsigned char packed_positive = 0x0C;
constexpr unsigned char packed_negative = 0x0D;
constexpr int varnum_negative_end = 102;
constexpr int varnum_most = 21;  // what its length byte may count

template <typename T>
T load(const char *at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

unsigned char &byte_at(char *slot, std::size_t index)
{
    return reinterpret_cast<unsigned char &>(slot[index]);
}

unsigned char last_byte(const Column &column, const char *slot)
{
    return static_cast<unsigned char>(slot[column.slot_size - 1]);
}

bool all_zero(const char *bytes, std::size_t size)
{
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

// The following take one pass without a branch, which compilers turn into vector instructions.

// What UTF-8 has no place for: surrogates, and what lies above the last code point.
void require_unicode(const wchar_t *text, int32_t length)
{
    uint32_t beyond = 0;
    for (int32_t i = 0; i < length; ++i) {
        const auto character = std::bit_cast<uint32_t>(text[i]);
        beyond |= static_cast<uint32_t>(character > 0x10FFFF) | static_cast<uint32_t>((character & 0xFFFFF800) == 0xD800);
    }
    if (beyond != 0) refuse(ZEMT_RC_INVALID_CHAR);
}

using Bytes16 = signed char __attribute__((vector_size(16)));

constexpr Bytes16 first_16 = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

// The bytes of 16 that belong to a text of which so many are left.
Bytes16 within(std::ptrdiff_t left)
{
    return first_16 < static_cast<signed char>(std::clamp<std::ptrdiff_t>(left, 0, 16));
}

bool any(Bytes16 flags)
{
    const auto halves = std::bit_cast<std::array<uint64_t, 2>>(flags);
    return (halves[0] | halves[1]) != 0;
}

// Whether a field has what stands in quotes in CSV. Behind it readable_behind bytes can be read.
bool has_special(std::string_view field, char delimiter)
{
    const auto size = static_cast<std::ptrdiff_t>(field.size());
    const auto special_at = [&](std::ptrdiff_t at) {
        const auto text = load<Bytes16>(field.data() + at);
        const Bytes16 special = (text == delimiter) | (text == '"') | (text == '\n') | (text == '\r');
        return special & within(size - at);
    };
    Bytes16 special = special_at(0) | special_at(16);
    for (std::ptrdiff_t at = 32; at < size; at += 16) special |= special_at(at);
    return any(special);
}

bool is_blank(char character)
{
    return character == ' ' || character == '\t';
}

std::string_view without_trailing_blanks(std::string_view text)
{
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

std::string_view without_blanks_around(std::string_view text)
{
    while (text.starts_with(' ')) text.remove_prefix(1);
    return without_trailing_blanks(text);
}

char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// The library reads on over characters that do not belong to the format and leaves off behind its last keyword: the value
// counts only if all of the field was understood. The field may end early.
bool same_moment(const Column &column, std::string_view field, std::string_view read_back)
{
    if (field == read_back) return true;
    const std::string complete = std::string(read_back) + column.write_format->ending;
    return field.size() <= complete.size() &&
           std::ranges::equal(field, std::string_view(complete).substr(0, field.size()), {}, lower, lower);
}

bool is_negative_varnum(const char *slot)
{
    const auto exponent = static_cast<unsigned char>(slot[1]);
    return slot[0] > 1 && slot[0] <= varnum_most && exponent < 0x80;
}

// A VARNUM of the other sign: exponent and digits are complements, and a negative one of fewer than 20 digits has an end.
void negate_varnum(char *slot)
{
    unsigned char &count = byte_at(slot, 0);
    const bool negative = byte_at(slot, 1) < 0x80;
    byte_at(slot, 1) = static_cast<unsigned char>(0xFF - byte_at(slot, 1));
    if (negative && byte_at(slot, count) == varnum_negative_end) byte_at(slot, count--) = 0;
    for (std::size_t i = 2; i <= count; ++i) byte_at(slot, i) = static_cast<unsigned char>(102 - byte_at(slot, i));
    if (!negative && count < varnum_most) byte_at(slot, ++count) = varnum_negative_end;
}

}  // namespace

Converter::Converter(const Layout &layout, ValueOptions options) : options_(std::move(options))
{
    std::size_t characters = date_before_time.size();
    std::size_t slot = 1;
    for (const Column &column : layout.columns) {
        characters = std::max(characters, static_cast<std::size_t>(column.text_room));
        slot = std::max(slot, column.slot_size);
        if (!column.encoding.empty()) encodings_.try_emplace(&column, column.encoding);
    }
    wide_.resize(characters + 1 + readable_behind);
    field_.resize(2 + characters * utf8_longest + readable_behind);
    slot_.resize(slot);
    null_.room(1);  // so that it can be read behind
    null_.append(options_.null.value_or(""));
}

bool Converter::can_be_unset(const Column &column) const
{
    switch (column.type->family) {
    case Family::Varnum: return true;
    case Family::Moment: return column.type->format_kind != ZEMT_KIND_TIME;  // all bytes 0 is midnight
    case Family::Text: return options_.null && column.type->frame == Frame::Padded;
    default: return false;
    }
}

// ---- Slot to field ----------------------------------------------------------------------------------------------------------

// The text in wide_, as UTF-8 from a place of the field on. All of the field counts.
std::string_view Converter::encode_at(std::size_t start, int32_t length)
{
    int32_t size = 0;
    const auto room = static_cast<int32_t>(field_.size() - start);
    require_success(Convert32To8(field_.data() + start, room, wide_.data(), length, &size));
    return {field_.data(), start + static_cast<std::size_t>(size)};
}

std::string_view Converter::read_text(const Column &column, const char *slot)
{
    const std::string_view value = value_ = value_in(column, slot);
    if (value.empty()) return {zero.data(), 0};
    if (!column.encoding.empty()) {
        length_ = encodings_.at(&column).decode(value, wide_.data(), wide_.size() - 1);
        if (length_ < 0) throw ValueFailure(ZEMT_RC_INVALID_CHAR, "bytes that are no text of " + column.encoding);
        wide_[static_cast<std::size_t>(length_)] = L'\0';
    } else {
        int32_t source_length = column.type->frame == Frame::Padded ? static_cast<int32_t>(value.size()) : 0;
        const auto room = static_cast<int32_t>((wide_.size() - 1) * sizeof(wchar_t));
        require_success(column.type->to_text(slot, &source_length, wide_.data(), room, &length_, nullptr));
    }
    if (column.trim) TrimSpacesW(wide_.data(), &length_, 1, 1);
    require_unicode(wide_.data(), length_);
    if (length_ == 0) return {zero.data(), 0};
    const std::string_view field = encode_at(0, length_);
    if (field.empty()) return field;  // the text begins with a character 0
    needs_quotes_ = is_blank(field.front()) || is_blank(field.back()) || has_special(field, options_.delimiter) ||
                    field.starts_with(byte_order_mark);
    return field;
}

std::string_view Converter::read_float(const Column &column, const char *slot, bool shortest)
{
    const bool is_double = column.slot_size == sizeof(double);
    double value = 0;
    float narrow = 0;
    std::memcpy(is_double ? static_cast<void *>(&value) : &narrow, slot, column.slot_size);
    if (!is_double) value = static_cast<double>(narrow);
    if (!std::isfinite(value)) refuse(ZEMT_RC_ERROR);
    if (value == 0) return std::signbit(value) ? minus_zero : zero;
    if (shortest) {
        char *const end = field_.data() + field_.size();
        const auto result = is_double ? std::to_chars(field_.data(), end, value) : std::to_chars(field_.data(), end, narrow);
        return {field_.data(), static_cast<std::size_t>(result.ptr - field_.data())};
    }
    // Eight digits tell most numbers of 32 bits apart, nine tell all: 1000.00006 is written as "1.00000006E+03", because
    // "1.0000001E+03" is its neighbour 1000.0001.
    const auto room = static_cast<int32_t>((wide_.size() - 1) * sizeof(wchar_t));
    require_success(column.type->to_text(slot, nullptr, wide_.data(), room, &length_, nullptr));
    float read_back = 0;
    if (!is_double) require_success(ZEMTCnvWVarcharSzToFlt(wide_.data(), nullptr, &read_back, 4, nullptr, nullptr));
    if (!is_double && read_back != narrow) {
        require_success(FloatToString(value, wide_.data(), 8));
        length_ = static_cast<int32_t>(std::wcslen(wide_.data()));
    }
    return encode_at(0, length_);
}

// The library leaves the sign of packed numbers and VARNUMs to its callers, and writes the zero of some types as the empty text.
std::string_view Converter::read_number(const Column &column, const char *slot)
{
    bool negative = false;
    char positive[ZEMT_SIZE_ORA_VARNUM + 1];
    if (column.type->family == Family::Packed) {
        negative = (last_byte(column, slot) & packed_sign) == packed_negative;
    } else if (column.type->family == Family::Varnum && is_negative_varnum(slot)) {
        std::memcpy(positive, slot, column.slot_size);
        negate_varnum(positive);
        slot = positive;
        negative = true;
    }
    char *const digits = field_.data() + 1;
    int32_t source_length = 0;
    require_success(column.type->to_text(slot, &source_length, digits, column.text_room, &length_, &column.write_parms));
    if (column.scale > 0) return with_point(column, negative);
    if (length_ == 0) return negative ? minus_zero : zero;
    field_[0] = '-';
    const std::size_t sign = negative ? 1 : 0;
    return {digits - sign, static_cast<std::size_t>(length_) + sign};
}

// The digits at the start of the field with their point: "5" with two behind it is "0.05".
std::string_view Converter::with_point(const Column &column, bool negative)
{
    const std::string_view digits(field_.data() + 1, static_cast<std::size_t>(length_));
    const auto scale = static_cast<std::size_t>(column.scale);
    digits_.cut(0);
    if (negative) digits_.append('-');
    if (digits.size() <= scale) digits_.append('0');
    if (digits.size() > scale) digits_.append(digits.substr(0, digits.size() - scale));
    digits_.append('.');
    for (std::size_t i = digits.size(); i < scale; ++i) digits_.append('0');
    digits_.append(digits.size() > scale ? digits.substr(digits.size() - scale) : digits);
    std::memcpy(field_.data(), digits_.data(), digits_.size());
    return {field_.data(), digits_.size()};
}

std::string_view Converter::read(const Column &column, const char *slot)
{
    switch (column.type->family) {
    case Family::Text:
    case Family::WideText: return read_text(column, slot);
    case Family::Float: return read_float(column, slot, options_.shortest_floats);
    case Family::Moment: {
        const auto room = static_cast<int32_t>((wide_.size() - 1) * sizeof(wchar_t));
        require_success(column.type->to_text(slot, nullptr, wide_.data(), room, &length_, &column.write_parms));
        const std::string_view field = encode_at(0, length_);
        needs_quotes_ = has_special(field, options_.delimiter);
        return field;
    }
    default: return read_number(column, slot);
    }
}

bool Converter::same_slot(const Column &column, const char *slot, const char *read_back) const
{
    const std::size_t size = column.slot_size;
    if (size == 2   ? load<uint16_t>(slot) == load<uint16_t>(read_back)
        : size == 4 ? load<uint32_t>(slot) == load<uint32_t>(read_back)
        : size == 8 ? load<uint64_t>(slot) == load<uint64_t>(read_back)
                    : std::memcmp(slot, read_back, size) == 0)
        return true;
    if (options_.exact) return false;
    switch (column.type->family) {
    case Family::Text:
    case Family::WideText: {
        std::string_view value = value_in(column, slot);
        if (column.trim) {
            const std::string blank = column.type->unit == 1 ? std::string{column.blank} : std::string{' ', '\0', '\0', '\0'};
            while (value.starts_with(blank)) value.remove_prefix(blank.size());
            while (value.ends_with(blank)) value.remove_suffix(blank.size());
        }
        return value == value_in(column, read_back);
    }
    case Family::Varnum: return value_in(column, slot) == value_in(column, read_back);
    // The sign 0xF says that a number has none, and 0xC is written in its place. All others would be lost in the text.
    case Family::Packed:
        return (last_byte(column, slot) & packed_sign) == packed_sign &&
               std::memcmp(slot, read_back, column.slot_size - 1) == 0 &&
               last_byte(column, slot) - packed_sign == last_byte(column, read_back) - packed_positive;
    case Family::Moment: {  // the bytes behind the components of a record say nothing
        const std::size_t meaningful =
            column.slot_size == sizeof(ZEMTTS) ? offsetof(ZEMTTS, reserved) : offsetof(ZEMTDate, reserved);
        return std::memcmp(slot, read_back, meaningful) == 0;
    }
    default: return false;
    }
}

bool Converter::reads_back(const Column &column, const char *slot, std::string_view field)
{
    try {
        write(column, field, slot_.data());
    } catch (const ValueFailure &failure) {
        throw ValueFailure(failure.status, shown(field) + " cannot be read back: " + failure.what());
    }
    return same_slot(column, slot, slot_.data());
}

Field Converter::to_csv(const Column &column, const char *slot)
{
    if (slot[0] == 0 && can_be_unset(column) && all_zero(slot, column.slot_size)) return {null_.view()};
    needs_quotes_ = false;
    std::string_view field = read(column, slot);
    // Text that comes out of the library as it went in is read back as it is.
    bool same_text = false;
    if (column.is_plain_text && (!options_.exact || column.type->frame == Frame::Padded)) {
        std::string_view read_back = field;
        if (column.type->family == Family::WideText) {
            const auto size = static_cast<std::size_t>(decode(field)) * sizeof(wchar_t);
            read_back = {reinterpret_cast<const char *>(wide_.data()), size};
        }
        same_text = read_back == value_;
    }
    const bool needs_quotes = needs_quotes_;
    if (!same_text && !reads_back(column, slot, field)) {
        const bool again = column.type->family == Family::Float && options_.shortest_floats;
        if (again) field = read_float(column, slot, false);
        if (!again || !reads_back(column, slot, field))
            throw ValueFailure("not all of the value can be written as text, only " + shown(field));
    }
    return {field, needs_quotes || (options_.null && field == *options_.null)};
}

// ---- Field to slot ----------------------------------------------------------------------------------------------------------

// Takes UTF-8 into wide_ at a place, as far as it is well-formed; returns where the text ends.
int32_t Converter::decode(std::string_view utf8, std::size_t at)
{
    if (wide_.size() < at + utf8.size() + 1) wide_.resize(at + utf8.size() + 1);
    int32_t length = 0;
    const auto room = static_cast<int32_t>(wide_.size() - at - 1);
    require_success(Convert8To32(wide_.data() + at, room, utf8.data(), static_cast<int32_t>(utf8.size()), &length));
    const std::size_t end = at + static_cast<std::size_t>(length);
    wide_[end] = L'\0';
    return static_cast<int32_t>(end);
}

// Takes a field that should be ASCII into wide_ at a place. Texts of up to 32 characters take one step without a branch.
void Converter::widen(std::string_view field, std::size_t at)
{
    if (field.size() > readable_behind) {
        decode(field, at);
        return;
    }
    std::array<signed char, readable_behind> narrow;
    wchar_t wide[readable_behind];
    const auto size = static_cast<std::ptrdiff_t>(field.size());
    std::memcpy(narrow.data(), field.data(), sizeof narrow);
    for (std::size_t i = 0; i < readable_behind; ++i) wide[i] = narrow[i];
    std::memcpy(wide_.data() + at, wide, sizeof wide);
    wide_[at + field.size()] = L'\0';
    const auto [low, high] = std::bit_cast<std::array<Bytes16, 2>>(narrow);
    if (any(((low <= 0) & within(size)) | ((high <= 0) & within(size - 16)))) decode(field, at);
}

void Converter::store(const Column &column, const void *text, char *slot)
{
    int32_t source_length = 0;
    int32_t length = 0;
    require_success(column.type->from_text(text, &source_length, slot, column.write_room, &length, &column.read_parms));
}

// The same for 8-bit text, which may have its terminator already.
void Converter::store_number(const Column &column, std::string_view field, char *slot)
{
    if (*(field.data() + field.size()) == '\0') return store(column, field.data(), slot);
    text_.cut(0);
    text_.append_padded(field);
    text_.append('\0');
    store(column, text_.data(), slot);
}

void Converter::write_encoded(const Column &column, char *slot)
{
    const bool prefixed = column.type->frame == Frame::Prefixed;
    char *const text = slot + (prefixed ? sizeof(int16_t) : 0);
    const int32_t size = encodings_.at(&column).encode(wide_.data(), length_, text, static_cast<std::size_t>(column.length));
    if (size < 0)
        throw ValueFailure(ZEMT_RC_NO_SPACE, "no room for the text, or a character that " + column.encoding + " lacks");
    const auto prefix = static_cast<int16_t>(size);
    if (prefixed) std::memcpy(slot, &prefix, sizeof prefix);
}

// The digits go to the library without point and sign. What is no such number goes there as it is, to be refused or compared.
void Converter::write_packed(const Column &column, std::string_view field, char *slot)
{
    const std::optional<Decimal> number = parse_decimal(field);
    const auto scale = static_cast<std::size_t>(column.scale);
    const bool plain = number && number->exponent.empty() && number->fraction.size() <= scale;
    if (number && number->whole.size() > static_cast<std::size_t>(column.length) - scale)
        throw ValueFailure("more than " + std::to_string(column.length - column.scale) +
                           (scale > 0 ? " digits before the point" : " digits"));
    if (!plain && scale > 0) refuse(ZEMT_RC_ERROR);
    if (plain) {
        digits_.cut(0);
        digits_.append(number->whole);
        digits_.append(number->fraction);
        for (std::size_t missing = digits_.size() == 0 ? 1 : scale - number->fraction.size(); missing > 0; --missing)
            digits_.append('0');
        field = digits_.view();
    }
    store_number(column, field, slot);
    if (plain && number->negative)
        slot[column.slot_size - 1] = static_cast<char>(slot[column.slot_size - 1] + 1);  // 0xC to 0xD
}

void Converter::write(const Column &column, std::string_view field, char *slot)
{
    switch (column.type->family) {
    case Family::Text:
    case Family::WideText:
        clear_slot(column, slot);
        if (field.empty()) return;
        length_ = decode(field);
        if (length_ == 0) throw ValueFailure(shown(field) + " is not UTF-8 text");
        require_unicode(wide_.data(), length_);
        return column.encoding.empty() ? store(column, wide_.data(), slot) : write_encoded(column, slot);
    case Family::Float:  // the library takes no zero
        if (is_zero(field)) {
            clear_slot(column, slot);
            if (field.starts_with('-')) slot[column.slot_size - 1] = static_cast<char>(0x80);
            return;
        }
        widen(field);
        return store(column, wide_.data(), slot);
    case Family::Packed: return write_packed(column, field, slot);
    case Family::Varnum: {
        const bool is_0 = is_zero(field);
        const bool negative = !is_0 && field.size() > 1 && field.starts_with('-');
        const std::string_view digits = is_0 ? zero : field.substr(negative ? 1 : 0);
        if (digits.front() == '\0') refuse(ZEMT_RC_ERROR);  // which the library would take for 0
        clear_slot(column, slot);
        store_number(column, digits, slot);
        if (negative && slot[0] > 1) negate_varnum(slot);  // one of the single byte 80 is 0
        return;
    }
    case Family::Moment: {
        if (field.empty()) refuse(ZEMT_RC_EMPTY_SOURCE);
        const bool with_date = column.type->format_kind == ZEMT_KIND_TIME;
        const std::size_t at = with_date ? date_before_time.size() : 0;
        if (with_date) widen(date_before_time);
        widen(field, at);
        return store(column, wide_.data(), slot);
    }
    default: return store_number(column, is_zero(field) ? zero : field, slot);
    }
}

void Converter::from_csv(const Column &column, Field given, char *slot)
{
    std::string_view field = given.text;
    const Family family = column.type->family;
    const bool is_null = options_.null ? !given.quoted && field == *options_.null : field.empty();
    if (is_null && can_be_unset(column)) {
        std::memset(slot, 0, column.slot_size);
        return;
    }
    if (column.trim) field = without_blanks_around(field);
    const bool is_text = family == Family::Text || family == Family::WideText;
    if (field.empty() && !is_text && family != Family::Moment) {
        if (family == Family::Varnum) refuse(ZEMT_RC_EMPTY_SOURCE);
        field = zero;
    }
    write(column, field, slot);
    if (family == Family::Float) {
        // The nearest number stands for what has been written, but the library does not say that it stopped at the 'a' of
        // "12abc", and takes more notations for a number than people do.
        if (parse_decimal(field)) {
            to_csv(column, slot);  // whose text gives the same number
            return;
        }
        throw ValueFailure(shown(field) + " would be stored as " + shown(read_float(column, slot, options_.shortest_floats)));
    }
    if (is_text && column.type->frame == Frame::Padded) field = without_trailing_blanks(field);
    if (family == Family::Text && column.encoding.empty() && value_in(column, slot) == field) return;
    const std::string_view read_back = read(column, slot);
    if (read_back == field) return;
    // The library reads integers modulo 2^N and "-" as 0, packs any character and drops digits that a VARNUM cannot hold.
    const bool same =
        family == Family::Moment ? same_moment(column, field, read_back) : !is_text && same_number(field, read_back);
    if (!same) throw ValueFailure(shown(field) + " would be stored as " + shown(read_back));
}

}  // namespace recordcsv
