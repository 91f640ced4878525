// Day counts of the Gregorian calendar, counted from 1601-01-01, the day 0 of FILETIME.
#pragma once

#include <cstdint>

namespace ql {

constexpr std::uint64_t ticks_a_second = 10'000'000;  // 100 nanoseconds each
constexpr std::int64_t seconds_a_day = 86'400;
constexpr std::int64_t days_1601_to_1970 = 134'774;
constexpr std::uint64_t ticks_1601_to_1970 = 116'444'736'000'000'000;

// One day of the calendar.
struct calendar_day {
    int year = 0;
    int month = 0;        // 1 to 12
    int day = 0;          // 1 to 31
    int day_of_week = 0;  // 0 is Sunday
    int day_of_year = 0;  // 0 is 1 January
};

// The quotient rounded down, so that a time before day 0 belongs to the day that it lies in.
constexpr std::int64_t floor_div(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

constexpr bool is_leap_year(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Days from 1601-01-01 to 1 January of `year`; `year` from 1 on.
constexpr std::int64_t days_before_year(std::int64_t year) {
    const std::int64_t past = year - 1;
    constexpr std::int64_t leap_days_to_1600 = 388;
    return (year - 1601) * 365 + past / 4 - past / 100 + past / 400 - leap_days_to_1600;
}

// Days from 1 January to the first of `month` (1 to 12) in a year of the kind given.
constexpr std::int64_t days_before_month(int month, bool leap) {
    constexpr int common[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    return common[month - 1] + (leap && month > 2 ? 1 : 0);
}

// Days from 1601-01-01 to a date of the calendar; `year` from 1 on, `month` from 1 to 12.
constexpr std::int64_t calendar_to_day(std::int64_t year, int month, int day) {
    return days_before_year(year) + days_before_month(month, is_leap_year(year)) + day - 1;
}

// The date of a day counted from 1601-01-01. `days` may be negative down to year 1.
constexpr calendar_day day_to_calendar(std::int64_t days) {
    constexpr std::int64_t days_in_400_years = 146'097;
    // 365.2425 days make a year: the estimate is right or one too high or too low.
    std::int64_t year = 1601 + floor_div(days * 400, days_in_400_years);
    if (days < days_before_year(year)) --year;
    if (days >= days_before_year(year + 1)) ++year;

    calendar_day date;
    const bool leap = is_leap_year(year);
    const std::int64_t day_of_year = days - days_before_year(year);
    int month = static_cast<int>(day_of_year / 31) + 1;  // right or one too low
    if (month < 12 && day_of_year >= days_before_month(month + 1, leap)) ++month;
    date.year = static_cast<int>(year);
    date.month = month;
    date.day = static_cast<int>(day_of_year - days_before_month(month, leap)) + 1;
    date.day_of_week = static_cast<int>(days + 1 - floor_div(days + 1, 7) * 7);
    date.day_of_year = static_cast<int>(day_of_year);
    return date;
}

static_assert(calendar_to_day(1970, 1, 1) == days_1601_to_1970);
static_assert(calendar_to_day(2000, 3, 1) - calendar_to_day(2000, 2, 28) == 2);

}  // namespace ql
