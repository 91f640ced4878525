#include "convert/listing/path_map.h"

#include <gtest/gtest.h>

namespace {

using convert::directory_of;
using convert::path_map;

std::string above(path_map<int>& map, const std::string& path) {
    const auto* found = map.find_above(path);
    return found != nullptr ? found->first : "none";
}

TEST(PathMap, SplitsPaths) {
    EXPECT_EQ(directory_of("\\a\\b.txt"), "\\a\\");
    EXPECT_EQ(directory_of("\\b.txt"), "\\");
    EXPECT_EQ(directory_of("b.txt"), "");
    EXPECT_EQ(directory_of(""), "");
    EXPECT_EQ(convert::without_end("\\a\\"), "\\a");
    EXPECT_EQ(convert::without_end("\\"), "");
    EXPECT_EQ(convert::without_end("\\a"), "\\a");
    EXPECT_EQ(convert::without_end(""), "");
}

TEST(PathMap, FindsTheNearestDirectory) {
    path_map<int> map;
    map.add("\\").second = 1;
    map.add("\\a\\").second = 2;
    map.add("\\a\\b\\c\\").second = 3;
    EXPECT_EQ(map.size(), 3u);
    EXPECT_EQ(above(map, "\\x"), "\\");
    EXPECT_EQ(above(map, "\\a"), "\\");
    EXPECT_EQ(above(map, "\\a\\x"), "\\a\\");
    EXPECT_EQ(above(map, "\\a\\b\\x"), "\\a\\") << "the name is b\\x";
    EXPECT_EQ(above(map, "\\a\\b\\c\\x"), "\\a\\b\\c\\");
    EXPECT_EQ(above(map, "\\a\\b\\c"), "\\a\\");
    EXPECT_EQ(above(map, "\\a\\x"), "\\a\\") << "again";
    EXPECT_EQ(map.find_above("\\a\\b\\c\\x")->second, 3);
}

TEST(PathMap, FindsNothingAboveThePathOfTheListing) {
    path_map<int> map;
    EXPECT_EQ(above(map, "\\a\\x"), "none");
    map.add("\\a\\");
    EXPECT_EQ(above(map, "\\a"), "none");
    EXPECT_EQ(above(map, "x"), "none");
    EXPECT_EQ(above(map, ""), "none");
    EXPECT_EQ(above(map, "\\b\\x"), "none");
}

// References stay valid while the map grows.
TEST(PathMap, AddsADirectoryOnce) {
    path_map<int> map;
    auto& first = map.add("\\");
    first.second = 7;
    ASSERT_EQ(map.find_above("\\x"), &first);
    for (int i = 0; i < 1000; ++i)
        map.add("\\" + std::to_string(i) + "\\");
    EXPECT_EQ(&map.add("\\"), &first);
    EXPECT_EQ(map.find_above("\\x"), &first);
    EXPECT_EQ(map.size(), 1001u);
}

}  // namespace
