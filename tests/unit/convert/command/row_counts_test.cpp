#include "convert/command/row_counts.h"

#include <gtest/gtest.h>

namespace {

TEST(RowCounts, CountsEachProperty) {
    convert::row_counts counts;
    convert::listing_row row;
    row.flags = 1;
    counts.add(row);
    row.type = convert::row_type::directory;
    row.flags = 3;
    counts.add(row);
    row.flags = 2;  // even: not in use
    row.set_back = true;
    counts.add(row);
    EXPECT_EQ(counts.text(), "rows: 3, directories: 2, deleted: 1, set back: 1");
    counts.malformed = 4;
    EXPECT_EQ(counts.text(), "rows: 3, directories: 2, deleted: 1, set back: 1, malformed: 4");
}

}  // namespace
