// Tests the children of directories whose index is in extension records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
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

// A directory 64 whose index attributes are in other records.
struct listed_index {
    ntfs_image image;
    support::bytes far_block = block_with(71);

    listed_index() {
        image.entry(64).flags(3).standard_information();
        image.entry(65)
            .base(file_reference(64, 1))
            .resident(support::type::index_root, u"$I30",
                      index_root_value(with_end({entry_of_file(70)})));
        image.entry(66)
            .base(file_reference(64, 1))
            .nonresident(support::type::index_allocation, u"$I30", image.store(far_block));
    }

    static support::list_entry root(std::uint64_t record) {
        return {.type = support::type::index_root,
                .name = u"$I30",
                .record = file_reference(record, 1)};
    }
    static support::list_entry allocation(std::uint64_t record) {
        return {.type = support::type::index_allocation,
                .name = u"$I30",
                .record = file_reference(record, 1)};
    }
};

TEST(DirectoryIndex, RootAndAllocationAreFoundThroughTheList) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, ExtensionWithAPartReturnsTheIndexOfItsBase) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70, 71));
    EXPECT_THAT(children_of(volume, 66), ElementsAre(70, 71));
}

TEST(DirectoryIndex, LastListIsUsed) {
    listed_index directory;
    directory.image.entry(64)
        .attribute_list({listed_index::root(65)})
        .attribute_list({listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(71));
}

TEST(DirectoryIndex, ListInTheRecordEndsWithItsValue) {
    constexpr std::size_t value_length_at = 16;
    const std::size_t first = support::attribute_list_value({listed_index::root(65)}).size();
    for (const std::size_t length : {first, first + 1}) {
        SCOPED_TRACE(length);
        listed_index directory;
        directory.image.entry(64)
            .attribute_list({listed_index::root(65), listed_index::allocation(66)})
            .edit(value_length_at, length, 4);
        open_volume volume(directory.image);
        // The next entry is used if one byte of it is inside the list.
        EXPECT_THAT(children_of(volume, 64), SizeIs(length == first ? 1 : 2));
    }
}

TEST(DirectoryIndex, ResultIsThatOfTheLastListedPartThatIsRead) {
    const struct {
        const char* name;
        bool root_in_base;
        std::uint32_t listed_root_type;
        std::uint64_t initialized;
        bool result;
        std::vector<std::uint64_t> children;
    } cases[] = {
        {"bad allocation with a root in the record", true, 0x30, 0, false, {80}},
        {"bad allocation, then a root", false, 0x30, 0, true, {70}},
        {"allocation, then a bad root", false, 0, 4096, false, {71}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        image.entry(64).attribute_list({listed_index::root(65), listed_index::allocation(66)});
        if (c.root_in_base) {
            image.entry(64).resident(support::type::index_root, u"$I30",
                                     index_root_value(with_end({entry_of_file(80)})));
        }
        image.entry(65).resident(
            support::type::index_root, u"$I30",
            index_root_value(with_end({entry_of_file(70)}), {.type_code = c.listed_root_type}));
        image.entry(66).nonresident(support::type::index_allocation, u"$I30",
                                    image.store(block_with(71)), {.initialized = c.initialized});
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, c.result), testing::ElementsAreArray(c.children));
    }
}

TEST(DirectoryIndex, NamesInListedRecordsAreComparedExactly) {
    for (const std::u16string& name :
         {std::u16string(u"$I300"), std::u16string(u"$I30\0x", 6), std::u16string()}) {
        ntfs_image image;
        image.entry(64).attribute_list({listed_index::root(65)});
        image.entry(65).resident(support::type::index_root, name,
                                 index_root_value(with_end({entry_of_file(70)})));
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64), IsEmpty());
    }
}

TEST(DirectoryIndex, BuilderLayoutWithPartsInExtensionsIsRead) {
    ntfs_image both;
    fill_directory(both, 60);
    both.index(64).in_blocks().root_in_extension(90).blocks_in_extension(91);
    open_volume volume(both);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 60));
}

TEST(DirectoryIndex, NonResidentListIsRead) {
    listed_index directory;
    const support::bytes list =
        support::attribute_list_value({listed_index::root(65), listed_index::allocation(66)});
    const support::cluster_runs runs = directory.image.store(list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, NonResidentListIsReadPastItsRealSize) {
    listed_index directory;
    const support::bytes list = support::attribute_list_value({listed_index::root(65)});
    const support::cluster_runs runs = directory.image.store(list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = 1});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, HolesOfANonResidentListAreZeros) {
    // An entry of 8192 bytes, half stored and half in a hole, then the entry of the root.
    listed_index directory;
    const support::bytes list = support::attribute_list_value(
        {{.type = support::type::data, .length = std::uint16_t{8192}}, listed_index::root(65)});
    const std::uint64_t lcn = directory.image.alloc(2);
    const support::cluster_runs runs = {{lcn, 1}, {support::hole, 1}, {lcn + 1, 1}};
    directory.image.write_runs(runs, list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, NamedListIsUsed) {
    listed_index directory;
    directory.image.entry(64).resident(support::type::attribute_list, u"$X",
                                       support::attribute_list_value({listed_index::root(65)}));
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, UnreadableNonResidentListFails) {
    listed_index directory;
    directory.image.entry(64).attribute_list_runs({{1000000, 1}}, {.real = 32});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
}

TEST(DirectoryIndex, ListInAHoleIsAnEmptyIndex) {
    const struct {
        const char* name;
        support::cluster_runs runs;
        bool result;
    } cases[] = {
        {"none", {}, false},
        {"a cluster", {{support::hole, 1}}, true},
        {"more than the source", {{support::hole, 0x10000}}, true},
        {"2 GiB", {{support::hole, 0x80000}}, true},
        {"16 TiB", {{support::hole, 0xFFFFFFFF}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        listed_index directory;
        directory.image.entry(64).attribute_list_runs(c.runs, {.real = 32, .initialized = 32});
        open_volume volume(directory.image);
        EXPECT_THAT(children_of(volume, 64, c.result), IsEmpty());
    }
}

TEST(DirectoryIndex, ListWithoutInitializedBytesIsAnEmptyIndex) {
    listed_index directory;
    directory.image.entry(64).attribute_list_runs({{1000000, 1}}, {.real = 32, .initialized = 0});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, ListWithoutIndexIsAnEmptyIndex) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {{.type = support::type::data, .record = file_reference(65, 1)}});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, OnlyTheFirstListEntryOfATypeIsFollowed) {
    listed_index directory;
    directory.image.entry(67)
        .base(file_reference(64, 1))
        .nonresident(support::type::index_allocation, u"$I30",
                     directory.image.store(block_with(72)), {.start_vcn = 1});
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66), listed_index::allocation(67)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, ListIsIgnoredIfThereIsAnAllocation) {
    listed_index directory;
    const support::cluster_runs runs = directory.image.store(block_with(73));
    directory.image.entry(64)
        .attribute_list({listed_index::root(65), listed_index::allocation(66)})
        .nonresident(support::type::index_allocation, u"$I30", runs);
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(73));
}

TEST(DirectoryIndex, ListedRootIsIgnoredIfThereIsARoot) {
    listed_index directory;
    directory.image.entry(64)
        .attribute_list({listed_index::root(65), listed_index::allocation(66)})
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(80)})));
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(71, 80));
}

TEST(DirectoryIndex, ListedPartsInTheOwnRecordAreIgnored) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::allocation(64), listed_index::root(65)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, ListedRootInTheOwnRecordIsIgnoredEvenIfItExists) {
    // The name of the root extends past the end of its attribute, so only a search by list could
    // find it.
    ntfs_image image;
    image.entry(64).flags(3).attribute_list({listed_index::root(64)});
    image.entry(64).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    const std::size_t at = image.entry(64).attribute_offset(support::type::index_root, u"$I30");
    const std::uint32_t length = ql::le32(image.entry(64).build_before_fixup(), at + 4);
    const support::bytes name = support::as_bytes(u"$I30");
    for (std::size_t i = 0; i < name.size(); ++i) {
        image.entry(64).put_before_fixup(at + length - 7 + i, name[i], 1);
    }
    image.entry(64).put_before_fixup(at + 10, length - 7, 2);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, UnreadableListedRecordFails) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(0x100000)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
}

TEST(DirectoryIndex, ListedRecordWithoutThePartIsSkipped) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(65)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, NamesInTheListAreComparedExactly) {
    for (const std::u16string name : {u"$I31", u"$i30", u"$I300", u""}) {
        listed_index directory;
        support::list_entry root = listed_index::root(65);
        root.name = name;
        directory.image.entry(64).attribute_list({root});
        open_volume volume(directory.image);
        EXPECT_THAT(children_of(volume, 64), IsEmpty());
    }
}

TEST(DirectoryIndex, NoDamagedByteOfADirectoryIsFatal) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    const support::byte_image valid = directory.image.build();
    std::fstream file(volume.path, std::ios::in | std::ios::out | std::ios::binary);
    for (const std::uint64_t entry : {64u, 65u, 66u}) {
        const std::uint64_t pos = directory.image.record_pos(entry);
        for (std::size_t at = 0; at < 400; ++at) {
            SCOPED_TRACE(testing::Message() << entry << " " << at);
            for (const char damage : {'\xFF', '\x00', '\x81'}) {
                file.seekp(static_cast<std::streamoff>(pos + at)).put(damage).flush();
                entry_set children;
                static_cast<void>(volume.ntfs.get_children(64, children, false));
                EXPECT_LE(children.size(), 4u);
            }
            file.seekp(static_cast<std::streamoff>(pos + at))
                .put(static_cast<char>(valid.get(pos + at, 1)))
                .flush();
        }
    }
}

}  // namespace
