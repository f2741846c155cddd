// Integers to text and back, beside std::to_chars and std::from_chars on narrow text.
#include <charconv>
#include <cstring>
#include <random>
#include <type_traits>
#include <utility>

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

// Numbers of either sign, if they have one, with 1 to most digits, all counts alike.
template <typename Int>
std::vector<Value<Int>> make_values(int most, size_t count)
{
    std::mt19937_64 random(1);
    std::vector<Value<Int>> values;
    while (values.size() < count) {
        const auto digits = 1 + random() % static_cast<unsigned>(most);
        uint64_t least = 1;
        for (unsigned i = 1; i < digits; ++i) least *= 10;
        const uint64_t value = least + random() % (9 * least);
        auto number = static_cast<Int>(value);
        if (std::cmp_not_equal(number, value)) continue;
        if constexpr (std::is_signed_v<Int>) number = static_cast<Int>(random() % 2 != 0 ? -number : number);
        const std::string narrow = std::to_string(number);
        const std::wstring wide(narrow.begin(), narrow.end());
        values.push_back({number, contest::narrow_page.add(narrow), contest::wide_page.add(wide)});
    }
    return values;
}

template <typename Int, ZEMTConversion conversion, bool wide>
void format_zemt(const Value<Int> &value, Room &room)
{
    int32_t length;
    void *const text = wide ? static_cast<void *>(room.wide) : room.narrow;
    conversion(&value.number, nullptr, text, 0, &length, nullptr);
}

// The peers stand behind a call of their own, as the library's functions do.
template <typename Int>
[[gnu::noinline]] int32_t to_chars(const void *src, char *dst, int32_t size)
{
    Int number;
    std::memcpy(&number, src, sizeof number);
    return static_cast<int32_t>(std::to_chars(dst, dst + size, number).ptr - dst);
}

template <typename Int>
[[gnu::noinline]] bool from_chars(const char *src, const char *end, void *dst)
{
    Int number{};
    const std::from_chars_result result = std::from_chars(src, end, number);
    std::memcpy(dst, &number, sizeof number);
    return result.ec == std::errc{} && result.ptr == end;
}

template <typename Int>
void format_std(const Value<Int> &value, Room &room)
{
    benchmark::DoNotOptimize(to_chars<Int>(&value.number, room.narrow, sizeof room.narrow));
}

template <typename Int, ZEMTConversion conversion, bool wide>
void parse_zemt(const Value<Int> &value, Room &room)
{
    int32_t length;
    const void *const text = wide ? static_cast<const void *>(value.wide.data()) : value.narrow.data();
    conversion(text, nullptr, &room.number, 0, &length, nullptr);
}

template <typename Int>
void parse_std(const Value<Int> &value, Room &room)
{
    benchmark::DoNotOptimize(from_chars<Int>(value.narrow.data(), value.narrow.data() + value.narrow.size(), &room.number));
}

template <typename Int, ZEMTConversion to_text, ZEMTConversion from_text, bool wide = true>
void enter_width(const std::string &name, int most)
{
    const std::string text = wide ? "wide text" : "8-bit text";
    const std::string work = name + ", 1 to " + std::to_string(most) + " digits";
    contest::enter<Value<Int>, Room>(
        work + " to " + text, make_values<Int>(most, 65536), Room{},
        {{"zemt", format_zemt<Int, to_text, wide>}, {"std::to_chars, narrow x1", format_std<Int>}});
    contest::enter<Value<Int>, Room>(
        text + " to " + work, make_values<Int>(most, 65536), Room{},
        {{"zemt", parse_zemt<Int, from_text, wide>}, {"std::from_chars, narrow x1", parse_std<Int>}});
}

}  // namespace

void contest::enter_integers()
{
    enter_width<int8_t, ZEMTCnvTinyIntToWVarcharSz, ZEMTCnvWVarcharSzToTinyInt>("8 bits", 3);
    enter_width<int16_t, ZEMTCnvSmallIntToWVarcharSz, ZEMTCnvWVarcharSzToSmallInt>("16 bits", 5);
    enter_width<int32_t, ZEMTCnvIntToWVarcharSz1, ZEMTCnvWVarcharSzToInt1>("32 bits", 10);
    enter_width<int64_t, ZEMTCnvLongLongToWVarcharSz, ZEMTCnvWVarcharSzToLongLong>("64 bits", 19);
    enter_width<uint8_t, ZEMTCnvTinyUIntToWVarcharSz, ZEMTCnvWVarcharSzToTinyUInt>("unsigned 8 bits", 3);
    enter_width<uint16_t, ZEMTCnvSmallUIntToWVarcharSz, ZEMTCnvWVarcharSzToSmallUInt>("unsigned 16 bits", 5);
    enter_width<uint32_t, ZEMTCnvUIntToWVarcharSz, ZEMTCnvWVarcharSzToUInt>("unsigned 32 bits", 10);
    enter_width<uint64_t, ZEMTCnvULONGLONGToWVarcharSz, ZEMTCnvWVarcharSzToULONGLONG>("unsigned 64 bits", 19);
    enter_width<uint32_t, ZEMTCnvUIntToVarcharSz, ZEMTCnvVarcharSzToUInt, false>("unsigned 32 bits", 10);
    enter_width<uint64_t, ZEMTCnvULONGLONGToVarcharSz, ZEMTCnvVarcharSzToULONGLONG, false>("unsigned 64 bits", 19);
}
