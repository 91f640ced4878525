#include "convert/listing/row_owner.h"

#include <gtest/gtest.h>

namespace {

using convert::listing_row;
using convert::row_owner;
using convert::row_type;

listing_row row_of(row_type type, const std::string& path, std::uint64_t entry = 41,
                   std::uint16_t sequence = 1) {
    listing_row row;
    row.type = type;
    row.path = path;
    row.entry = entry;
    row.sequence = sequence;
    return row;
}

// Returns the path of the owner in that of a stream.
std::string owner_in(const row_owner& owner, const listing_row& stream) {
    return stream.path.substr(0, owner.length_in(stream));
}

TEST(RowOwner, FindsTheNameOfAStream) {
    row_owner owner;
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\a:b:c")), "\\a:b") << "no owner";
    ASSERT_TRUE(owner.set(row_of(row_type::file, "\\a")));
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\a:b:c")), "\\a");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\a:b\\c:d")), "\\a");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\a:b:c", 42)), "\\a:b") << "of another";
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\a:b:c", 41, 2)), "\\a:b");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\ab:c:d")), "\\ab:c");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, ":c")), "");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "none")), "none");
}

TEST(RowOwner, ADirectoryHasNoBackslashAtItsEnd) {
    row_owner owner;
    ASSERT_TRUE(owner.set(row_of(row_type::directory, "\\d\\")));
    EXPECT_EQ(owner.path(), "\\d");
    EXPECT_EQ(owner_in(owner, row_of(row_type::stream, "\\d:s")), "\\d");
    ASSERT_TRUE(owner.set(row_of(row_type::directory, "\\")));
    EXPECT_EQ(owner.path(), "");
}

TEST(RowOwner, TheOwnDataOfADirectoryIsNotAnOwner) {
    row_owner owner;
    ASSERT_TRUE(owner.set(row_of(row_type::directory, "\\d\\")));
    EXPECT_FALSE(owner.set(row_of(row_type::directory, "\\d\\<dir data entry>\\")));
    EXPECT_EQ(owner.path(), "\\d");
    EXPECT_TRUE(owner.set(row_of(row_type::directory, "\\d\\"))) << "listed again";
    EXPECT_TRUE(owner.set(row_of(row_type::file, "\\d\\x"))) << "a file";
    ASSERT_TRUE(owner.set(row_of(row_type::directory, "\\d\\")));
    EXPECT_TRUE(owner.set(row_of(row_type::directory, "\\d\\e\\", 42))) << "another entry";
    ASSERT_TRUE(owner.set(row_of(row_type::directory, "\\d\\")));
    EXPECT_TRUE(owner.set(row_of(row_type::directory, "\\dx\\"))) << "not inside";
    row_owner first;
    EXPECT_TRUE(first.set(row_of(row_type::directory, "\\", 0, 0)));
}

}  // namespace
