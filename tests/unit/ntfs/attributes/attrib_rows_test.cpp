#include "ntfs/attributes/attrib_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The rows of entry 64 of a volume.
std::vector<NTFS_ATTRIB_ROW> rows_of(const support::ntfs_image& image) {
    open_volume volume(image);
    EXPECT_TRUE(volume.opened);
    std::vector<NTFS_ATTRIB_ROW> rows;
    EXPECT_TRUE(volume.ntfs.get_attrib_rows(64, rows));
    return rows;
}

// The rows of entry 64 with the given attributes.
template <class Fill>
std::vector<NTFS_ATTRIB_ROW> rows_of_entry(Fill fill) {
    support::ntfs_image image;
    fill(image.entry(64));
    return rows_of(image);
}

std::vector<std::uint32_t> types_of(const std::vector<NTFS_ATTRIB_ROW>& rows) {
    std::vector<std::uint32_t> types;
    for (const NTFS_ATTRIB_ROW& row : rows)
        types.push_back(row.type);
    return types;
}

// Returns true if the body bytes from offset `from` are zero.
bool is_zero_from(const NTFS_ATTRIB_ROW& row, std::size_t from) {
    return std::all_of(row.body.begin() + static_cast<std::ptrdiff_t>(from), row.body.end(),
                       [](std::uint8_t byte) { return byte == 0; });
}

TEST(AttribRows, BodyHas55Bytes) { EXPECT_EQ(sizeof(NTFS_ATTRIB_ROW::body), 55u); }

// The record is at the start of the volume, where entries are read if the volume is not open.
TEST(AttribRows, RecordOfAVolumeThatIsNotOpenIsNotUsed) {
    support::ntfs_image image;
    image.entry(64);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const std::string content = support::read_file(volume.path);
    std::fstream(volume.path, std::ios::in | std::ios::out | std::ios::binary)
        << content.substr(image.record_pos(64), 1024);
    volume.ntfs.m_Validated = false;

    std::vector<NTFS_ATTRIB_ROW> rows(1);
    EXPECT_FALSE(volume.ntfs.get_attrib_rows(64, rows));
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_FALSE(listing_rows(volume.ntfs).read(64));
    NTFS_ENTRY_STORE store;
    mft_entries_ctx context;
    EXPECT_FALSE(volume.ntfs.categorize_entry(store, context, 64, false));
}

TEST(AttribRows, RecordHeaderRowDescribesTheRecord) {
    const struct {
        const char* name;
        std::uint16_t record_flags;
        std::uint16_t links;
        std::uint64_t base;
        std::uint8_t flags;
    } cases[] = {
        {"file in use", 1, 1, 0, 0x0C},      {"deleted file", 0, 1, 0, 0x0D},
        {"directory", 3, 1, 0, 0x0E},        {"deleted directory", 2, 0, 0, 0x07},
        {"fifteen links", 1, 15, 0, 0x7C},   {"sixteen links", 1, 16, 0, 0x04},
        {"seventeen links", 1, 17, 0, 0x0C}, {"extension", 1, 0, file_reference(70, 2), 0x84},
        {"other flags", 0xFFFD, 0, 0, 0x04},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto rows = rows_of_entry([&](auto& entry) {
            entry.flags(c.record_flags).link_count(c.links).base(c.base).sequence(0x4321);
        });
        ASSERT_THAT(rows, SizeIs(1));
        const NTFS_ATTRIB_ROW& head = rows[0];
        EXPECT_EQ(head.type, 272u);
        EXPECT_EQ(head.attrib_id, 0);
        EXPECT_EQ(head.attrib_flags, 0);
        EXPECT_EQ(head.file_ref, 64u);
        EXPECT_EQ(head.nonresident, 0);
        EXPECT_EQ(head.record_size, 1024u);
        EXPECT_EQ(ql::le64(head.body, 0), 64u);
        EXPECT_EQ(head.body[8], c.flags);
        EXPECT_EQ(ql::le64(head.body, 9), c.base);
        EXPECT_TRUE(is_zero_from(head, 17));
    }
}

TEST(AttribRows, RowsAreSortedByKindThenIdThenType) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.data("x").id(9);
        entry.stream(u"s", "x").id(4);
        entry.resident(support::type::ea, u"", {1}).id(4);
        entry.file_name(5, u"b").id(1);
        entry.file_name(5, u"a").id(2);
        entry.standard_information().id(8);
    });
    EXPECT_THAT(types_of(rows), ElementsAre(272, 0x10, 0x30, 0x30, 0x80, 0xE0, 0x80));
    EXPECT_EQ(rows[2].file_name, "a");
    EXPECT_EQ(rows[3].file_name, "b");
    EXPECT_EQ(rows[4].name, "s");
    EXPECT_EQ(rows[6].attrib_id, 9);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].file_ref, file_reference(64, 1)) << i;
        EXPECT_EQ(rows[i].record_size, 1024u) << i;
    }
}

TEST(AttribRows, StandardInformationRowHasAccessedBeforeMftChanged) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry
            .standard_information({.times = {.created = 0x0102030405060708,
                                             .modified = 2,
                                             .mft_changed = 3,
                                             .accessed = 4},
                                   .attributes = 0x80000021})
            .id(7);
    });
    ASSERT_THAT(rows, SizeIs(2));
    const NTFS_ATTRIB_ROW& row = rows[1];
    EXPECT_EQ(row.type, 0x10u);
    EXPECT_EQ(row.attrib_id, 0);
    EXPECT_EQ(ql::le64(row.body, 0), 0x0102030405060708u);
    EXPECT_EQ(ql::le64(row.body, 8), 2u);
    EXPECT_EQ(ql::le64(row.body, 16), 4u);
    EXPECT_EQ(ql::le64(row.body, 24), 3u);
    EXPECT_EQ(ql::le32(row.body, 32), 0x80000021u);
    EXPECT_TRUE(is_zero_from(row, 36));
    EXPECT_THAT(row.value, IsEmpty());
}

TEST(AttribRows, StandardInformationRowsAreSortedById) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.standard_information({.attributes = 5}).id(5);
        entry.standard_information({.attributes = 3}).id(3);
    });
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(ql::le32(rows[1].body, 32), 3u);
    EXPECT_EQ(ql::le32(rows[2].body, 32), 5u);
}

TEST(AttribRows, FileNameRowHasItsOwnOrderOfTimes) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry
            .file_name(40, u"\U0001F600.txt",
                       {.space = support::win32_and_dos,
                        .times = {.created = 1, .modified = 2, .mft_changed = 3, .accessed = 4},
                        .parent_sequence = std::uint16_t{6},
                        .allocated = 4096,
                        .real = 4000,
                        .flags = 0x12345678})
            .id(5);
    });
    ASSERT_THAT(rows, SizeIs(2));
    const NTFS_ATTRIB_ROW& row = rows[1];
    EXPECT_EQ(row.type, 0x30u);
    EXPECT_EQ(row.attrib_id, 5);
    EXPECT_EQ(row.file_name, "\xf0\x9f\x98\x80.txt");
    EXPECT_EQ(row.name, "");
    EXPECT_EQ(ql::le64(row.body, 0), file_reference(40, 6));
    EXPECT_EQ(ql::le64(row.body, 8), 1u);
    EXPECT_EQ(ql::le64(row.body, 16), 2u);
    EXPECT_EQ(ql::le64(row.body, 24), 4u);
    EXPECT_EQ(ql::le64(row.body, 32), 3u);
    EXPECT_EQ(ql::le64(row.body, 40), 4000u);
    EXPECT_EQ(row.body[48], 3);
    EXPECT_EQ(row.body[49], 0x78);
    EXPECT_TRUE(is_zero_from(row, 50));
}

TEST(AttribRows, BothNamesOfAFileHaveRowsInKeyOrder) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.file_name(5, u"Long name", {.space = support::win32});
        entry.file_name(5, u"LONGNA~1", {.space = support::dos});
    });
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(rows[1].file_name, "LONGNA~1");
    EXPECT_EQ(rows[2].file_name, "Long name");
}

TEST(AttribRows, EachHardLinkHasARow) {
    const auto rows = rows_of_entry(
        [](auto& entry) { entry.file_name(41, u"b").file_name(5, u"c").file_name(40, u"a"); });
    ASSERT_THAT(rows, SizeIs(4));
    EXPECT_EQ(rows[0].body[8], 0x04 | 3 << 3);
    EXPECT_EQ(rows[1].file_name, "c");
    EXPECT_EQ(rows[2].file_name, "a");
    EXPECT_EQ(rows[3].file_name, "b");
}

TEST(AttribRows, ResidentRowHasLengthAndValue) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.resident(support::type::data, u"zone", support::as_bytes("[x]"), {.flags = 0x4001})
            .id(3);
    });
    ASSERT_THAT(rows, SizeIs(2));
    const NTFS_ATTRIB_ROW& row = rows[1];
    EXPECT_EQ(row.type, 0x80u);
    EXPECT_EQ(row.attrib_id, 3);
    EXPECT_EQ(row.attrib_flags, 0x4001);
    EXPECT_EQ(row.nonresident, 0);
    EXPECT_EQ(row.name, "zone");
    EXPECT_EQ(row.file_name, "");
    EXPECT_EQ(ql::le32(row.body, 0), 3u);
    EXPECT_TRUE(is_zero_from(row, 4));
    EXPECT_EQ(row.value, support::as_bytes("[x]"));
    EXPECT_THAT(row.runs, IsEmpty());
}

TEST(AttribRows, ValueOfARecordsLengthIsNotCopied) {
    const struct {
        std::uint32_t length;
        std::size_t copied;
    } cases[] = {{1023, 1024 - 56 - 24}, {1024, 0}, {0xFFFFFFFF, 0}, {0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        const auto rows =
            rows_of_entry([&](auto& entry) { entry.data("abc").edit(16, c.length, 4); });
        ASSERT_THAT(rows, SizeIs(2));
        EXPECT_EQ(ql::le32(rows[1].body, 0), c.length);
        ASSERT_THAT(rows[1].value, SizeIs(c.copied));
        if (c.copied == 0) continue;
        EXPECT_EQ(rows[1].value[0], 'a');  // to the end of the record
    }
}

TEST(AttribRows, NonResidentRowHasItsSizes) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.base(0)
            .data_runs({{100, 2}, {support::hole, 14}}, {.allocated = 0x10000,
                                                         .real = 0x9000,
                                                         .initialized = 0x8000,
                                                         .compressed = 0x2000,
                                                         .unit = 4,
                                                         .flags = 1})
            .id(2);
    });
    ASSERT_THAT(rows, SizeIs(2));
    const NTFS_ATTRIB_ROW& row = rows[1];
    EXPECT_EQ(row.nonresident, 1);
    EXPECT_EQ(row.attrib_flags, 1);
    EXPECT_EQ(ql::le64(row.body, 0), 64u);
    EXPECT_EQ(ql::le64(row.body, 8), 0x10000u);
    EXPECT_EQ(ql::le64(row.body, 16), 0x9000u);
    EXPECT_EQ(ql::le64(row.body, 24), 0x8000u);
    EXPECT_EQ(ql::le64(row.body, 32), 0x2000u);
    EXPECT_EQ(ql::le32(row.body, 40), 0u);
    EXPECT_EQ(row.body[44], 4);
    EXPECT_TRUE(is_zero_from(row, 45));
    ASSERT_THAT(row.runs, SizeIs(2));
    EXPECT_EQ(row.runs[0].lcn, 100u);
    EXPECT_EQ(row.runs[1].sparse, 1);
    EXPECT_THAT(row.value, IsEmpty());
}

TEST(AttribRows, OnlyCompressedAttributesHaveACompressedSize) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.data_runs({{100, 2}}, {.compressed = 0x2000, .unit = 4, .flags = 0x8000});
    });
    EXPECT_EQ(ql::le64(rows[1].body, 32), 0u);
    EXPECT_EQ(rows[1].body[44], 4);
}

TEST(AttribRows, OwnerOfAnExtensionsDataIsItsBase) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.base(file_reference(70, 3)).data_runs({{100, 1}});
    });
    EXPECT_EQ(ql::le64(rows[1].body, 0), file_reference(70, 3));
}

TEST(AttribRows, OnlyAnObjectIdOf16BytesIsInTheBody) {
    const support::bytes id = support::pattern(64);
    const auto with = [&](std::size_t size) {
        return rows_of_entry([&](auto& entry) {
            entry.object_id(std::span<const std::uint8_t>(id).first(size));
        })[1];
    };
    const NTFS_ATTRIB_ROW exact = with(16);
    EXPECT_TRUE(std::equal(id.begin(), id.begin() + 16, exact.body.begin()));
    EXPECT_TRUE(is_zero_from(exact, 16));

    const NTFS_ATTRIB_ROW large = with(64);
    EXPECT_EQ(ql::le32(large.body, 0), 64u);
    EXPECT_TRUE(is_zero_from(large, 4));
    EXPECT_THAT(large.value, SizeIs(64));
}

TEST(AttribRows, ObjectIdBelow16BytesHasNoRow) {
    EXPECT_THAT(rows_of_entry([](auto& entry) {
                    entry.resident(support::type::object_id, u"", support::bytes(15));
                }),
                SizeIs(1));
}

TEST(AttribRows, VolumeNameRowIsNamedByItsValue) {
    const support::bytes value = support::as_bytes(u"Data");
    EXPECT_EQ(rows_of_entry(
                  [&](auto& entry) { entry.resident(support::type::volume_name, u"", value); })[1]
                  .name,
              "Data");
    EXPECT_EQ(rows_of_entry([&](auto& entry) {
                  entry.resident(support::type::volume_name, u"own", value);
              })[1]
                  .name,
              "own");
}

TEST(AttribRows, ReparsePointRowHasNoTarget) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.reparse(support::mount_point_tag, u"\\??\\C:\\x", {.print = u"C:\\x"});
    });
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[1].type, 0xC0u);
    EXPECT_EQ(rows[1].file_name, "");
    EXPECT_EQ(rows[1].name, "");
}

TEST(AttribRows, UnknownTypesKeepTheirType) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.resident(0x4711, u"", {1}).id(1);
        entry.resident(0x4712, u"", {1, 2}).id(1);
        entry.resident(0x4712, u"", {1, 2, 3}).id(2);
    });
    // The first two have the same key: id 1 and an unknown type.
    EXPECT_THAT(types_of(rows), ElementsAre(272, 0x4711, 0x4712));
    EXPECT_EQ(ql::le32(rows[2].body, 0), 3u);
}

TEST(AttribRows, AttributeThatIsListedAgainAddsNoRuns) {
    // If they were joined again, its runs would get other VCNs than before.
    support::ntfs_image image;
    image.entry(65)
        .base(file_reference(64, 1))
        .data_runs({{100, 2}, {200, 2}, {300, 2}}, {.start_vcn = 1})
        .id(3);
    image.entry(64).attribute_list(std::vector<support::list_entry>(
        20, {.type = 0x80, .record = file_reference(65, 1), .id = 3}));
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_THAT(rows[1].runs, SizeIs(3));
}

TEST(AttribRows, SplitUnnamedDataIsOneRowWithTheSizesOfItsFirstPart) {
    support::ntfs_image image;
    image.entry(65)
        .base(file_reference(64, 1))
        .data_runs({{100, 4}}, {.allocated = 6 * 4096, .real = 24000, .start_vcn = 0})
        .id(3);
    image.entry(66)
        .base(file_reference(64, 1))
        .data_runs({{200, 2}}, {.allocated = 0, .real = 0, .start_vcn = 4})
        .id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(ql::le64(rows[1].body, 8), 6u * 4096);
    EXPECT_EQ(ql::le64(rows[1].body, 16), 24000u);
    EXPECT_EQ(rows[1].attrib_id, 3);
    ASSERT_THAT(rows[1].runs, SizeIs(2));
    EXPECT_EQ(rows[1].runs[1].lcn, 200u);
    EXPECT_EQ(rows[1].runs[1].vcn, 4u);
}

TEST(AttribRows, PartInTheBaseRecordHasTheSizes) {
    support::ntfs_image image;
    image.entry(65)
        .base(file_reference(64, 1))
        .data_runs({{100, 4}}, {.allocated = 6 * 4096, .start_vcn = 0})
        .id(3);
    image.entry(64)
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                         {.type = 0x80, .record = file_reference(64, 1), .id = 1}})
        .data_runs({{200, 2}}, {.allocated = 0x1234, .start_vcn = 4})
        .id(1);
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(ql::le64(rows[1].body, 8), 0x1234u);
    EXPECT_EQ(rows[1].attrib_id, 1);
    EXPECT_EQ(rows[1].runs[0].lcn, 100u);
    EXPECT_EQ(rows[1].runs[1].vcn, 4u);
}

TEST(AttribRows, ContinuedNamedStreamHasARowForEachPart) {
    support::ntfs_image image;
    image.entry(65)
        .base(file_reference(64, 1))
        .stream_runs(u"s", {{200, 2}}, {.allocated = 0, .start_vcn = 4})
        .id(9);
    image.entry(64)
        .attribute_list({{.type = 0x80, .name = u"s", .record = file_reference(64, 1), .id = 1},
                         {.type = 0x80, .name = u"s", .record = file_reference(65, 1), .id = 9}})
        .stream_runs(u"s", {{100, 4}})
        .id(1);
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(rows[1].name, "s");
    EXPECT_EQ(rows[2].name, "s");
    EXPECT_EQ(ql::le64(rows[1].body, 8), 4u * 4096);
    EXPECT_EQ(ql::le64(rows[2].body, 8), 0u);
}

TEST(AttribRows, NamedStreamWithTheIdOfUnnamedDataHasNoRow) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(0);
    image.entry(66).base(file_reference(64, 1)).stream_runs(u"s", {{200, 2}}).id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[1].name, "");
    EXPECT_THAT(rows[1].runs, SizeIs(1));
}

// The attribute ends after the lowest byte of its value length. The bytes after it in the record
// complete that field to a larger length, and contain a value of that length.
TEST(AttribRows, ObjectIdHas16BytesRegardlessOfTheRecord) {
    support::byte_image attribute(17);
    attribute.put(0, 0x40, 4).put(4, 17, 4).put(16, 16, 1);
    support::ntfs_image image;
    image.entry(64).keep_order().raw_attribute(attribute.bytes());
    const std::uint64_t at = image.entry(64).build_before_fixup().size() - 1024 + 56;
    image.entry(64).put_before_fixup(at + 17, 2, 1).put_before_fixup(at + 20, 40, 2);
    for (std::size_t i = 0; i < 300; ++i)
        image.entry(64).put_before_fixup(at + 40 + i, 0x50 + i % 16, 1);
    open_volume volume(image);
    std::vector<NTFS_ATTRIB_ROW> rows;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, rows));
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[1].type, 0x40u);
    EXPECT_EQ(ql::le64(rows[1].body, 0), 0x5756555453525150u);
    EXPECT_EQ(ql::le64(rows[1].body, 8), 0x5F5E5D5C5B5A5958u);
    EXPECT_TRUE(is_zero_from(rows[1], 16));
}

TEST(AttribRows, HeaderFieldsPastTheAttributesLengthAreZero) {
    for (const std::uint32_t length : {8u, 12u, 15u, 17u, 18u}) {
        SCOPED_TRACE(length);
        support::byte_image attribute(length);
        attribute.put(0, 0x80, 4).put(4, length, 4);
        for (std::uint32_t i = 8; i < length; ++i)
            attribute.put(i, i == 8 || i == 9 ? 0 : i, 1);  // resident, without a name
        support::ntfs_image image;
        image.entry(64).keep_order().raw_attribute(attribute.bytes());
        // The bytes after the attribute would be its flags, id and value length.
        for (std::size_t at = 56 + length; at < 56 + 24; ++at)
            image.entry(64).put_before_fixup(at, 0x11, 1);
        open_volume volume(image);
        std::vector<NTFS_ATTRIB_ROW> rows;
        ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, rows));
        ASSERT_THAT(rows, SizeIs(2));
        const std::uint64_t own = ql::le64(attribute.bytes(), 12);
        EXPECT_EQ(rows[1].attrib_flags, static_cast<std::uint16_t>(own));
        EXPECT_EQ(rows[1].attrib_id, static_cast<std::uint16_t>(own >> 16));
        EXPECT_EQ(ql::le32(rows[1].body, 0), static_cast<std::uint32_t>(own >> 32));
    }
}

TEST(AttribRows, ValueWithTheIdOfRunsDoesNotChangeThem) {
    const auto rows = rows_of_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}, {.start_vcn = 7}).id(1);
        entry.stream(u"s", "value").id(1);
    });
    ASSERT_THAT(rows, SizeIs(2));
    ASSERT_THAT(rows[1].runs, SizeIs(1));
    EXPECT_EQ(rows[1].runs[0].vcn, 7u);
}

TEST(AttribRows, BadRecordHasNoRows) {
    support::ntfs_image image;
    image.entry(64).keyword("BAAD").data("x");
    open_volume volume(image);
    std::vector<NTFS_ATTRIB_ROW> rows(3);
    EXPECT_FALSE(volume.ntfs.get_attrib_rows(64, rows));
    EXPECT_THAT(rows, IsEmpty());
}

TEST(AttribRows, VolumeThatIsNotOpenHasNoRows) {
    CNtfs ntfs(nullptr, 0, 33);
    std::vector<NTFS_ATTRIB_ROW> rows(3);
    EXPECT_FALSE(ntfs.get_attrib_rows(5, rows));
    EXPECT_THAT(rows, IsEmpty());
}

TEST(AttribRows, RowsReplaceThoseOfThePreviousCall) {
    support::ntfs_image image;
    image.entry(64).standard_information().file_name(5, u"a rather long name of a file").data("x");
    image.entry(65).data("y");
    open_volume volume(image);
    std::vector<NTFS_ATTRIB_ROW> rows;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, rows));
    EXPECT_THAT(types_of(rows), ElementsAre(272, 0x10, 0x30, 0x80));
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(65, rows));
    EXPECT_THAT(types_of(rows), ElementsAre(272, 0x80));
    EXPECT_EQ(rows[1].file_name, "");
    EXPECT_EQ(rows[1].value, support::as_bytes("y"));
    EXPECT_TRUE(is_zero_from(rows[1], 4));
}

TEST(AttribRows, RecordsOf4096BytesAreReadCompletely) {
    support::ntfs_image image({.record = 4096});
    image.entry(64).data(support::bytes(3000, 0x41)).id(1);
    image.entry(64).stream(u"far", "x").id(2);
    const auto rows = rows_of(image);
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_THAT(rows[1].value, SizeIs(3000));
    EXPECT_EQ(rows[1].record_size, 4096u);
    EXPECT_EQ(rows[2].name, "far");
}

}  // namespace
