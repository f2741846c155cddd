#include "decimals.h"

namespace recordcsv {
namespace {

constexpr bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

std::string_view take_digits(std::string_view &text)
{
    std::size_t count = 0;
    while (count < text.size() && is_digit(text[count])) ++count;
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
}

bool take(std::string_view &text, char one, char other)
{
    const bool found = !text.empty() && (text.front() == one || text.front() == other);
    if (found) text.remove_prefix(1);
    return found;
}

}  // namespace

std::optional<Decimal> parse_decimal(std::string_view text)
{
    Decimal number{.negative = take(text, '-', '-')};
    number.whole = take_digits(text);
    if (take(text, '.', '.')) number.fraction = take_digits(text);
    if (number.whole.empty() && number.fraction.empty()) return std::nullopt;
    if (take(text, 'e', 'E')) {
        const std::string_view exponent = text;
        take(text, '+', '-');
        if (take_digits(text).empty()) return std::nullopt;
        number.exponent = exponent;
    }
    if (!text.empty()) return std::nullopt;

    while (!number.whole.empty() && number.whole.front() == '0') number.whole.remove_prefix(1);
    while (!number.fraction.empty() && number.fraction.back() == '0') number.fraction.remove_suffix(1);
    return number;
}

bool is_zero(std::string_view text)
{
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    if (first >= text.size() || (text[first] >= '1' && text[first] <= '9')) return false;
    const std::optional<Decimal> number = parse_decimal(text);
    return number && number->is_zero();
}

bool same_number(std::string_view left, std::string_view right)
{
    const std::optional<Decimal> one = parse_decimal(left);
    const std::optional<Decimal> other = parse_decimal(right);
    if (!one || !other) return false;
    if (one->is_zero()) return other->is_zero();
    return one->negative == other->negative && one->whole == other->whole && one->fraction == other->fraction &&
           one->exponent == other->exponent;
}

}  // namespace recordcsv
