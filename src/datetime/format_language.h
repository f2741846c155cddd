// The format language: its keywords, the names of the months, and what both sides of it share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "text/layouts.h"
#include "zemt.h"

namespace zemt {

struct Keyword {
    uint32_t code;
    int32_t length;
    wchar_t keyword[7];
};

// In the order of matching: the first keyword that fits wins, so a longer one stands before those that it begins with.
inline constexpr Keyword fmtCodes[] = {
    {ZEMT_FMT_FFFFFF, 6, L"FFFFFF"}, {ZEMT_FMT_FFFFF, 5, L"FFFFF"}, {ZEMT_FMT_MONTH, 5, L"MONTH"}, {ZEMT_FMT_YYYY, 4, L"YYYY"},
    {ZEMT_FMT_HH24, 4, L"HH24"},     {ZEMT_FMT_FFFF, 4, L"FFFF"},   {ZEMT_FMT_FFF, 3, L"FFF"},     {ZEMT_FMT_MMM, 3, L"MMM"},
    {ZEMT_FMT_FF, 2, L"FF"},         {ZEMT_FMT_MM, 2, L"MM"},       {ZEMT_FMT_YY, 2, L"YY"},       {ZEMT_FMT_DD, 2, L"DD"},
    {ZEMT_FMT_HH, 2, L"HH"},         {ZEMT_FMT_MI, 2, L"MI"},       {ZEMT_FMT_SS, 2, L"SS"},       {ZEMT_FMT_PM, 2, L"PM"},
    {ZEMT_FMT_M, 1, L"M"},           {ZEMT_FMT_D, 1, L"D"},         {ZEMT_FMT_F, 1, L"F"},
};

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

// The column's format, or null where a pointer on the way to its list is.
inline const ZEMTDateFormat *date_format_of(const ZEMTCnvParms *parms)
{
    if (parms == nullptr || parms->dateFormat == nullptr || parms->dateFormat->formatCodes == nullptr) return nullptr;
    return parms->dateFormat;
}

}  // namespace zemt
