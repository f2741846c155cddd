// Integers to wide text and back, beside std::to_chars and std::from_chars on narrow text.
#include <charconv>
#include <random>

#include "contenders.h"
#include "zemt.h"

namespace {

template <typename Int>
struct Value {
    Int number;
    std::string_view narrow;
    std::wstring_view wide;
};

struct Room {
    alignas(8) char narrow[24];
    wchar_t wide[24];
    int64_t number;
};

// Numbers of either sign with 1 to most digits, all counts alike.
template <typename Int>
std::vector<Value<Int>> make_values(int most, size_t count)
{
    std::mt19937_64 random(1);
    std::vector<Value<Int>> values;
    while (values.size() < count) {
        const auto digits = 1 + random() % static_cast<unsigned>(most);
        uint64_t least = 1;
        for (unsigned i = 1; i < digits; ++i) least *= 10;
        auto number = static_cast<Int>(least + random() % (9 * least));
        if (number < 0) continue;
        if (random() % 2 != 0) number = static_cast<Int>(-number);
        const std::string narrow = std::to_string(number);
        const std::wstring wide(narrow.begin(), narrow.end());
        values.push_back({number, contest::narrow_page.add(narrow), contest::wide_page.add(wide)});
    }
    return values;
}

template <typename Int, ZEMTConversion conversion>
void format_zemt(const Value<Int> &value, Room &room)
{
    int32_t length;
    conversion(&value.number, nullptr, room.wide, sizeof room.wide, &length, nullptr);
}

template <typename Int>
void format_std(const Value<Int> &value, Room &room)
{
    std::to_chars(room.narrow, room.narrow + sizeof room.narrow, value.number);
}

template <typename Int, ZEMTConversion conversion>
void parse_zemt(const Value<Int> &value, Room &room)
{
    int32_t length;
    conversion(value.wide.data(), nullptr, &room.number, sizeof room.number, &length, nullptr);
}

template <typename Int>
void parse_std(const Value<Int> &value, Room &room)
{
    Int number{};
    std::from_chars(value.narrow.data(), value.narrow.data() + value.narrow.size(), number);
    room.number = number;
}

template <typename Int, ZEMTConversion to_text, ZEMTConversion from_text>
void enter_width(const std::string &name, int most)
{
    contest::enter<Value<Int>, Room>(name + " to wide text", make_values<Int>(most, 65536), Room{},
                                     {{"zemt", format_zemt<Int, to_text>}, {"std::to_chars, narrow x1", format_std<Int>}});
    contest::enter<Value<Int>, Room>("wide text to " + name, make_values<Int>(most, 65536), Room{},
                                     {{"zemt", parse_zemt<Int, from_text>}, {"std::from_chars, narrow x1", parse_std<Int>}});
}

}  // namespace

void contest::enter_integers()
{
    enter_width<int8_t, ZEMTCnvTinyIntToWVarcharSz, ZEMTCnvWVarcharSzToTinyInt>("8 bits, 1 to 3 digits", 3);
    enter_width<int16_t, ZEMTCnvSmallIntToWVarcharSz, ZEMTCnvWVarcharSzToSmallInt>("16 bits, 1 to 5 digits", 5);
    enter_width<int32_t, ZEMTCnvIntToWVarcharSz1, ZEMTCnvWVarcharSzToInt1>("32 bits, 1 to 10 digits", 10);
    enter_width<int64_t, ZEMTCnvLongLongToWVarcharSz, ZEMTCnvWVarcharSzToLongLong>("64 bits, 1 to 19 digits", 19);
}
