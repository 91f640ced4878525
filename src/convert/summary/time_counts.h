// Counts timestamps by day, and by weekday and hour, in UTC.
//
// The memory depends on the latest day: a counter for each day since 1970, at most 12 MB.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/listing/listing_row.h"

namespace convert {

// A counter for each of created, modified, changed and accessed.
constexpr std::size_t num_time_kinds = 4;
using time_kind_counts = std::array<std::uint64_t, num_time_kinds>;

// Counters of consecutive months or days. `first` is a month (year * 12 + month - 1) or a day since
// 1970-01-01.
struct count_series {
    std::uint32_t first = 0;
    std::vector<time_kind_counts> counts;
    time_kind_counts before{};  // the first
    time_kind_counts after{};   // the last
};

class time_counts {
public:
    static constexpr std::size_t most_months = 120;

    void add(const row_times& times);

    const time_kind_counts& total() const { return m_total; }
    // Returns the months from the first to the last timestamp. If these are more than most_months,
    // returns the consecutive ones with the most timestamps. Empty if there is no timestamp.
    count_series by_month() const;
    // Returns the days of the month with the most timestamps, of the one before it and of the one
    // after it. Empty if there is no timestamp.
    count_series by_day() const;
    // Weekday 0 is Monday.
    std::uint64_t at_hour(std::size_t kind, std::size_t weekday, std::size_t hour) const {
        return m_hours.at(kind).at(weekday).at(hour);
    }

private:
    using hours_of_week = std::array<std::array<std::uint64_t, 24>, 7>;

    void count(std::size_t kind, utc_time time);
    count_series all_months() const;

    std::vector<time_kind_counts> m_days;  // since 1970-01-01
    std::array<hours_of_week, num_time_kinds> m_hours{};
    time_kind_counts m_total{};
};

// Returns the sum of the four counters.
std::uint64_t sum_of(const time_kind_counts& counts);
// Returns the month that contains a day since 1970-01-01, and the first day of a month.
std::uint32_t month_of_day(std::uint32_t day);
std::uint32_t first_day_of_month(std::uint32_t month);

}  // namespace convert
