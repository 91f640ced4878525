#include "convert/summary/time_counts.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "foundation/time/ql_calendar.h"

namespace convert {

namespace {

constexpr std::uint32_t weekday_of_1970 = 3;  // Thursday

void add_counts(time_kind_counts& to, const time_kind_counts& added) {
    for (std::size_t kind = 0; kind < to.size(); ++kind)
        to.at(kind) += added.at(kind);
}

// Returns the index of the first of `length` consecutive counters with the greatest sum, the
// earliest if there are several.
std::size_t find_busiest(const std::vector<time_kind_counts>& counts, std::size_t length) {
    std::uint64_t sum = 0;
    std::uint64_t most = 0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        sum += sum_of(counts[i]);
        if (i >= length) sum -= sum_of(counts[i - length]);
        if (i + 1 < length || sum <= most) continue;
        most = sum;
        found = i + 1 - length;
    }
    return found;
}

// Shortens a series to the counters from `begin` to before `end`.
void keep(count_series& series, std::size_t begin, std::size_t end) {
    for (std::size_t i = 0; i < series.counts.size(); ++i) {
        if (i < begin) add_counts(series.before, series.counts[i]);
        if (i >= end) add_counts(series.after, series.counts[i]);
    }
    const auto start = series.counts.begin();
    series.counts = {std::next(start, static_cast<std::ptrdiff_t>(begin)),
                     std::next(start, static_cast<std::ptrdiff_t>(end))};
    series.first += static_cast<std::uint32_t>(begin);
}

}  // namespace

std::uint64_t sum_of(const time_kind_counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

std::uint32_t month_of_day(std::uint32_t day) {
    const ql::calendar_day date =
        ql::day_to_calendar(day + static_cast<std::uint32_t>(ql::days_1601_to_1970));
    return static_cast<std::uint32_t>(date.year * 12 + date.month - 1);
}

std::uint32_t first_day_of_month(std::uint32_t month) {
    const int year = static_cast<int>(month / 12);
    const int month_of_year = static_cast<int>(month % 12) + 1;
    return static_cast<std::uint32_t>(ql::days_before_year(year) +
                                      ql::days_before_month(month_of_year, ql::is_leap_year(year)) -
                                      ql::days_1601_to_1970);
}

void time_counts::count(std::size_t kind, utc_time time) {
    const std::uint64_t hours = unix_seconds(time) / 3600;
    const std::size_t day = hours / 24;
    if (day >= m_days.size()) m_days.resize(day + 1);
    ++m_days[day].at(kind);
    ++m_hours.at(kind).at((day + weekday_of_1970) % 7).at(hours % 24);
    ++m_total.at(kind);
}

void time_counts::add(const row_times& times) {
    if (times.created) count(0, *times.created);
    if (times.modified) count(1, *times.modified);
    if (times.changed) count(2, *times.changed);
    if (times.accessed) count(3, *times.accessed);
}

count_series time_counts::all_months() const {
    count_series series;
    for (std::uint32_t day = 0; day < m_days.size(); ++day) {
        if (sum_of(m_days[day]) == 0) continue;
        const std::uint32_t month = month_of_day(day);
        if (series.counts.empty()) series.first = month;
        series.counts.resize(month - series.first + 1);
        add_counts(series.counts.back(), m_days[day]);
    }
    return series;
}

count_series time_counts::by_month() const {
    count_series series = all_months();
    if (series.counts.size() <= most_months) return series;
    const std::size_t begin = find_busiest(series.counts, most_months);
    keep(series, begin, begin + most_months);
    return series;
}

count_series time_counts::by_day() const {
    const count_series months = all_months();
    if (months.counts.empty()) return {};
    const auto busiest = months.first + static_cast<std::uint32_t>(find_busiest(months.counts, 1));
    count_series series;
    series.counts = m_days;
    const std::size_t begin = busiest > month_of_day(0) ? first_day_of_month(busiest - 1) : 0;
    const std::size_t end = first_day_of_month(busiest + 2);
    series.counts.resize(std::max(end, m_days.size()));
    keep(series, begin, end);
    return series;
}

}  // namespace convert
