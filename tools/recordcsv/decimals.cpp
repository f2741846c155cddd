#include "decimals.h"

#include <algorithm>

namespace recordcsv {
namespace {

bool take(std::string_view &text, std::string_view characters)
{
    const bool found = !text.empty() && characters.find(text.front()) != std::string_view::npos;
    if (found) text.remove_prefix(1);
    return found;
}

std::string_view take_digits(std::string_view &text)
{
    const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
    text.remove_prefix(digits.size());
    return digits;
}

}  // namespace

std::optional<Decimal> parse_decimal(std::string_view text)
{
    Decimal number{.negative = take(text, "-")};
    number.whole = take_digits(text);
    if (take(text, ".")) number.fraction = take_digits(text);
    if (number.whole.empty() && number.fraction.empty()) return std::nullopt;
    if (take(text, "eE")) {
        const std::string_view exponent = text;
        take(text, "+-");
        if (take_digits(text).empty()) return std::nullopt;
        number.exponent = exponent;
    }
    if (!text.empty()) return std::nullopt;

    number.whole.remove_prefix(std::min(number.whole.find_first_not_of('0'), number.whole.size()));
    number.fraction = number.fraction.substr(0, number.fraction.find_last_not_of('0') + 1);
    return number;
}

bool is_zero(std::string_view text)
{
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
