#include "convert/summary/time_counts.h"

#include <gtest/gtest.h>

#include "unit/convert/formats/format_text.h"

namespace {

using convert::count_series;
using convert::first_day_of_month;
using convert::month_of_day;
using convert::row_times;
using convert::time_counts;
using convert::time_kind_counts;
using format_text::at;

constexpr std::uint32_t month(std::uint32_t year, std::uint32_t month_of_year) {
    return year * 12 + month_of_year - 1;
}

// Adds an entry that was created at noon of a day.
void add_day(time_counts& counts, const std::string& date) {
    row_times times;
    times.created = at(date.c_str(), "12:00:00.0000000");
    counts.add(times);
}

std::vector<std::uint64_t> created(const count_series& series) {
    std::vector<std::uint64_t> result;
    for (const time_kind_counts& counts : series.counts)
        result.push_back(counts[0]);
    return result;
}

TEST(TimeCounts, MonthsOfDays) {
    const struct {
        std::uint32_t day, month;
    } cases[] = {
        {0, month(1970, 1)},     {30, month(1970, 1)},    {31, month(1970, 2)},
        {365, month(1971, 1)},   {789, month(1972, 2)},    // 29 February
        {790, month(1972, 3)},   {11016, month(2000, 2)},  // 29 February
        {11017, month(2000, 3)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(month_of_day(c.day), c.month) << c.day;
    EXPECT_EQ(first_day_of_month(month(1970, 1)), 0u);
    EXPECT_EQ(first_day_of_month(month(1972, 3)), 790u);
    EXPECT_EQ(first_day_of_month(month(2000, 3)), 11017u);
}

TEST(TimeCounts, WithoutTimesEverythingIsEmpty) {
    time_counts counts;
    counts.add({});
    EXPECT_TRUE(counts.by_month().counts.empty());
    EXPECT_TRUE(counts.by_day().counts.empty());
    EXPECT_EQ(convert::sum_of(counts.total()), 0u);
}

TEST(TimeCounts, CountsEachKindOfTimeOnItsOwn) {
    time_counts counts;
    counts.add(format_text::times_of("2021"));
    row_times times;
    times.accessed = at("2021-02-28", "23:59:59.9999999");
    counts.add(times);
    EXPECT_EQ(counts.total(), (time_kind_counts{1, 1, 1, 2}));
    const count_series months = counts.by_month();
    EXPECT_EQ(months.first, month(2021, 1));
    EXPECT_EQ(months.counts, (std::vector<time_kind_counts>{{1, 1, 1, 1}, {0, 0, 0, 1}}));
    EXPECT_EQ(months.before, time_kind_counts{});
    EXPECT_EQ(months.after, time_kind_counts{});
}

TEST(TimeCounts, FillsMonthsWithoutTimes) {
    time_counts counts;
    for (const char* date : {"2021-01-31", "2020-11-30", "2021-01-01"})
        add_day(counts, date);
    EXPECT_EQ(counts.by_month().first, month(2020, 11));
    EXPECT_EQ(created(counts.by_month()), (std::vector<std::uint64_t>{1, 0, 2}));
}

// 121 months are too many. Those with more timestamps are kept, and the others are counted.
TEST(TimeCounts, KeepsTheMonthsWithTheMostTimes) {
    time_counts counts;
    add_day(counts, "2000-01-15");
    add_day(counts, "2009-12-15");
    EXPECT_EQ(counts.by_month().counts.size(), 120u);
    add_day(counts, "2010-01-15");
    count_series months = counts.by_month();
    EXPECT_EQ(months.first, month(2000, 1)) << "of equal ranges the earlier one";
    EXPECT_EQ(months.counts.size(), 120u);
    EXPECT_EQ(months.after[0], 1u);
    add_day(counts, "2010-01-16");
    months = counts.by_month();
    EXPECT_EQ(months.first, month(2000, 2));
    EXPECT_EQ(months.counts.size(), 120u);
    EXPECT_EQ(months.counts.back()[0], 2u);
    EXPECT_EQ(months.before[0], 1u);
    EXPECT_EQ(months.after[0], 0u);
}

TEST(TimeCounts, DaysOfTheBusiestMonthAndItsNeighbours) {
    time_counts counts;
    for (const char* date :
         {"2020-01-31", "2020-02-29", "2020-02-01", "2020-03-31", "2020-04-01", "2019-12-31"})
        add_day(counts, date);
    const count_series days = counts.by_day();
    EXPECT_EQ(days.first, first_day_of_month(month(2020, 1)));
    ASSERT_EQ(days.counts.size(), 31u + 29 + 31);
    EXPECT_EQ(days.before[0], 1u);
    EXPECT_EQ(days.after[0], 1u);
    EXPECT_EQ(days.counts[30][0], 1u);
    EXPECT_EQ(days.counts[31][0], 1u);
    EXPECT_EQ(days.counts[31 + 28][0], 1u);
    EXPECT_EQ(days.counts.back()[0], 1u);
}

TEST(TimeCounts, DaysAtTheEndsOfTheCalendar) {
    time_counts first;
    add_day(first, "1970-01-02");
    EXPECT_EQ(first.by_day().first, 0u);
    EXPECT_EQ(first.by_day().counts.size(), 31u + 28) << "no month before 1970";
    time_counts last;
    add_day(last, "3001-01-01");
    EXPECT_EQ(last.by_day().first, first_day_of_month(month(3000, 12)));
    EXPECT_EQ(last.by_day().counts.size(), 31u + 31 + 28);
    EXPECT_EQ(last.by_month().counts.size(), 1u);
}

TEST(TimeCounts, WeekdaysAndHours) {
    time_counts counts;
    row_times times;
    times.created = at("2024-01-01", "00:00:00.0000000");   // a Monday
    times.modified = at("2024-01-07", "23:59:59.9999999");  // a Sunday
    times.changed = at("1970-01-01", "05:00:01.0000000");   // a Thursday
    counts.add(times);
    counts.add(times);
    EXPECT_EQ(counts.at_hour(0, 0, 0), 2u);
    EXPECT_EQ(counts.at_hour(1, 6, 23), 2u);
    EXPECT_EQ(counts.at_hour(2, 3, 5), 2u);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < 4 * 7 * 24; ++i)
        sum += counts.at_hour(i / (7 * 24), i / 24 % 7, i % 24);
    EXPECT_EQ(sum, 6u);
}

}  // namespace
