#include "foundation/time/date_style.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "unit/foundation/time/shown_time.h"

namespace {

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

}  // namespace
