#include "foundation/time/ql_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/time/date_style.h"
#include "foundation/time/time_text.h"
#include "support/filetime.h"

namespace {

using namespace std::string_literals;
using support::filetime;

constexpr std::uint64_t ticks_to_1970 = 116444736000000000;
constexpr std::uint64_t second = 10000000;

struct texts {
    std::string date, time;
    bool operator==(const texts&) const = default;
    friend void PrintTo(const texts& t, std::ostream* out) {
        *out << testing::PrintToString(t.date) << " " << testing::PrintToString(t.time);
    }
};

ql::date_style compiled(const std::string& date_format, const std::string& time_format,
                        bool pair_datetime = false) {
    ql::date_style style{1, 2, 3, 4};
    ql::parse_date_style(style, date_format, time_format, pair_datetime);
    return style;
}

const ql::date_style& default_style() {
    static const ql::date_style style = compiled("yyyy-mm-dd", "hh:mm:ss.xxx");
    return style;
}

texts shown(std::uint64_t ticks, ql::date_style style = default_style()) {
    texts out{"old", "old"};
    const ql::time t(ticks, ql::type_time::filetime);
    ql::date_time_strings(out.date, out.time, t, style);
    return out;
}

texts formatted(std::uint64_t ticks, const std::string& date_format,
                const std::string& time_format) {
    texts out{"old", "old"};
    const ql::time t(ticks, ql::type_time::filetime);
    ql::format_date_time(out.date, out.time, t, date_format, time_format);
    return out;
}

// 2021-03-04 05:06:07.1234567: all fields differ.
constexpr std::uint64_t sample = filetime(2021, 3, 4, 5, 6, 7, 1234567);

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

TEST(MonthAbbrev, NamesTwelveMonths) {
    const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int month = 1; month <= 12; ++month)
        EXPECT_EQ(ql::month_abbrev(month), names[month - 1]);
    for (int month : {0, 13, -1, 1000})
        EXPECT_EQ(ql::month_abbrev(month), "");
}

TEST(ParseDateStyle, CompilesTheDefaults) {
    const ql::date_style style = default_style();
    EXPECT_EQ(style.separator, '-');
    EXPECT_EQ(style.date_flags, 0x86);
    EXPECT_EQ(style.time_bits, 3 << 1);
    EXPECT_EQ(style.reserved, 0);
    EXPECT_EQ(style.fraction_digits(), 3u);
}

TEST(ParseDateStyle, StyleIsInitiallyZero) {
    EXPECT_TRUE(ql::date_style{}.is_zero());
    EXPECT_EQ(ql::date_style{}.fraction_digits(), 0u);
}

TEST(ParseDateStyle, CompilesDateFormats) {
    const struct {
        const char* format;
        int separator, flags;
        bool whole;  // compilation reached the time format
    } cases[] = {
        {"mm/dd/yyyy", '/', 0x46, true},
        {"dd/mm/yy", '/', 0x2A, true},
        {"dd-mmm-yy", '-', 0x29, true},
        {"mmm dd, yyyy", ' ', 0x55, true},
        {"yyyymmdd", 0, 0x86, true},
        {"yyyy-mmm-dd", '-', 0x85, true},
        {"yyyy/mm-dd", '/', 0x86, true},
        {"yyyy mm-dd", '-', 0x86, true},
        {"mmddmmm yy", ' ', 0x29, true},  // the month is the "mmm"
        {"yymmddyyyy", 0, 0x46, true},    // the year is the "yyyy"
        {"ddmmddyy", 0, 0x2A, true},      // the first of two fields of a kind is used
        {"mmddmmyy", 0, 0x4A, true},
        {"yymmddyy", 0, 0x8A, true},
        {"mmmddmmmyy", 0, 0x49, true},
        {"yyyymmddyyyy", 0, 0x86, true},
        {"yy-dd-mm", '-', 0x0A, true},  // an unknown order
        {"dd-yy-mm", '-', 0x0A, true},
        {"mm-yy-dd", '-', 0x0A, true},
        {"xx/yy/zz", '/', 0x00, false},  // no month
        {"abcdefgh", 0, 0x00, false},
        {"mm-dd-zz", '-', 0x02, false},    // no year
        {"mmm,zz zz", ' ', 0x01, false},   // the comma is searched for after the year
        {"mm,yyyy zz", ' ', 0x16, false},  // no day
        {"", 0, 0x00, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        const ql::date_style style = compiled(c.format, "hh:mm:ss.xxx");
        EXPECT_EQ(style.separator, c.separator);
        EXPECT_EQ(style.date_flags, c.flags);
        EXPECT_EQ(style.time_bits, c.whole ? 3 << 1 : 0);
        EXPECT_EQ(style.reserved, 0);
        EXPECT_EQ(compiled(c.format, "hh:mm:ss.xxx", true).time_bits, c.whole ? 7 : 1);
    }
}

TEST(ParseDateStyle, CountsFractionDigitsFromTheFirstThreeToTheLastX) {
    const struct {
        const char* format;
        unsigned digits;
    } cases[] = {
        {"hh:mm:ss", 0},
        {"hh:mm:ss.x", 0},
        {"hh:mm:ss.xx", 0},
        {"hh:mm:ss.xxx", 3},
        {"hh:mm:ss.xxxx", 4},
        {"hh:mm:ss.xxxxxxxxx", 9},
        {"xxxxxxxxxxxxxxxx:", 9},
        {"xxx:mm:ssx", 9},
        {"xx:mm:ss.xxx", 3},
        {"xxx:x", 5},
        {"", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(compiled("yyyy-mm-dd", c.format).fraction_digits(), c.digits);
    }
}

TEST(DateTimeStrings, RendersEachOrderOfTheDate) {
    const struct {
        const char* format;
        std::string date;
    } cases[] = {
        {"yyyy-mm-dd", "2021-03-04"},
        {"mm/dd/yyyy", "03/04/2021"},
        {"dd/mm/yy", "04/03/2021"},
        {"yy/mm/dd", "2021/03/04"},
        {"mmm dd yyyy", "Mar 04 2021"},
        {"mmm dd, yyyy", "Mar 04 2021"},
        {"dd-mmm-yyyy", "04-Mar-2021"},
        {"yyyymmdd",
         "2021\0"
         "03\0"
         "04"s},
        {"ddmmmyyyy",
         "04\0Mar\0"
         "2021"s},
        {"yyyy-mmm-dd", ""},
        {"yyyy-dd-mm", ""},
        {"dd-yyyy-mm", ""},
        {"mm-yyyy-dd", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(shown(sample, compiled(c.format, "hh:mm:ss")), (texts{c.date, "05:06:07"}));
    }
}

TEST(DateTimeStrings, IncompleteFormatRendersAnEmptyDateAndNoFraction) {
    EXPECT_EQ(shown(sample, compiled("xx/yy/zz", "hh:mm:ss.xxx")), (texts{"", "05:06:07"}));
    EXPECT_EQ(shown(sample, compiled("mm-zz-zz", "hh:mm:ss.xxx")), (texts{"", "05:06:07"}));
}

TEST(DateTimeStrings, StyleWithoutAMonthOrAnOrderHasNoDate) {
    using namespace ql::date_flag;
    const std::uint8_t order[] = {day_month_year, month_day_year, year_month_day};
    for (const std::uint8_t flag : order)
        EXPECT_EQ(shown(sample, {'-', static_cast<std::uint8_t>(flag | year_4), 0, 0}),
                  (texts{"", "05:06:07"}));
    for (const std::uint8_t flag : {month_name, month_number})
        EXPECT_EQ(shown(sample, {'-', static_cast<std::uint8_t>(flag | year_4), 0, 0}),
                  (texts{"", "05:06:07"}));
}

TEST(DateTimeStrings, ZeroStyleUsesTheDefaultsUnlessDateAndTimeArePaired) {
    const ql::time t(sample, ql::type_time::filetime);
    texts out;
    EXPECT_EQ(ql::date_time_strings(out.date, out.time, t, compiled("abcdefgh", "hh:mm:ss.xxxxx")),
              0u);
    EXPECT_EQ(out, (texts{"2021-03-04", "05:06:07.123"}));
    EXPECT_EQ(
        ql::date_time_strings(out.date, out.time, t, compiled("abcdefgh", "hh:mm:ss.xxxxx", true)),
        t.valid);
    EXPECT_EQ(out, (texts{"", "05:06:07"}));
    EXPECT_EQ(ql::date_time_strings(out.date, out.time, t, default_style()), t.valid);
    EXPECT_EQ(ql::date_time_strings(out.date, out.time, t, {0, 0, 0, 1}), t.valid);
    EXPECT_EQ(out, (texts{"", "05:06:07"}));  // one non-zero byte of four is enough
}

TEST(DateTimeStrings, TruncatesTheFractionToTheDigitsOfTheStyle) {
    const std::string fractions[] = {"",       "",        "",         ".123",      ".1234",
                                     ".12345", ".123456", ".1234567", ".12345670", ".123456700"};
    for (unsigned digits = 0; digits <= 15; ++digits) {
        SCOPED_TRACE(digits);
        ql::date_style style = default_style();
        style.time_bits = static_cast<std::uint8_t>(digits << 1);
        EXPECT_EQ(shown(sample, style),
                  (texts{"2021-03-04", "05:06:07" + (digits <= 9 ? fractions[digits] : "")}));
    }
}

TEST(DateTimeStrings, PadsFractionsWithZerosAndNeverRounds) {
    const struct {
        unsigned ticks, digits;
        const char* time;
    } cases[] = {
        {0, 3, "00:00:00.000"},
        {0, 9, "00:00:00.000000000"},
        {1, 9, "00:00:00.000000100"},
        {1, 7, "00:00:00.0000001"},
        {1, 6, "00:00:00.000000"},
        {9999999, 3, "00:00:00.999"},
        {9999999, 4, "00:00:00.9999"},
        {9999999, 5, "00:00:00.99999"},
        {9999999, 6, "00:00:00.999999"},
        {9999999, 8, "00:00:00.99999990"},
        {9999999, 9, "00:00:00.999999900"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.time);
        const std::string format = "hh:mm:ss." + std::string(c.digits, 'x');
        EXPECT_EQ(shown(filetime(2021, 3, 4, 0, 0, 0, c.ticks), compiled("yyyy-mm-dd", format)),
                  (texts{"2021-03-04", c.time}));
    }
}

TEST(DateTimeStrings, TimeIsAlwaysHoursMinutesAndSeconds) {
    for (const char* format : {"hh:mm:ss", "ss:mm:hh", "mm:hh", "a:bcdefg"}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(shown(sample, compiled("yyyy-mm-dd", format)), (texts{"2021-03-04", "05:06:07"}));
    }
}

TEST(FormatDateTime, ReadsTheDateFormat) {
    const struct {
        const char* format;
        const char* date;
    } cases[] = {
        {"yyyy-mm-dd", "2021-03-04"},
        {"yy-mm-dd", "21-03-04"},
        {"mm/dd/yyyy", "03/04/2021"},
        {"dd/mm/yy", "04/03/21"},
        {"dd-mmm-yyyy", "04-Mar-2021"},
        {"yyyy-mmm-dd", "2021-Mar-04"},
        {"yyyy-dd-mm", "2021-04-03"},
        {"mm-yyyy-dd", "03-04-2021"},  // the year is first or last
        {"yyyymmdd", "20210304"},      // no separator, nothing between the fields
        {"mmm dd, yyyy", "Mar 04, 2021"},
        {"mmm dd yyyy", "Mar 04 2021"},
        {"mmm, dd yyyy", "Mar 04 2021"},  // comma before the day
        {"mmm-dd, yyyy", "Mar-04-2021"},  // the separator is not a blank
        {"dd mmm, yyyy", "04 Mar 2021"},  // day first
        {"yyyy mm dd,", "2021 03 04,"},
        {"mmddmmm yy", "Mar 04 21"},  // the month is at the position of the first "mm"
        {"yymmddyyyy", "20210304"},   // the year is at the position of the first "yy"
        {"ddmmddyyyy", "04032021"},   // the day is at the position of the first "dd"
        {"mm-dd", "03/04/2021"},      // without a year
        {"yyyy-mm", "03/04/2021"},    // without a day
        {"yy dd", "03/04/21"},        // without a month
        {"mmm-yy", "Mar/04/21"},
        {"abc", "03/04/2021"},
        {"", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(formatted(sample, c.format, ""), (texts{c.date, ""}));
    }
}

TEST(FormatDateTime, ReadsTheTimeFormat) {
    const struct {
        const char* format;
        const char* time;
    } cases[] = {
        {"hh:mm:ss.xxx", "05:06:07.123"},
        {"hh:mm:ss", "05:06:07"},
        {"hh:mm", "05:06"},
        {"ss", ":07"},
        {"hh-mm", ""},
        {"xxx", ".123"},
        {"hh:mm.xxxx", "05:06.1234"},
        {"hh:mm:ss.xxxxxxxxx", "05:06:07.123456700"},
        {"hh:mm:ss.xxxxxxxxxx", "05:06:07"},  // ten digits: none, and no point
        {"hh:mm:ss.xx", "05:06:07"},
        {"at hh:mm h", "05:06"},
        {"", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(formatted(sample, "", c.format), (texts{"", c.time}));
    }
}

TEST(FormatDateTime, ReturnsWhetherTheTimestampIsValid) {
    texts out;
    EXPECT_NE(
        ql::format_date_time(out.date, out.time, ql::time(sample, ql::type_time::filetime), "", ""),
        0);
    EXPECT_EQ(
        ql::format_date_time(out.date, out.time, ql::time(0, ql::type_time::filetime), "", ""), 0);
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
