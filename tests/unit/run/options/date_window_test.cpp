#include "run/options/date_window.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "run/settings/cmd_params.h"
#include "support/filetime.h"

namespace {

using support::filetime;

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// A window with a start and an end; an empty text omits the option.
struct window {
    window(const std::string& start, const std::string& stop) {
        testing::internal::CaptureStderr();
        if (!start.empty()) start_result = set_window_start(params, start);
        if (!stop.empty()) stop_result = set_window_stop(params, stop);
        messages = testing::internal::GetCapturedStderr();
    }

    cmd_params params;
    bool start_result = true;
    bool stop_result = true;
    std::string messages;
};

const std::string bad_start = "invalid start time, ignoring\n";
const std::string bad_stop = "invalid stop time, ignoring\n";

TEST(DateWindow, StartMovesTheEndToTheMaximum) {
    const window w("2020-01-02", "");
    EXPECT_TRUE(w.start_result);
    EXPECT_EQ(w.messages, "");
    EXPECT_EQ(w.params.time_from_on, 1);
    EXPECT_EQ(w.params.time_from, filetime(2020, 1, 2));
    EXPECT_EQ(w.params.time_from_alt, 1u);
    EXPECT_EQ(w.params.time_to_on, 0xFF);
    EXPECT_EQ(w.params.time_to, all_ones);
    EXPECT_EQ(w.params.time_to_alt, 0xFFFFFFFFu);
}

TEST(DateWindow, StartIsReadAsYearMonthDay) {
    const struct {
        const char* value;
        std::uint64_t stamp;
    } cases[] = {
        {"2020-12-31", filetime(2020, 12, 31)},
        {"2020/12/31", filetime(2020, 12, 31)},
        {"2020-12-31 23:45", filetime(2020, 12, 31, 23, 45)},
        {"2020-12-31 23:45:06", filetime(2020, 12, 31, 23, 45, 6)},
        {"2020-12-31 11:45:06pm", filetime(2020, 12, 31, 23, 45, 6)},
        {"20-02-03", filetime(2020, 2, 3)},
        {"99-02-03", filetime(1999, 2, 3)},
        {"2000-02-29", filetime(2000, 2, 29)},
        {"2000-03-01", filetime(2000, 2, 29)},  // a day early from March 2000
        {"2000-12-31", filetime(2000, 12, 30)},
        {"2001-01-01", filetime(2001, 1, 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        const window w(c.value, "");
        EXPECT_TRUE(w.start_result);
        EXPECT_EQ(w.messages, "");
        EXPECT_EQ(w.params.time_from, c.stamp);
    }
}

TEST(DateWindow, DatesThatCannotBeDisplayedAreAccepted) {
    const window w("1960-01-02", "1960-01-03");
    EXPECT_EQ(w.messages, "");
    EXPECT_EQ(w.params.time_from_on, 1);
    EXPECT_EQ(w.params.time_from, filetime(1960, 1, 2));
    EXPECT_EQ(w.params.time_from_alt, 0u);
    EXPECT_EQ(w.params.time_to_on, 1);
    EXPECT_EQ(w.params.time_to, filetime(1960, 1, 3, 23, 59, 59));
    EXPECT_EQ(w.params.time_to_alt, 0u);
}

TEST(DateWindow, ValueWithoutADateIsRejectedSilently) {
    for (const char* value : {"x", "20200101", " 2020-01-01", " ", "20200101 10-11"}) {
        SCOPED_TRACE(value);
        const window start(value, "");
        EXPECT_FALSE(start.start_result);
        EXPECT_EQ(start.messages, "");
        EXPECT_EQ(start.params.time_from_on, 0);
        const window stop("", value);
        EXPECT_FALSE(stop.stop_result);
        EXPECT_EQ(stop.messages, "");
        EXPECT_EQ(stop.params.time_to_on, 0);
    }
    cmd_params params;
    EXPECT_FALSE(set_window_start(params, ""));
    EXPECT_FALSE(set_window_stop(params, ""));
}

TEST(DateWindow, InvalidStartTurnsTheWindowOff) {
    for (const char* value : {"2020-13-01", "2020-01-32", "2020-01-02 10", "2020-01-02 10:"}) {
        SCOPED_TRACE(value);
        const window w(value, "");
        EXPECT_TRUE(w.start_result);
        EXPECT_EQ(w.messages, bad_start);
        EXPECT_EQ(w.params.time_from_on, 0);
        EXPECT_EQ(w.params.time_from, 0u);
        EXPECT_EQ(w.params.time_to_on, 0);
        EXPECT_EQ(w.params.time_to, 0u);
    }
}

TEST(DateWindow, StartIsClearedBeforeItIsParsed) {
    cmd_params params;
    EXPECT_TRUE(set_window_start(params, "2020-01-02"));
    EXPECT_FALSE(set_window_start(params, "x"));
    EXPECT_EQ(params.time_from_on, 0);
    EXPECT_EQ(params.time_from, 0u);
    EXPECT_EQ(params.time_from_alt, 0u);
}

TEST(DateWindow, InvalidStartTurnsOffAWindowThatWasOn) {
    cmd_params params;
    EXPECT_TRUE(set_window_start(params, "2020-01-02"));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(set_window_start(params, "2020-13-02"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), bad_start);
    EXPECT_EQ(params.time_from_alt, 0u);
    EXPECT_EQ(params.time_to_on, 0);
    EXPECT_EQ(params.time_to, 0u);
    EXPECT_EQ(params.time_to_alt, 0u);
}

TEST(DateWindow, SlashTakesPrecedenceOverDash) {
    const window w("2020-01/02", "");  // the fields "2020-01" and "02": year 2020, month 2
    EXPECT_TRUE(w.start_result);
    EXPECT_EQ(w.messages, "");
    EXPECT_EQ(w.params.time_from_on, 1);
}

TEST(DateWindow, StopWithoutTimeIsTheEndOfItsDay) {
    const window w("", "2020-01-02");
    EXPECT_EQ(w.messages, "");
    EXPECT_EQ(w.params.time_to_on, 1);
    EXPECT_EQ(w.params.time_to, filetime(2020, 1, 2, 23, 59, 59));
    EXPECT_EQ(w.params.time_to_alt, 1u);
    EXPECT_EQ(w.params.time_from_on, 0);
    EXPECT_EQ(window("", "2020-01-02 ").params.time_to, filetime(2020, 1, 2, 23, 59, 59));
}

TEST(DateWindow, StopWithTimeIsUsed) {
    EXPECT_EQ(window("", "2020-01-02 00:00").params.time_to, filetime(2020, 1, 2));
}

TEST(DateWindow, StopBeforeTheStartIsIgnored) {
    const window w("2020-01-02", "2020-01-01");
    EXPECT_TRUE(w.stop_result);
    EXPECT_EQ(w.messages, bad_stop);
    EXPECT_EQ(w.params.time_from_on, 1);  // the start is kept
    EXPECT_EQ(w.params.time_to_on, 0);
    EXPECT_EQ(w.params.time_to, 0u);
    EXPECT_EQ(w.params.time_to_alt, 0u);
}

TEST(DateWindow, StopAtTheStartIsAccepted) {
    const window w("2020-01-02 10:00", "2020-01-02 10:00");
    EXPECT_EQ(w.messages, "");
    EXPECT_EQ(w.params.time_to, filetime(2020, 1, 2, 10));
}

TEST(DateWindow, InvalidStopKeepsTheStart) {
    const window w("2020-01-02", "2020-13-01");
    EXPECT_EQ(w.messages, bad_stop);
    EXPECT_EQ(w.params.time_from_on, 1);
    EXPECT_EQ(w.params.time_to_on, 0);
}

TEST(DateWindow, MarchOf2000IsADayEarlyForBothEnds) {
    EXPECT_EQ(window("2000-03-01", "2000-02-29").messages, "");
    EXPECT_EQ(window("2000-03-02", "2000-02-29").messages, bad_stop);
}

}  // namespace
