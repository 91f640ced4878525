#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/attributes/categorized_entry.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace entry_passes;

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

TEST(AttribPass, AttributeWithoutARequiredValueIsIgnored) {
    const struct {
        const char* name;
        std::uint32_t type;
        std::size_t at;
        std::size_t width;
    } cases[] = {
        {"0x10 without a length", 0x10, 16, 4}, {"0x10 without an offset", 0x10, 20, 2},
        {"0x30 without a length", 0x30, 16, 4}, {"0x30 without an offset", 0x30, 20, 2},
        {"0x40 without a length", 0x40, 16, 4}, {"0x40 without an offset", 0x40, 20, 2},
        {"0x70 without a length", 0x70, 16, 4}, {"0x70 without an offset", 0x70, 20, 2},
        {"0xC0 without a length", 0xC0, 16, 4}, {"0xC0 without an offset", 0xC0, 20, 2},
    };
    const support::bytes value =
        support::reparse_value(support::mount_point_tag, u"some target", {.print = u"some target"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto kept = [](const NTFS_ENTRY_STORE& store) {
            return store.std_infos.size() + store.file_names.size() + store.attributes.size();
        };
        EXPECT_EQ(kept(categorized_entry([&](auto& entry) {
                           entry.resident(c.type, u"", value).data("beyond");
                       }).store),
                  2u);
        EXPECT_EQ(kept(categorized_entry([&](auto& entry) {
                           entry.resident(c.type, u"", value).edit(c.at, 0, c.width).data("beyond");
                       }).store),
                  1u);
    }
}

TEST(AttribPass, ValueIsClippedToTheRecord) {
    const pass_result pass =
        categorized_entry([](auto& entry) { entry.data("abcd").id(1).edit(16, 0xFFFFFFFF, 4); });
    // The first attribute is at 56, and its value follows its 24-byte header.
    EXPECT_THAT(pass.store.attributes.at(key_of(1, 0x80)).resident_value, SizeIs(1024 - 56 - 24));
}

TEST(AttribPass, NameIsBoundedByItsUnitsNotItsBytes) {
    support::ntfs_image image;
    image.entry(64).stream(u"ab", "x").id(1);
    // The attribute starts at 56, 968 bytes before the end of the record.
    const struct {
        const char* name;
        std::uint16_t offset;
        std::uint8_t units;
        std::wstring expected;
    } cases[] = {
        {"inside", 24, 2, L"ab"},
        {"no offset", 0, 2, L""},
        {"no length", 24, 0, L""},
        {"units up to the end", 968 - 4, 4, L"\x3131\x3232"},
        {"one unit too many", 968 - 4, 5, L""},
    };
    image.entry(64).put_before_fixup(1020, 0x32323131, 4);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        image.entry(64).put_before_fixup(56 + 10, c.offset, 2);
        image.entry(64).put_before_fixup(56 + 9, c.units, 1);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        ASSERT_TRUE(pass.result);
        EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).attrib_name, c.expected);
    }
}

TEST(AttribPass, NameThatStartsWithAZeroUnitIsIgnored) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream({u"\0b", 2}, "x").id(1).data_runs({{100, 4}}).id(2);
    });
    EXPECT_TRUE(pass.store.seen_unnamed_data);
    ASSERT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(1, 0x80), "unnamed data")));
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).attrib_name, L"");
    EXPECT_FALSE(pass.store.attributes.at(key_of(1, 0x80)).is_ads);
}

TEST(AttribPass, RunsOfANonResidentAttributeAreDecoded) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 2}, {support::hole, 3}, {90, 1}}).id(1);
    });
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0x80));
    EXPECT_THAT(runs_of(item.runs),
                ElementsAre(run_tuple{100, 0, 2}, run_tuple{0, 2, 3}, run_tuple{90, 5, 1}));
    EXPECT_EQ(item.runs[1].sparse, 1);
    EXPECT_THAT(item.resident_value, IsEmpty());
}

TEST(AttribPass, WalkEndsAtTheEndMarkerOrABadLength) {
    const struct {
        const char* name;
        support::bytes in_the_middle;
    } cases[] = {
        {"end marker", {0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length 0", {0xD0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length above the record", {0xD0, 0, 0, 0, 0x01, 0x04, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length past the end", {0xD0, 0, 0, 0, 0xD0, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const pass_result pass = categorized_entry([&](auto& entry) {
            entry.keep_order().data("in front").id(1);
            entry.raw_attribute(c.in_the_middle);
            entry.stream(u"beyond", "x");
        });
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(1, 0x80), "unnamed data")));
    }
}

TEST(AttribPass, AttributeMayEndWithTheRecord) {
    support::ntfs_image image;
    image.entry(64).data("x").id(1).edit(4, 1024 - 56, 4);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(pass.store.attributes.at(key_of(1, 0x80)).raw, SizeIs(1024 - 56));
}

TEST(AttribPass, RecordWithoutAFirstAttributeHasNone) {
    support::ntfs_image image;
    image.entry(64).data("x").put_before_fixup(20, 0, 2);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
    EXPECT_THAT(pass.store.record_bytes, SizeIs(1024));

    // With an update sequence count of 0, the header could be read as an attribute of 48 bytes.
    image.put(image.record_pos(64) + 6, 0, 2);
    open_volume uncounted(image);
    EXPECT_THAT(categorized(uncounted, 64).store.attributes, IsEmpty());
}

TEST(AttribPass, ListThatExtendsPastItsRecordIsNotExpanded) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.entry(64)
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
        .edit(4, 1020, 4);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
}

TEST(AttribPass, BadRecordIsRejectedAndTraced) {
    support::ntfs_image image;
    image.entry(64).keyword("BAAD").data("x");
    open_volume volume(image);
    pass_result pass = categorized(volume, 64);
    EXPECT_FALSE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
    EXPECT_EQ(pass.trace, "->err: fixup_mft type: BAAD\n->err: recd bad 40\n");
}

TEST(AttribPass, InvalidRecordIsRejectedAndTraced) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
    } cases[] = {
        {"other keyword", 0, 0x58585858, 4},
        {"array at 42", 4, 42, 2},
        {"ten words in the array", 6, 10, 2},
        {"first attribute at 73", 20, 73, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::ntfs_image image;
        image.entry(64).data("x");
        image.put(image.record_pos(64) + c.at, c.value, c.width);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_FALSE(pass.result);
        EXPECT_EQ(pass.trace, "->err: mftfixup 40\n");
    }
}

TEST(AttribPass, EntryPastTheTableIsRejectedAndTraced) {
    support::ntfs_image image;
    open_volume volume(image);
    EXPECT_EQ(categorized(volume, 0xABCDEF012345).trace, "->err: mftfixup abcdef012345\n");
}

TEST(AttribPass, UnreadableEntryIsTraced) {
    support::ntfs_image image;
    image.entry(64).data("x");
    const std::uint64_t end = image.build().size();
    image.entry(0).data_runs({{4, 16}, {end / 4096 + 1, 4}}, {.real = 80 * 1024});
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const pass_result pass = categorized(volume, 70);  // in the second run, past the image
    EXPECT_FALSE(pass.result);
    EXPECT_EQ(pass.trace, "->err: mftfixup 46\n");
}

TEST(AttribPass, RecordSizeAboveTheSourceReadsWhatIsThere) {
    open_volume volume(support::ntfs_image{});
    ASSERT_TRUE(volume.opened);
    const pass_result usual = categorized(volume, 5);
    volume.ntfs.m_mft_record_size = 0x80000000;
    const pass_result pass = categorized(volume, 5);
    EXPECT_TRUE(pass.result);
    EXPECT_EQ(pass.trace, "");
    EXPECT_EQ(labels_of(pass.store), labels_of(usual.store));
    EXPECT_EQ(pass.store.file_names.size(), usual.store.file_names.size());
}

TEST(AttribPass, IndexRecordWithItsOwnArrayOffsetIsAccepted) {
    support::ntfs_image image;
    // A FILE record with this array offset would not be valid.
    image.entry(64).usa_offset(64).first_attribute(80).keyword("INDX").data("x").id(1);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_EQ(pass.store.record_bytes, image.entry(64).build_before_fixup());
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
}

TEST(AttribPass, VolumeThatIsNotOpenHasNoEntries) {
    CNtfs ntfs(nullptr, 0, 33);
    NTFS_ENTRY_STORE store;
    store.inode = 7;
    mft_entries_ctx ctx;
    EXPECT_FALSE(ntfs.categorize_entry(store, ctx, 5, true));
    EXPECT_EQ(store.inode, 0u);
}

TEST(AttribPass, TruncatedRecordIsFilledWithZeros) {
    support::ntfs_image image;
    image.entry(64).data("in front").id(1);
    image.entry(64).stream(u"far", support::bytes(600, 0x77)).id(2);
    image.truncate(image.record_pos(64) + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const pass_result pass = categorized(volume, 64);
    ASSERT_TRUE(pass.result);
    EXPECT_THAT(pass.store.record_bytes, SizeIs(1024));
    const auto& value = pass.store.attributes.at(key_of(2, 0x80)).resident_value;
    EXPECT_THAT(value, SizeIs(600));
    EXPECT_EQ(value.back(), 0);
}

TEST(AttribPass, WrongCheckValueIsIgnored) {
    support::ntfs_image image;
    image.entry(64).data(support::bytes(600, 0x41)).id(1);
    image.put(image.record_pos(64) + 510, 0xDEAD, 2);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).resident_value, support::bytes(600, 0x41));
}

TEST(AttribPass, RecordSizeIsSetOnFirstUse) {
    support::ntfs_image image;
    image.entry(64).data("x");
    open_volume volume(image);
    mft_entries_ctx ctx;
    NTFS_ENTRY_STORE store;
    ASSERT_TRUE(volume.ntfs.categorize_entry(store, ctx, 64, true));
    EXPECT_EQ(ctx.record_size, 1024u);
    EXPECT_EQ(ctx.bytes_per_sector, 512);
    EXPECT_EQ(ctx.ntfs, &volume.ntfs);
    ctx.record_size = 512;
    ASSERT_TRUE(volume.ntfs.categorize_entry(store, ctx, 64, true));
    EXPECT_THAT(store.record_bytes, SizeIs(512));
}

}  // namespace
