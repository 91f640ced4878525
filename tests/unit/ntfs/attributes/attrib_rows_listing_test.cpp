// Tests the rows that a listing shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using testing::IsEmpty;
using testing::SizeIs;

// The rows of an entry for a listing.
std::vector<NTFS_ATTRIB_ROW> listing_rows_of(open_volume& volume, std::uint64_t inode) {
    listing_rows listed(volume.ntfs);
    EXPECT_TRUE(listed.read(inode));
    return listed.rows();
}

// Expects `listed` to be the rows of types 0x40, 0x80 and 0xA0 in `all`, without runs and values.
void expect_listed(const std::vector<NTFS_ATTRIB_ROW>& all,
                   const std::vector<NTFS_ATTRIB_ROW>& listed) {
    const auto is_listed = [](const NTFS_ATTRIB_ROW& row) {
        return row.type == 0x40 || row.type == 0x80 || row.type == 0xA0;
    };
    auto row = listed.begin();
    for (const NTFS_ATTRIB_ROW& expected : all) {
        if (!is_listed(expected)) continue;
        ASSERT_NE(row, listed.end());
        EXPECT_EQ(row->type, expected.type);
        EXPECT_EQ(row->attrib_id, expected.attrib_id);
        EXPECT_EQ(row->attrib_flags, expected.attrib_flags);
        EXPECT_EQ(row->file_ref, expected.file_ref);
        EXPECT_EQ(row->nonresident, expected.nonresident);
        EXPECT_EQ(row->body, expected.body);
        EXPECT_EQ(row->name, expected.name);
        EXPECT_EQ(row->record_size, expected.record_size);
        EXPECT_THAT(row->runs, IsEmpty());
        EXPECT_THAT(row->value, IsEmpty());
        ++row;
    }
    EXPECT_EQ(row, listed.end());
}

TEST(ListingRows, AreTheRowsAfterTheNames) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}, {.real = 3}).id(13);
    image.entry(65).stream_runs(u"far", {{300, 1}}).id(14);
    image.entry(65).stream_runs(u"far too", {{301, 1}}).id(13);
    image.entry(64)
        .standard_information()
        .file_name(5, u"name")
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 13},
                         {.type = 0x80, .record = file_reference(65, 1), .id = 14}})
        .data_runs({{200, 2}}, {.start_vcn = 4})
        .stream(u"near", "content")
        .object_id(support::pattern(16));
    open_volume volume(image);
    std::vector<NTFS_ATTRIB_ROW> all;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, all));
    ASSERT_THAT(all, SizeIs(8));
    expect_listed(all, listing_rows_of(volume, 64));
}

TEST(ListingRows, TruncatedRecordHasTheSameRowsAsInGetAttribRows) {
    support::ntfs_image image;
    image.entry(64).data("in front").id(1);
    image.entry(64).stream(u"far", support::bytes(600, 0x77)).id(2);
    image.truncate(image.record_pos(64) + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    std::vector<NTFS_ATTRIB_ROW> all;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, all));
    expect_listed(all, listing_rows_of(volume, 64));
}

TEST(ListingRows, NoDataOfThePreviousEntryIsKept) {
    support::ntfs_image image;
    const std::vector<support::list_entry> list{
        {.type = 0x80, .record = file_reference(62, 1), .id = 4}};
    image.entry(60).data(support::attribute_list_value(list));  // at the offset of the list of 63
    image.entry(61).data(support::bytes(800, 0x31)).id(1);
    image.entry(62).base(file_reference(63, 1)).stream(u"far", "x").id(4);
    image.entry(63).attribute_list(list).stream(u"near", "content");
    // The volume name starts before the end of the image. Its missing bytes must not be those of
    // the previous record.
    image.entry(64).data(support::bytes(400, 0x41)).id(1);
    image.entry(64)
        .resident(support::type::volume_name, u"", support::as_bytes(std::u16string(100, u'v')))
        .id(2);
    image.entry(64).keep_order();
    image.truncate(image.record_pos(64) + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    listing_rows listed(volume.ntfs);
    for (const std::uint64_t inode : {63u, 60u, 61u, 64u, 63u, 64u, 61u}) {
        SCOPED_TRACE(inode);
        std::vector<NTFS_ATTRIB_ROW> all;
        ASSERT_TRUE(volume.ntfs.get_attrib_rows(inode, all));
        ASSERT_TRUE(listed.read(inode));
        expect_listed(all, listed.rows());
    }
    std::vector<NTFS_ATTRIB_ROW> last;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(64, last));
    EXPECT_EQ(last.back().name, "vvvv");
}

TEST(ListingRows, KnownRecordHasTheSameRows) {
    support::ntfs_image image;
    image.file(5, u"file.txt", 60)
        .data("content")
        .stream(u"s", "12")
        .object_id(support::pattern(16));
    image.entry(61).data(support::bytes(900, 0x5A));
    image.entry(62).base(file_reference(63, 1)).stream_runs(u"far", {{300, 1}}).id(4);
    image.entry(63)
        .attribute_list({{.type = 0x80, .record = file_reference(62, 1), .id = 4}})
        .stream(u"near", "content");
    image.entry(64).keyword("INDX").data("index");
    image.entry(65).data("torn");
    image.put(image.record_pos(65) + 510, 0xDEAD, 2);
    image.entry(66).data("truncated").id(1);
    image.truncate(image.record_pos(66) + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    listing_rows listed(volume.ntfs);
    std::vector<std::uint8_t> record;
    whole_record known;
    for (const std::uint64_t inode : {60u, 61u, 63u, 64u, 65u, 66u, 0u, 5u, 63u, 60u}) {
        SCOPED_TRACE(inode);
        std::vector<NTFS_ATTRIB_ROW> all;
        ASSERT_TRUE(volume.ntfs.get_attrib_rows(inode, all));
        ASSERT_TRUE(volume.ntfs.read_record(inode, record, known));
        ASSERT_TRUE(listed.read(inode, &known));
        expect_listed(all, listed.rows());
    }
}

TEST(ListingRows, KnownRecordIsNotReadAgain) {
    support::ntfs_image image;
    image.entry(64).stream(u"before", "1");
    image.entry(65).stream(u"other", "1");
    open_volume volume(image);
    listing_rows listed(volume.ntfs);
    std::vector<std::uint8_t> record;
    whole_record known;
    ASSERT_TRUE(volume.ntfs.read_record(64, record, known));
    image.entry(64).clear().stream(u"after", "1");
    image.save(volume.path);  // the reader sees the new content
    ASSERT_TRUE(listed.read(64));
    EXPECT_EQ(listed.rows().at(0).name, "after");
    ASSERT_TRUE(listed.read(64, &known));
    EXPECT_EQ(listed.rows().at(0).name, "before");
    ASSERT_TRUE(listed.read(65, &known));
    EXPECT_EQ(listed.rows().at(0).name, "other") << "the known record is not that of the entry";
    known.length = 0;
    ASSERT_TRUE(listed.read(64, &known));
    EXPECT_EQ(listed.rows().at(0).name, "after");
}

TEST(ListingRows, UnusableRecordHasNoRows) {
    support::ntfs_image image;
    image.entry(64).keyword("BAAD").data("x");
    open_volume volume(image);
    listing_rows listed(volume.ntfs);
    ASSERT_TRUE(listed.read(5));
    EXPECT_FALSE(listed.read(64));
    EXPECT_THAT(listed.rows(), IsEmpty());
    CNtfs closed(nullptr, 0, 33);
    EXPECT_FALSE(listing_rows(closed).read(5));
}

}  // namespace
