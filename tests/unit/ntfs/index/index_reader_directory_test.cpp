// Tests the children of directories whose index is in their own record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/directory_index.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/index/index_contents.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace index_contents;

using support::file_reference;
using support::index_root_value;
using support::ntfs_image;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(DirectoryIndex, SmallDirectoryHasOnlyARoot) {
    ntfs_image image;
    fill_directory(image, 3);
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 3));
}

TEST(DirectoryIndex, EmptyDirectoryHasNoChildren) {
    ntfs_image image;
    fill_directory(image, 0);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, RootDirectoryListsItself) {
    ntfs_image image;
    image.file(5, u"a", 100);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 5), ElementsAre(5, 100));
}

TEST(DirectoryIndex, LargeDirectoryIsReadWithAnyClusterSize) {
    for (const std::uint32_t cluster : {512u, 2048u, 4096u, 65536u}) {
        for (const bool fragmented : {false, true}) {
            SCOPED_TRACE(testing::Message() << cluster << " " << fragmented);
            ntfs_image image({.cluster = cluster});
            fill_directory(image, 150);
            if (fragmented) image.index(64).fragmented();
            open_volume volume(image);
            EXPECT_EQ(children_of(volume, 64), numbers(100, 150));
        }
    }
}

TEST(DirectoryIndex, ChildrenAreAddedToTheSet) {
    ntfs_image image;
    fill_directory(image, 1);
    open_volume volume(image);
    entry_set children = {7};
    EXPECT_TRUE(volume.ntfs.get_children(64, children, false));
    EXPECT_THAT(children, ElementsAre(7, 100));
}

TEST(DirectoryIndex, FileHasNoIndex) {
    ntfs_image image;
    image.file(5, u"a", 100);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 100, false), IsEmpty());
}

TEST(DirectoryIndex, UnreadableEntryHasNoIndex) {
    open_volume volume{ntfs_image()};
    EXPECT_THAT(children_of(volume, 0x1000000, false), IsEmpty());
    CNtfs closed(nullptr, 0, 33);
    entry_set children;
    EXPECT_FALSE(closed.get_children(5, children, false));
}

TEST(DirectoryIndex, ExtensionRecordReturnsTheIndexOfItsBase) {
    ntfs_image image;
    fill_directory(image, 2);
    image.entry(90).base(image.entry(64).reference()).data("x");
    image.entry(91).base(file_reference(90, 0x77)).data("x");
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 90), numbers(100, 2));
    EXPECT_EQ(children_of(volume, 91), numbers(100, 2));
}

TEST(DirectoryIndex, BaseMayBeEntryZero) {
    // $MFT has no index, and the index in the record itself is ignored.
    ntfs_image image;
    image.entry(90)
        .base(file_reference(0, 1))
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 90, false), IsEmpty());
}

TEST(DirectoryIndex, CycleOfBaseReferencesFails) {
    ntfs_image image;
    image.entry(90).base(file_reference(91, 1));
    image.entry(91).base(file_reference(92, 1));
    image.entry(92).base(file_reference(90, 1));
    image.entry(93).base(file_reference(93, 1));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 90, false), IsEmpty());
    EXPECT_THAT(children_of(volume, 93, false), IsEmpty());
}

TEST(DirectoryIndex, RootOfAnotherTypeIsIgnored) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint32_t value;
    } cases[] = {{"view index", 0, 0}, {"index of 0x90", 0, 0x90}, {"no block size", 8, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        fill_directory(image, 2);
        image.index(64).put_in_root(c.at, c.value, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
    }
}

TEST(DirectoryIndex, LengthOfTheRootsNodeDecidesTheResult) {
    const struct {
        std::uint32_t length;
        bool result;
    } cases[] = {{0, false}, {4096, true}, {4097, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        ntfs_image image;
        fill_directory(image, 2);
        image.index(64).put_in_root(16 + 4, c.length, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, c.result), IsEmpty());
    }
}

TEST(DirectoryIndex, LengthOfTheRootsValueIsIgnored) {
    constexpr std::size_t value_length_at = 16;
    ntfs_image image;
    image.entry(65)
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})))
        .edit(value_length_at, 0, 4);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70));
}

TEST(DirectoryIndex, CollationAndBlockSizeAreNotCompared) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).put_in_root(4, 0x99, 4).put_in_root(8, 1, 4).put_in_root(12, 0xFF, 1);
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 2));
}

TEST(DirectoryIndex, BlockOfZerosOrOfOtherContentIsSkipped) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().entries_per_block(20).spare_blocks(2);
    open_volume valid(image);
    EXPECT_EQ(children_of(valid, 64), numbers(100, 60));

    image.index(64).zero_block(0);
    open_volume damaged(image);
    const entry_set rest = children_of(damaged, 64);
    EXPECT_LT(rest.size(), 60u);
    EXPECT_GE(rest.size(), 38u);
}

TEST(DirectoryIndex, BlocksThatTheBitmapMarksFreeAreRead) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().bitmap(support::bytes(8));
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 60));
}

TEST(DirectoryIndex, EntriesAfterTheLastOneAreIgnored) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).add_stale(entry_of_file(500, u"gone"));
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 2));
}

TEST(DirectoryIndex, DamagedEntryHidesOnlyTheRestOfItsBlock) {
    ntfs_image image;
    fill_directory(image, 40);
    image.index(64).in_blocks().entries_per_block(20);
    open_volume valid(image);
    const std::size_t all = children_of(valid, 64).size();
    ASSERT_EQ(all, 40u);
    // The second entry of the first block has a size of 769 bytes.
    const support::bytes key = support::file_name_value(64, u"file aa");
    const std::size_t entry_size = (16 + key.size() + 7) / 8 * 8;
    const std::size_t first_entry = 24 + 40;
    image.index(64).put_in_block_before_fixup(0, first_entry + entry_size + 8, 769, 2);
    open_volume damaged(image);
    const entry_set rest = children_of(damaged, 64);
    EXPECT_EQ(rest.size(), all - 19);
    EXPECT_EQ(rest.count(100), 1u);
    EXPECT_EQ(rest.count(101), 0u);
}

TEST(DirectoryIndex, ResultIsThatOfTheAllocation) {
    // The allocation cannot be read, so the result is false, but the root's entries are added.
    ntfs_image image;
    image.directory(5, u"dir", 64);
    image.entry(65).flags(3).standard_information().resident(
        support::type::index_root, u"$I30", index_root_value(with_end({entry_of_file(70)})));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30",
                                support::cluster_runs{{support::hole, 2}});
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65, false), ElementsAre(70));
}

TEST(DirectoryIndex, AllocationIsReadDespiteABadRoot) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().put_in_root(0, 0, 4);
    open_volume volume(image);
    EXPECT_FALSE(children_of(volume, 64).empty());
}

TEST(DirectoryIndex, AllocationWithoutInitializedBytesFails) {
    ntfs_image image;
    const support::cluster_runs runs = image.store(block_with(70));
    image.entry(65).resident(support::type::index_root, u"$I30", index_root_value(with_end({})));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30", runs, {.initialized = 0});
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65, false), IsEmpty());
}

TEST(DirectoryIndex, EntriesOffsetOfABlockMayPointIntoTheNext) {
    ntfs_image image;
    // By itself, the next block would be skipped.
    const support::cluster_runs runs =
        image.store(joined({block_with(70, {.entries_offset = 4096 + 40, .used = 4000}),
                            block_with(71, {.keyword = "XXXX"})}));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30", runs);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, OnlyAttributesNamedI30AreUsed) {
    const struct {
        const char* name;
        std::u16string attribute;
        bool found;
    } cases[] = {{"$I30", u"$I30", true},
                 {"none", u"", false},
                 {"other", u"$I31", false},
                 {"longer", u"$I300", false},
                 {"with a zero inside", std::u16string(u"$I30\0x", 6), true},
                 {"lower case", u"$i30", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        image.entry(65).resident(support::type::index_root, c.attribute,
                                 index_root_value(with_end({entry_of_file(70)})));
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 65, c.found), SizeIs(c.found ? 1 : 0));
    }
}

TEST(DirectoryIndex, AllocationWithAnotherNameIsIgnored) {
    ntfs_image image;
    image.entry(65)
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})))
        .nonresident(support::type::index_allocation, u"$O", image.store(block_with(71)));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70));
}

TEST(DirectoryIndex, NameMustBeInsideItsAttribute) {
    ntfs_image image;
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    const std::size_t at = image.entry(65).attribute_offset(support::type::index_root, u"$I30");
    const support::bytes record = image.entry(65).build_before_fixup();
    const std::uint32_t length = ql::le32(record, at + 4);
    // The name is repeated across and past the end of the attribute.
    const support::bytes name = support::as_bytes(u"$I30");
    for (const std::uint32_t offset : {length - 8, length - 7}) {
        SCOPED_TRACE(offset);
        ntfs_image moved = image;
        for (std::size_t i = 0; i < name.size(); ++i) {
            moved.entry(65).put_before_fixup(at + offset + i, name[i], 1);
        }
        moved.entry(65).put_before_fixup(at + 10, offset, 2);
        open_volume volume(moved);
        entry_set children;
        EXPECT_EQ(volume.ntfs.get_children(65, children, false), offset == length - 8);
    }
}

TEST(DirectoryIndex, AttributeMayHaveAtMostTheLengthOfARecord) {
    for (const std::uint32_t length : {1024u, 1025u}) {
        SCOPED_TRACE(length);
        ntfs_image image;
        image.entry(65).resident(support::type::index_root, u"$I30",
                                 index_root_value(with_end({entry_of_file(70)})));
        const std::size_t at = image.entry(65).attribute_offset(support::type::index_root, u"$I30");
        image.entry(65).put_before_fixup(at + 4, length, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 65, length == 1024), SizeIs(length == 1024 ? 1 : 0));
        // The record size is that of record 0, not of the boot sector.
        volume.ntfs.m_mft_record_size = 2048;
        EXPECT_THAT(children_of(volume, 65, length == 1024), SizeIs(length == 1024 ? 1 : 0));
    }
}

TEST(DirectoryIndex, LastAttributeOfATypeIsUsed) {
    ntfs_image image;
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(71)})));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, LastAllocationIsUsed) {
    ntfs_image image;
    image.entry(65)
        .nonresident(support::type::index_allocation, u"$I30", image.store(block_with(70)))
        .nonresident(support::type::index_allocation, u"$I30", image.store(block_with(71)));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, SlackIsNotReadThroughAnExtensionRecord) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).add_stale(entry_of_file(500, u"gone"));
    image.entry(90).base(image.entry(64).reference()).data("x");
    open_volume volume(image);
    entry_set with_slack;
    EXPECT_TRUE(volume.ntfs.get_children(64, with_slack, true));
    EXPECT_THAT(with_slack, ElementsAre(100, 101, 500));
    entry_set through_extension;
    EXPECT_TRUE(volume.ntfs.get_children(90, through_extension, true));
    EXPECT_THAT(through_extension, ElementsAre(100, 101));
}

TEST(DirectoryIndex, SortedChildrenHaveNoDuplicates) {
    ntfs_image image;
    image.directory(5, u"d", 64);
    image.file(64, u"c", 100);
    image.file(64, u"b", 102);
    image.file(64, u"a", 104);
    image.link(100, 64, u"d");
    open_volume volume(image);
    std::vector<std::uint64_t> children = {7};
    EXPECT_TRUE(volume.ntfs.get_sorted_children(64, children));
    EXPECT_THAT(children, ElementsAre(100, 102, 104));
}

}  // namespace
