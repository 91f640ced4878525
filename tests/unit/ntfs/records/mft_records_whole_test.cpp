// Tests the reads that keep the record for a pass over the attributes of the same entry.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/image_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;
using support::ntfs_image;

// The results of one read. `whole` is not empty before it.
struct record_read {
    bool result = false;
    byte_list record{0xCC, 0xCC, 0xCC};
    byte_list other{0xDD};
    whole_record whole{.position = 77, .length = 1, .content = other};

    record_read(CNtfs& ntfs, std::uint64_t inode) {
        result = ntfs.read_record(inode, record, whole);
    }
};

void expect_none(const whole_record& whole) {
    EXPECT_EQ(whole.position, 0u);
    EXPECT_EQ(whole.length, 0u);
    EXPECT_TRUE(whole.content.empty());
}

ntfs_image volume_with_file() {
    ntfs_image image;
    image.file(5, u"file.txt", 30).data("content");
    return image;
}

TEST(ReadRecord, WholeRecordRefersToTheBuffer) {
    ntfs_image image = volume_with_file();
    image.entry(31).data(byte_list(900, 0x5A));
    const byte_list expected = image.entry(31).build_before_fixup();
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    const record_read read(volume.ntfs, 31);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.record, expected);
    EXPECT_EQ(read.whole.position, image.record_pos(31));
    EXPECT_EQ(read.whole.length, 1024u);
    EXPECT_EQ(read.whole.content.data(), read.record.data());
    EXPECT_EQ(read.whole.content.size(), 1024u);
}

TEST(ReadRecord, ReturnsTheSameAsWithoutTheWholeRecord) {
    ntfs_image image = volume_with_file();
    image.entry(31).keyword("BAAD");
    image.entry(32).keyword("INDX");
    image.entry(33).keyword("XXXX");
    image.entry(63).data(byte_list(900, 0x5A));
    image.truncate(image.record_pos(63) + 600);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    for (const std::uint64_t inode : {0u, 5u, 30u, 31u, 32u, 33u, 63u, 64u, 70000u}) {
        SCOPED_TRACE(inode);
        byte_list record{0xCC, 0xCC, 0xCC};
        const record_read read(volume.ntfs, inode);
        EXPECT_EQ(read.result, volume.ntfs.read_record(inode, record).has_value());
        if (read.result) {
            EXPECT_EQ(read.record, record);
        }
    }
}

// Entry 0 is read where the boot sector says, but a pass reads it where the runs of $MFT say.
TEST(ReadRecord, EntryZeroHasNoWholeRecord) {
    image_volume volume(volume_with_file().build());
    ASSERT_TRUE(volume.validate());
    const record_read read(volume.ntfs, 0);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.record.size(), 1024u);
    expect_none(read.whole);
}

TEST(ReadRecord, TruncatedRecordIsNotWhole) {
    ntfs_image image = volume_with_file();
    image.truncate(image.record_pos(30) + 600);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    const record_read read(volume.ntfs, 30);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.record.size(), 600u);
    expect_none(read.whole);
}

TEST(ReadRecord, FailedReadHasNoWholeRecord) {
    ntfs_image image = volume_with_file();
    image.entry(31).keyword("BAAD");
    image_volume volume(image.build());
    {
        const record_read unvalidated(volume.ntfs, 30);
        EXPECT_FALSE(unvalidated.result);
        expect_none(unvalidated.whole);
    }
    ASSERT_TRUE(volume.validate());
    for (const std::uint64_t inode : {31u, 70000u}) {
        SCOPED_TRACE(inode);
        const record_read read(volume.ntfs, inode);
        EXPECT_FALSE(read.result);
        expect_none(read.whole);
    }
    volume.ntfs.m_disk->ok = false;
    const record_read closed(volume.ntfs, 30);
    EXPECT_FALSE(closed.result);
    expect_none(closed.whole);
}

TEST(ReadRecord, StrideAboveTheRecordSizeFails) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(0) + 28, 2048, 4);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    const record_read read(volume.ntfs, 15);  // entry 30 is there
    EXPECT_FALSE(read.result);
    expect_none(read.whole);
    volume.ntfs.m_mft_record_size = 2048;
    const record_read larger(volume.ntfs, 15);
    EXPECT_TRUE(larger.result);
    EXPECT_EQ(larger.whole.position, image.record_pos(30));
    EXPECT_EQ(larger.whole.length, 2048u);
}

}  // namespace
