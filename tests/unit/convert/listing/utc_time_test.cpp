#include "convert/listing/utc_time.h"

#include <gtest/gtest.h>

namespace {

using convert::parse_utc_time;

// Ticks from 1601 to 1970, and the ticks of a day.
constexpr std::uint64_t epoch = 116'444'736'000'000'000;
constexpr std::uint64_t day = 864'000'000'000;

struct time_case {
    const char* name;
    const char* date;
    const char* time;
    std::uint64_t ticks;
    const char* iso;
};

TEST(UtcTime, ParsesAndPrintsEveryTick) {
    const time_case cases[] = {
        {"first second", "1970-01-01", "00:00:01.0000000", epoch + 10'000'000,
         "1970-01-01T00:00:01.0000000Z"},
        {"last tick of a day", "1970-01-01", "23:59:59.9999999", epoch + day - 1,
         "1970-01-01T23:59:59.9999999Z"},
        {"a leap day", "2000-02-29", "00:00:00.0000001", epoch + 11016 * day + 1,
         "2000-02-29T00:00:00.0000001Z"},
        {"the day after", "2000-03-01", "01:02:03.0000000",
         epoch + 11017 * day + 3723ull * 10'000'000, "2000-03-01T01:02:03.0000000Z"},
        {"a century without one", "2100-03-01", "00:00:00.0000000", epoch + 47541 * day,
         "2100-03-01T00:00:00.0000000Z"},
        {"a zone west of Greenwich", "3001-01-01", "11:59:59.0000000",
         epoch + 376565 * day + 43199ull * 10'000'000, "3001-01-01T11:59:59.0000000Z"},
    };
    for (const time_case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto parsed = parse_utc_time(c.date, c.time);
        ASSERT_TRUE(parsed.has_value());
        EXPECT_EQ(parsed->ticks, c.ticks);
        std::string iso = "at ";
        convert::append_iso_time(iso, *parsed);
        EXPECT_EQ(iso, std::string("at ") + c.iso);
        EXPECT_EQ(convert::unix_seconds(*parsed), (c.ticks - epoch) / 10'000'000);
    }
}

TEST(UtcTime, RejectsOtherForms) {
    const char* const dates[] = {
        "",           "2021-3-04",  "2021-13-01",  "2021-00-10", "2021-02-29",
        "2100-02-29", "2021-04-31", "2021-01-00",  "1969-12-31", "3001-01-02",
        "2021/01/01", "2021-01-1x", " 2021-01-01", "+021-01-01", "2021-01-01 "};
    for (const char* date : dates) {
        SCOPED_TRACE(date);
        EXPECT_FALSE(parse_utc_time(date, "00:00:01.0000000").has_value());
    }
    const char* const times[] = {"",
                                 "00:00:01",
                                 "00:00:01.000000",
                                 "00:00:01.00000000",
                                 "24:00:00.0000000",
                                 "00:60:00.0000000",
                                 "00:00:60.0000000",
                                 "00:00:01,0000000",
                                 "00-00:01.0000000",
                                 "00:00-01.0000000",
                                 "0x:00:01.0000000",
                                 "00:00:01.000000x"};
    for (const char* time : times) {
        SCOPED_TRACE(time);
        EXPECT_FALSE(parse_utc_time("2021-01-01", time).has_value());
    }
}

}  // namespace
