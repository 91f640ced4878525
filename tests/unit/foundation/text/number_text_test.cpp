#include "foundation/text/number_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(NumberText, PadsNumbersAndNeverTruncates) {
    std::string row;
    ql::append_decimal(row, 0);
    row += '|';
    ql::append_decimal(row, 18446744073709551615u);
    row += '|';
    ql::append_hex(row, 0, 4);
    row += '|';
    ql::append_hex(row, 0x1ABCDEF, 8);
    row += '|';
    ql::append_hex(row, 0xFFFFFFFFFFFFFFFFu, 8);
    EXPECT_EQ(row, "0|18446744073709551615|0000|01abcdef|ffffffffffffffff");
}

TEST(NumberText, PadsDecimalWithLeadingBlanks) {
    std::string row = "x";
    ql::append_decimal(row, 7, 3);
    EXPECT_EQ(row, "x  7");
    ql::append_decimal(row, 1234, 3);
    EXPECT_EQ(row, "x  71234");
}

}  // namespace
