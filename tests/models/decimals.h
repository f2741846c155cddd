// Packed decimal and VARNUM as strings of digits: padded, cut, with the point moved, and taken in pairs.
#pragma once

#include "calls.h"

// A byte for every two digits: first + step * number.
inline std::string paired(std::string_view digits, int base, int first = 0, int step = 1)
{
    const auto value = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'A' + 10; };
    std::string bytes(digits.size() / 2, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(first + step * (base * value(digits[2 * i]) + value(digits[2 * i + 1])));
    return bytes;
}

inline Outcome read_packed(const Function &f, const Call &c)
{
    if (c.parms->precision < 0) return untouched(c, 1, -1);
    const auto size = static_cast<size_t>(ZEMT_SIZE_DEC_KEST(c.parms->precision)), unit = unit_of[f.to];
    std::string digits;
    size_t i = 0;
    for (uint8_t nibble; i < 2 * size - 1; ++i) {
        nibble = static_cast<uint8_t>(c.source[i / 2]) >> (i % 2 == 0 ? 4 : 0) & 15;
        if (nibble > 9) break;
        if (nibble > 0 || !digits.empty()) digits += static_cast<char>('0' + nibble);
    }
    Outcome wanted = untouched(c, 2 * size * unit, i < 2 * size - 1 ? -1 : 0);
    wanted.value.replace(0, (digits.size() + 1) * unit, spelled(digits + '\0', unit));
    wanted.out_length = static_cast<int32_t>(digits.size());
    report(wanted, c, size);
    return wanted;
}

// Every character leaves the last of its hexadecimal digits.
inline Outcome written_packed(const Function &f, const Call &c)
{
    if (c.parms->precision < 0) return untouched(c, 1, -1);
    const auto size = static_cast<size_t>(ZEMT_SIZE_DEC_KEST(c.parms->precision)), unit = unit_of[f.from];
    const size_t length = c.source.size() / unit - 1;
    if (length >= 2 * size) return untouched(c, size, -1);
    std::string nibbles(2 * size - length - 1, '0');
    for (size_t i = 0; i < length; ++i) nibbles += "0123456789ABCDEF"[c.source[i * unit] & 15];
    Outcome wanted{0, paired(nibbles + 'C', 16), static_cast<int32_t>(size), c.cell.value_or(kept)};
    report(wanted, c, length * unit);
    return wanted;
}

// The VARNUM of digits with at most one point; empty for an exponent that is too large.
inline std::string varnum(std::string_view number, bool negative = false)
{
    std::string digits(number.substr(0, number.find('.')));
    std::string fraction(number.substr(std::min(digits.size() + 1, number.size())));
    digits.insert(0, digits.size() % 2, '0');
    auto exponent = static_cast<int>(digits.size() / 2) - 1;
    digits += fraction.append(fraction.size() % 2, '0');
    while (digits.ends_with("00")) digits.resize(digits.size() - 2);
    size_t zeros = 0;
    for (; digits.compare(zeros, 2, "00") == 0; --exponent) zeros += 2;
    digits.erase(0, zeros);
    if (digits.empty() || exponent < -65) return "\x01\x80"s;
    digits = digits.substr(0, 40);
    std::string bytes = negative ? paired(digits, 10, 101, -1) : paired(digits, 10, 1);
    bytes.insert(0, 1, static_cast<char>(negative ? 62 - exponent : 193 + exponent));
    if (negative && bytes.size() < 21) bytes += '\x66';
    return exponent > 62 ? "" : static_cast<char>(bytes.size()) + bytes;
}

// The text of digits to the base 100, the first with that exponent.
inline std::string text_of(std::string digits, int exponent)
{
    digits.insert(0, static_cast<size_t>(std::max(-2 - 2 * exponent, 0)), '0');
    const auto point = static_cast<size_t>(std::max(2 + 2 * exponent, 0));
    if (digits.size() < point) digits.resize(point, '0');
    if (digits.size() > point) digits.insert(point, 1, '.');
    return digits.substr(digits[0] == '0');
}

inline Outcome read_varnum(const Function &f, const Call &c)
{
    const size_t unit = unit_of[f.to], length = static_cast<uint8_t>(c.source[0]);
    const int first = length > 0 && length < 22 ? static_cast<uint8_t>(c.source[1]) : 0;
    Outcome wanted{-1, std::string(ZEMT_ROOM_ORA_VARNUM * unit, pattern), 0, static_cast<int32_t>(length + 1)};
    if (first < 128 || (length == 1 && first != 128)) return wanted;
    std::string digits;
    for (const char byte : c.source.substr(2, length - 1)) {
        const int digit = static_cast<uint8_t>(byte) - 1;
        if (digit < 0 || digit > 99) return wanted;
        digits += {static_cast<char>('0' + digit / 10), static_cast<char>('0' + digit % 10)};
    }
    const std::string text = length == 1 ? "0" : text_of(digits, first - 193);
    wanted.value.replace(0, (text.size() + 1) * unit, spelled(text + '\0', unit));
    wanted.status = 0;
    wanted.out_length = static_cast<int32_t>(text.size());
    return wanted;
}

inline Outcome written_varnum(const Function &f, const Call &c)
{
    const size_t unit = unit_of[f.from], length = (c.lacks & NoSource) != 0 ? 0 : c.source.size() / unit - 1;
    std::string text, bytes;
    for (size_t i = 0; i < length; ++i)  // what is no byte becomes one that is refused
        text += std::all_of(&c.source[i * unit + 1], &c.source[i * unit] + unit, [](char b) { return b == 0; })
                    ? c.source[i * unit]
                    : '?';
    const auto points = static_cast<size_t>(std::count(text.begin(), text.end(), '.'));
    if (text.find_first_not_of("0123456789.") == text.npos && points <= 1 && length - points <= 266) bytes = varnum(text);
    Outcome wanted = untouched(c, ZEMT_SIZE_ORA_VARNUM, bytes.empty() ? -1 : 0);
    wanted.value.replace(0, bytes.size(), bytes);
    if (!bytes.empty()) wanted.out_length = static_cast<int32_t>(bytes.size());
    if (length > 0) wanted.source_length = static_cast<int16_t>(length);
    return wanted;
}

// *srcLen has the count of digits, the low bytes of dst_size the scale, those above the sign.
inline Outcome built_varnum(const Function &, const Call &c)
{
    const auto scale = static_cast<int16_t>(c.dst_size);
    const auto sign = static_cast<char>(c.dst_size >> 16);
    std::string number, bytes;
    for (const char digit : c.source) number += {static_cast<char>('0' + digit / 10), static_cast<char>('0' + digit % 10)};
    const auto places = static_cast<size_t>(std::max<int>(scale, 0));
    number.insert(0, places - std::min(places, number.size()), '0').append(static_cast<size_t>(std::max(-scale, 0)), '0');
    number.insert(number.size() - places, 1, '.');
    if (*c.cell <= 133 && (sign == '+' || sign == '-')) bytes = varnum(number, sign == '-');
    Outcome wanted = untouched(c, ZEMT_SIZE_ORA_VARNUM, bytes.empty() ? -1 : 0);
    wanted.value.replace(0, bytes.size(), bytes);
    return wanted;
}
