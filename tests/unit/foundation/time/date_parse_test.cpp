#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/time/date_parse.h"
#include "foundation/time/ql_time.h"
#include "support/filetime.h"

namespace {

using support::filetime;

struct fields {
    int year, month, day, hour, minute, second, millisecond;
    bool operator==(const fields&) const = default;
    friend void PrintTo(const fields& f, std::ostream* out) {
        *out << f.year << '-' << f.month << '-' << f.day << ' ' << f.hour << ':' << f.minute << ':'
             << f.second << '.' << f.millisecond;
    }
};

// Returns nullopt if the text is rejected.
std::optional<fields> parsed(const std::string& date, const std::string& time = "",
                             const std::string& order = "YMD", char separator = '-') {
    ql::_windows_systemtime out;
    out.year = out.month = out.day = out.hour = out.minute = out.second = out.millisecond = 99;
    if (!ql::parse_date_time(date, time, order, separator, out)) return std::nullopt;
    return fields{out.year, out.month, out.day, out.hour, out.minute, out.second, out.millisecond};
}

std::optional<std::uint64_t> stamp(const fields& f) {
    ql::_windows_systemtime in;
    in.year = static_cast<std::uint16_t>(f.year);
    in.month = static_cast<std::uint16_t>(f.month);
    in.day = static_cast<std::uint16_t>(f.day);
    in.hour = static_cast<std::uint16_t>(f.hour);
    in.minute = static_cast<std::uint16_t>(f.minute);
    in.second = static_cast<std::uint16_t>(f.second);
    in.millisecond = static_cast<std::uint16_t>(f.millisecond);
    std::uint64_t out = 77;
    if (!ql::fields_to_filetime(out, in)) return std::nullopt;
    return out;
}

TEST(ParseDate, ReadsTheFieldsInTheGivenOrder) {
    const fields expected{2021, 3, 4, 0, 0, 0, 0};
    EXPECT_EQ(parsed("2021-03-04"), expected);
    EXPECT_EQ(parsed("2021-3-4"), expected);
    EXPECT_EQ(parsed("2021/03/04", "", "YMD", '/'), expected);
    EXPECT_EQ(parsed("04.03.2021", "", "DMY", '.'), expected);
    EXPECT_EQ(parsed("03/04/2021", "", "MDY", '/'), expected);
    EXPECT_EQ(parsed("03/04/2021", "", "mdy", '/'), expected);
    EXPECT_EQ(parsed("04-Mar-2021", "", "DMonY"), expected);
    EXPECT_EQ(parsed("mar/04/2021", "", "mOnDY", '/'), expected);
    EXPECT_EQ(parsed("2021-MAR-04", "", "YMonD"), expected);
}

TEST(ParseDate, ReadsAllMonthNames) {
    const char* names[] = {"jan", "FEB", "Mar", "apr", "may", "jun",
                           "jul", "aug", "sep", "oct", "nov", "dec"};
    for (int month = 1; month <= 12; ++month) {
        SCOPED_TRACE(month);
        EXPECT_EQ(parsed(std::string("1-") + names[month - 1] + "-2021", "", "DMonY"),
                  (fields{2021, month, 1, 0, 0, 0, 0}));
    }
    for (const char* name : {"xyz", "03", "march", "ma", " mar", "mar "}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(parsed(std::string("1-") + name + "-2021", "", "DMonY"), std::nullopt);
    }
}

TEST(ParseDate, SkipsEmptyFields) {
    EXPECT_EQ(parsed("-2021--03-04-"), (fields{2021, 3, 4, 0, 0, 0, 0}));
}

TEST(ParseDate, MissingFieldsAreZeroAndExtraOnesAreIgnored) {
    EXPECT_EQ(parsed("2020-01"), (fields{2020, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parsed("2020-"), (fields{2020, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parsed("2020-1-2-99"), (fields{2020, 1, 2, 0, 0, 0, 0}));
    EXPECT_EQ(parsed("2020-1-2", "", "YM"), (fields{2020, 1, 0, 0, 0, 0, 0}));
}

TEST(ParseDate, AddsTheCenturyToYearsBelow100) {
    const struct {
        const char* text;
        int year;
    } cases[] = {{"31", 1931}, {"99", 1999}, {"30", 2030},  {"0", 2000},
                 {"21", 2021}, {"100", 100}, {"1601", 1601}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parsed(std::string(c.text) + "-1-1"), (fields{c.year, 1, 1, 0, 0, 0, 0}));
    }
}

TEST(ParseDate, RejectsMonthsAbove12AndDaysAbove31) {
    EXPECT_EQ(parsed("2021-12-31"), (fields{2021, 12, 31, 0, 0, 0, 0}));
    EXPECT_EQ(parsed("2021-02-31"), (fields{2021, 2, 31, 0, 0, 0, 0}));
    EXPECT_EQ(parsed("2021-13-01"), std::nullopt);
    EXPECT_EQ(parsed("2021-12-32"), std::nullopt);
    EXPECT_EQ(parsed("2021-65537-01"), std::nullopt);
    EXPECT_EQ(parsed("2021-01-65537"), std::nullopt);
    EXPECT_EQ(parsed("2021/-1/1", "", "YMD", '/'), std::nullopt);
    EXPECT_EQ(parsed("2021-99999999999999999999-1"), std::nullopt);
    EXPECT_EQ(parsed(""), std::nullopt);
}

TEST(ParseTime, ReadsHoursMinutesAndSeconds) {
    const struct {
        const char* text;
        int hour, minute, second, millisecond;
    } cases[] = {
        {"10:30", 10, 30, 0, 0},
        {"10:30:15", 10, 30, 15, 0},
        {" \t10:30:15\r\n", 10, 30, 15, 0},
        {":30", 0, 30, 0, 0},
        {"10:30:", 10, 30, 0, 0},
        {"10: :15", 10, 0, 15, 0},  // a blank minute is accepted and means 0
        {"10:5:7", 10, 5, 7, 0},
        {"10.9:30.9", 10, 30, 0, 0},
        {"25:61:61", 25, 61, 61, 0},
        {"1:2:3:4", 1, 2, 3, 0},
        {"1:2:3.25", 1, 2, 3, 250},
        {"1:2:3.0004", 1, 2, 3, 0},
        {"1:2:3.0005", 1, 2, 3, 1},
        {"1:2:3.9996", 1, 2, 3, 1000},
        {"x:y:z", 0, 0, 0, 0},
        {"1:+5", 1, 5, 0, 0},
        {"1:0000000000000000000000000000005", 1, 5, 0, 0},  // 31 characters
        {"nan:inf:-5", 0, 65535, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parsed("2021-03-04", c.text),
                  (fields{2021, 3, 4, c.hour, c.minute, c.second, c.millisecond}));
    }
}

TEST(ParseTime, AddsTwelveHoursForPmAfterTheFirstColon) {
    const struct {
        const char* text;
        int hour, minute;
    } cases[] = {
        {"1:30pm", 13, 30}, {"1:30 PM", 13, 30},  {"13:00pm", 25, 0},  {"1:pm", 13, 0},
        {"1pm:30", 1, 30},  {"1:30am", 1, 30},    {"1:30m", 1, 30},    {"1:30p m", 1, 30},
        {"12:00pm", 24, 0}, {"1:30m:pm", 13, 30}, {"1:30mpm", 13, 30}, {"1:30pm:0", 13, 30},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parsed("2021-03-04", c.text), (fields{2021, 3, 4, c.hour, c.minute, 0, 0}));
    }
}

TEST(ParseTime, NeedsAColonAndAMinute) {
    for (const char* text : {"10", "10pm", " ", "10:", "10::30", ":", "10: \n",
                             "1:00000000000000000000000000000005"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parsed("2021-03-04", text), std::nullopt);
    }
}

TEST(ParseTime, FractionHasAPointInAnyLocale) {
    // Use any locale of this machine that has a decimal comma; the test also passes with the C
    // locale.
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
        if (std::setlocale(LC_ALL, name) == nullptr) continue;
        SCOPED_TRACE(name);
        EXPECT_EQ(parsed("2021-03-04", "1:2:3.5"), (fields{2021, 3, 4, 1, 2, 3, 500}));
    }
    std::setlocale(LC_ALL, "C");
}

TEST(FieldsToFiletime, IsTheInverseOfTheCalendar) {
    const struct {
        fields in;
        std::uint64_t ticks;
    } cases[] = {
        {{1601, 1, 1, 0, 0, 0, 0}, 0},
        {{1970, 1, 1, 0, 0, 0, 0}, 116444736000000000},
        {{2021, 3, 4, 5, 6, 7, 123}, filetime(2021, 3, 4, 5, 6, 7, 1230000)},
        {{1999, 12, 31, 23, 59, 59, 1000}, filetime(2000, 1, 1)},
        {{2024, 2, 29, 0, 0, 0, 0}, filetime(2024, 2, 29)},
        {{2024, 3, 1, 0, 0, 0, 0}, filetime(2024, 3, 1)},
        {{2024, 12, 31, 23, 59, 59, 0}, filetime(2024, 12, 31, 23, 59, 59)},
        {{2001, 1, 1, 0, 0, 0, 0}, filetime(2001, 1, 1)},
        {{2100, 3, 1, 0, 0, 0, 0}, filetime(2100, 3, 1)},
        {{2021, 3, 4, 25, 61, 61, 0}, filetime(2021, 3, 5, 2, 2, 1)},
        {{2021, 2, 31, 0, 0, 0, 0}, filetime(2021, 3, 3)},
        {{2020, 1, 0, 0, 0, 0, 0}, filetime(2019, 12, 31)},
        {{2020, 0, 1, 0, 0, 0, 0}, filetime(2020, 1, 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.in));
        EXPECT_EQ(stamp(c.in), c.ticks);
    }
}

TEST(FieldsToFiletime, CountsTheDaysOfEachMonth) {
    for (const int year : {1999, 2021, 2024}) {
        for (int month = 1; month <= 12; ++month) {
            SCOPED_TRACE(std::to_string(year) + "-" + std::to_string(month));
            EXPECT_EQ(stamp({year, month, 1, 0, 0, 0, 0}),
                      filetime(static_cast<unsigned>(year), static_cast<unsigned>(month), 1));
        }
    }
}

TEST(FieldsToFiletime, MarchToDecember2000IsOneDayEarly) {
    EXPECT_EQ(stamp({2000, 2, 28, 0, 0, 0, 0}), filetime(2000, 2, 28));
    EXPECT_EQ(stamp({2000, 2, 29, 0, 0, 0, 0}), filetime(2000, 2, 29));
    EXPECT_EQ(stamp({2000, 3, 1, 0, 0, 0, 0}), filetime(2000, 2, 29));
    EXPECT_EQ(stamp({2000, 12, 31, 0, 0, 0, 0}), filetime(2000, 12, 30));
    EXPECT_EQ(stamp({2001, 1, 1, 0, 0, 0, 0}), filetime(2001, 1, 1));
}

TEST(FieldsToFiletime, LeapDayDependsOnTheYearsSince1900) {
    EXPECT_EQ(stamp({1904, 3, 1, 0, 0, 0, 0}), filetime(1904, 3, 1));
    EXPECT_EQ(stamp({1896, 3, 1, 0, 0, 0, 0}), filetime(1896, 2, 29));  // before 1900: none
    EXPECT_EQ(stamp({1900, 3, 1, 0, 0, 0, 0}), filetime(1900, 3, 1));   // 1900 itself: none
    EXPECT_EQ(stamp({2300, 3, 1, 0, 0, 0, 0}), filetime(2300, 3, 2));   // 400 years: one
    EXPECT_EQ(stamp({2400, 3, 1, 0, 0, 0, 0}), filetime(2400, 2, 29));  // 500 years: none
}

TEST(FieldsToFiletime, RejectsAMonthAbove12) {
    ql::_windows_systemtime in;
    in.year = 2021;
    in.month = 13;
    std::uint64_t out = 77;
    EXPECT_FALSE(ql::fields_to_filetime(out, in));
    EXPECT_EQ(out, 77u);
}

TEST(FieldsToFiletime, EarlierYearsWrapAround) {
    constexpr std::uint64_t day = std::uint64_t{86400} * 10000000;
    EXPECT_EQ(stamp({1600, 1, 1, 0, 0, 0, 0}), 0 - 366 * day);
    EXPECT_EQ(stamp({1599, 12, 31, 0, 0, 0, 0}), 0 - 367 * day);
}

}  // namespace
