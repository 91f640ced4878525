#include "report/format/row_text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(RowText, FieldsArePaddedWithBlanksAndNeverTruncated) {
    ql::text_buffer row;
    append_left(row, "ab", 4);
    row += '|';
    append_left(row, "abcd", 3);
    row += '|';
    append_right(row, "ab", 4);
    row += '|';
    append_right(row, std::uint64_t{12345}, 4);
    row += '|';
    append_right(row, std::uint64_t{7}, 4);
    EXPECT_EQ(row.view(), "ab  |abcd|  ab|12345|   7");
}

// Counts the flushes that reach the buffer.
class flush_counter : public std::stringbuf {
public:
    int flushes = 0;

protected:
    int sync() override {
        ++flushes;
        return 0;
    }
};

TEST(RowText, WriteRowAddsALineEndFlushesAndClearsTheRow) {
    flush_counter buffer;
    std::ostream out(&buffer);
    ql::text_buffer row;
    row += "first";
    write_row(out, row);
    EXPECT_EQ(row.view(), "");
    row += "second";
    write_row(out, row);
    EXPECT_EQ(buffer.str(), "first\nsecond\n");
    EXPECT_EQ(buffer.flushes, 2);
}

}  // namespace
