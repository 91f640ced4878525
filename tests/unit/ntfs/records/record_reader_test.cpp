#include "ntfs/records/record_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/image_volume.h"
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

// The result of one read, and the record that other readers can use.
struct one_read {
    byte_list record;
    record_answer answer;
    whole_record whole;

    one_read(CNtfs& ntfs, const record_request& request)
        : answer(read_mft_record(ntfs, request, record)),
          whole(whole_record_of(request, answer, record)) {}
};

void expect_none(const whole_record& whole) {
    EXPECT_EQ(whole.position, 0u);
    EXPECT_EQ(whole.length, 0u);
    EXPECT_TRUE(whole.content.empty());
}

TEST(WholeRecord, IsTheRecordWithItsUpdateSequenceApplied) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data(byte_list(900, 0x5A));
    const byte_list expected = image.entry(64).build_before_fixup();
    const std::uint64_t position = image.record_pos(64);
    open_volume volume(image);
    for (const fixed_blocks fixed : {fixed_blocks::delivered, fixed_blocks::all}) {
        const one_read read(volume.ntfs, {.position = position, .length = 1024, .fixed = fixed});
        EXPECT_EQ(read.whole.position, position);
        EXPECT_EQ(read.whole.length, 1024u);
        EXPECT_EQ(read.whole.content.data(), read.record.data()) << "a reference, not a copy";
        EXPECT_EQ(byte_list(read.whole.content.begin(), read.whole.content.end()), expected);
    }
}

TEST(WholeRecord, PositionIsThatInTheVolume) {
    support::byte_image disk;
    support::ntfs_image image;
    image.entry(64).data("content");
    disk.put_image(65536, image.build());
    image_volume volume(disk, 65536);
    ASSERT_TRUE(volume.validate());
    const one_read read(volume.ntfs, {.position = image.record_pos(64), .length = 1024});
    EXPECT_EQ(read.whole.position, image.record_pos(64));
    EXPECT_EQ(read.whole.length, 1024u);
}

TEST(WholeRecord, RecordTruncatedByTheEndOfTheSourceIsNone) {
    for (const std::uint64_t delivered : {std::uint64_t{700}, std::uint64_t{1023}}) {
        SCOPED_TRACE(delivered);
        support::ntfs_image image = image_of_2_mib();
        image.entry(64).data("content");
        const std::uint64_t position = image.record_pos(64);
        image.truncate(position + delivered);
        open_volume volume(image);
        ASSERT_TRUE(volume.opened);
        for (const fixed_blocks fixed : {fixed_blocks::delivered, fixed_blocks::all}) {
            const one_read read(volume.ntfs,
                                {.position = position, .length = 1024, .fixed = fixed});
            EXPECT_TRUE(read.answer.accepted);
            expect_none(read.whole);
        }
        const one_read nothing(volume.ntfs, {.position = position + delivered, .length = 1024});
        expect_none(nothing.whole);
    }
}

TEST(WholeRecord, RecordThatEndsWithTheSourceIsWhole) {
    support::ntfs_image image = image_of_2_mib();
    image.entry(64).data("content");
    const std::uint64_t position = image.record_pos(64);
    image.truncate(position + 1024);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    EXPECT_EQ(one_read(volume.ntfs, {.position = position, .length = 1024}).whole.length, 1024u);
}

TEST(WholeRecord, DependsOnTheKeyword) {
    const struct {
        const char* keyword;
        std::uint32_t length;
    } cases[] = {{"FILE", 1024}, {"INDX", 1024}, {"BAAD", 0}, {"XXXX", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.keyword);
        support::ntfs_image image;
        image.entry(64).keyword(c.keyword).data("content");
        open_volume volume(image);
        const one_read read(volume.ntfs, {.position = image.record_pos(64), .length = 1024});
        EXPECT_EQ(read.whole.length, c.length);
        EXPECT_EQ(read.whole.content.size(), c.length);
    }
}

TEST(WholeRecord, RecordOfAnotherRuleIsNone) {
    support::ntfs_image image;
    image.entry(64).data("content");
    open_volume volume(image);
    const one_read read(
        volume.ntfs,
        {.position = image.record_pos(64), .length = 1024, .rule = acceptance::fixable});
    EXPECT_TRUE(read.answer.accepted);
    expect_none(read.whole);
}

// The attribute extends the read to the end of the record, so that only its size differs from that
// of a whole record.
TEST(WholeRecord, RecordOfMoreThan64KibIsNone) {
    for (const std::uint32_t length : {0x10000u, 0x20000u}) {
        SCOPED_TRACE(length);
        support::ntfs_image image = image_of_2_mib();
        image.entry(64).data("content").edit(4, length - 56, 4);
        const std::uint64_t position = image.record_pos(64);
        large_records volume(std::move(image));
        const one_read read(volume.ntfs(),
                            {.position = position, .length = length, .with_values = true});
        EXPECT_TRUE(read.answer.accepted);
        EXPECT_EQ(read.answer.delivered, length);
        ASSERT_EQ(read.record.size(), length);
        if (length == 0x10000) {
            EXPECT_EQ(read.whole.length, length);
            EXPECT_EQ(read.whole.content.size(), length);
        } else {
            expect_none(read.whole);
        }
    }
}

TEST(WholeRecord, OtherNumberOfBytesIsNone) {
    support::ntfs_image image;
    image.entry(64).data("content");
    open_volume volume(image);
    const record_request request{.position = image.record_pos(64), .length = 1024};
    byte_list record;
    const record_answer answer = read_mft_record(volume.ntfs, request, record);
    EXPECT_EQ(whole_record_of(request, answer, record).length, 1024u);
    expect_none(whole_record_of(request, answer, ql::bytes(record).first(1023)));
    record.push_back(0);
    expect_none(whole_record_of(request, answer, record));
}

}  // namespace
