#include "convert/page/time_sections.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/formats/format_text.h"

namespace {

using convert::row_times;
using convert::time_counts;
using format_text::at;
using testing::HasSubstr;
using testing::Not;

std::string section(void (*append)(std::string&, const time_counts&), const time_counts& times) {
    std::string out;
    append(out, times);
    return out;
}

time_counts created_on(const std::vector<const char*>& dates) {
    time_counts times;
    for (const char* date : dates) {
        row_times row;
        row.created = at(date, "09:30:00.0000000");
        times.add(row);
    }
    return times;
}

TEST(TimeSections, WithoutTimesThereIsASentence) {
    for (const auto append : {convert::append_months, convert::append_days, convert::append_hours})
        EXPECT_EQ(section(append, time_counts()), "<p>No entry has a timestamp.</p>\n");
}

TEST(TimeSections, MonthsHaveAChartForEachTimeAndATable) {
    const std::string html =
        section(convert::append_months, created_on({"2020-11-05", "2021-01-31", "2021-01-01"}));
    for (const char* title : {"Created", "Modified", "MFT entry changed", "Accessed"}) {
        EXPECT_THAT(html, HasSubstr(std::string("<figcaption><b>") + title + "</b>"));
        EXPECT_THAT(html, HasSubstr(std::string("<title>") + title + ", timestamps by month"));
    }
    EXPECT_THAT(html, HasSubstr("<span>from 2020-11 to 2021-01: 3 timestamps, most in 2021-01: "
                                "2</span>"));
    EXPECT_THAT(html, HasSubstr("<span>from 2020-11 to 2021-01: 0 timestamps</span>"));
    EXPECT_THAT(html, HasSubstr("<title>2020-11: 1</title>"));
    EXPECT_THAT(html, HasSubstr("<title>2021-01: 2</title>"));
    EXPECT_THAT(html, HasSubstr("text-anchor=\"start\">2021</text>")) << "January is marked";
    EXPECT_THAT(html, HasSubstr("<tr><th scope=\"row\" class=\"t\">2021-01</th><td class=\"n\">2"
                                "</td><td class=\"n\">0</td><td class=\"n\">0</td><td class=\"n\">"
                                "0</td></tr>\n"));
    EXPECT_THAT(html, Not(HasSubstr("2020-12</th>"))) << "a month without timestamps has no line";
    EXPECT_THAT(html, Not(HasSubstr("not shown")));
}

TEST(TimeSections, ARangeWithoutJanuaryHasItsFirstMonth) {
    EXPECT_THAT(section(convert::append_months, created_on({"2020-11-05"})),
                HasSubstr("text-anchor=\"start\">2020-11</text>"));
}

TEST(TimeSections, SaysHowManyMonthsAreNotShown) {
    const std::string html =
        section(convert::append_months, created_on({"1980-01-01", "2020-11-05", "2021-01-31"}));
    EXPECT_THAT(html, HasSubstr("2 timestamps, most in 2020-11: 1; not shown: 1 before, 0 after"));
    EXPECT_THAT(html,
                HasSubstr("<th scope=\"row\" class=\"t\">earlier</th><td class=\"n\">1</td>"));
    EXPECT_THAT(html, Not(HasSubstr(">later<")));
}

TEST(TimeSections, DaysAreThoseOfThreeMonths) {
    const std::string html = section(
        convert::append_days, created_on({"2020-02-29", "2020-02-29", "2020-03-01", "2020-07-01"}));
    EXPECT_THAT(html, HasSubstr("<span>from 2020-01-01 to 2020-03-31: 3 timestamps, most in "
                                "2020-02-29: 2</span>"));
    EXPECT_THAT(html, HasSubstr("<title>2020-02-29: 2</title>"));
    EXPECT_THAT(html, HasSubstr("<th scope=\"row\" class=\"t\">2020-03-01</th>"));
    for (const char* mark : {"2020-01-01", "2020-02-01", "2020-03-01"})
        EXPECT_THAT(html, HasSubstr(std::string("text-anchor=\"start\">") + mark + "</text>"));
    EXPECT_THAT(html, Not(HasSubstr("later")));
    EXPECT_THAT(html, Not(HasSubstr("not shown")));
}

TEST(TimeSections, HoursHaveAMapForEachTimeAndTables) {
    // 2024-01-01 and 2024-01-08 were Mondays.
    const std::string html =
        section(convert::append_hours, created_on({"2024-01-02", "2024-01-01", "2024-01-08"}));
    EXPECT_THAT(html, HasSubstr("<span>3 timestamps, most on Mon at 09:00: 2</span>"));
    EXPECT_THAT(html, HasSubstr("<span>0 timestamps</span>"));
    EXPECT_THAT(html, HasSubstr("<title>Mon 09:00: 2</title>"));
    EXPECT_THAT(html, HasSubstr("<title>Tue 09:00: 1</title>"));
    EXPECT_THAT(html, HasSubstr("<caption>MFT entry changed</caption>"));
    std::string numbers = "<tr><th scope=\"row\">Mon</th>";
    for (int hour = 0; hour < 24; ++hour)
        numbers += hour == 9 ? "<td class=\"n\">2</td>" : "<td class=\"n\">0</td>";
    EXPECT_THAT(html, HasSubstr(numbers + "</tr>"));
}

}  // namespace
