// What the tests share: fenced memory, one call of the common form, values of every layout, a slow codec, prepared formats.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <optional>
#include <random>
#include <span>

#include "zemt.h"

using namespace std::string_literals;
using testing::PrintToString;
using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;

constexpr int32_t kept = -77;        // in a length cell that the call must leave alone
constexpr char pattern = '\xB7';     // in memory that the call must leave alone
constexpr int32_t strange = 0x1234;  // in errno

template <class Value>
std::string image(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

inline std::string wide(std::wstring_view text)
{
    return {reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t)};
}

// The text in characters of unit bytes; 8-bit characters lose their upper bits.
inline std::string spelled(std::wstring_view text, size_t unit)
{
    std::string bytes;
    for (const wchar_t character : text) bytes += image(character).substr(0, unit);
    return bytes;
}

inline std::string unpatterned(std::string bytes)
{
    return bytes.substr(0, bytes.find_last_not_of(pattern) + 1);
}

// Memory between two inaccessible pages.
class Fence
{
public:
    Fence()
    {
        void *memory = mmap(nullptr, capacity + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        begin_ = static_cast<char *>(memory) + page;
        if (mprotect(begin_, capacity, PROT_READ | PROT_WRITE) != 0) std::abort();
    }

    // Room of size bytes under the pattern. Places 0 to 3 are as many bytes before the fence behind it, 4 to 7 as many behind
    // the fence in front.
    template <class Unit = char>
    Unit *offer(size_t size, size_t place = 0)
    {
        place %= 8;
        room_ = {begin_ + (place < 4 ? capacity - size - place : place - 4), size};
        const auto [first, last] = surroundings();
        memset(first, pattern, static_cast<size_t>(last - first));
        errno = strange;
        return reinterpret_cast<Unit *>(room_.data());
    }

    template <class Unit = char>
    const Unit *hold(std::string_view bytes, size_t place = 0)
    {
        return static_cast<const Unit *>(memcpy(offer(bytes.size(), place), bytes.data(), bytes.size()));
    }

    // What a call has left in the room offered before it, up to where only the pattern is left.
    std::string found() const
    {
        const auto [first, last] = surroundings();
        EXPECT_EQ(errno, strange);
        EXPECT_EQ(std::string(first, room_.data()) + std::string(room_.data() + room_.size(), last),
                  std::string(static_cast<size_t>(last - first) - room_.size(), pattern));
        return unpatterned({room_.data(), room_.size()});
    }

private:
    static constexpr size_t capacity = 1 << 18, page = 4096, margin = 64;
    std::pair<char *, char *> surroundings() const
    {
        char *const at = room_.data();
        const auto before = std::min<size_t>(margin, static_cast<size_t>(at - begin_));
        const auto behind = std::min<size_t>(margin, static_cast<size_t>(begin_ + capacity - at) - room_.size());
        return {at - before, at + room_.size() + behind};
    }

    char *begin_ = nullptr;
    std::span<char> room_;
};

inline Fence sources, destinations;

// What a call has returned and left behind.
struct Outcome {
    int32_t status = 0;
    std::string value{};
    int32_t out_length = kept, source_length = kept;
    bool operator==(const Outcome &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Outcome &o)
{
    return out << "{" << o.status << ", " << PrintToString(o.value) << "s, " << o.out_length << ", " << o.source_length << "}";
}

// Calls with source and destination at their fences, offering room bytes.
inline Outcome call(ZEMTConversion *convert, std::string_view source, std::optional<int32_t> source_length, size_t room,
                    int32_t dst_size, const ZEMTCnvParms *parms = nullptr, size_t place = 0)
{
    Outcome got{0, "", kept, source_length.value_or(kept)};
    const char *src = sources.hold(source, place);
    char *dst = destinations.offer(room, place);
    got.status = convert(src, source_length ? &got.source_length : nullptr, dst, dst_size, &got.out_length, parms);
    got.value = destinations.found();
    return got;
}

enum class Behind { Untouched, Open };  // what stands behind a terminator

// Calls with another state of the length cell and another address for every i. wanted holds what a cell of 0 becomes.
inline void expect_call(ZEMTConversion *convert, std::string_view source, size_t room, int32_t dst_size,
                        const ZEMTCnvParms *parms, size_t i, Outcome wanted, Behind behind = Behind::Untouched)
{
    const std::optional<int32_t> cells[] = {0, 7, std::nullopt}, cell = cells[i % 3];
    if (cell != 0) wanted.source_length = cell.value_or(kept);
    Outcome got = call(convert, source, cell, room, dst_size, parms, i / 3);
    if (behind == Behind::Open && wanted.value.ends_with('\0')) got.value.resize(wanted.value.size(), pattern);
    wanted.value = unpatterned(wanted.value);
    EXPECT_EQ(got, wanted) << PrintToString(source);
}

// Without a source, a target or, where it is needed, a format, there is -1 and nothing changes.
inline void expect_refusals(ZEMTConversion *convert, const std::string &source, const ZEMTCnvParms &good, bool needs_format)
{
    const ZEMTDateFormat listless{};
    ZEMTCnvParms formatless{}, unprepared{};
    unprepared.dateFormat = &listless;
    const ZEMTCnvParms *const parms[] = {&good, &good, &formatless, &unprepared, nullptr};
    for (size_t i = 0; i < (needs_format ? 5 : 2); ++i) {
        Outcome got{0, "", kept, 4};
        const char *src = sources.hold(source);
        char *dst = destinations.offer(100);
        got.status = convert(i == 0 ? nullptr : src, &got.source_length, i == 1 ? nullptr : dst, 32, &got.out_length, parms[i]);
        got.value = destinations.found();
        EXPECT_EQ(got, (Outcome{-1, "", kept, 4})) << i;
    }
}

enum Layout { Char, Varchar, VarcharSz, WChar, WVarchar, WVarcharSz };
constexpr size_t unit_of[] = {1, 1, 1, 4, 4, 4};
constexpr bool has_prefix[] = {false, true, false, false, true, false}, has_end[] = {false, false, true, false, false, true};

// A value of the layout that holds the characters.
inline std::string laid_out(Layout layout, const std::string &characters)
{
    const std::string prefix = image(static_cast<int16_t>(characters.size())).substr(0, has_prefix[layout] ? 2 : 0);
    return prefix + characters + std::string(has_end[layout] ? unit_of[layout] : 0, '\0');
}

// A text up to its end, and the status that the end gives.
using CodePoints = std::pair<std::u32string, int32_t>;

inline CodePoints read8(std::string_view text)
{
    CodePoints read;
    for (size_t at = 0, size; at < text.size(); at += size) {
        const auto first = static_cast<uint8_t>(text[at]);
        size = first < 0xC0 || first > 0xFD ? 1 : static_cast<size_t>(std::countl_one(first));
        if (size > text.size() - at) return {read.first, 28};
        char32_t value = size == 1 ? first : first & (0x7Fu >> size);
        for (const char byte : text.substr(at + 1, size - 1)) {
            if ((byte & 0xC0) != 0x80) return read;
            value = value * 64 + (byte & 0x3F);
        }
        if (value == 0) return read;
        read.first += value == 0xFFFD ? U'?' : value;
    }
    return read;
}

inline CodePoints read32(std::string_view text)
{
    std::u32string values(text.size() / 4, U'\0');
    memcpy(values.data(), text.data(), values.size() * 4);
    return {values.substr(0, values.find(U'\0')), 0};
}

constexpr auto write32 = [](char32_t value) { return image(value); };

// Empty for a value that cannot be written.
inline std::string write8(char32_t value)
{
    if (value < 0x80) return {static_cast<char>(value)};
    std::string bytes;
    uint32_t limit = 0x40;  // above what the first byte can carry
    for (; value >= limit || bytes.empty(); limit /= 2, value /= 64) bytes.insert(0, 1, static_cast<char>(0x80 | value % 64));
    return limit > 1 ? static_cast<char>(0x100 - 2 * limit + value) + bytes : "";
}

// Status and bytes of as many of the values as can be written and fit into room bytes.
inline std::pair<int32_t, std::string> deliver(const CodePoints &text, std::string (*write)(char32_t), size_t room)
{
    std::string bytes;
    for (const char32_t value : text.first) {
        const std::string character = write(value);
        if (character.empty() || character.size() > room - bytes.size()) return {character.empty() ? 22 : 28, bytes};
        bytes += character;
    }
    return {text.second, bytes};
}

constexpr ZEMTTS at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int fraction = 0)
{
    const auto field = [](int value) { return static_cast<uint16_t>(value); };
    return {static_cast<int16_t>(year), field(month), field(day), field(hour), field(minute), field(second), fraction, {}};
}

// A prepared date format.
struct Format {
    explicit Format(const std::wstring &text) : list(text.size() + 1)
    {
        int32_t kind = ZEMT_KIND_DATE;
        EXPECT_EQ(ZEMTGetFormatCodes(text.c_str(), list.data(), &kind), 0);
        date_format.formatCodes = list.data();
        date_format.formatLength = static_cast<int32_t>(text.size());
        parms.dateFormat = &date_format;
    }
    std::vector<ZEMTFmtItem> list;
    ZEMTDateFormat date_format{};
    ZEMTCnvParms parms{};
};
