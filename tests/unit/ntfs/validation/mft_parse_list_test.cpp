// Tests attribute lists of $MFT, whose runs are found through earlier runs.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "support/record_builder.h"
#include "unit/ntfs/image_volume.h"
#include "unit/ntfs/validation/parsed_record.h"

namespace {

using namespace parsed_record;

using support::cluster_runs;
using support::ntfs_image;
using support::record_builder;

// A volume whose $MFT continues in extension records:
//   clusters 100 to 107   entries 0 to 31, from the base record
//   clusters 60 to 63     entries 32 to 47, from record 20
//   clusters 130 to 133   entries 48 to 63, from record 40, which is in clusters 60 to 63
struct split_mft {
    ntfs_image image;
    std::vector<support::list_entry> list;

    split_mft() {
        image.mft_runs({{100, 8}, {60, 4}, {130, 4}});
        image.entry(0).data_runs({{100, 8}}, {.allocated = 16 * 4096, .real = 64 * 1024});
        const std::uint64_t base = image.reference(0);
        image.entry(20).base(base).data_runs({{60, 4}}, {.start_vcn = 8}).id(7);
        image.entry(40).base(base).data_runs({{130, 4}}, {.start_vcn = 12}).id(9);
        list = {
            {.type = 0x10, .record = base},
            {.type = 0x80, .record = base, .id = 0},
            {.type = 0x80, .start_vcn = 8, .record = image.reference(20), .id = 7},
            {.type = 0x80, .start_vcn = 12, .record = image.reference(40), .id = 9},
        };
        image.file(5, u"far.txt", 60).data("x");
    }
    // Returns the runs of $MFT after validation.
    plain_runs runs() {
        image.entry(0).attribute_list(list);
        image_volume volume(image.build());
        EXPECT_TRUE(volume.validate());
        can_read_far = volume.ntfs.get_file_pos_for_inode(60) == image.record_pos(60);
        return plain(volume.ntfs.m_mft_info.data_runs);
    }
    bool can_read_far = false;
};

const plain_runs all_three{{100, 8}, {60, 4}, {130, 4}};
const plain_runs first_two{{100, 8}, {60, 4}};
const plain_runs base_alone{{100, 8}};

TEST(MftAttributeList, RunsOfExtensionRecordsAreFoundThroughEarlierRuns) {
    split_mft mft;
    EXPECT_EQ(mft.runs(), all_three);
    EXPECT_TRUE(mft.can_read_far);
}

TEST(MftAttributeList, NumbersAndCountsAllRuns) {
    split_mft mft;
    mft.image.entry(0).attribute_list(mft.list);
    image_volume volume(mft.image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_EQ(vcns(volume.ntfs.m_mft_info.data_runs), (std::vector<std::uint64_t>{0, 8, 12}));
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 64u);
}

TEST(MftAttributeList, RecordThatIsNotYetReachableIsSkipped) {
    split_mft mft;
    std::swap(mft.list[2], mft.list[3]);  // record 40 comes first
    EXPECT_EQ(mft.runs(), first_two);
    EXPECT_FALSE(mft.can_read_far);
}

TEST(MftAttributeList, InvalidRecordsAreSkipped) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
    } cases[] = {
        {"another sequence number", 16, 2, 2}, {"keyword BAAD", 0, 0x44414142, 4},
        {"keyword INDX", 0, 0x58444E49, 4},    {"no record", 0, 0, 4},
        {"first attribute at 0", 20, 0, 2},    {"sequence array at 42", 4, 42, 2},
        {"sequence array of nine", 6, 9, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        split_mft mft;
        mft.image.put(mft.image.record_pos(40) + c.at, c.value, c.width);
        EXPECT_EQ(mft.runs(), first_two);
    }
}

TEST(MftAttributeList, TypeAndIdMustMatch) {
    split_mft other_id;
    other_id.list[3].id = 8;
    EXPECT_EQ(other_id.runs(), first_two);
    split_mft other_type;
    other_type.list[3].type = 0xB0;
    EXPECT_EQ(other_type.runs(), first_two);
}

TEST(MftAttributeList, OnlyTheListedAttributeOfARecordIsTaken) {
    split_mft mft;
    mft.image.entry(20).stream_runs(u"other", {{500, 1}});
    EXPECT_EQ(mft.runs(), all_three);
}

TEST(MftAttributeList, EachMatchInARecordIsTaken) {
    split_mft mft;
    mft.image.entry(20).clear().data_runs({{60, 2}}, {.start_vcn = 8}).id(7);
    mft.image.entry(20).stream_runs(u"other", {{62, 2}}).id(7);
    EXPECT_EQ(mft.runs(), (plain_runs{{100, 8}, {60, 2}, {62, 2}, {130, 4}}));
}

TEST(MftAttributeList, LengthOfZeroEndsTheSearchInAnExtension) {
    split_mft mft;
    record_builder& extension = mft.image.entry(40);
    extension.standard_information();
    const std::size_t at = extension.attribute_offset(support::type::standard_information);
    extension.put_before_fixup(at + 4, 0, 4);
    EXPECT_EQ(mft.runs(), first_two);
}

TEST(MftAttributeList, EmptyRunListOfAnExtensionLosesOnlyItsOwnRuns) {
    split_mft mft;
    mft.image.entry(20)
        .clear()
        .nonresident(support::type::data, u"", byte_list{0}, {{60, 4}}, {.start_vcn = 8})
        .id(7);
    mft.image.entry(30).base(mft.image.reference(0)).data_runs({{60, 4}}).id(3);
    mft.list.insert(mft.list.begin() + 3,
                    {.type = 0x80, .record = mft.image.reference(30), .id = 3});
    EXPECT_EQ(mft.runs(), all_three);
}

TEST(MftAttributeList, WalkOfTheListEnds) {
    const struct {
        const char* name;
        std::size_t entry;
        std::uint16_t length;
        plain_runs runs;
    } cases[] = {
        {"valid", 0, 32, all_three},
        {"length 0", 3, 0, first_two},
        {"length above the rest of the list", 3, 33, first_two},
        {"length of the rest of the list", 3, 32, all_three},
        {"length 0 at the start", 0, 0, base_alone},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        split_mft mft;
        mft.image.entry(0).attribute_list(mft.list);
        const std::size_t list_at =
            mft.image.entry(0).attribute_offset(support::type::attribute_list) + 24;
        mft.image.put(mft.image.record_pos(0) + list_at + c.entry * 32 + 4, c.length, 2);
        image_volume volume(mft.image.build());
        EXPECT_TRUE(volume.validate());
        EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), c.runs);
    }
}

TEST(MftAttributeList, FewerThan26BytesAfterAnEntryAreIgnored) {
    for (const std::uint32_t last_bytes : {24u, 25u, 26u, 32u}) {
        SCOPED_TRACE(last_bytes);
        split_mft mft;
        mft.image.entry(0).attribute_list(mft.list);
        const std::uint64_t attribute =
            mft.image.record_pos(0) +
            mft.image.entry(0).attribute_offset(support::type::attribute_list);
        mft.image.put(attribute + 16, 3 * 32 + last_bytes, 4);  // length of the list
        mft.image.put(attribute + 24 + 3 * 32 + 4, 24, 2);      // length of the last entry
        image_volume volume(mft.image.build());
        EXPECT_TRUE(volume.validate());
        EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), last_bytes < 26 ? first_two : all_three);
    }
}

TEST(MftAttributeList, OnlyEntryMayBeTruncated) {
    // The walk checks the bytes after an entry, so the first entry may extend past the list.
    split_mft mft;
    mft.list = {mft.list[2]};
    mft.image.entry(0).attribute_list(mft.list);
    const std::uint64_t attribute = mft.image.record_pos(0) + mft.image.entry(0).attribute_offset(
                                                                  support::type::attribute_list);
    mft.image.put(attribute + 16, 24, 4).put(attribute + 24 + 4, 24, 2);
    image_volume volume(mft.image.build());
    EXPECT_TRUE(volume.validate());
    EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), first_two);
}

TEST(MftAttributeList, NonResidentListIsReadFromItsClusters) {
    for (const std::uint64_t pieces : {1u, 2u}) {
        SCOPED_TRACE(pieces);
        split_mft mft;
        byte_list list = support::attribute_list_value(mft.list);
        if (pieces == 2) {  // an entry of 4096 bytes before the others fills the first cluster
            byte_list filler(4096);
            filler[0] = 0x10;
            filler[5] = 0x10;
            list.insert(list.begin(), filler.begin(), filler.end());
        }
        const support::cluster_runs runs = mft.image.store(list, pieces);
        mft.image.entry(0).attribute_list_runs(runs, {.real = list.size()});
        image_volume volume(mft.image.build());
        ASSERT_TRUE(volume.validate());
        EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), all_three);
    }
}

TEST(MftAttributeList, NonResidentListEndsAtItsRealSize) {
    split_mft mft;
    const byte_list list = support::attribute_list_value(mft.list);
    mft.image.entry(0).attribute_list_runs(mft.image.store(list), {.real = 3 * 32});
    image_volume volume(mft.image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), first_two)
        << "the entry after the end is ignored";
}

TEST(MftAttributeList, TruncatedListIsReadToItsEnd) {
    split_mft mft;
    const byte_list list = support::attribute_list_value(mft.list);
    const support::cluster_runs whole = mft.image.store(list);
    byte_list front(512);
    front[0] = 0x10;
    front[5] = 0x02;  // an entry of 512 bytes
    constexpr std::uint64_t cut = 200;
    mft.image.reserve(cut, 1).write_clusters(cut, front);
    // The cluster of the next run follows the bytes that were read of the truncated cluster.
    mft.image.entry(0).attribute_list_runs({{cut, 1}, whole[0]}, {.real = 512 + list.size()});
    mft.image.truncate(cut * 4096 + 512);
    image_volume volume(mft.image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_EQ(volume.ntfs.cluster_size(), 4096u);
    EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), all_three);
}

TEST(MftAttributeList, LastListOfTheRecordIsUsed) {
    split_mft mft;
    mft.image.entry(0).attribute_list({{.type = 0x10, .record = mft.image.reference(0)}});
    EXPECT_EQ(mft.runs(), all_three);
    split_mft swapped;
    swapped.image.entry(0).attribute_list(swapped.list);
    swapped.list = {{.type = 0x10, .record = swapped.image.reference(0)}};
    EXPECT_EQ(swapped.runs(), base_alone);
}

TEST(MftAttributeList, IsNotExpandedAfterAnEmptyRunList) {
    split_mft mft;
    mft.image.entry(0).nonresident(support::type::bitmap, u"", byte_list{0}, {{0, 1}});
    EXPECT_EQ(mft.runs(), base_alone);
}

TEST(MftAttributeList, IsNotExpandedWithoutRunsInTheBaseRecord) {
    split_mft mft;
    mft.image.entry(0).clear().file_name(5, u"$MFT").resident(support::type::data, u"", {});
    mft.image.entry(0).attribute_list(mft.list);
    image_volume volume(mft.image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_TRUE(volume.ntfs.m_mft_info.data_runs.empty());
}

TEST(MftAttributeList, VolumeIsNotValidatedByTheExpansion) {
    split_mft mft;
    mft.image.entry(0).attribute_list(mft.list);
    image_volume volume(mft.image.build());
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_Validated = false;
    const byte_list record = volume.ntfs.m_mft_record;
    EXPECT_TRUE(volume.ntfs.parse_inode(record, volume.ntfs.m_mft_info, 0, false));
    EXPECT_FALSE(volume.ntfs.m_Validated);
    EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), all_three) << "read despite m_Validated";
}

// Returns the memory that the runs and values of a parsed record use, in bytes.
std::uint64_t memory_of(const NTFS_INODE_INFO& info) {
    std::uint64_t sum = 0;
    const auto add = [&sum](const std::vector<NTFS_DATA>& runs) {
        for (const NTFS_DATA& run : runs)
            sum += sizeof run + run.resident_data.size();
    };
    add(info.data_runs);
    add(info.bitmap_runs);
    for (const std::vector<NTFS_DATA>& runs : info.index_alloc_runs)
        add(runs);
    return sum;
}

TEST(MftAttributeList, AttributeNamedRepeatedlyUsesNoMoreMemoryThanTheSourceHas) {
    byte_list many_runs;  // holes of one cluster, two bytes each
    for (int i = 0; i < 400; ++i)
        many_runs.insert(many_runs.end(), {0x01, 0x01});
    many_runs.push_back(0x00);
    const byte_list value(800, 0x5A);
    const struct {
        const char* name;
        std::uint32_t type;
        bool resident;
        std::uint64_t taken_at_once;
        std::size_t times;
    } cases[] = {
        {"$DATA", 0x80, false, 400 * sizeof(NTFS_DATA), 200},
        {"$BITMAP", 0xB0, false, 400 * sizeof(NTFS_DATA), 200},
        {"$INDEX_ALLOCATION", 0xA0, false, 400 * sizeof(NTFS_DATA), 200},
        {"value of $DATA", 0x80, true, sizeof(NTFS_DATA) + 800, 4000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        record_builder& extension = image.entry(20).base(image.reference(30));
        if (c.resident) {
            extension.resident(c.type, u"", value).id(7);
        } else {
            extension.nonresident(c.type, u"", many_runs, {{0, 1}}).id(7);
        }
        const byte_list list = support::attribute_list_value(std::vector<support::list_entry>(
            c.times, {.type = c.type, .record = image.reference(20), .id = 7}));
        image.entry(30).attribute_list_runs(image.store(list), {.real = list.size()});
        const byte_list record = image.entry(30).build_before_fixup();
        const support::byte_image bytes = image.build();
        ASSERT_LT(2 * bytes.size(), c.times * c.taken_at_once) << "the list names more";

        image_volume volume(bytes);
        ASSERT_TRUE(volume.validate());
        NTFS_INODE_INFO info;
        EXPECT_TRUE(volume.ntfs.parse_inode(record, info, 30, false));
        EXPECT_LE(memory_of(info), bytes.size() + c.taken_at_once);
        EXPECT_GT(memory_of(info) + sizeof(NTFS_DATA), bytes.size())
            << "up to the size of the source";
    }
}

TEST(MftAttributeList, EntriesOfTheRecordItselfAreSkipped) {
    ntfs_image image;
    image.entry(30).data_runs({{200, 2}}).id(3);
    image.entry(30).attribute_list({{.type = 0x80, .record = image.reference(30), .id = 3}});
    const byte_list record = image.entry(30).build_before_fixup();
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    NTFS_INODE_INFO info;
    EXPECT_TRUE(volume.ntfs.parse_inode(record, info, 30, false));
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{200, 2}})) << "they are not taken twice";
}

TEST(MftAttributeList, OtherEntriesNeedNoOwnRuns) {
    ntfs_image image;
    image.entry(20).base(image.reference(30)).data_runs({{300, 3}}).id(4);
    image.entry(30).attribute_list({{.type = 0x80, .record = image.reference(20), .id = 4}});
    const byte_list record = image.entry(30).build_before_fixup();
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    NTFS_INODE_INFO info;
    EXPECT_TRUE(volume.ntfs.parse_inode(record, info, 30, false));
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{300, 3}}));

    volume.ntfs.m_Validated = false;
    EXPECT_TRUE(volume.ntfs.parse_inode(record, info, 30, false));
    EXPECT_TRUE(info.data_runs.empty()) << "only $MFT is read before validation";
}

TEST(MftAttributeList, IsExpandedForOtherEntriesOnAValidatedVolume) {
    ntfs_image image;
    image.entry(6).data_runs({{200, 2}});
    image.entry(20).base(image.reference(6)).data_runs({{300, 3}}, {.start_vcn = 2}).id(4);
    image.entry(6).attribute_list({
        {.type = 0x80, .record = image.reference(6), .id = 2},
        {.type = 0x80, .start_vcn = 2, .record = image.reference(20), .id = 4},
    });
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_EQ(plain(volume.ntfs.m_bitmap_runs), (plain_runs{{200, 2}, {300, 3}}));
    EXPECT_EQ(vcns(volume.ntfs.m_bitmap_runs), (std::vector<std::uint64_t>{0, 2}));
}

}  // namespace
