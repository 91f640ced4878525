#include "report/format/listing_paths.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

TEST(StartListing, EmptyDirectoryPrintsItsLine) {
    dir_entry_set recurse_list = {make_directory("old")};
    std::ostringstream out;
    EXPECT_FALSE(start_listing(out, recurse_list, {}));
    EXPECT_EQ(out.str(), "no items in directory\n");
    EXPECT_TRUE(recurse_list.empty());
}

TEST(StartListing, DirectoryWithRowsPrintsNothing) {
    dir_entry_set recurse_list = {make_directory("old")};
    std::ostringstream out;
    EXPECT_TRUE(start_listing(out, recurse_list, {make_file("a")}));
    EXPECT_EQ(out.str(), "");
    EXPECT_TRUE(recurse_list.empty());
}

class ListingPaths : public testing::Test {
protected:
    listing_paths paths_of(const std::string& path, bool last_level = true) {
        return {path, dir_num, last_level};
    }

    static std::string path_of(listing_paths paths, const dir_entry& entry, std::string_view name) {
        ql::text_buffer row;
        row += "row ";
        paths.name = name;
        paths.append_path(row, entry);
        return std::string(row.view().substr(4));
    }

    static bool take(listing_paths& paths, const dir_entry& entry, std::string_view name) {
        paths.name = name;
        return paths.take(entry);
    }
};

TEST_F(ListingPaths, DirectoryEndsInOneSeparator) {
    const struct {
        const char* path;
        const char* directory;
    } cases[] = {
        {"c:\\data", "c:\\data\\"},
        {"c:\\data\\", "c:\\data\\"},
        {"c:/data", "c:/data\\"},
        {"c:/data/", "c:/data/"},
        {"\\", "\\"},
        {"", "\\"},
    };
    for (const auto& c : cases) {
        const listing_paths paths = paths_of(c.path);
        EXPECT_EQ(paths.dir_path, c.directory);
        EXPECT_EQ(paths.row_path, "");
        EXPECT_EQ(path_of(paths, make_file("a"), "a"), std::string(c.directory) + "a");
    }
}

TEST_F(ListingPaths, FileHasARowAndKeepsThePathOfTheLatestDirectory) {
    listing_paths paths = paths_of("c:\\data");
    EXPECT_TRUE(take(paths, make_file("a"), "a"));
    EXPECT_EQ(paths.row_path, "");
    EXPECT_TRUE(take(paths, make_directory("sub"), "sub"));
    EXPECT_TRUE(take(paths, make_file("b"), "b"));
    EXPECT_EQ(paths.row_path, "c:\\data\\sub\\");
}

TEST_F(ListingPaths, ListedDirectoryHasItsOwnPathOnEachLevel) {
    for (const bool last_level : {false, true}) {
        SCOPED_TRACE(last_level);
        listing_paths paths = paths_of("c:\\data", last_level);
        EXPECT_TRUE(take(paths, make_own_row(), "data"));
        EXPECT_EQ(paths.row_path, "c:\\data\\");
        EXPECT_EQ(path_of(paths, make_own_row(), "data"), "c:\\data\\");
    }
}

TEST_F(ListingPaths, SubdirectoryOfTheLastLevelHasARow) {
    listing_paths paths = paths_of("c:\\data");
    EXPECT_TRUE(take(paths, make_directory("sub"), "shown"));
    EXPECT_EQ(path_of(paths, make_directory("sub"), "shown"), "c:\\data\\shown\\");
}

TEST_F(ListingPaths, OtherSubdirectoriesAndTheirStreamsHaveNoRow) {
    listing_paths paths = paths_of("c:\\data", false);
    EXPECT_FALSE(take(paths, make_directory("sub"), "shown"));
    EXPECT_EQ(paths.row_path, "");
    dir_entry stream = make_row(entry_type::data_stream, "sub:zone", 1234);
    stream.flags = 3;
    EXPECT_FALSE(take(paths, stream, "sub:zone"));
    EXPECT_EQ(paths.row_path, "");
}

TEST_F(ListingPaths, PathFollowsTheTypeOfTheRow) {
    listing_paths paths = paths_of("c:\\data");
    paths.row_path = "latest\\";
    const struct {
        std::uint32_t type;
        const char* name;
        const char* path;
    } cases[] = {
        {entry_type::file, "a", "c:\\data\\a"},
        {entry_type::file, "", "c:\\data\\"},
        {entry_type::directory, "a", "latest\\"},
        {entry_type::index_stream, "a:$I30", "c:\\data\\a:$I30"},
        {entry_type::data_stream, "a:zone", "c:\\data\\a:zone"},
        {entry_type::index_stream, "", "latest\\"},
        {entry_type::data_stream, "", "latest\\"},
        {0, "a", ""},
        {2, "a", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << ' ' << c.name);
        EXPECT_EQ(path_of(paths, make_row(c.type, "", 1290), c.name), c.path);
    }
}

TEST_F(ListingPaths, StreamOfTheListedEntryContinuesTheLatestDirectory) {
    const struct {
        const char* name;
        const char* row_path;
        const char* stream;
        const char* path;
    } cases[] = {
        {"no backslash before the colon", "c:\\data\\", "data:zone", "c:\\data:zone"},
        {"several backslashes", "c:\\data\\\\", "data:zone", "c:\\data:zone"},
        {"only a backslash", "\\", ".:zone", "\\:zone"},
        {"only backslashes", "\\\\", ".:zone", "\\\\:zone"},
        {"a slash", "c:/data/", "data:zone", "c:/data/:zone"},
        {"the last colon", "c:\\data\\", "a:b:zone", "c:\\data:zone"},
        {"no colon", "c:\\data\\", "zone", "c:\\datazone"},
        {"no name", "c:\\data\\", "", "c:\\data"},
        {"no directory row", "", "a.txt:zone", ":zone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        listing_paths paths = paths_of("c:\\data");
        paths.row_path = c.row_path;
        for (const std::uint32_t type : {entry_type::data_stream, entry_type::index_stream})
            EXPECT_EQ(path_of(paths, make_own_stream(type, "x:y"), c.stream), c.path);
    }
}

// Moves `entry` to `recurse_list`.
void move_row(dir_entry_set& recurse_list, const dir_entry& entry) {
    dir_entry_set entries = {entry};
    move_to_recurse_list(recurse_list, entries.extract(entries.begin()));
}

TEST(MoveToRecurseList, RowGetsThePathOfItsOwnListing) {
    const struct {
        const wchar_t* parent;
        const wchar_t* own;
    } cases[] = {
        {L"c:\\data", L"c:\\data\\sub"},
        {L"c:\\data\\", L"c:\\data\\sub"},
        {L"c:/data/", L"c:/data/sub"},
        {L"\\", L"\\sub"},
        {L"", L"\\sub"},
    };
    for (const auto& c : cases) {
        dir_entry_set recurse_list;
        dir_entry entry = make_directory("sub");
        entry.parent_path = shared_path(c.parent);
        move_row(recurse_list, entry);
        ASSERT_EQ(recurse_list.size(), 1u);
        const dir_entry& moved = *recurse_list.begin();
        EXPECT_EQ(moved.parent_path.text(), c.own);
        EXPECT_EQ(moved.mft_entry, entry.mft_entry);
        EXPECT_EQ(moved.name, "sub");
        EXPECT_EQ(moved.full_path, entry.full_path);
        EXPECT_EQ(entry.parent_path.text(), c.parent) << "the path of other rows is unchanged";
    }
}

TEST(MoveToRecurseList, NameInThePathIsThatOnDisk) {
    dir_entry_set recurse_list;
    move_row(recurse_list, make_directory("\xc3\xa9\xed\xa0\x80x\xf0\x9f\x98\x80"));
    EXPECT_EQ(recurse_list.begin()->parent_path.text(),
              (std::wstring(L"c:\\data\\\u00e9") + static_cast<wchar_t>(0xD800) + L"x\U0001F600"));
}

TEST(MoveToRecurseList, RowIsMovedWithoutACopy) {
    dir_entry_set entries = {make_directory(std::string(100, 'n'))};
    const dir_entry* const before = &*entries.begin();
    dir_entry_set recurse_list;
    move_to_recurse_list(recurse_list, entries.extract(entries.begin()));
    EXPECT_EQ(&*recurse_list.begin(), before);
}

TEST(MoveToRecurseList, RowsAreOrderedByKeyAndEqualKeysByInsertion) {
    dir_entry_set recurse_list;
    std::uint64_t arrival = 0;
    for (const char* name : {"b", "a", "B", "c", "b", "A"})
        move_row(recurse_list, make_directory(name, arrival++));
    std::vector<std::uint64_t> order;
    for (const dir_entry& row : recurse_list)
        order.push_back(row.mft_entry);
    EXPECT_EQ(order, (std::vector<std::uint64_t>{1, 5, 0, 2, 4, 3}));
}

}  // namespace
