#include "foundation/time/time_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/filetime.h"
#include "unit/foundation/time/shown_time.h"

namespace {

using support::filetime;
using namespace std::string_literals;

TEST(MonthAbbrev, NamesTwelveMonths) {
    const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int month = 1; month <= 12; ++month)
        EXPECT_EQ(ql::month_abbrev(month), names[month - 1]);
    for (int month : {0, 13, -1, 1000})
        EXPECT_EQ(ql::month_abbrev(month), "");
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

}  // namespace
