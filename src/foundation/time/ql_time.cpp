#include "foundation/time/ql_time.h"

#include <sys/time.h>

#include <optional>
#include <utility>

#include "foundation/time/ql_calendar.h"

namespace ql {

namespace {

// The local time of a displayable timestamp is before this year.
constexpr std::int64_t first_year_not_shown = 3001;

// Returns the host's current offset from UTC in seconds. mktime interprets both times as standard
// time.
std::int64_t host_utc_offset() {
    const std::time_t now = std::time(nullptr);
    std::tm local{}, utc{};
    localtime_r(&now, &local);
    gmtime_r(&now, &utc);
    const auto seconds = static_cast<float>(std::mktime(&local) - std::mktime(&utc));
    const float hours = seconds / 3600.0f;
    return static_cast<std::int64_t>(hours * 3600.0f);
}

// Converts seconds since 1601 in the host's local time to broken-down fields; the summer-time flag
// is 0.
std::tm local_time_fields(std::uint64_t local_seconds) {
    const auto days = static_cast<std::uint32_t>(local_seconds / seconds_a_day);
    const auto second_of_day = static_cast<int>(local_seconds % seconds_a_day);
    const calendar_day date = day_to_calendar(days);
    std::tm fields{};
    fields.tm_sec = second_of_day % 60;
    fields.tm_min = second_of_day / 60 % 60;
    fields.tm_hour = second_of_day / 3600;
    fields.tm_mday = date.day;
    fields.tm_mon = date.month - 1;
    fields.tm_year = date.year - 1900;
    fields.tm_wday = date.day_of_week;
    fields.tm_yday =
        static_cast<int>(days_before_month(date.month, is_leap_year(date.year))) + date.day - 1;
    return fields;
}

constexpr std::int64_t seconds_to_limit = days_before_year(first_year_not_shown) * seconds_a_day;

// Returns the host's offset from UTC in seconds. It is read once, so that it is the same for all
// timestamps of a run.
std::int64_t utc_offset_of_run() {
    static const std::int64_t offset = host_utc_offset();
    return offset;
}

// Returns the timestamp's local time in seconds since 1601, or nullopt if it is in the first second
// of 1970 or not before the year 3001.
std::optional<std::uint64_t> to_local_seconds(std::uint64_t unix_seconds) {
    constexpr std::int64_t seconds_to_1970 = days_1601_to_1970 * seconds_a_day;
    // A larger value is out of range even when counted from 1601, and the sum below could wrap.
    if (unix_seconds == 0 || std::cmp_greater(unix_seconds, seconds_to_limit)) return std::nullopt;
    const std::int64_t local_seconds =
        static_cast<std::int64_t>(unix_seconds) + seconds_to_1970 + utc_offset_of_run();
    if (local_seconds >= seconds_to_limit) return std::nullopt;
    return static_cast<std::uint64_t>(local_seconds);
}

void set_date(_windows_systemtime& fields, std::uint64_t filetime) {
    const calendar_day date = date_of(filetime);
    fields.year = static_cast<std::uint16_t>(date.year);
    fields.month = static_cast<std::uint16_t>(date.month);
    fields.day_of_week = static_cast<std::uint16_t>(date.day_of_week);
    fields.day = static_cast<std::uint16_t>(date.day);
}

void set_clock(_windows_systemtime& fields, std::uint64_t filetime) {
    const clock_time clock = clock_of(filetime);
    fields.hour = static_cast<std::uint16_t>(clock.hour);
    fields.minute = static_cast<std::uint16_t>(clock.minute);
    fields.second = static_cast<std::uint16_t>(clock.second);
    fields.millisecond = static_cast<std::uint16_t>(clock.nanosecond / 1'000'000);
    fields.microsecond = clock.nanosecond / 1'000;
    fields.nanosecond = clock.nanosecond;
    fields.picosecond = std::uint64_t{clock.nanosecond} * 1'000;
}

}  // namespace

time::time(std::uint64_t value, type_time type) {
    if (type == type_time::filetime) {
        fill_from_filetime(value);
        return;
    }
    if (value < 1) return;
    unix_seconds = value;
    filetime = value * ticks_a_second + ticks_1601_to_1970;
    if (to_local_seconds(unix_seconds)) fill_from_filetime(filetime);
}

time time::now() {
    timeval clock{};
    gettimeofday(&clock, nullptr);
    return {static_cast<std::uint64_t>(clock.tv_usec) * 10 +
                static_cast<std::uint64_t>(clock.tv_sec) * ticks_a_second + ticks_1601_to_1970,
            type_time::filetime};
}

void time::fill_from_filetime(std::uint64_t ticks) {
    filetime = ticks;
    if (ticks == 0 || !filetime_to_unix(ticks, unix_seconds)) return;
    const std::optional<std::uint64_t> local_seconds = to_local_seconds(unix_seconds);
    if (!local_seconds) return;
    local_fields = local_time_fields(*local_seconds);

    set_date(system_time, ticks);
    set_clock(system_time, ticks);
    filetime_checked = ticks;
    if (system_time.year >= 1980 && system_time.year < 2038) {
        dos_date = static_cast<std::uint16_t>((system_time.year - 1980) << 9 |
                                              system_time.month << 5 | system_time.day);
        dos_time = static_cast<std::uint16_t>(system_time.hour << 11 | system_time.minute << 5 |
                                              ((system_time.second + 1) / 2 & 31));
    }
    valid = 1;
}

// The conditions of to_local_seconds in ticks: every report checks each of its timestamps.
bool can_be_shown(std::uint64_t filetime) {
    constexpr std::uint64_t first = ticks_1601_to_1970 + ticks_a_second;
    static const std::uint64_t limit =
        static_cast<std::uint64_t>(seconds_to_limit - utc_offset_of_run()) * ticks_a_second;
    return filetime >= first && filetime < limit;
}

bool filetime_to_unix(std::uint64_t filetime, std::uint64_t& out) {
    if (filetime >> 63 != 0) return false;
    out = (filetime - ticks_1601_to_1970) / ticks_a_second;
    return true;
}

}  // namespace ql
