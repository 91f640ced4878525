// Tests attributes in the extension records that an attribute list names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/run_list.h"
#include "unit/ntfs/attributes/categorized_entry.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace entry_passes;

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

TEST(AttribPass, ListedAttributesOfExtensionsAreTaken) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(3);
    image.entry(66).base(file_reference(64, 1)).data_runs({{200, 2}}, {.start_vcn = 4}).id(0);
    image.entry(66).stream(u"not listed", "x").id(1);
    image.entry(64).standard_information().attribute_list(
        {{.type = 0x10, .record = file_reference(64, 1), .id = 0},
         {.type = 0x80, .record = file_reference(65, 1), .id = 3},
         {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_TRUE(pass.result);
    EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(3, 0x80), "unnamed data")));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(3, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
    EXPECT_EQ(pass.trace,
              "->primary entry 64 pointing to ref entry 65\n"
              "->primary entry 64 pointing to ref entry 66\n");
}

TEST(AttribPass, KeysOfNamesInExtensionsHaveTheBaseEntry) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).file_name(5, u"far").id(3);
    image.entry(64).attribute_list({{.type = 0x30, .record = file_reference(65, 1), .id = 3}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.file_names, SizeIs(1));
    EXPECT_EQ(pass.store.file_names.begin()->first, "00000005_far_00000040");
}

TEST(AttribPass, AllMatchesOfAListEntryAreTaken) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).standard_information({.attributes = 1}).id(3);
    image.entry(65).file_name(5, u"a").id(4);
    image.entry(65).file_name(5, u"b").id(4);
    image.entry(64).attribute_list({{.type = 0x30, .record = file_reference(65, 0x4444), .id = 4}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(pass.store.file_names, SizeIs(2));
    EXPECT_THAT(pass.store.std_infos, IsEmpty());
}

TEST(AttribPass, FirstOfTwoStreamsWithTheSameIdIsKept) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"111", "one").id(0);
    image.entry(66).base(file_reference(64, 1)).stream(u"333", "three").id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.store.attributes.at(key_of(0, 0x80)).attrib_name, L"111");
}

TEST(AttribPass, NamedStreamWithTheIdOfUnnamedDataIsNotJoined) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(0);
    image.entry(66)
        .base(file_reference(64, 1))
        .stream_runs(u"s", {{200, 2}}, {.start_vcn = 4})
        .id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(0, 0x80));
    EXPECT_EQ(item.label, "unnamed data");
    EXPECT_THAT(runs_of(item.runs), ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, UnusableExtensionIsSkipped) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
        const char* trace;
    } cases[] = {
        {"BAAD", 0, 0x44414142, 4, "->err: fixup_mft type: BAAD\n"},
        {"INDX", 0, 0x58444E49, 4, ""},
        {"foreign", 0, 0, 4, ""},
        {"no first attribute", 20, 0, 2, ""},
        {"sequence array at 42", 4, 42, 2, ""},
        {"first attribute of a record's length", 56 + 4, 1024, 4, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).data("x").id(0);
        image.entry(66).base(file_reference(64, 1)).stream(u"s", "x").id(7);
        image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                        {.type = 0x80, .record = file_reference(66, 1), .id = 7}});
        image.put(image.record_pos(65) + c.at, c.value, c.width);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(7, 0x80), "ads")));
        EXPECT_EQ(pass.trace, std::string("->primary entry 64 pointing to ref entry 65\n") +
                                  c.trace + "->primary entry 64 pointing to ref entry 66\n");
    }
}

TEST(AttribPass, ListEntryOfAMissingRecordIsIgnored) {
    support::ntfs_image image;
    image.entry(64).data("x").id(1).attribute_list(
        {{.type = 0x80, .record = file_reference(0x123456789ABC, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.trace, "->primary entry 64 pointing to ref entry 20015998343868\n");
}

TEST(AttribPass, WalkOfAnExtensionEndsAtItsEndMarkerAndAtLengthZero) {
    for (const std::uint32_t type : {0xFFFFFFFFu, 0xD0u}) {
        SCOPED_TRACE(type);
        support::ntfs_image image;
        auto& extension = image.entry(65);
        extension.keep_order().base(file_reference(64, 1)).stream(u"in front", "x").id(3);
        support::bytes raw(16);
        for (std::size_t i = 0; i < 4; ++i)
            raw[i] = static_cast<std::uint8_t>(type >> (i * 8));
        if (type == 0xFFFFFFFF) raw[4] = 16;
        extension.raw_attribute(raw).stream(u"beyond", "x").id(4);
        image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                        {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
        open_volume volume(image);
        EXPECT_THAT(labels_of(categorized(volume, 64).store),
                    ElementsAre(Pair(key_of(3, 0x80), "ads")));
    }
}

TEST(AttribPass, WalkOfAnExtensionEndsWithItsRecord) {
    support::ntfs_image image;
    auto& extension = image.entry(65);
    extension.base(file_reference(64, 1)).stream(u"long", "x").id(3).edit(4, 1024 - 56, 4);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                    {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(3, 0x80), "ads")));
    EXPECT_THAT(pass.store.attributes.at(key_of(3, 0x80)).raw, SizeIs(1024 - 56));
}

TEST(AttribPass, AttributePastTheEndOfAnExtensionEndsItsWalk) {
    support::ntfs_image image;
    auto& extension = image.entry(65);
    extension.keep_order().base(file_reference(64, 1)).stream(u"in front", "x").id(3);
    extension.stream(u"too long", "x").id(4).edit(4, 1020, 4);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                    {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(3, 0x80), "ads")));
}

TEST(AttribPass, ListOfAnExtensionIsNotExpanded) {
    support::ntfs_image image;
    image.entry(66).base(file_reference(64, 1)).data("x").id(0);
    image.entry(65)
        .base(file_reference(64, 1))
        .attribute_list({{.type = 0x80, .record = file_reference(66, 1), .id = 0}})
        .id(2);
    image.entry(64).attribute_list({{.type = 0x20, .record = file_reference(65, 1), .id = 2}});
    open_volume volume(image);
    EXPECT_THAT(categorized(volume, 64).store.attributes, IsEmpty());
}

TEST(AttribPass, AllListsBeforeDamageAreExpanded) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"one", "x").id(1);
    image.entry(66).base(file_reference(64, 1)).stream(u"two", "x").id(2);
    image.entry(64)
        .keep_order()
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
        .attribute_list({{.type = 0x80, .record = file_reference(66, 1), .id = 2}})
        .raw_attribute({0xD0, 0, 0, 0, 0xE0, 0x03, 0, 0})
        .data("beyond the damage");
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads"), Pair(key_of(2, 0x80), "ads")));
}

TEST(AttribPass, ListWithoutValueIsIgnored) {
    for (const std::size_t at : {16u, 20u}) {
        SCOPED_TRACE(at);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).data("x").id(1);
        image.entry(64)
            .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
            .edit(at, 0, at == 16 ? 4 : 2);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(pass.store.attributes, IsEmpty());
        EXPECT_EQ(pass.trace, "");
    }
}

TEST(AttribPass, ListInClustersIsExpanded) {
    support::ntfs_image image({.cluster = 512});
    std::vector<support::list_entry> entries;
    for (std::uint16_t i = 0; i < 40; ++i) {  // 32 bytes each: three clusters
        entries.push_back({.type = 0x80, .record = file_reference(65, 1), .id = i});
        if (i % 8 == 7) image.entry(65).stream(std::u16string(1, char16_t(u'a' + i)), "x").id(i);
    }
    image.entry(65).base(file_reference(64, 1));
    const support::bytes list = support::attribute_list_value(entries);
    const support::cluster_runs runs = image.store(list, 3);
    image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(labels_of(pass.store),
                ElementsAre(Pair(key_of(7, 0x80), "ads"), Pair(key_of(15, 0x80), "ads"),
                            Pair(key_of(23, 0x80), "ads"), Pair(key_of(31, 0x80), "ads"),
                            Pair(key_of(39, 0x80), "ads")));
}

TEST(AttribPass, OneByteOfAnEntryInClustersIsEnough) {
    for (const std::uint64_t real : {32u, 33u}) {
        SCOPED_TRACE(real);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
        const support::bytes list = support::attribute_list_value(
            {{.type = 0x10, .record = file_reference(64, 1), .id = 0},
             {.type = 0x80, .record = file_reference(65, 1), .id = 1}});
        image.entry(64).attribute_list_runs(image.store(list), {.real = real});
        open_volume volume(image);
        EXPECT_THAT(categorized(volume, 64).store.attributes, SizeIs(real - 32));
    }
}

TEST(AttribPass, UnreadableClusterOfAListEndsItsRunWithoutAGap) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    const support::bytes list =
        support::attribute_list_value({{.type = 0x80, .record = file_reference(65, 1), .id = 1}});
    const support::cluster_runs runs = image.store(list);
    // The first run is past the image, so the only readable cluster is the start of the list.
    image.entry(64).attribute_list_runs({{100000, 2}, runs[0]}, {.real = 32});
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads")));
}

TEST(AttribPass, HoleInAListIsReadAtTheStartOfTheVolume) {
    // As a list, the first cluster has one entry, whose length is the "TF" of the boot sector's
    // signature, and then the entry that is stored at that offset.
    constexpr std::uint64_t first_length = 0x4654;
    support::ntfs_image image({.cluster = 65536});
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.put_bytes(first_length, support::attribute_list_value(
                                      {{.type = 0x80, .record = file_reference(65, 1), .id = 1}}));
    image.entry(64).attribute_list_runs({{support::hole, 1}}, {.real = first_length + 32});
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads")));
}

TEST(AttribPass, TruncatedListLowersTheClusterSize) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.entry(64).standard_information();
    const std::uint64_t lcn = image.alloc(1);
    image.write_clusters(lcn, support::attribute_list_value(
                                  {{.type = 0x80, .record = file_reference(65, 1), .id = 1}}));
    image.entry(64).attribute_list_runs({{lcn, 1}}, {.real = 32});
    image.truncate(lcn * 4096 + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    // From here, the reader uses clusters of 512 bytes and no longer finds a record.
    EXPECT_THAT(categorized(volume, 64).store.attributes, IsEmpty());
    EXPECT_EQ(volume.ntfs.cluster_size(), 512u);
    EXPECT_FALSE(categorized(volume, 64).result);
}

TEST(AttribPass, FirstEntryIsReadThroughTheRunsOfTheTable) {
    support::ntfs_image image({.mirror_lcn = 40});
    image.put(48, 40, 8);                  // the boot sector points to the mirror
    image.put(40 * 4096 + 16, 0x4321, 2);  // the mirror has another sequence number
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    ASSERT_EQ(file_record{volume.ntfs.m_mft_record}.sequence_number(), 0x4321);
    const pass_result pass = categorized(volume, 0);
    ASSERT_TRUE(pass.result);
    EXPECT_EQ(pass.store.inode, 0u);
    EXPECT_EQ(pass.store.sequence, 1);
    EXPECT_EQ(pass.store.file_names.begin()->second.name, L"$MFT");
}

TEST(AttribPass, NoDamagedByteOfAnExtendedEntryIsFatal) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(3);
    image.entry(65).file_name(5, u"far").id(4);
    image.entry(64)
        .standard_information()
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                         {.type = 0x30, .record = file_reference(65, 1), .id = 4}})
        .file_name(5, u"near")
        .reparse(support::symbolic_link_tag, u"\\??\\C:\\x", {.print = u"C:\\x"})
        .stream(u"s", "content");
    open_volume volume(image);
    const support::byte_image valid = image.build();
    const std::uint64_t pos = image.record_pos(64);
    std::fstream file(volume.path, std::ios::in | std::ios::out | std::ios::binary);
    for (std::size_t at = 0; at < 600; ++at) {
        SCOPED_TRACE(at);
        for (const char damage : {'\xFF', '\x00', '\x80'}) {
            file.seekp(static_cast<std::streamoff>(pos + at)).put(damage).flush();
            NTFS_ENTRY_STORE store;
            mft_entries_ctx ctx;
            static_cast<void>(volume.ntfs.categorize_entry(store, ctx, 64, true));
            EXPECT_LE(store.attributes.size(), 10u);
        }
        file.seekp(static_cast<std::streamoff>(pos + at))
            .put(static_cast<char>(valid.get(pos + at, 1)))
            .flush();
    }
}

}  // namespace
