#include "ntfs/records/record_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

// A volume of 2 MiB that states records of 1 MiB.
class large_records {
public:
    explicit large_records(support::ntfs_image image)
        : m_volume((image.put(64, 0xEC, 1), std::move(image))) {
        EXPECT_TRUE(m_volume.opened);
    }
    CNtfs& ntfs() { return m_volume.ntfs; }

private:
    open_volume m_volume;
};

support::ntfs_image image_of_2_mib() { return support::ntfs_image({.clusters = 512}); }

TEST(RecordReader, LargeRecordIsReadAsFarAsItsAttributesNeed) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data("content");
    const std::uint64_t position = image.record_pos(64);
    large_records volume(std::move(image));
    byte_list record;
    record_reader reader(volume.ntfs(), position, 1 << 20, record);
    ASSERT_TRUE(reader.read_start());
    EXPECT_EQ(reader.delivered(), 1u << 20);
    reader.read_rest(1 << 20, true);
    EXPECT_EQ(record.size(), 0x10000u);
}

TEST(RecordReader, LongAttributeExtendsTheRead) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data("content").edit(4, 300000, 4);
    const std::uint64_t position = image.record_pos(64);
    large_records volume(std::move(image));
    byte_list record;
    record_reader reader(volume.ntfs(), position, 1 << 20, record);
    ASSERT_TRUE(reader.read_start());
    reader.read_rest(1 << 20, true);
    EXPECT_GE(record.size(), 300000u);
    EXPECT_LE(record.size(), 700000u);
}

TEST(RecordReader, DeliveredBytesEndWithTheSource) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data("content");
    const std::uint64_t position = image.record_pos(64);
    image.truncate(position + 700);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    byte_list record;
    record_reader reader(volume.ntfs, position, 0xFFFFFFFF, record);
    ASSERT_TRUE(reader.read_start());
    EXPECT_EQ(reader.delivered(), 700u);
    EXPECT_EQ(record.size(), 700u);
    record_reader past(volume.ntfs, position + 700, 1024, record);
    EXPECT_FALSE(past.read_start());
    EXPECT_TRUE(record.empty());
}

// If the source ends after 700 bytes of a record, its second block still ends at byte 1024 with the
// last word of the update sequence.
TEST(RecordReader, UpdateSequenceExtendsATruncatedRecord) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data("content").put_before_fixup(1022, 0x4142, 2);
    const std::uint64_t position = image.record_pos(64);
    image.truncate(position + 700);
    open_volume volume(image);
    byte_list record;
    record_reader reader(volume.ntfs, position, 1024, record);
    ASSERT_TRUE(reader.read_start());
    reader.read_rest(1024, false);
    ASSERT_EQ(record.size(), 1024u);
    EXPECT_EQ(ql::le16(record, 1022), 0x4142);
    record_reader only_read(volume.ntfs, position, 1024, record);
    ASSERT_TRUE(only_read.read_start());
    only_read.read_rest(only_read.delivered(), false);
    EXPECT_EQ(record.size(), 700u);
}

// An "INDX" record may state 65535 blocks.
TEST(RecordReader, UpdateSequenceOfAnIndexRecordUsesLittleMemory) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).keyword("INDX").put(6, 0xFFFF, 2);
    const std::uint64_t position = image.record_pos(64);
    open_volume volume(image);
    byte_list record;
    record_reader reader(volume.ntfs, position, 0x80000000, record);
    ASSERT_TRUE(reader.read_start());
    reader.read_rest(0x80000000, false);
    EXPECT_LE(record.size(), (2u << 20) + (1u << 20) + 4096u);
}

}  // namespace
