// Dates of the Gregorian calendar and times of day. Day 0 is 1601-01-01, as in FILETIME.
#pragma once

#include <cstdint>

namespace ql {

constexpr std::uint64_t ticks_a_second = 10'000'000;  // 100 nanoseconds each
constexpr std::int64_t seconds_a_day = 86'400;
constexpr std::uint64_t ticks_a_day = 864'000'000'000;
constexpr std::int64_t days_1601_to_1970 = 134'774;
constexpr std::uint64_t ticks_1601_to_1970 = 116'444'736'000'000'000;

// One day of the calendar.
struct calendar_day {
    int year;
    int month;        // 1 to 12
    int day;          // 1 to 31
    int day_of_week;  // 0 is Sunday
};

constexpr bool is_leap_year(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Returns the days from 1601-01-01 to 1 January of `year`, which is 1 or later.
constexpr std::int64_t days_before_year(std::int64_t year) {
    const std::int64_t past = year - 1;
    constexpr std::int64_t leap_days_to_1600 = 388;
    return (year - 1601) * 365 + past / 4 - past / 100 + past / 400 - leap_days_to_1600;
}

// Returns the days from 1 January to the first of `month` (1 to 12). `leap` is true in a leap year.
constexpr std::int64_t days_before_month(int month, bool leap) {
    constexpr int common[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    return common[month - 1] + (leap && month > 2 ? 1 : 0);
}

// Returns the date of a day counted from 1601-01-01.
//
// A year starts in March here, so that the leap day is the last day of its year and one formula
// yields the lengths of the months before it. Any 400 consecutive years have 146,097 days.
constexpr calendar_day day_to_calendar(std::uint32_t days) {
    constexpr std::uint32_t from_march_of_year_0 = 584'694;  // days, to 1601-01-01
    const std::uint32_t all = days + from_march_of_year_0;
    const std::uint32_t group = all / 146'097;
    const std::uint32_t left = all % 146'097;
    const std::uint32_t year = (left - left / 1'460 + left / 36'524 - left / 146'096) / 365;
    const std::uint32_t day_of_year = left - (365 * year + year / 4 - year / 100);
    const std::uint32_t month = (5 * day_of_year + 2) / 153;  // 0 is March

    return {
        static_cast<int>(group * 400 + year + (month < 10 ? 0 : 1)),
        static_cast<int>(month < 10 ? month + 3 : month - 9),
        static_cast<int>(day_of_year - (153 * month + 2) / 5) + 1,
        static_cast<int>((days + 1) % 7),
    };
}

// Returns the date of a FILETIME before the year 3002.
constexpr calendar_day date_of(std::uint64_t filetime) {
    return day_to_calendar(static_cast<std::uint32_t>(filetime / ticks_a_day));
}

// A time of day. `nanosecond` is the fraction of the second.
struct clock_time {
    std::uint32_t hour;
    std::uint32_t minute;
    std::uint32_t second;
    std::uint32_t nanosecond;
};

// Returns the time of day of a FILETIME.
constexpr clock_time clock_of(std::uint64_t filetime) {
    const auto second_of_day =
        static_cast<std::uint32_t>(filetime / ticks_a_second % seconds_a_day);
    const auto ticks = static_cast<std::uint32_t>(filetime % ticks_a_second);
    return {second_of_day / 3600, second_of_day / 60 % 60, second_of_day % 60, ticks * 100};
}

static_assert(days_before_year(1970) == days_1601_to_1970);
static_assert(days_1601_to_1970 * seconds_a_day * std::int64_t{ticks_a_second} ==
              std::int64_t{ticks_1601_to_1970});

}  // namespace ql
