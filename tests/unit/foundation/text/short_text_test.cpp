#include "foundation/text/short_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

TEST(ShortText, NumbersHaveTheirLowDigitsAndLeadingZeros) {
    const struct {
        const char* name;
        std::uint32_t value;
        unsigned digits;
        const char* text;
    } cases[] = {
        {"no digits", 7, 0, ""},
        {"one digit", 7, 1, "7"},
        {"low digit", 123, 1, "3"},
        {"leading zero", 7, 2, "07"},
        {"low two digits", 2019, 2, "19"},
        {"odd width", 12'345, 7, "0012345"},
        {"even width", 12'345, 6, "012345"},
        {"nine digits", 999'999'900, 9, "999999900"},
        {"low seven digits", 1'234'567'890, 7, "4567890"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ql::short_text text;
        text.put_number(c.value, c.digits);
        EXPECT_EQ(text.view(), c.text);
    }
}

TEST(ShortText, PutTwoAppendsEachNumberBelow100) {
    for (std::uint32_t value = 0; value < 100; ++value) {
        ql::short_text text;
        text.put_two(value);
        const std::string digits = std::to_string(value);
        EXPECT_EQ(text.view(), value < 10 ? "0" + digits : digits);
    }
}

TEST(ShortText, AppendsUpToItsCapacityAndCanBeShortened) {
    ql::short_text text;
    EXPECT_EQ(text.view(), "");
    text.put(std::string(30, 'a'));
    text.put('b');
    text.put('c');
    EXPECT_EQ(text.size(), 32u);
    EXPECT_EQ(text.view(), std::string(30, 'a') + "bc");
    text.truncate(3);
    EXPECT_EQ(text.view(), "aaa");
    text.clear();
    EXPECT_EQ(text.size(), 0u);
    text.put("d");
    EXPECT_EQ(text.view(), "d");
}

}  // namespace
