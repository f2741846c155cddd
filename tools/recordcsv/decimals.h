// Numbers in decimal notation, as people write them.
#pragma once

#include <optional>
#include <string_view>

namespace recordcsv {

// "-007.50e3" is {negative, "7", "5", "3"}; zero has neither whole digits nor a fraction.
struct Decimal {
    bool negative = false;
    std::string_view whole = {};     // digits before the point, without leading zeros
    std::string_view fraction = {};  // digits behind it, without trailing zeros
    std::string_view exponent = {};

    bool is_zero() const { return whole.empty() && fraction.empty(); }
};

// Nothing where any of the text is not the number: blanks, a '+' in front, "0x10", "inf", "12abc".
std::optional<Decimal> parse_decimal(std::string_view text);

// "0", "-0.00", "0e5"
bool is_zero(std::string_view text);

// "1.50" is "01.5", "-0" is "0"; exponents are not worked out.
bool same_number(std::string_view left, std::string_view right);

}  // namespace recordcsv
