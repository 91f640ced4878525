#include "ntfs/lookup/path_lookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/ntfs_image.h"
#include "unit/ntfs/lookup/looked_up_path.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace lookups;

using support::ntfs_image;

TEST(PathLookup, SeparatorAloneIsTheRoot) {
    open_volume volume(sample());
    for (const wchar_t* path : {L"\\", L"/", L"\\\\", L"///"}) {
        SCOPED_TRACE(path);
        const lookup found = look_up(volume, path);
        EXPECT_TRUE(found.result);
        EXPECT_EQ(found.inode, 5u);
        EXPECT_EQ(found.parent, all_ones);
        EXPECT_EQ(found.resolved, L"\\");
    }
    EXPECT_EQ(look_up(volume, L"\\").trace, "->anal: \\\n->root dir\n->path empty\n");
    EXPECT_EQ(look_up(volume, L"/").trace, "->anal: /\n->root dir\n->path empty\n");
}

TEST(PathLookup, EmptyPathAndMissingVolumeFail) {
    open_volume volume(sample());
    for (const lookup& found : {look_up(volume, L""), look_up(nullptr, L"\\temp")}) {
        EXPECT_FALSE(found.result);
        EXPECT_EQ(found.inode, 0u);
        EXPECT_EQ(found.parent, all_ones);
        EXPECT_EQ(found.trace, "");
    }
}

TEST(PathLookup, WalkIsTracedLineByLine) {
    open_volume volume(sample());
    const lookup found = look_up(volume, L"\\temp\\sub\\file.txt");
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.parent, 65u);
    EXPECT_EQ(found.resolved, L"\\temp\\sub\\file.txt");
    EXPECT_EQ(found.trace,
              "->anal: \\temp\\sub\\file.txt\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: get children nodes\n"
              "->info: # children [4]\n"  // the root directory contains itself
              "->info: get children names\n"
              "->info: inode found for seg: temp : 0x40\n"
              "->seg: sub\n"
              "->info: get children nodes\n"
              "->info: # children [1]\n"
              "->info: get children names\n"
              "->info: inode found for seg: sub : 0x41\n"
              "->seg: file.txt\n"
              "->info: get children nodes\n"
              "->info: # children [1]\n"
              "->info: get children names\n"
              "->info: inode found for seg: file.txt : 0x42\n");
}

TEST(PathLookup, FileInTheMiddleOfAPathHasNoChildren) {
    open_volume volume(sample());
    const lookup found = look_up(volume, L"\\hello.txt\\x");
    EXPECT_FALSE(found.result);
    EXPECT_EQ(found.trace,
              "->anal: \\hello.txt\\x\n"
              "->root dir\n"
              "->seg: hello.txt\n"
              "->info: get children nodes\n"
              "->info: # children [4]\n"
              "->info: get children names\n"
              "->info: inode found for seg: hello.txt : 0x43\n"
              "->seg: x\n"
              "->info: get children nodes\n"
              "->info: none found\n"
              "->inode not found for \\hello.txt\\x\n");
}

TEST(PathLookup, FailureReturnsTheDirectoryWithoutTheSegment) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const struct {
        const wchar_t* path;
        std::uint64_t directory;
    } cases[] = {
        {L"\\none", 5},
        {L"\\temp\\none", 64},
        {L"\\temp\\sub\\none\\more", 65},
        {L"\\temp\\sub\\file.txt\\none", 66},
        {L"\\link\\none", 64},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const lookup found = look_up(volume, c.path);
        EXPECT_FALSE(found.result);
        EXPECT_EQ(found.parent, c.directory);
        EXPECT_EQ(found.resolved, L"");
    }
}

TEST(PathLookup, PathsThatLeadToOneEntry) {
    const struct {
        const wchar_t* path;
        std::uint64_t inode;
        std::uint64_t parent;
        const wchar_t* resolved;
    } cases[] = {
        {L"\\temp", 64, 5, L"\\temp"},
        {L"temp", 64, 5, L"temp"},
        {L"c:\\temp", 64, 5, L"c:\\temp"},
        {L"\\c:\\temp", 64, 5, L"\\c:\\temp"},
        {L"\\\\c:\\\\temp", 64, 5, L"\\c:\\temp"},
        {L"/temp", 64, 5, L"\\temp"},
        {L"c:/temp/sub", 65, 64, L"c:\\temp\\sub"},
        {L"\\TEMP\\Sub", 65, 64, L"\\TEMP\\Sub"},
        {L"\\temp\\sub\\", 65, 64, L"\\temp\\sub"},
        {L"\\temp\\\\sub", 65, 64, L"\\temp\\sub"},
        {L"\\temp\\sub\\FILE.TXT", 66, 65, L"\\temp\\sub\\FILE.TXT"},
        {L"\\temp\\sub\\file.txt:zone", 66, 65, L"\\temp\\sub\\file.txt:zone"},
        {L"\\temp:x\\sub:y", 65, 64, L"\\temp:x\\sub:y"},
        {L"\\temp:x:y", 64, 5, L"\\temp:x:y"},
        {L"\\temp :x", 64, 5, L"\\temp :x"},
        {L"\\ temp \\\tsub\t", 65, 64, L"\\ temp \\\tsub\t"},
        {L"\\ \ttemp", 64, 5, L"\\ \ttemp"},
        {L"\\temp\r", 64, 5, L"\\temp\r"},
        {L"\\temp\n\r", 64, 5, L"\\temp\n\r"},
        {L"c:", 5, 0, L"c:"},
        {L"c:temp", 5, 0, L"c:temp"},
        {L"\\c:", 5, 0, L"\\c:"},
        {L"\\temp\\ :x", 0, 0, nullptr},
    };
    open_volume volume(sample());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const lookup found = look_up(volume, c.path);
        EXPECT_EQ(found.result, c.resolved != nullptr);
        if (c.resolved == nullptr) continue;
        EXPECT_EQ(found.inode, c.inode);
        EXPECT_EQ(found.parent, c.parent);
        EXPECT_EQ(found.resolved, c.resolved);
    }
}

TEST(PathLookup, PathsThatLeadNowhere) {
    open_volume volume(sample());
    const struct {
        const wchar_t* path;
        const char* key;  // the segment that is not found
    } cases[] = {
        {L"\\temp.", "temp."},    // trailing dots are kept
        {L"\\temp \t", "temp "},  // blanks are removed before tabs
        {L"\\\t temp", " temp"},
        {L"\\temp\r\n", "temp\r"},  // CR is removed before LF
        {L"\\other", "other"},
        {L"\\:x", ""},
        {L"\\ ", ""},
        {L"\\..", ".."},
        {L"\\.", "."},
        {L"\\a/b", "\\a"},  // with a slash, a backslash is not a separator
        {L"\\temp/sub", "\\temp"},
        {L":\\temp", ""},
        {L"c:\\x", "x"},
        {L":", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const lookup found = look_up(volume, c.path);
        EXPECT_FALSE(found.result);
        EXPECT_EQ(found.resolved, L"");
        EXPECT_THAT(found.trace, testing::HasSubstr("->seg: " + std::string(c.key) + "\n"));
        EXPECT_THAT(found.trace,
                    testing::HasSubstr("->err: no child nodes\n->inode not found for "));
    }
}

TEST(PathLookup, SlashDecidesWhetherAPathIsRooted) {
    open_volume volume(sample());
    EXPECT_THAT(look_up(volume, L"\\a/b").trace,
                testing::StartsWith("->anal: \\a/b\n->seg: \\a\n"));
    EXPECT_THAT(look_up(volume, L"/a\\b").trace,
                testing::StartsWith("->anal: /a\\b\n->root dir\n->seg: a\\b\n"));
    EXPECT_EQ(path_separator(L"\\a/b"), L'/');
    EXPECT_EQ(path_separator(L"\\a"), L'\\');
    EXPECT_EQ(path_separator(L""), L'\\');
}

TEST(PathLookup, CaseIsIgnoredForAsciiOnly) {
    ntfs_image image;
    image.file(5, u"\u00c9t\u00c9", 64);
    image.file(5, u"caf\u00e9", 65);
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\\u00c9T\u00c9"), 64u);
    EXPECT_EQ(entry_at(volume, L"\\\u00e9t\u00e9"), 0u);
    EXPECT_EQ(entry_at(volume, L"\\CAF\u00e9"), 65u);
    EXPECT_EQ(entry_at(volume, L"\\CAF\u00c9"), 0u);
}

TEST(PathLookup, WideTextOutsideAsciiEndsItsTraceLine) {
    ntfs_image image;
    image.file(5, u"\u00e9", 64);
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\\u00e9").trace,
              "->anal: \n"
              "->root dir\n"
              "->seg: \xc3\xa9\n"
              "->info: get children nodes\n"
              "->info: # children [2]\n"
              "->info: get children names\n"
              "->info: inode found for seg: \xc3\xa9 : 0x40\n");
}

TEST(PathLookup, DosNamesAreNotLookedUp) {
    ntfs_image image;
    image.file(5, u"Long name.txt", 64, {.space = support::win32});
    image.link(64, 5, u"LONGNA~1.TXT", {.space = support::dos});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\long name.txt"), 64u);
    EXPECT_EQ(entry_at(volume, L"\\longna~1.txt"), 0u);
}

TEST(PathLookup, FirstChildOfANameIsFound) {
    ntfs_image image;
    image.file(5, u"NAME", 65, {.space = support::posix});
    image.file(5, u"name", 64, {.space = support::posix});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\NAME"), 64u);
}

TEST(PathLookup, HardLinkIsFoundByEachOfItsNamesInAnyOfItsDirectories) {
    // All names of the record are used, regardless of their directory.
    ntfs_image image = sample();
    image.link(67, 64, u"second.txt");
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\hello.txt"), 67u);
    EXPECT_EQ(entry_at(volume, L"\\temp\\second.txt"), 67u);
    EXPECT_EQ(entry_at(volume, L"\\second.txt"), 67u);
    EXPECT_EQ(entry_at(volume, L"\\temp\\hello.txt"), 67u);
}

}  // namespace
