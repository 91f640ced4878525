#include "foundation/time/ql_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/filetime.h"
#include "unit/foundation/time/shown_time.h"

namespace {

using namespace std::string_literals;
using support::filetime;

TEST(Time, KindsOfTimestampsHaveFixedNumbers) {
    EXPECT_EQ(static_cast<std::uint32_t>(ql::type_time::filetime), 1u);
    EXPECT_EQ(static_cast<std::uint32_t>(ql::type_time::unix_seconds), 8u);
}

TEST(Time, FillsTheCalendarFields) {
    const ql::time t(sample, ql::type_time::filetime);
    EXPECT_NE(t.valid, 0u);
    EXPECT_EQ(t.filetime, sample);
    EXPECT_EQ(t.filetime_checked, sample);
    EXPECT_EQ(t.unix_seconds, (sample - ticks_to_1970) / second);
    EXPECT_EQ(t.system_time.year, 2021);
    EXPECT_EQ(t.system_time.month, 3);
    EXPECT_EQ(t.system_time.day_of_week, 4);  // a Thursday
    EXPECT_EQ(t.system_time.day, 4);
    EXPECT_EQ(t.system_time.hour, 5);
    EXPECT_EQ(t.system_time.minute, 6);
    EXPECT_EQ(t.system_time.second, 7);
}

TEST(Time, EachFractionFieldIsTheWholeFraction) {
    const ql::time t(sample, ql::type_time::filetime);
    EXPECT_EQ(t.system_time.millisecond, 123);
    EXPECT_EQ(t.system_time.microsecond, 123456u);
    EXPECT_EQ(t.system_time.nanosecond, 123456700u);
    EXPECT_EQ(t.system_time.picosecond, 123456700000u);
}

TEST(Time, InvalidTimestampsKeepTheirValueAndRenderEmpty) {
    const struct {
        const char* name;
        std::uint64_t ticks;
    } cases[] = {
        {"zero", 0},
        {"one tick", 1},
        {"top bit", std::uint64_t{1} << 63},
        {"all ones", 0xFFFFFFFFFFFFFFFF},
        {"top bit before a valid timestamp", sample | std::uint64_t{1} << 63},
        {"1969", filetime(1969, 12, 31, 23, 59, 59, 9999999)},
        {"1601", filetime(1601, 6, 1)},
        {"first second of 1970", ticks_to_1970},
        {"its last tick", ticks_to_1970 + 9999999},
        {"3002", filetime(3002, 1, 1)},
        {"largest positive", 0x7FFFFFFFFFFFFFFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ql::time t(c.ticks, ql::type_time::filetime);
        EXPECT_EQ(t.valid, 0u);
        EXPECT_EQ(t.filetime, c.ticks);
        EXPECT_EQ(t.filetime_checked, 0u);
        EXPECT_EQ(t.system_time.year, 0);
        EXPECT_EQ(t.system_time.day_of_week, 0);
        EXPECT_EQ(t.system_time.microsecond, 0u);
        EXPECT_EQ(t.system_time.nanosecond, 0u);
        EXPECT_EQ(t.system_time.picosecond, 0u);
        EXPECT_EQ(t.dos_date, 0);
        texts out{"old", "old"};
        EXPECT_EQ(ql::date_time_strings(out.date, out.time, t, default_style()), 0u);
        EXPECT_EQ(out, (texts{"", ""}));
        out = {"old", "old"};
        EXPECT_EQ(ql::date_time_strings(out.date, out.time, t, {}), 0u);
        EXPECT_EQ(out, (texts{"", ""}));
        out = {"old", "old"};
        EXPECT_EQ(ql::format_date_time(out.date, out.time, t, "yyyy-mm-dd", "hh:mm"), 0);
        EXPECT_EQ(out, (texts{"", ""}));
    }
}

TEST(Time, TimestampOfZeroHasNoUnixSeconds) {
    EXPECT_EQ(ql::time(0, ql::type_time::filetime).unix_seconds, 0u);
}

TEST(Time, SecondSecondOf1970IsTheFirstValidOne) {
    EXPECT_EQ(shown(ticks_to_1970 + second), (texts{"1970-01-01", "00:00:01.000"}));
    EXPECT_EQ(shown(ticks_to_1970 + second + 9999999), (texts{"1970-01-01", "00:00:01.999"}));
}

TEST(Time, RendersLeapDaysAndYearEndsExactly) {
    const struct {
        std::uint64_t ticks;
        texts expected;
    } cases[] = {
        {filetime(2000, 2, 28, 23, 59, 59), {"2000-02-28", "23:59:59.000"}},
        {filetime(2000, 2, 29), {"2000-02-29", "00:00:00.000"}},
        {filetime(2000, 3, 1), {"2000-03-01", "00:00:00.000"}},
        {filetime(2000, 12, 31, 23, 59, 59, 9999999), {"2000-12-31", "23:59:59.999"}},
        {filetime(2024, 12, 31, 23, 59, 59, 9999999), {"2024-12-31", "23:59:59.999"}},
        {filetime(2025, 1, 1), {"2025-01-01", "00:00:00.000"}},
        {filetime(2100, 2, 28), {"2100-02-28", "00:00:00.000"}},
        {filetime(2100, 3, 1), {"2100-03-01", "00:00:00.000"}},
        {filetime(2400, 2, 29), {"2400-02-29", "00:00:00.000"}},
        {filetime(2999, 12, 31), {"2999-12-31", "00:00:00.000"}},
        {filetime(3000, 12, 30, 1, 2, 3, 45), {"3000-12-30", "01:02:03.000"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(shown(c.ticks), c.expected);
}

// Counts the days one by one, from the lengths of the months.
TEST(Time, EveryDayFrom1970To3000FollowsTheDayBefore) {
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int year = 1970, month = 1, day = 2, weekday = 5;  // 1970-01-02 was a Friday
    for (std::uint64_t ticks = ticks_to_1970 + 86400 * second; year < 3000;
         ticks += 86400 * second) {
        const ql::time t(ticks + 43200 * second, ql::type_time::filetime);
        ASSERT_NE(t.valid, 0u);
        ASSERT_EQ(t.system_time.year, year);
        ASSERT_EQ(t.system_time.month, month);
        ASSERT_EQ(t.system_time.day, day);
        ASSERT_EQ(t.system_time.day_of_week, weekday);
        ASSERT_EQ(t.system_time.hour, 12);
        const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        weekday = (weekday + 1) % 7;
        if (++day > lengths[month - 1] + (month == 2 && leap ? 1 : 0)) {
            day = 1;
            if (++month > 12) month = 1, ++year;
        }
    }
}

TEST(Time, DosFormCovers1980To2037WithSecondsRoundedUp) {
    const struct {
        std::uint64_t ticks;
        unsigned date, time;
    } cases[] = {
        {filetime(1979, 12, 31, 12), 0, 0},
        {filetime(1980, 1, 1), 1 << 5 | 1, 0},
        {sample, 41 << 9 | 3 << 5 | 4, 5 << 11 | 6 << 5 | 4},
        {filetime(2021, 3, 4, 23, 59, 58), 41 << 9 | 3 << 5 | 4, 23 << 11 | 59 << 5 | 29},
        {filetime(2021, 3, 4, 23, 59, 59), 41 << 9 | 3 << 5 | 4, 23 << 11 | 59 << 5 | 30},
        {filetime(2037, 12, 31, 0, 0, 1), 57 << 9 | 12 << 5 | 31, 1},
        {filetime(2038, 1, 1, 12), 0, 0},
    };
    for (const auto& c : cases) {
        const ql::time t(c.ticks, ql::type_time::filetime);
        SCOPED_TRACE(t.system_time.year);
        EXPECT_EQ(t.dos_date, c.date);
        EXPECT_EQ(t.dos_time, c.time);
    }
}

TEST(Time, AcceptsUnixSeconds) {
    const ql::time t(1614834367, ql::type_time::unix_seconds);
    EXPECT_NE(t.valid, 0u);
    EXPECT_EQ(t.unix_seconds, 1614834367u);
    EXPECT_EQ(t.filetime, 1614834367 * second + ticks_to_1970);
    EXPECT_EQ(t.filetime_checked, t.filetime);
    EXPECT_EQ(t.filetime, filetime(2021, 3, 4, 5, 6, 7));

    const ql::time first(1, ql::type_time::unix_seconds);
    EXPECT_NE(first.valid, 0u);
    EXPECT_EQ(first.filetime, ticks_to_1970 + second);

    const ql::time none(0, ql::type_time::unix_seconds);
    EXPECT_EQ(none.valid, 0u);
    EXPECT_EQ(none.unix_seconds, 0u);
    EXPECT_EQ(none.filetime, 0u);
}

TEST(Time, UnixSecondsOutOfRangeKeepTheirFiletime) {
    const std::uint64_t year_3002 = (filetime(3002, 1, 1) - ticks_to_1970) / second;
    const ql::time late(year_3002, ql::type_time::unix_seconds);
    EXPECT_EQ(late.valid, 0u);
    EXPECT_EQ(late.unix_seconds, year_3002);
    EXPECT_EQ(late.filetime, filetime(3002, 1, 1));
    EXPECT_EQ(late.filetime_checked, 0u);
    EXPECT_EQ(ql::time(0xFFFFFFFFFFFFFFFF, ql::type_time::unix_seconds).valid, 0u);
    // 2^57 seconds are a multiple of 2^64 ticks: the value wraps to a FILETIME that could be
    // displayed.
    const std::uint64_t wrapping = (std::uint64_t{1} << 57) + 1614834367;
    const ql::time wrapped(wrapping, ql::type_time::unix_seconds);
    EXPECT_EQ(wrapped.filetime, filetime(2021, 3, 4, 5, 6, 7));
    EXPECT_EQ(wrapped.unix_seconds, wrapping);
    EXPECT_EQ(wrapped.valid, 0u);
    EXPECT_EQ(ql::time(std::uint64_t{1} << 63, ql::type_time::unix_seconds).valid, 0u);
}

TEST(Time, NowIsTheClockOfTheHost) {
    timeval before{}, after{};
    gettimeofday(&before, nullptr);
    const ql::time t = ql::time::now();
    gettimeofday(&after, nullptr);
    const auto ticks = [](const timeval& clock) {
        return ticks_to_1970 + static_cast<std::uint64_t>(clock.tv_sec) * second +
               static_cast<std::uint64_t>(clock.tv_usec) * 10;
    };
    EXPECT_NE(t.valid, 0u);
    EXPECT_GE(t.filetime, ticks(before));
    EXPECT_LE(t.filetime, ticks(after));
    EXPECT_EQ(t.filetime % 10, 0u);  // whole microseconds
}

TEST(FiletimeToUnix, WrapsBefore1970AndRejectsTheTopBit) {
    std::uint64_t out = 77;
    EXPECT_TRUE(ql::filetime_to_unix(ticks_to_1970, out));
    EXPECT_EQ(out, 0u);
    EXPECT_TRUE(ql::filetime_to_unix(ticks_to_1970 + 2 * second - 1, out));
    EXPECT_EQ(out, 1u);
    EXPECT_TRUE(ql::filetime_to_unix(0, out));
    EXPECT_EQ(out, (0 - ticks_to_1970) / second);
    EXPECT_TRUE(ql::filetime_to_unix(0x7FFFFFFFFFFFFFFF, out));
    EXPECT_EQ(out, (0x7FFFFFFFFFFFFFFF - ticks_to_1970) / second);
    EXPECT_FALSE(ql::filetime_to_unix(std::uint64_t{1} << 63, out));
    EXPECT_FALSE(ql::filetime_to_unix(0xFFFFFFFFFFFFFFFF, out));
}

// Runs in a separate process, because the host's zone is read once per process.
[[noreturn]] void show_in_zone(const char* zone, std::uint64_t ticks) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    const texts out = shown(ticks);
    std::fprintf(stderr, "<%s %s>", out.date.c_str(), out.time.c_str());
    std::exit(0);
}

// GoogleTest runs suites with this suffix first, before any test that reads the zone.
class TimeZoneDeathTest : public testing::Test {
protected:
    // Checks the text that a process prints for `ticks` if its host is in `zone`.
    void expect_in_zone(const char* zone, std::uint64_t ticks, const std::string& expected) {
        SCOPED_TRACE(zone);
        EXPECT_EXIT(show_in_zone(zone, ticks), testing::ExitedWithCode(0), "<" + expected + ">");
    }
};

TEST_F(TimeZoneDeathTest, DoesNotAffectTheText) {
    for (const char* zone : {"UTC0", "AAA-14", "BBB12", "CCC-5:45DDD,M3.5.0,M10.5.0"})
        expect_in_zone(zone, sample, "2021-03-04 05:06:07\\.123");
}

TEST_F(TimeZoneDeathTest, FirstHoursOf1970AreValidWestOfGreenwichToo) {
    expect_in_zone("BBB12", ticks_to_1970 + second, "1970-01-01 00:00:01\\.000");
}

TEST_F(TimeZoneDeathTest, LastHoursBefore3001AreValidIfTheLocalYearIs3000) {
    const std::uint64_t last_hour = filetime(3000, 12, 31, 23, 30);
    expect_in_zone("UTC0", last_hour, "3000-12-31 23:30:00\\.000");
    expect_in_zone("AAA-1", last_hour, " ");
    const std::uint64_t next_year = filetime(3001, 1, 1);
    expect_in_zone("UTC0", next_year, " ");
    expect_in_zone("BBB1", next_year, "3001-01-01 00:00:00\\.000");
    expect_in_zone("BBB1", filetime(3001, 1, 1, 1), " ");
}

// One zone has summer time now, the other at the time of the timestamp.
TEST_F(TimeZoneDeathTest, RangeCheckIgnoresSummerTime) {
    for (const char* zone : {"AAA-1BBB,M4.1.0,M10.1.0", "AAA-1BBB,M10.1.0,M4.1.0"}) {
        expect_in_zone(zone, filetime(3000, 12, 31, 22, 30), "3000-12-31 22:30:00\\.000");
        expect_in_zone(zone, filetime(3000, 12, 31, 23), " ");
    }
}

TEST_F(TimeZoneDeathTest, OffsetOfTheHostIsTheSameForAllTimestamps) {
    const std::uint64_t last_hour = filetime(3000, 12, 31, 23, 30);
    const auto show_after_a_move = [=] {
        ::setenv("TZ", "UTC0", 1);
        ::tzset();
        shown(sample);
        show_in_zone("AAA-1", last_hour);
    };
    EXPECT_EXIT(show_after_a_move(), testing::ExitedWithCode(0), "<3000-12-31 23:30:00\\.000>");
}

TEST_F(TimeZoneDeathTest, LocalFieldsFollowTheHost) {
    const auto fields_west = [] {
        ::setenv("TZ", "BBB5:30", 1);
        ::tzset();
        const std::tm f = ql::time(sample, ql::type_time::filetime).local_fields;
        std::fprintf(stderr, "<%d-%d-%d %d:%d:%d wday %d yday %d dst %d>", f.tm_year, f.tm_mon,
                     f.tm_mday, f.tm_hour, f.tm_min, f.tm_sec, f.tm_wday, f.tm_yday, f.tm_isdst);
        std::exit(0);
    };
    // 05:06:07 minus five and a half hours is on the evening before, a Wednesday.
    EXPECT_EXIT(fields_west(), testing::ExitedWithCode(0),
                "<121-2-3 23:36:7 wday 3 yday 61 dst 0>");
}

}  // namespace
