// Date/time records as their components: taken apart, put together, and checked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "text/layouts.h"
#include "zemt.h"

namespace zemt {

enum Component : uint8_t { Year, Month, Day, Hour, Minute, Second, Fraction, NoComponent };

// A record has the low 16 bits of all but the fraction. What it lacks is 0.
using Components = std::array<int32_t, 8>;

template <typename Record>
inline Components components_of(const void *record)
{
    ZEMTTS ts{};
    if constexpr (std::is_same_v<Record, ZEMTTS>) {
        std::memcpy(&ts, record, offsetof(ZEMTTS, reserved));
    } else {
        constexpr size_t from = std::is_same_v<Record, ZEMTDate> ? offsetof(ZEMTTS, year) : offsetof(ZEMTTS, hour);
        std::memcpy(bytes(static_cast<void *>(&ts)) + from, record, 3 * sizeof(uint16_t));
    }
    return {ts.year, ts.month, ts.day, ts.hour, ts.minute, ts.second, ts.fraction};
}

// Records are put together in registers, because a wide load of what has just been stored in small parts has to wait for all of
// them.
template <typename Record>
inline void write_record(void *dst, const Components &components)
{
    const auto pack = [&components](size_t first, size_t count) {
        uint64_t packed = 0;
        for (size_t i = 0; i < count; ++i) packed |= uint64_t{static_cast<uint16_t>(components[first + i])} << 16 * i;
        return packed;
    };
    char *const record = bytes(dst);
    if constexpr (std::is_same_v<Record, ZEMTTS>) {
        store(record, pack(Year, 4));
        store(record + 8, pack(Minute, 2) | uint64_t{static_cast<uint32_t>(components[Fraction])} << 32);
        store(record + 16, uint64_t{0});
    } else {
        store(record, pack(std::is_same_v<Record, ZEMTDate> ? Year : Hour, 3));
        store(record + 8, uint64_t{0});
    }
}

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

// Checks what a record of that kind has, as the record will have it.
constexpr int32_t check(const Components &components, int32_t kind)
{
    const auto low = [&components](Component component) { return static_cast<uint16_t>(components[component]); };
    int32_t status = ZEMT_RC_OK;
    if (kind == ZEMT_KIND_DATE || kind == ZEMT_KIND_TIMESTAMP)
        status = check_date(static_cast<int16_t>(low(Year)), low(Month), low(Day));
    if (status == ZEMT_RC_OK && (kind == ZEMT_KIND_TIME || kind == ZEMT_KIND_TIMESTAMP))
        status = check_time(low(Hour), low(Minute), low(Second));
    return status;
}

}  // namespace zemt
