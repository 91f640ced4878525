// Timestamps: FILETIME values and their UTC calendar fields.
//
// A FILETIME counts 100-nanosecond ticks since 1601-01-01 00:00:00 UTC. Timestamps are kept as raw
// values until they are printed, and every printed time is UTC. The host's time zone is used only
// in a range check.
#pragma once

#include <cstdint>
#include <ctime>

namespace ql {

// The unit of a number passed to ql::time.
enum class type_time : std::uint32_t {
    filetime = 1,
    unix_seconds = 8,
};

// UTC calendar fields. The last four are the same fraction of the second, each truncated to its own
// unit; they are not added together.
struct _windows_systemtime {
    std::uint16_t year = 0;         // full year
    std::uint16_t month = 0;        // 1 to 12
    std::uint16_t day_of_week = 0;  // 0 is Sunday
    std::uint16_t day = 0;          // 1 to 31
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t millisecond = 0;
    std::uint64_t microsecond = 0;  // 0 to 999,999
    std::uint64_t nanosecond = 0;   // a multiple of 100
    std::uint64_t picosecond = 0;
};

// A timestamp with its calendar fields. `valid` is 0 for a timestamp that cannot be displayed: 0,
// one with the top bit set, one before 1970-01-01 00:00:01, or one in or after the year 3001 of the
// host's local time.
class time {
public:
    // `value` is a FILETIME or seconds since 1970, depending on `type`.
    time(std::uint64_t value, type_time type);
    // Returns the current time of the system clock, to the microsecond.
    static time now();

    std::uint64_t unix_seconds = 0;  // since 1970-01-01 UTC
    std::uint64_t filetime = 0;
    std::uint64_t filetime_checked = 0;  // copy of `filetime` if the timestamp is valid
    std::uint16_t dos_date = 0;          // MS-DOS form, 0 outside 1980 to 2037
    std::uint16_t dos_time = 0;
    std::tm local_fields{};  // in the host's local time; set by the range check only
    _windows_systemtime system_time;
    std::uint32_t valid = 0;  // non-zero if the timestamp can be displayed

private:
    void fill_from_filetime(std::uint64_t ticks);
};

// Returns true if the ql::time of `filetime` is valid.
bool can_be_shown(std::uint64_t filetime);

// Converts to seconds since 1970 in unsigned 64-bit arithmetic; earlier times wrap to huge values.
// Returns false if the top bit of `filetime` is set.
bool filetime_to_unix(std::uint64_t filetime, std::uint64_t& out);

}  // namespace ql
