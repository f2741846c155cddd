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

constexpr int32_t check_date(const ZEMTTS &ts)
{
    if (ts.year < 1 || ts.year > 9999) return ZEMT_RC_INVALID_YEAR;
    if (ts.month < 1 || ts.month > 12) return ZEMT_RC_INVALID_MONTH;
    if (ts.day < 1 || ts.day > days_in_month(ts.year, ts.month)) return ZEMT_RC_INVALID_DAY;
    return ZEMT_RC_OK;
}

constexpr int32_t check_time(const ZEMTTS &ts)
{
    if (ts.hour > 23) return ZEMT_RC_INVALID_HOUR;
    if (ts.minute > 59) return ZEMT_RC_INVALID_MINUTE;
    if (ts.second > 59) return ZEMT_RC_INVALID_SECOND;
    return ZEMT_RC_OK;
}

constexpr int32_t check(const ZEMTTS &ts, int32_t mode)
{
    if (mode == ZEMT_KIND_DATE || mode == ZEMT_KIND_TIMESTAMP) {
        if (const int32_t status = check_date(ts); status != ZEMT_RC_OK) return status;
    }
    if (mode == ZEMT_KIND_TIME || mode == ZEMT_KIND_TIMESTAMP) return check_time(ts);
    return ZEMT_RC_OK;
}

}  // namespace zemt
