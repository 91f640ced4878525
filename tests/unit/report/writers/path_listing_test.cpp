#include "report/writers/path_listing.h"

#include <vector>

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

class PathListing : public writer_test {
protected:
    std::string list() {
        write_path_listing(out, recurse_list, opts, parent, dir_num);
        return written();
    }
};

TEST_F(PathListing, OnePathPerRow) {
    add(make_own_row());
    add(make_own_stream(entry_type::data_stream, "data:zone"));
    add(make_directory("sub"));
    add(make_file("x|y,z"));
    add(make_row(entry_type::data_stream, "x|y,z:s", 1290));
    EXPECT_EQ(list(),
              "c:\\data\\\n"
              "c:\\data:zone\n"
              "c:\\data\\sub\\\n"
              "c:\\data\\x|y,z\n"
              "c:\\data\\x|y,z:s\n");
    EXPECT_EQ(opts.header_pending, 1);
    EXPECT_TRUE(csv_header_pending);
}

TEST_F(PathListing, IndexStreamsAndUnknownTypesLeaveAnEmptyLine) {
    add(make_own_row());
    add(make_own_stream(entry_type::index_stream, "data:$I30"));
    add(make_row(2, "a", 1290));
    add(make_file("b"));
    EXPECT_EQ(list(), "c:\\data\\\n\n\nc:\\data\\b\n");
}

TEST_F(PathListing, LinkTargetReplacesThePathOfAnyType) {
    dir_entry file = make_file("a");
    file.link_target = "\\t\u00e4rget";
    add(file);
    dir_entry stream = make_row(entry_type::index_stream, "b", 1290);
    stream.link_target = "elsewhere";
    add(stream);
    EXPECT_EQ(list(), "\\t\xc3\xa4rget\nelsewhere\n");
}

TEST_F(PathListing, NamelessStreamShowsTheLatestDirectoryRow) {
    dir_entry nameless = make_row(entry_type::data_stream, "", 1290);
    nameless.full_path = "c:\\data\\b";
    add(nameless);
    add(make_directory("a"));
    EXPECT_EQ(list(), "c:\\data\\a\\\nc:\\data\\a\\\n");
}

TEST_F(PathListing, SubdirectoryAboveTheLastLevelIsReturned) {
    opts.last_level = 0;
    recurse_list.insert(make_directory("old"));
    add(make_directory("sub"));
    add(make_file("x"));
    EXPECT_EQ(list(), "c:\\data\\x\n");
    ASSERT_EQ(recurse_list.size(), 1u);
    EXPECT_EQ(recurse_list.begin()->parent_path.text(), L"c:\\data\\sub");
}

// The listed directory and the files keep their rows, for a caller that needs them later.
TEST_F(PathListing, SubdirectoriesAreMovedInTheirOrder) {
    opts.last_level = 0;
    add(make_own_row());
    std::uint64_t number = 100;
    for (const char* name : {"b", "a", "B", "c", "b", "A"})
        add(make_directory(name, number++));
    dir_entry stream = make_row(entry_type::data_stream, "b:zone", 100);
    stream.flags = 3;
    add(stream);
    add(make_file("b", 200));
    add(make_file("x", 201));
    EXPECT_EQ(list(), "c:\\data\\\nc:\\data\\b\nc:\\data\\x\n");

    std::vector<std::uint64_t> moved;
    for (const dir_entry& row : recurse_list)
        moved.push_back(row.mft_entry);
    EXPECT_EQ(moved, (std::vector<std::uint64_t>{101, 105, 100, 102, 104, 100, 103}));
    std::vector<std::uint64_t> kept;
    for (const dir_entry& row : opts.entries)
        kept.push_back(row.mft_entry);
    EXPECT_EQ(kept, (std::vector<std::uint64_t>{dir_num, 200, 201}));
}

TEST_F(PathListing, OnTheLastLevelAllRowsAreKept) {
    add(make_own_row());
    add(make_directory("a"));
    add(make_file("b"));
    EXPECT_EQ(list(), "c:\\data\\\nc:\\data\\a\\\nc:\\data\\b\n");
    EXPECT_EQ(opts.entries.size(), 3u);
    EXPECT_TRUE(recurse_list.empty());
    EXPECT_EQ(list(), "c:\\data\\\nc:\\data\\a\\\nc:\\data\\b\n");
}

TEST_F(PathListing, EmptySetPrintsItsLine) {
    recurse_list.insert(make_directory("old"));
    EXPECT_EQ(list(), "no items in directory\n");
    EXPECT_TRUE(recurse_list.empty());
}

}  // namespace
