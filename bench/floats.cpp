// Floating-point numbers to wide text and back, beside the C library's and the C++ library's functions.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <random>

#include "contenders.h"
#include "zemt.h"

namespace {

struct Value {
    double number;
    std::string_view narrow;
    std::wstring_view wide;
};

struct Room {
    alignas(8) char narrow[32];
    wchar_t wide[32];
    double number;
};

Value make_value(double number, const char *format)
{
    char narrow[32];
    std::snprintf(narrow, sizeof narrow, format, number);
    const std::string_view text = narrow;
    const std::wstring wide(text.begin(), text.end());
    return {number, contest::narrow_page.add(text), contest::wide_page.add(wide)};
}

// Numbers of any exponent in 17 digits.
std::vector<Value> make_random_values()
{
    std::mt19937_64 random(1);
    std::vector<Value> values;
    while (values.size() < 32768) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number)) values.push_back(make_value(number, "%.16e"));
    }
    return values;
}

// 2 digits behind the point, and least to most before it, all counts alike.
std::vector<Value> make_prices(unsigned least, unsigned most)
{
    std::mt19937_64 random(1);
    std::vector<Value> values;
    while (values.size() < 65536) {
        const double unit = std::pow(10, least + random() % (most - least + 1) - 1);
        const double fraction = static_cast<double>(random() % 1000000000) / 1e9;
        values.push_back(make_value(unit * (1 + 8.9 * fraction), "%.2f"));
    }
    return values;
}

void format_zemt(const Value &value, Room &room)
{
    int32_t length;
    ZEMTCnvDblToWVarcharSz(&value.number, nullptr, room.wide, sizeof room.wide, &length, nullptr);
}

void format_std(const Value &value, Room &room)
{
    std::to_chars(room.narrow, room.narrow + sizeof room.narrow, value.number, std::chars_format::scientific, 16);
}

void format_snprintf(const Value &value, Room &room)
{
    std::snprintf(room.narrow, sizeof room.narrow, "%.16e", value.number);
}

void parse_zemt(const Value &value, Room &room)
{
    ZEMTCnvWVarcharSzToDbl(value.wide.data(), nullptr, &room.number, sizeof room.number, nullptr, nullptr);
}

void parse_std(const Value &value, Room &room)
{
    std::from_chars(value.narrow.data(), value.narrow.data() + value.narrow.size(), room.number);
}

void parse_wcstod(const Value &value, Room &room)
{
    room.number = std::wcstod(value.wide.data(), nullptr);
}

void enter_values(const std::string &name, const std::vector<Value> &values)
{
    contest::enter<Value, Room>(name + " to wide text", values, Room{},
                                {{"zemt", format_zemt},
                                 {"std::to_chars, scientific, narrow x1", format_std},
                                 {"snprintf, narrow x5", format_snprintf}});
    contest::enter<Value, Room>("wide text to " + name, values, Room{},
                                {{"zemt", parse_zemt}, {"std::from_chars, narrow", parse_std}, {"wcstod x4", parse_wcstod}});
}

}  // namespace

void contest::enter_floats()
{
    enter_values("double, 17 digits", make_random_values());
    enter_values("double, ddd.dd", make_prices(3, 3));
    enter_values("double, d.dd to ddddddd.dd", make_prices(1, 7));
}
