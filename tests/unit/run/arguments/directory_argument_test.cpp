#include "run/arguments/directory_argument.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(NormaliseDirectory, ReturnsAPathInsideTheVolume) {
    const struct {
        const char* typed;
        const char* path;
    } cases[] = {
        {"\\windows", "\\windows"},
        {"c:\\windows", "\\windows"},
        {"c:\\windows\\", "\\windows"},
        {"windows", "windows"},
        {"c:\\", "\\"},
        {"\\", "\\"},
        {"/", "\\"},
        {".", "."},
        {"", ""},
        {"c:", "c:"},
        {"/docs/sub/", "\\docs\\sub"},
        {"c:/x", "c:\\x"},  // slashes are replaced after the search for the drive
        {"c:/", "c:\\"},    // three characters are kept
        {"ab\\", "ab\\"},   // likewise
        {"abc\\", "abc"},
        {"abc\\\\", "abc\\"},  // one backslash is removed
        {"abc//", "abc\\"},
        {"\\docs:\\sub", "\\doc"},         // p = 5: six characters from 4 on
        {"ab:\\cd", "acd"},                // p = 2: three characters from 1 on
        {"c:\\a:\\b", "\\a:\\b"},          // only the first one is used
        {"\\a.txt:zone", "\\a.txt:zone"},  // a stream is not a drive
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        EXPECT_EQ(normalise_directory(c.typed), c.path);
    }
}

TEST(NormaliseDirectory, ColonAtTheStartMakesTheLibraryThrow) {
    EXPECT_THROW(normalise_directory(":\\"), std::out_of_range);
    EXPECT_THROW(normalise_directory(":\\docs"), std::out_of_range);
}

TEST(EntryPathPrefix, IsTheDriveOrTheWholeArgument) {
    const struct {
        const wchar_t* directory;
        const wchar_t* prefix;
    } cases[] = {
        {L"", L""},         {L"\\", L"\\"},         {L"\\docs", L"\\docs"},
        {L"c:\\", L"c:\\"}, {L"c:", L"c:"},         {L"c:\\docs", L"c:\\"},
        {L"x:y", L"x:y"},   {L"\\a:b:c", L"\\a:b"}, {L"docs:", L"docs:"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(entry_path_prefix(c.directory), c.prefix);
    }
}

}  // namespace
