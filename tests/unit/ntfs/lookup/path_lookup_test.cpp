#include "ntfs/lookup/path_lookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "ntfs/volume/ntfs.h"
#include "run/settings/cmd_params.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using support::ntfs_image;
using testing::ElementsAre;

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// The results and the trace of one lookup.
struct lookup {
    bool result = false;
    std::uint64_t inode = 1234;
    std::uint64_t parent = 5678;
    std::wstring resolved = L"unchanged";
    std::string trace;
};

lookup look_up(CNtfs* ntfs, const std::wstring& path, bool follow_links = true) {
    support::temp_dir dir;
    const std::string file = dir.file("trace");
    lookup out;
    cmd_params params;
    params.diags_on = 1;
    params.diags_stream = std::make_unique<std::ofstream>(file);
    out.result =
        resolve_path(out.inode, out.parent, out.resolved, ntfs, path, follow_links, params);
    params.diags_stream.reset();
    out.trace = support::read_file(file);
    return out;
}

lookup look_up(open_volume& volume, const std::wstring& path, bool follow_links = true) {
    EXPECT_TRUE(volume.opened);
    return look_up(&volume.ntfs, path, follow_links);
}

// Returns the entry of a path, or 0 if it is not found.
std::uint64_t entry_at(open_volume& volume, const std::wstring& path) {
    const lookup found = look_up(volume, path);
    return found.result ? found.inode : 0;
}

//   64 temp          65 temp\sub      66 temp\sub\file.txt
//   67 hello.txt     68 Empty (a directory)
ntfs_image sample() {
    ntfs_image image;
    image.directory(5, u"temp", 64);
    image.directory(64, u"sub", 65);
    image.file(65, u"file.txt", 66);
    image.file(5, u"hello.txt", 67);
    image.directory(5, u"Empty", 68);
    return image;
}

// Adds a link to the root directory, as entry 70.
void add_link(ntfs_image& image, std::u16string_view name, std::uint32_t tag,
              std::u16string_view substitute, const support::reparse_options& options) {
    image.directory(5, name, 70).reparse(tag, substitute, options);
}

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

TEST(PathLookup, CachedDirectoriesAreNotReadAgain) {
    open_volume volume(sample());
    ASSERT_EQ(entry_at(volume, L"\\temp\\sub"), 65u);
    EXPECT_EQ(look_up(volume, L"\\temp\\other").trace,
              "->anal: \\temp\\other\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: cache lookup\n"
              "->info: inode found for seg: temp : 0x40\n"
              "->seg: other\n"
              "->info: cache lookup\n"
              "->err: no child nodes\n"
              "->inode not found for \\temp\\other\n");
}

TEST(PathLookup, CacheContainsDirectoriesAndTheirNames) {
    ntfs_image image = sample();
    image.entry(68).flags(2);
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\TEMP"), 64u);
    const auto& cache = volume.ntfs.m_children_cache;
    ASSERT_EQ(cache.size(), 3u);
    const NTFS_DIR_CACHE_ENTRY& root = cache.at(5);
    EXPECT_EQ(root.inode, 5u);
    EXPECT_THAT(root.parents, ElementsAre(5));
    EXPECT_THAT(root.children, ElementsAre(5, 64, 67, 68));
    EXPECT_THAT(root.names, ElementsAre(testing::Pair("empty", 68), testing::Pair("hello.txt", 67),
                                        testing::Pair("temp", 64)));
    EXPECT_TRUE(root.has_names);
    EXPECT_FALSE(root.deleted);
    EXPECT_EQ(cache.at(64).inode, 64u);
    EXPECT_THAT(cache.at(64).parents, ElementsAre(5));
    EXPECT_TRUE(cache.at(64).children.empty());
    EXPECT_FALSE(cache.at(64).deleted);
    EXPECT_TRUE(cache.at(68).deleted);
}

TEST(PathLookup, CachedDirectoryIsKeptWhenItIsFoundAgain) {
    ntfs_image image = sample();
    image.link(64, 68, u"again");
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\temp\\sub"), 65u);
    ASSERT_EQ(entry_at(volume, L"\\empty\\again"), 64u);
    EXPECT_THAT(volume.ntfs.m_children_cache.at(64).parents, ElementsAre(5));
    EXPECT_EQ(look_up(volume, L"\\temp\\sub").trace,
              "->anal: \\temp\\sub\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: cache lookup\n"
              "->info: inode found for seg: temp : 0x40\n"
              "->seg: sub\n"
              "->info: cache lookup\n"
              "->info: inode found for seg: sub : 0x41\n");
}

TEST(PathLookup, DirectoryWithoutANameIsCached) {
    ntfs_image image = sample();
    image.entry(70).flags(3).standard_information();
    image.index(5).add(file_reference(70, 1), support::file_name_value(5, u"nameless"));
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\temp"), 64u);
    EXPECT_EQ(volume.ntfs.m_children_cache.count(70), 1u);
}

TEST(PathLookup, OnlyTheRootMayBeItsOwnChild) {
    ntfs_image image = sample();
    image.index(64).add(file_reference(64, 1), support::file_name_value(5, u"temp"));
    image.index(64).add(file_reference(5, 5), support::file_name_value(5, u"."));
    open_volume volume(image);
    EXPECT_FALSE(look_up(volume, L"\\temp\\temp").result);
    EXPECT_EQ(entry_at(volume, L"\\temp\\.\\hello.txt"), 67u);
}

TEST(PathLookup, CachedNamesAreFoundWithoutTheSource) {
    open_volume volume(sample());
    ASSERT_EQ(entry_at(volume, L"\\temp\\sub"), 65u);
    ASSERT_EQ(::truncate(volume.path.c_str(), 0), 0);
    EXPECT_EQ(entry_at(volume, L"\\temp\\sub"), 65u);
}

// Records are shorter than the size that the boot sector states.
TEST(PathLookup, RecordSizeAboveTheSourceFindsNoNames) {
    open_volume volume(sample());
    volume.ntfs.m_mft_record_size = 0x80000000;
    const lookup found = look_up(volume, L"\\temp");
    EXPECT_FALSE(found.result);
    EXPECT_EQ(found.inode, 5u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_EQ(found.trace,
              "->anal: \\temp\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: get children nodes\n"
              "->info: # children [4]\n"
              "->info: get children names\n"
              "->err: paramsFR: inode 0x40\n"
              "->err: paramsFR: inode 0x43\n"
              "->err: paramsFR: inode 0x44\n"
              "->err: no child names\n"
              "->inode not found for \\temp\n");
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

TEST(PathLookup, EmptyDirectoryHasNoChildNamesAndIsReadEachTime) {
    open_volume volume(sample());
    ASSERT_EQ(entry_at(volume, L"\\hello.txt"), 67u);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(look_up(volume, L"\\empty\\x").trace,
                  "->anal: \\empty\\x\n"
                  "->root dir\n"
                  "->seg: empty\n"
                  "->info: cache lookup\n"
                  "->info: inode found for seg: empty : 0x44\n"
                  "->seg: x\n"
                  "->info: get children nodes\n"
                  "->info: # children [0]\n"
                  "->info: get children names\n"
                  "->err: no child names\n"
                  "->inode not found for \\empty\\x\n");
    }
}

TEST(PathLookup, DirectoryWithOnlyNamelessChildrenIsReadEachTime) {
    ntfs_image image = sample();
    image.index(68).add(file_reference(71, 1), support::file_name_value(68, u"gone"));
    image.entry(71).standard_information();
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\hello.txt"), 67u);
    const std::string found =
        "->anal: \\empty\\x\n"
        "->root dir\n"
        "->seg: empty\n"
        "->info: cache lookup\n"
        "->info: inode found for seg: empty : 0x44\n"
        "->seg: x\n";
    const std::string names =
        "->info: get children names\n"
        "->err: namelookup: inode 0x47\n"
        "->err: no child names\n"
        "->inode not found for \\empty\\x\n";
    EXPECT_EQ(look_up(volume, L"\\empty\\x").trace,
              found + "->info: get children nodes\n->info: # children [1]\n" + names);
    EXPECT_EQ(look_up(volume, L"\\empty\\x").trace, found + names);
}

TEST(PathLookup, PartialIndexIsUsedOnlyForACachedDirectory) {
    // The root of the index contains \half\a, and its allocation cannot be read. An entry without
    // the directory flag is not cached before it is looked up.
    const struct {
        std::uint16_t flags;
        bool result;
        const char* end;
    } cases[] = {
        {3, true,
         "->info: # children [1]\n"
         "->info: get children names\n"
         "->info: inode found for seg: a : 0x47\n"},
        {1, false, "->info: none found\n->inode not found for \\half\\a\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        ntfs_image image = sample();
        image.file(5, u"half", 70)
            .flags(c.flags)
            .resident(support::type::index_root, u"$I30",
                      support::index_root_value(
                          support::index_entries({{.reference = file_reference(71, 1),
                                                   .key = support::file_name_value(70, u"a")}})))
            .nonresident(support::type::index_allocation, u"$I30",
                         support::cluster_runs{{support::hole, 2}});
        image.entry(71).standard_information().file_name(70, u"a");
        open_volume volume(image);
        const lookup found = look_up(volume, L"\\half\\a");
        EXPECT_EQ(found.result, c.result);
        EXPECT_THAT(found.trace, testing::EndsWith("->seg: a\n->info: get children nodes\n" +
                                                   std::string(c.end)));
    }
}

TEST(PathLookup, UnusableChildrenAreTracedAndSkipped) {
    ntfs_image image = sample();
    image.entry(70).standard_information();
    image.index(5).add(file_reference(70, 1), support::file_name_value(5, u"nameless"));
    image.index(5).add(file_reference(0x100000, 1), support::file_name_value(5, u"far"));
    image.file(5, u"torn", 71).keyword("BAAD");
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\hello.txt");
    EXPECT_EQ(found.inode, 67u);
    EXPECT_EQ(found.trace,
              "->anal: \\hello.txt\n"
              "->root dir\n"
              "->seg: hello.txt\n"
              "->info: get children nodes\n"
              "->info: # children [7]\n"
              "->info: get children names\n"
              "->err: namelookup: inode 0x46\n"
              "->err: readFR: inode 0x47\n"
              "->err: readFR: inode 0x100000\n"
              "->info: inode found for seg: hello.txt : 0x43\n");
}

TEST(PathLookup, TruncatedChildIsSkipped) {
    ntfs_image image;
    image.file(5, u"whole", 30);
    image.file(5, u"cut", 80);
    image.truncate(image.record_pos(80) + 512);
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\whole");
    EXPECT_EQ(found.inode, 30u);
    EXPECT_EQ(found.trace,
              "->anal: \\whole\n"
              "->root dir\n"
              "->seg: whole\n"
              "->info: get children nodes\n"
              "->info: # children [3]\n"
              "->info: get children names\n"
              "->err: paramsFR: inode 0x50\n"
              "->info: inode found for seg: whole : 0x1e\n");
    EXPECT_FALSE(look_up(volume, L"\\cut").result);
}

TEST(PathLookup, RecordsBelowTheStatedSizeAreSkipped) {
    open_volume volume(sample());
    volume.ntfs.m_mft_record_size = 2048;
    EXPECT_EQ(look_up(volume, L"\\temp").trace,
              "->anal: \\temp\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: get children nodes\n"
              "->info: # children [4]\n"
              "->info: get children names\n"
              "->err: paramsFR: inode 0x40\n"
              "->err: paramsFR: inode 0x43\n"
              "->err: paramsFR: inode 0x44\n"
              "->err: no child names\n"
              "->inode not found for \\temp\n");
}

TEST(PathLookup, RecordsAboveTheStatedSizeAreUnreadable) {
    open_volume volume(sample());
    volume.ntfs.m_mft_record_size = 512;
    EXPECT_EQ(look_up(volume, L"\\temp").trace,
              "->anal: \\temp\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: get children nodes\n"
              "->info: none found\n"
              "->inode not found for \\temp\n");
}

// The name of a deleted file may remain there.
TEST(PathLookup, NamePastTheEndOfAnIndexIsNotFound) {
    ntfs_image image = sample();
    for (const std::uint64_t directory : {5u, 64u}) {
        const std::uint64_t gone = directory + 65;
        image.entry(gone).standard_information().file_name(directory, u"gone").data("");
        image.index(directory).add_stale(
            {.reference = gone, .key = support::file_name_value(directory, u"gone")});
    }
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\gone"), 0u);
    EXPECT_EQ(entry_at(volume, L"\\temp\\gone"), 0u);
    EXPECT_EQ(entry_at(volume, L"\\temp\\sub"), 65u);
}

TEST(PathLookup, RootWithoutAnIndexHasNoChildren) {
    ntfs_image image = sample();
    image.index(5).put_in_root(0, 0, 4);
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\temp").trace,
              "->anal: \\temp\n"
              "->root dir\n"
              "->seg: temp\n"
              "->info: get children nodes\n"
              "->info: none found\n"
              "->inode not found for \\temp\n");
}

TEST(PathLookup, RootWithAnEmptyIndexHasNoChildren) {
    ntfs_image image = sample();
    image.index(5).put_in_root(16 + 4, 4096, 4);  // a node of this length is treated as empty
    open_volume volume(image);
    EXPECT_THAT(look_up(volume, L"\\temp").trace,
                testing::HasSubstr("->info: get children nodes\n->info: none found\n"));
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

// --- device names before a path ---

TEST(PathLookup, ShadowCopyPrefixIsRemoved) {
    open_volume volume(sample());
    const lookup found =
        look_up(volume, L"\\\\?\\globalroot\\DEVICE\\HarddiskVolumeShadowCopy12\\temp\\sub");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.resolved, L"\\temp\\sub");
    EXPECT_THAT(found.trace, testing::StartsWith("->anal: \\temp\\sub\n->root dir\n->seg: temp\n"));
}

TEST(PathLookup, ShadowCopyNeedsNoNumber) {
    open_volume volume(sample());
    const std::wstring device = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";
    EXPECT_EQ(look_up(volume, device + L"\\temp").resolved, L"\\temp");
    EXPECT_EQ(look_up(volume, device).trace, "->anal: \n->path empty\n");
    // With one letter less, the path is an ordinary one.
    EXPECT_THAT(look_up(volume, device.substr(0, device.size() - 1) + L"\\temp").trace,
                testing::HasSubstr("->seg: ?\n"));
}

TEST(PathLookup, SnapshotPrefixIsRemoved) {
    // 47 characters up to a backslash: "\\.\", "snapid_", a number and a GUID.
    const std::wstring prefix = L"\\\\.\\snapid_" + std::wstring(36, L'0');
    ASSERT_EQ(prefix.size(), 47u);
    open_volume volume(sample());
    EXPECT_EQ(look_up(volume, prefix + L"\\temp\\sub").resolved, L"\\temp\\sub");
    EXPECT_EQ(look_up(volume, prefix + L"more\\temp").resolved, L"\\temp");
    // "snapid_" is compared with case, and backslashes before position 47 are ignored.
    EXPECT_FALSE(look_up(volume, L"\\\\.\\SNAPID_" + std::wstring(36, L'0') + L"\\temp").result);
    EXPECT_EQ(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'\\') + L"0\\temp").resolved,
              L"\\temp");
    EXPECT_EQ(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'0') + L"\\x\\temp").resolved,
              L"\\temp");
    // "snapid_" is recognised only after the name of the local machine.
    EXPECT_THAT(look_up(volume, L"\\\\?\\snapid_" + std::wstring(36, L'0') + L"\\temp").trace,
                testing::HasSubstr("->seg: ?\n"));
    // A path of 47 characters is an ordinary one.
    EXPECT_THAT(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'0') + L"\\").trace,
                testing::StartsWith("->anal: \\\\.\\snapid_" + std::string(35, '0') +
                                    "\\\n->root dir\n->seg: .\n"));
}

TEST(PathLookup, OtherDeviceNamesAreNotRemoved) {
    open_volume volume(sample());
    const std::wstring plain = L"\\" + std::wstring(60, L'd');
    EXPECT_THAT(look_up(volume, plain).trace,
                testing::StartsWith("->anal: " + ql::to_utf8(plain) + "\n"));
    const std::wstring device = L"\\\\.\\" + std::wstring(44, L'd');
    const lookup found = look_up(volume, device + L"\\temp");
    EXPECT_FALSE(found.result);
    EXPECT_EQ(found.trace.substr(0, found.trace.find('\n')),
              "->anal: " + ql::to_utf8(device) + "\\temp");
}

TEST(PathLookup, SourcePrefixAloneLeavesAnEmptyPath) {
    open_volume volume(sample());
    for (const std::wstring& path :
         {std::wstring(L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1"),
          L"\\\\.\\snapid_" + std::wstring(37, L'0')}) {
        const lookup found = look_up(volume, path);
        EXPECT_FALSE(found.result);
        EXPECT_EQ(found.inode, 0u);
        EXPECT_EQ(found.parent, all_ones);
        EXPECT_EQ(found.trace, "->anal: \n->path empty\n");
    }
    EXPECT_EQ(look_up(volume, L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1\\").inode, 5u);
}

TEST(PathLookup, FailureIsTracedWithThePathAfterThePrefix) {
    open_volume volume(sample());
    EXPECT_THAT(
        look_up(volume, L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1\\none").trace,
        testing::EndsWith("->inode not found for \\none\n"));
}

// --- links ---

TEST(PathLookup, JunctionIsFollowedFromTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\SUB\\file.txt:zone");
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.parent, 65u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\SUB\\file.txt:zone");
    EXPECT_EQ(found.trace,
              "->anal: \\link\\SUB\\file.txt:zone\n"
              "->root dir\n"
              "->seg: link\n"
              "->info: get children nodes\n"
              "->info: # children [5]\n"
              "->info: get children names\n"
              "->info: restart segments [link]\n"
              "->seg: temp\n"
              "->info: cache lookup\n"
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

TEST(PathLookup, LinkAtTheEndOfAPathIsFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::symbolic_link_tag, u"\\??\\C:\\temp\\sub",
             {.print = u"C:\\temp\\sub"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"link");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.parent, 64u);
    EXPECT_EQ(found.resolved, L"C:\\temp\\sub");
}

TEST(PathLookup, LinkIsReturnedIfLinksAreNotFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link", false);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_THAT(found.trace, testing::EndsWith("->info: inode found for seg: link : 0x46\n"));
}

TEST(PathLookup, AnyTagAndAnyKindOfEntryIsALink) {
    ntfs_image image = sample();
    image.file(5, u"tagged.txt", 70)
        .reparse(0x80000017, u"\\??\\C:\\temp\\sub", {.print = u"C:\\temp\\sub"});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\tagged.txt"), 65u);
}

TEST(PathLookup, RelativeTargetIsReadFourBytesEarlyAndLookedUpInTheRoot) {
    // Flags 1, "sub", "mp": the print name is read from two units before its start.
    ntfs_image image = sample();
    add_link(
        image, u"link", support::symbolic_link_tag, u"sub",
        {.print = u"mp", .relative = true, .terminated = false, .print_length = std::uint16_t{8}});
    image.file(5, u"ubmp", 71);
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link").resolved, L"\\ubmp");
}

TEST(PathLookup, EmptyPrintNameContinuesAtTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\temp\\sub");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.resolved, L"\\temp\\sub");
}

TEST(PathLookup, AbsoluteLinkWithThePrintNameFirstContinuesAtTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::symbolic_link_tag, u"\\??\\C:\\temp",
             {.print = u"C:\\temp", .print_first = true});
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link\\hello.txt").inode, 67u);
}

TEST(PathLookup, TargetWithoutSegmentsIsTheLinkItself) {
    for (const char16_t* print : {u"C:\\", u"\\", u""}) {
        ntfs_image image = sample();
        add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\", {.print = print});
        open_volume volume(image);
        const lookup found = look_up(volume, L"\\link");
        EXPECT_TRUE(found.result);
        EXPECT_EQ(found.inode, 70u);
        EXPECT_EQ(found.parent, 0u);
        EXPECT_THAT(found.trace, testing::EndsWith("->info: restart segments [link]\n"));
    }
}

TEST(PathLookup, TargetWithoutSegmentsHasNoParent) {
    ntfs_image image = sample();
    image.directory(65, u"link", 70)
        .reparse(support::mount_point_tag, u"\\??\\C:\\", {.print = u"C:\\"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\temp\\sub\\link");
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 0u);
    EXPECT_EQ(found.resolved, L"\\C:");
}

TEST(PathLookup, LinkInASubdirectoryRestartsAtTheRoot) {
    ntfs_image image = sample();
    image.directory(65, u"link", 70)
        .reparse(support::mount_point_tag, u"\\??\\D:\\Empty", {.print = u"D:\\Empty"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\temp\\sub\\link");
    EXPECT_EQ(found.inode, 68u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_EQ(found.resolved, L"\\D:\\Empty");
}

TEST(PathLookup, TargetIsSplitAtBackslashesEvenForAPathWithSlashes) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"/link/sub/file.txt");
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\sub\\file.txt");
}

TEST(PathLookup, SlashInATargetIsNotASeparator) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\te/mp", {.print = u"C:\\te/mp"});
    image.directory(5, u"te/mp", 71);
    image.file(71, u"x", 72);
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\x");
    EXPECT_EQ(found.inode, 72u);
    EXPECT_EQ(found.resolved, L"\\C:\\te/mp\\x");
}

TEST(PathLookup, BackslashInASegmentAfterALinkSplitsIt) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    EXPECT_FALSE(look_up(volume, L"/temp/sub\\file.txt").result);
    const lookup found = look_up(volume, L"/link/sub\\file.txt");
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\sub\\file.txt");
}

TEST(PathLookup, LinkAfterALongAttributeIsFollowed) {
    ntfs_image image({.record = 4096});
    image.directory(5, u"temp", 64);
    image.file(5, u"link", 70)
        .data(std::string(2000, 'x'))
        .reparse(support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\link"), 64u);
}

TEST(PathLookup, FailureAfterALinkIsTracedWithTheOriginalPath) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\none", {.print = u"C:\\none"});
    open_volume volume(image);
    EXPECT_THAT(look_up(volume, L"\\link\\x").trace,
                testing::EndsWith("->seg: none\n"
                                  "->info: cache lookup\n"
                                  "->err: no child nodes\n"
                                  "->inode not found for \\link\\x\n"));
}

TEST(PathLookup, ChainOfLinksIsFollowedToItsEnd) {
    ntfs_image image = sample();
    const auto name = [](std::uint64_t i) {
        return std::u16string(u"link") + static_cast<char16_t>(u'0' + i / 10) +
               static_cast<char16_t>(u'0' + i % 10);
    };
    for (std::uint64_t i = 0; i < 40; ++i) {
        const std::u16string next = i == 39 ? u"temp" : name(i + 1);
        image.directory(5, name(i), 100 + i)
            .reparse(support::mount_point_tag, u"\\??\\C:\\" + next, {.print = u"C:\\" + next});
    }
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link00\\sub").resolved, L"\\C:\\temp\\sub");
}

TEST(PathLookup, LinksThatLeadToEachOtherAreFollowedUntilOneIsDeleted) {
    ntfs_image image = sample();
    image.directory(5, u"one", 70)
        .reparse(support::mount_point_tag, u"\\??\\C:\\two", {.print = u"C:\\two"});
    image.directory(5, u"two", 71)
        .reparse(support::mount_point_tag, u"\\??\\C:\\one", {.print = u"C:\\one"});
    open_volume volume(image);
    support::temp_dir dir;
    const std::string trace = dir.file("trace");
    cmd_params params;
    params.diags_on = 1;
    params.diags_stream = std::make_unique<std::ofstream>(trace);

    lookup found;
    std::atomic<bool> ended = false;
    std::thread walk([&] {
        found.result = resolve_path(found.inode, found.parent, found.resolved, &volume.ntfs,
                                    L"\\one", true, params);
        ended = true;
    });
    // Some 1500 links are followed before the first one loses its record.
    while (!ended && std::filesystem::file_size(trace) < 100000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(ended);
    std::fstream(volume.path, std::ios::in | std::ios::out | std::ios::binary)
        .seekp(static_cast<std::streamoff>(image.record_pos(70)))
        .write("BAAD", 4);
    walk.join();
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_EQ(found.resolved, L"\\C:\\one");
}

TEST(PathLookup, ReparsePointWithoutDataOrSubstituteNameIsNotALink) {
    const support::reparse_options cases[] = {
        {.print = u"C:\\temp", .data_length = std::uint16_t{0}},
        {.print = u"C:\\temp", .substitute_length = std::uint16_t{0}},
    };
    for (const support::reparse_options& options : cases) {
        ntfs_image image = sample();
        add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", options);
        open_volume volume(image);
        const lookup found = look_up(volume, L"\\link");
        EXPECT_EQ(found.inode, 70u);
        EXPECT_EQ(found.parent, 5u);
        EXPECT_THAT(found.trace, testing::Not(testing::HasSubstr("restart")));
    }
}

TEST(PathLookup, LinkInATruncatedRecordIsFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\link"), 64u);
    ASSERT_LT(image.entry(70).attribute_offset(support::type::reparse_point), 400u);
    volume.ntfs.m_disk->size_bytes = static_cast<std::int64_t>(image.record_pos(70) + 512);
    EXPECT_EQ(entry_at(volume, L"\\link"), 64u);
}

TEST(PathLookup, NonResidentReparsePointIsNotALink) {
    ntfs_image image = sample();
    const support::bytes value =
        support::reparse_value(support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    const support::cluster_runs runs = image.store(value);
    image.directory(5, u"link", 70)
        .nonresident(support::type::reparse_point, u"", runs, {.real = value.size()});
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link").inode, 70u);
}

TEST(PathLookup, NothingIsTracedByDefault) {
    open_volume volume(sample());
    support::temp_dir dir;
    cmd_params params;
    params.diags_stream = std::make_unique<std::ofstream>(dir.file("trace"));
    std::uint64_t inode = 0;
    std::uint64_t parent = 0;
    std::wstring resolved;
    EXPECT_TRUE(resolve_path(inode, parent, resolved, &volume.ntfs, L"\\temp", true, params));
    params.diags_stream.reset();
    EXPECT_EQ(support::read_file(dir.file("trace")), "");
}

}  // namespace
