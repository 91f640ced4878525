#include "foundation/text/split_path.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(SplitPath, SplitsAtTheLastBackslashElseAtTheLastSlash) {
    const struct {
        std::wstring path, dir, name;
    } cases[] = {
        {L"\\a\\b", L"\\a", L"b"}, {L"a\\b\\c", L"a\\b", L"c"},   {L"a\\", L"a", L""},
        {L"\\a\\", L"\\a", L""},   {L"a/b\\c/d", L"a/b", L"c/d"}, {L"a/b", L"a", L"b"},
        {L"/a/b", L"/a", L"b"},    {L"a/b/", L"a/b", L""},        {L"\\\\a", L"\\", L"a"},
        {L"//a", L"/", L"a"},      {L"\\a:s", L".", L"\\a:s"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.path));
        std::wstring dir = L"old", name = L"old";
        EXPECT_TRUE(split_path(c.path, dir, name));
        EXPECT_EQ(dir, c.dir);
        EXPECT_EQ(name, c.name);
    }
}

TEST(SplitPath, IgnoresASeparatorAtTheStart) {
    for (const wchar_t* path : {L"\\notepad.exe", L"/notepad.exe", L"notepad.exe", L"\\", L"/",
                                L".", L"..", L"\\..", L"/.."}) {
        SCOPED_TRACE(testing::PrintToString(path));
        std::wstring dir, name;
        EXPECT_TRUE(split_path(path, dir, name));
        EXPECT_EQ(dir, L".");
        EXPECT_EQ(name, path);
    }
}

TEST(SplitPath, IgnoresSlashesIfABackslashIsAtTheStart) {
    std::wstring dir, name;
    EXPECT_TRUE(split_path(L"\\a/b", dir, name));
    EXPECT_EQ(dir, L".");
    EXPECT_EQ(name, L"\\a/b");
}

TEST(SplitPath, NameOfTwoDotsMovesIntoTheDirectory) {
    std::wstring dir, name;
    EXPECT_TRUE(split_path(L"a\\b\\..", dir, name));
    EXPECT_EQ(dir, L"a\\b\\..");
    EXPECT_EQ(name, L".");
    EXPECT_TRUE(split_path(L"a/b/..", dir, name));
    EXPECT_EQ(dir, L"a/b//..");
    EXPECT_EQ(name, L".");
    EXPECT_TRUE(split_path(L"a\\...", dir, name));
    EXPECT_EQ(dir, L"a");
    EXPECT_EQ(name, L"...");
}

TEST(SplitPath, RejectsTheEmptyPath) {
    std::wstring dir, name;
    EXPECT_FALSE(split_path(L"", dir, name));
}

TEST(SplitPath, OutputMayBeTheInput) {
    std::wstring path = L"\\a\\b", name;
    EXPECT_TRUE(split_path(path, path, name));
    EXPECT_EQ(path, L"\\a");
    EXPECT_EQ(name, L"b");
    path = L"b";
    EXPECT_TRUE(split_path(path, path, name));
    EXPECT_EQ(path, L".");
    EXPECT_EQ(name, L"b");
}

}  // namespace
