// Tests the directories that a lookup reads, and those that it keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ntfs/lookup/path_lookup.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/lookup/looked_up_path.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace lookups;

using support::file_reference;
using support::ntfs_image;
using testing::ElementsAre;

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

}  // namespace
