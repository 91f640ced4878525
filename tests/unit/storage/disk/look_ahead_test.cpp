#include "storage/disk/look_ahead.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

constexpr bool waits = true;
constexpr bool is_cached = false;

std::string text(const look_ahead::range& range) {
    if (range.begin == range.end) return "none";
    return std::to_string(range.begin) + " to " + std::to_string(range.end);
}

TEST(LookAhead, NothingIsAnnouncedWhileEverythingIsCached) {
    look_ahead ahead(10);
    for (std::uint64_t number = 0; number < 100; ++number)
        EXPECT_EQ(text(ahead.before_read(number, is_cached)), "none");
}

TEST(LookAhead, RefillsWhenHalfHasBeenRead) {
    look_ahead ahead(10);
    EXPECT_EQ(text(ahead.before_read(0, is_cached)), "none");
    EXPECT_EQ(text(ahead.before_read(1, waits)), "1 to 11");
    for (std::uint64_t number = 2; number <= 6; ++number)
        EXPECT_EQ(text(ahead.before_read(number, number % 2 == 0)), "none");
    EXPECT_EQ(text(ahead.before_read(7, is_cached)), "11 to 17");
}

TEST(LookAhead, SkippedNumbersStartAnew) {
    look_ahead ahead(10);
    EXPECT_EQ(text(ahead.before_read(0, waits)), "0 to 10");
    EXPECT_EQ(text(ahead.before_read(8, is_cached)), "10 to 18");
    EXPECT_EQ(text(ahead.before_read(18, is_cached)), "none");
    EXPECT_EQ(text(ahead.before_read(30, waits)), "30 to 40");
}

// 2,048 pieces or a few more are announced, then one is read without.
TEST(LookAhead, PausesToSeeWhetherHintsAreStillNeeded) {
    look_ahead ahead(256);
    std::uint64_t announced = 0;
    std::uint64_t number = 0;
    for (; number <= announced; ++number) {
        const look_ahead::range range = ahead.before_read(number, number == 0);
        if (range.begin == range.end) continue;
        EXPECT_EQ(range.begin, announced);
        announced = range.end;
    }
    EXPECT_GE(announced, 2048u);
    EXPECT_LE(announced, 2048u + 256);
    EXPECT_EQ(text(ahead.before_read(number, waits)),
              std::to_string(number) + " to " + std::to_string(number + 256));
}

}  // namespace
