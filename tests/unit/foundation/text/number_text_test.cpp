#include "foundation/text/number_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

template <typename Text>
void append_numbers(Text& row) {
    ql::append_decimal(row, 0);
    row += '|';
    ql::append_decimal(row, 18446744073709551615u);
    row += '|';
    ql::append_hex(row, 0, 4);
    row += '|';
    ql::append_hex(row, 0x1ABCDEF, 8);
    row += '|';
    ql::append_hex(row, 0xFFFFFFFFFFFFFFFFu, 8);
    row += '|';
    ql::append_decimal(row, 7, 3);
    ql::append_decimal(row, 1234, 3);
}

constexpr const char* numbers = "0|18446744073709551615|0000|01abcdef|ffffffffffffffff|  71234";

TEST(NumberText, PadsNumbersInStringsAndNeverTruncates) {
    std::string row;
    append_numbers(row);
    EXPECT_EQ(row, numbers);
}

TEST(NumberText, PadsNumbersInBuffersAndNeverTruncates) {
    ql::text_buffer row;
    append_numbers(row);
    EXPECT_EQ(row.view(), numbers);
    row.clear();
    for (const std::uint64_t value : {1u, 9u, 10u, 11u}) {
        ql::append_decimal(row, value);
        row += ' ';
    }
    EXPECT_EQ(row.view(), "1 9 10 11 ");
}

}  // namespace
