// A codec that takes a text character by character.
#pragma once

#include <bit>

#include "calls.h"

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
    values.resize(std::min(values.find(U'\0'), values.size()));
    return {std::move(values), 0};
}

inline CodePoints read16(std::string_view text)
{
    std::u32string values;
    std::u16string units(text.size() / 2 + 1, u'\0');
    memcpy(units.data(), text.data(), units.size() * 2 - 2);
    for (size_t at = 0; units[at] != 0; ++at) {
        const char32_t unit = units[at], next = units[at + 1];
        const bool is_pair = unit >> 10 == 0xD800 >> 10 && next >> 10 == 0xDC00 >> 10;
        if (!is_pair && unit >> 11 == 0xD800 >> 11) return {values, 22};
        values += is_pair ? 0x10000 + unit % 0x400 * 0x400 + next % 0x400 : unit;
        at += is_pair;
    }
    return {values, 0};
}

inline std::string write32(char32_t value)
{
    return image(value);
}

// Empty for a value that cannot be written.
inline std::string write8(char32_t value)
{
    if (value < 0x80) return {static_cast<char>(value)};
    std::string bytes;
    uint32_t limit = 0x40;  // above what the first byte can carry
    for (; value >= limit || bytes.empty(); limit /= 2, value /= 64) bytes.insert(0, 1, static_cast<char>(0x80 | value % 64));
    return limit > 1 ? static_cast<char>(0x100 - 2 * limit + value) + bytes : "";
}

inline std::string write16(char32_t value)
{
    if (value > 0x10FFFF) return {};
    if (value < 0x10000) return image(static_cast<uint16_t>(value));
    return image(static_cast<uint16_t>(0xD7C0 + (value >> 10))) + image(static_cast<uint16_t>(0xDC00 + value % 0x400));
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

template <CodePoints (*read)(std::string_view), std::string (*write)(char32_t)>
Outcome converted_units(const Function &f, const Call &c)
{
    const bool counts = (c.lacks & NoDestination) != 0;
    const size_t unit = unit_of[f.to], room = counts ? 0 : static_cast<size_t>(std::max(c.dst_size, 0)) * unit;
    const size_t length = static_cast<size_t>(std::max(*c.cell, 0)) * unit_of[f.from];
    const auto [status, bytes] = deliver(read(std::string_view(c.source).substr(0, length)), write, counts ? INT32_MAX : room);
    Outcome wanted = untouched(c, room, status);
    if (!counts) wanted.value.replace(0, bytes.size(), bytes);
    if ((c.lacks & NoOutLength) == 0) wanted.out_length = static_cast<int32_t>(bytes.size() / unit);
    return wanted;
}
