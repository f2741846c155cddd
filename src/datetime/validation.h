// The range test of date/time records.
#pragma once

#include <cstdint>

#include "zemt.h"

namespace zemt {

constexpr int days_in_month(int year, int month)
{
    if (month == 2) {
        const bool leap_year = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        return leap_year ? 29 : 28;
    }
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

constexpr int32_t check_date(int16_t year, uint16_t month, uint16_t day)
{
    constexpr int shortest_month = 28;  // most days need no look at the month, which no processor foresees
    if (year < 1 || year > 9999) return ZEMT_RC_INVALID_YEAR;
    if (month < 1 || month > 12) return ZEMT_RC_INVALID_MONTH;
    if (day < 1) return ZEMT_RC_INVALID_DAY;
    return day <= shortest_month || day <= days_in_month(year, month) ? ZEMT_RC_OK : ZEMT_RC_INVALID_DAY;
}

constexpr int32_t check_time(uint16_t hour, uint16_t minute, uint16_t second)
{
    if (hour > 23) return ZEMT_RC_INVALID_HOUR;
    if (minute > 59) return ZEMT_RC_INVALID_MINUTE;
    return second > 59 ? ZEMT_RC_INVALID_SECOND : ZEMT_RC_OK;
}

constexpr int32_t check(const ZEMTTS &ts, int32_t mode)
{
    if (mode == ZEMT_KIND_DATE || mode == ZEMT_KIND_TIMESTAMP) {
        if (const int32_t status = check_date(ts.year, ts.month, ts.day); status != ZEMT_RC_OK) return status;
    }
    if (mode == ZEMT_KIND_TIME || mode == ZEMT_KIND_TIMESTAMP) return check_time(ts.hour, ts.minute, ts.second);
    return ZEMT_RC_OK;
}

}  // namespace zemt
