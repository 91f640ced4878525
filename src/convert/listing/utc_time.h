// Times of a listing: 100-nanosecond ticks, always UTC.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace convert {

// A time from 1970 to 3001, to the tick.
struct utc_time {
    std::uint64_t ticks = 0;  // since 1601-01-01 00:00:00 UTC, as in FILETIME

    auto operator<=>(const utc_time&) const = default;
};

// The lengths of "yyyy-mm-dd" and "hh:mm:ss.fffffff".
constexpr std::size_t date_length = 10;
constexpr std::size_t time_length = 16;

// Parses a date "yyyy-mm-dd" and a time "hh:mm:ss.fffffff". Returns nullopt if either has another
// form, if there is no such day or time of day, or if a listing cannot show it: before 1970, or
// after the first day of 3001, which still is 3000 in time zones west of Greenwich.
std::optional<utc_time> parse_utc_time(std::string_view date, std::string_view time);

// Appends "2021-03-05T06:07:08.2340000Z".
void append_iso_time(std::string& out, utc_time time);

// Returns whole seconds since 1970-01-01 00:00:00 UTC; the fraction is truncated.
std::uint64_t unix_seconds(utc_time time);

}  // namespace convert
