// File times: counts of 100 ns since 1601-01-01 00:00 UTC, computed independently of src/.
#pragma once

#include <cstdint>

namespace support {

// `ticks` is the fraction in units of 100 ns (0 to 9999999). `year` is 1601 or later, in the
// proleptic Gregorian calendar.
constexpr std::uint64_t filetime(unsigned year, unsigned month, unsigned day, unsigned hour = 0,
                                 unsigned minute = 0, unsigned second = 0, unsigned ticks = 0) {
    std::uint64_t days = 0;
    const std::uint64_t whole_years = year - 1601u;
    days += whole_years * 365 + whole_years / 4 - whole_years / 100 + whole_years / 400;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    constexpr unsigned lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (unsigned m = 1; m < month; ++m) {
        days += lengths[m - 1] + (m == 2 && leap ? 1u : 0u);
    }
    days += day - 1u;
    return ((days * 24 + hour) * 60 + minute) * 600000000ull + second * 10000000ull + ticks;
}

// The four timestamps of a file, in on-disk order.
struct file_times {
    std::uint64_t created = filetime(2021, 3, 4, 5, 6, 7, 1234567);
    std::uint64_t modified = filetime(2021, 3, 5, 6, 7, 8, 2345678);
    std::uint64_t mft_changed = filetime(2021, 3, 6, 7, 8, 9, 3456789);
    std::uint64_t accessed = filetime(2021, 3, 7, 8, 9, 10, 4567890);

    // Returns four equal timestamps.
    static constexpr file_times all(std::uint64_t stamp) { return {stamp, stamp, stamp, stamp}; }
};

}  // namespace support
