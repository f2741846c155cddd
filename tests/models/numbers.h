// Integers by the C library's digits and arithmetic modulo 2^64, floating-point numbers by its printer and reader.
#pragma once

#include <clocale>
#include <cmath>
#include <cwchar>

#include "calls.h"

// A short form has no cell, and the one into wide text takes no number below 1.
template <class Int, size_t room, bool is_short = false>
Outcome written_integer(const Function &f, const Call &c)
{
    const auto value = loaded<Int>(c.source);
    const size_t unit = unit_of[f.to];
    Outcome wanted = untouched(c, room * unit, 0);
    if (is_short && unit == 4 && value < Int{1}) return {27, wanted.value, kept, wanted.source_length};
    const std::string text = value == 0 ? "" : std::to_string(value);
    wanted.open = (text.size() + 1) * unit;
    wanted.value.replace(0, wanted.open, spelled(text + '\0', unit));
    wanted.out_length = static_cast<int32_t>(text.size());
    if (!is_short) report(wanted, c, sizeof value);
    return wanted;
}

template <class Int>
Outcome read_integer(const Function &f, const Call &c)
{
    const size_t unit = unit_of[f.from], size = c.source.size() - unit;
    const bool negative = std::is_signed_v<Int> && c.source.starts_with("-\0\0\0"s.substr(0, unit));
    uint64_t value = 0;
    for (size_t at = negative * unit; at < size; at += unit) {
        uint32_t digit = 0;
        memcpy(&digit, &c.source[at], unit);
        if (digit < '0' || digit > '9') return untouched(c, sizeof(Int), -1);
        value = value * 10 + (digit - '0');
    }
    Outcome wanted{0, image(static_cast<Int>(negative ? -value : value)), sizeof(Int), c.cell.value_or(kept)};
    report(wanted, c, size);
    return wanted;
}

// The number in the first width characters, and a status.
inline std::pair<int32_t, uint32_t> field_of(std::wstring_view text, size_t width)
{
    bool negative = false;
    uint32_t value = 0;
    for (const wchar_t character : text.substr(0, std::min(width, text.find(L'\0')))) {
        const bool is_minus = character == '-' && !negative;
        if (!is_minus && (character < '0' || character > '9')) return {-1, value};
        negative |= is_minus;
        if (!is_minus) value = value * 10 + static_cast<uint32_t>(character - '0');
    }
    return {0, negative ? 0 - value : value};
}

// *srcLen has the start, dst_size the count.
inline Outcome read_field(const Function &f, const Call &c)
{
    const auto text = unit_of[f.from] == 4 ? unwide(c.source) : std::wstring(c.source.begin(), c.source.end());
    const auto [status, value] =
        field_of(std::wstring_view(text).substr(static_cast<size_t>(*c.cell)), static_cast<size_t>(std::max(c.dst_size, 0)));
    return {status, image(value), kept, *c.cell};
}

// Digits below 0: as many as dst_size says.
template <class Real, int fixed_digits, size_t fixed_room>
Outcome written_number(const Function &, const Call &c)
{
    const int digits = fixed_digits < 0 ? static_cast<int16_t>(c.dst_size) : fixed_digits;
    const bool is_counted = digits >= 0 && digits < INT16_MAX;
    const size_t room = fixed_digits >= 0 ? fixed_room : is_counted ? static_cast<size_t>(digits) + 9 : 0;
    Outcome wanted = untouched(c, room * 4, -1);
    const double value{loaded<Real>(c.source)};
    if (c.lacks != 0 || !std::isfinite(value) || !is_counted || (fixed_digits >= 0 && c.dst_size <= 30)) return wanted;
    std::string text(static_cast<size_t>(digits) + 10, '\0');
    text.resize(static_cast<size_t>(snprintf(text.data(), text.size(), "%#.*E", digits, value)));
    const size_t point = value < 0 || std::signbit(value) ? 2 : 1;
    text.replace(point, text.find_first_of("0123456789E", point) - point, ".");  // whatever the locale has there
    wanted.status = 0;
    wanted.out_length = static_cast<int32_t>(text.size());
    wanted.open = (text.size() + 1) * 4;
    wanted.value.replace(0, wanted.open, spelled(text + '\0', 4));
    return wanted;
}

template <class Real>
Outcome read_number(const Function &, const Call &c)
{
    const auto value = static_cast<Real>(wcstod(unwide(c.source).c_str(), nullptr));
    const bool refused = (c.lacks & (NoSource | NoDestination)) != 0 || value == 0 || !std::isfinite(value);
    Outcome wanted = untouched(c, sizeof value, -refused);
    if (!refused) wanted.value = image(value);
    return wanted;
}
