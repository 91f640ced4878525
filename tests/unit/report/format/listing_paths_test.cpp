#include "report/format/listing_paths.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

TEST(StartListing, EmptyDirectoryPrintsItsLine) {
    dir_entry_set recurse_list = {make_directory(L"old")};
    std::ostringstream out;
    EXPECT_FALSE(start_listing(out, recurse_list, {}));
    EXPECT_EQ(out.str(), "no items in directory\n");
    EXPECT_TRUE(recurse_list.empty());
}

TEST(StartListing, DirectoryWithRowsPrintsNothing) {
    dir_entry_set recurse_list = {make_directory(L"old")};
    std::ostringstream out;
    EXPECT_TRUE(start_listing(out, recurse_list, {make_file(L"a")}));
    EXPECT_EQ(out.str(), "");
    EXPECT_TRUE(recurse_list.empty());
}

class ListingPaths : public testing::Test {
protected:
    listing_paths paths_of(const std::string& path, bool last_level = true) {
        return {path, dir_num, last_level, recurse_list};
    }

    static std::string path_of(listing_paths paths, const dir_entry& entry, std::string_view name) {
        std::string row = "row ";
        paths.name = name;
        paths.append_path(row, entry);
        return row.substr(4);
    }

    static bool take(listing_paths& paths, const dir_entry& entry, std::string_view name) {
        paths.name = name;
        return paths.take(entry);
    }

    dir_entry_set recurse_list;
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
        EXPECT_EQ(path_of(paths, make_file(L"a"), "a"), std::string(c.directory) + "a");
    }
}

TEST_F(ListingPaths, FileHasARowAndKeepsThePathOfTheLatestDirectory) {
    listing_paths paths = paths_of("c:\\data");
    EXPECT_TRUE(take(paths, make_file(L"a"), "a"));
    EXPECT_EQ(paths.row_path, "");
    EXPECT_TRUE(take(paths, make_directory(L"sub"), "sub"));
    EXPECT_TRUE(take(paths, make_file(L"b"), "b"));
    EXPECT_EQ(paths.row_path, "c:\\data\\sub\\");
}

TEST_F(ListingPaths, ListedDirectoryHasItsOwnPathOnEachLevel) {
    for (const bool last_level : {false, true}) {
        SCOPED_TRACE(last_level);
        listing_paths paths = paths_of("c:\\data", last_level);
        EXPECT_TRUE(take(paths, make_own_row(), "data"));
        EXPECT_EQ(paths.row_path, "c:\\data\\");
        EXPECT_EQ(path_of(paths, make_own_row(), "data"), "c:\\data\\");
        EXPECT_TRUE(recurse_list.empty());
    }
}

TEST_F(ListingPaths, SubdirectoryOfTheLastLevelHasARow) {
    listing_paths paths = paths_of("c:\\data");
    EXPECT_TRUE(take(paths, make_directory(L"sub"), "shown"));
    EXPECT_EQ(path_of(paths, make_directory(L"sub"), "shown"), "c:\\data\\shown\\");
    EXPECT_TRUE(recurse_list.empty());
}

TEST_F(ListingPaths, OtherSubdirectoriesAreAddedWithTheirOwnPath) {
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
        recurse_list.clear();
        listing_paths paths = paths_of("c:\\data", false);
        dir_entry entry = make_directory(L"sub");
        entry.parent_path = c.parent;
        EXPECT_FALSE(take(paths, entry, "shown"));
        EXPECT_EQ(paths.row_path, "");
        ASSERT_EQ(recurse_list.size(), 1u);
        EXPECT_EQ(recurse_list.begin()->parent_path, c.own);
        EXPECT_EQ(recurse_list.begin()->mft_entry, entry.mft_entry);
    }
}

TEST_F(ListingPaths, StreamsOfASubdirectoryAreAddedWithIt) {
    listing_paths paths = paths_of("c:\\data", false);
    dir_entry stream = make_row(entry_type::data_stream, L"sub:zone", 1234);
    stream.flags = 3;
    EXPECT_FALSE(take(paths, stream, "sub:zone"));
    EXPECT_EQ(recurse_list.size(), 1u);
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
        EXPECT_EQ(path_of(paths, make_row(c.type, L"", 1290), c.name), c.path);
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
            EXPECT_EQ(path_of(paths, make_own_stream(type, L"x:y"), c.stream), c.path);
    }
}

}  // namespace
