// The format language: its keywords, the names of the months, and what both sides of it share.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>

#include "components.h"
#include "text/layouts.h"
#include "zemt.h"

namespace zemt {

// What a code stands for: the kind of a record that has it, the component, and how many digits that takes; 0 where it is no
// number.
struct Meaning {
    uint8_t kind;
    Component component;
    uint8_t digits;
};

struct Keyword {
    uint32_t code;
    int32_t length;
    wchar_t keyword[7];
    Meaning meaning;
};

// In the order of matching: the first keyword that fits wins, so a longer one stands before those that it begins with.
inline constexpr Keyword fmtCodes[] = {
    {ZEMT_FMT_FFFFFF, 6, L"FFFFFF", {ZEMT_KIND_TIMESTAMP, Fraction, 6}},
    {ZEMT_FMT_FFFFF, 5, L"FFFFF", {ZEMT_KIND_TIMESTAMP, Fraction, 5}},
    {ZEMT_FMT_MONTH, 5, L"MONTH", {ZEMT_KIND_DATE, Month, 0}},
    {ZEMT_FMT_YYYY, 4, L"YYYY", {ZEMT_KIND_DATE, Year, 4}},
    {ZEMT_FMT_HH24, 4, L"HH24", {ZEMT_KIND_TIME, Hour, 2}},
    {ZEMT_FMT_FFFF, 4, L"FFFF", {ZEMT_KIND_TIMESTAMP, Fraction, 4}},
    {ZEMT_FMT_FFF, 3, L"FFF", {ZEMT_KIND_TIMESTAMP, Fraction, 3}},
    {ZEMT_FMT_MMM, 3, L"MMM", {ZEMT_KIND_DATE, Month, 0}},
    {ZEMT_FMT_FF, 2, L"FF", {ZEMT_KIND_TIMESTAMP, Fraction, 2}},
    {ZEMT_FMT_MM, 2, L"MM", {ZEMT_KIND_DATE, Month, 2}},
    {ZEMT_FMT_YY, 2, L"YY", {ZEMT_KIND_DATE, Year, 2}},
    {ZEMT_FMT_DD, 2, L"DD", {ZEMT_KIND_DATE, Day, 2}},
    {ZEMT_FMT_HH, 2, L"HH", {ZEMT_KIND_TIME, Hour, 2}},
    {ZEMT_FMT_MI, 2, L"MI", {ZEMT_KIND_TIME, Minute, 2}},
    {ZEMT_FMT_SS, 2, L"SS", {ZEMT_KIND_TIME, Second, 2}},
    {ZEMT_FMT_PM, 2, L"PM", {ZEMT_KIND_TIME, NoComponent, 0}},
    {ZEMT_FMT_M, 1, L"M", {ZEMT_KIND_DATE, Month, 1}},
    {ZEMT_FMT_D, 1, L"D", {ZEMT_KIND_DATE, Day, 1}},
    {ZEMT_FMT_F, 1, L"F", {ZEMT_KIND_TIMESTAMP, Fraction, 1}},
};

inline constexpr auto meanings = [] {
    std::array<Meaning, std::size(fmtCodes) + 1> by_code{};
    by_code[ZEMT_FMT_LITERAL].component = NoComponent;
    for (const Keyword &keyword : fmtCodes) by_code[keyword.code] = keyword.meaning;
    return by_code;
}();

// A code without a keyword has the meaning of a literal, which is of no kind.
inline Meaning meaning_of(uint32_t code)
{
    return meanings[code < meanings.size() ? code : ZEMT_FMT_LITERAL];
}

struct MonthName {
    int32_t length;
    wchar_t name[10];
};

inline constexpr MonthName ZEMT_FullMonths[] = {
    {7, L"January"}, {8, L"February"}, {5, L"March"},     {5, L"April"},   {3, L"May"},      {4, L"June"},
    {4, L"July"},    {6, L"August"},   {9, L"September"}, {7, L"October"}, {8, L"November"}, {8, L"December"},
};

constexpr int32_t abbreviated_month = 3;

constexpr wchar_t ascii_upper(wchar_t character)
{
    return character >= L'a' && character <= L'z' ? static_cast<wchar_t>(character - (L'a' - L'A')) : character;
}

// Whether wide text at any address begins with the first length characters of word, in whatever case. Reads no further than the
// text's terminator.
inline bool begins_with(const char *text, const wchar_t *word, int32_t length)
{
    for (int32_t i = 0; i < length; ++i) {
        if (ascii_upper(load<wchar_t>(text + i * 4)) != ascii_upper(word[i])) return false;
    }
    return true;
}

// Whether a pointer that a conversion needs is null, or one on the way to its list.
inline bool lacks_argument(const void *src, const void *dst, const ZEMTCnvParms *parms)
{
    return src == nullptr || dst == nullptr || parms == nullptr || parms->dateFormat == nullptr ||
           parms->dateFormat->formatCodes == nullptr;
}

}  // namespace zemt
