#include "convert/listing/utc_time.h"

#include <array>

#include "foundation/time/ql_calendar.h"

namespace convert {

namespace {

// Returns the value of `count` digits at `at`, or -1 if one of them is not a digit.
int digits(std::string_view text, std::size_t at, std::size_t count) {
    int value = 0;
    for (const char c : text.substr(at, count)) {
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

int days_in_month(int year, int month) {
    constexpr std::array<int, 12> common = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap_day = month == 2 && ql::is_leap_year(year);
    return common.at(static_cast<std::size_t>(month - 1)) + (leap_day ? 1 : 0);
}

// Returns the day of "yyyy-mm-dd", counted from 1601-01-01, or -1.
std::int64_t parse_day(std::string_view date) {
    if (date.size() != date_length || date[4] != '-' || date[7] != '-') return -1;
    const int year = digits(date, 0, 4);
    const int month = digits(date, 5, 2);
    const int day = digits(date, 8, 2);
    if (year < 1970 || month < 1 || month > 12 || day < 1) return -1;
    if (day > days_in_month(year, month)) return -1;
    return ql::days_before_year(year) + ql::days_before_month(month, ql::is_leap_year(year)) + day -
           1;
}

// Returns the ticks of "hh:mm:ss.fffffff" since midnight, or -1.
std::int64_t parse_ticks(std::string_view time) {
    if (time.size() != time_length) return -1;
    if (time[2] != ':' || time[5] != ':' || time[8] != '.') return -1;
    const std::int64_t hour = digits(time, 0, 2);
    const std::int64_t minute = digits(time, 3, 2);
    const std::int64_t second = digits(time, 6, 2);
    const std::int64_t fraction = digits(time, 9, 7);
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59) return -1;
    if (second < 0 || second > 59 || fraction < 0) return -1;
    const std::int64_t seconds = hour * 3600 + minute * 60 + second;
    return seconds * static_cast<std::int64_t>(ql::ticks_a_second) + fraction;
}

// Writes the last `width` digits of `value` at `at`.
void put_digits(char* at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0; value /= 10)
        at[i] = static_cast<char>('0' + value % 10);
}

}  // namespace

std::optional<utc_time> parse_utc_time(std::string_view date, std::string_view time) {
    const std::int64_t day = parse_day(date);
    const std::int64_t ticks = parse_ticks(time);
    if (day < 0 || ticks < 0 || day > ql::days_before_year(3001)) return std::nullopt;
    return utc_time{static_cast<std::uint64_t>(day) * ql::ticks_a_day +
                    static_cast<std::uint64_t>(ticks)};
}

void append_iso_time(std::string& out, utc_time time) {
    const auto day = static_cast<std::uint32_t>(time.ticks / ql::ticks_a_day);
    const ql::calendar_day date = ql::day_to_calendar(day);
    const std::uint64_t in_day = time.ticks % ql::ticks_a_day;
    const std::uint64_t second = in_day / ql::ticks_a_second;
    std::array<char, 29> text{"0000-00-00T00:00:00.0000000Z"};
    put_digits(text.data(), static_cast<std::uint64_t>(date.year), 4);
    put_digits(text.data() + 5, static_cast<std::uint64_t>(date.month), 2);
    put_digits(text.data() + 8, static_cast<std::uint64_t>(date.day), 2);
    put_digits(text.data() + 11, second / 3600, 2);
    put_digits(text.data() + 14, second / 60 % 60, 2);
    put_digits(text.data() + 17, second % 60, 2);
    put_digits(text.data() + 20, in_day % ql::ticks_a_second, 7);
    out.append(text.data(), text.size() - 1);
}

std::uint64_t unix_seconds(utc_time time) {
    return (time.ticks - ql::ticks_1601_to_1970) / ql::ticks_a_second;
}

}  // namespace convert
