#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "support/record_builder.h"
#include "unit/ntfs/image_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;
using support::cluster_runs;
using support::ntfs_image;
using support::record_builder;

// LCN and number of clusters of each run.
using plain_runs = std::vector<std::pair<std::uint64_t, std::uint32_t>>;

plain_runs plain(const std::vector<NTFS_DATA>& runs) {
    plain_runs out;
    for (const NTFS_DATA& run : runs)
        out.emplace_back(run.lcn, run.num_clusters);
    return out;
}

std::vector<std::uint64_t> vcns(const std::vector<NTFS_DATA>& runs) {
    std::vector<std::uint64_t> out;
    for (const NTFS_DATA& run : runs)
        out.push_back(run.vcn);
    return out;
}

// A reader without a source, for single records.
struct record_parser {
    CNtfs ntfs{nullptr, 0, source_kind::file};

    explicit record_parser(std::uint32_t bytes_per_file_record = 1024) {
        ntfs.m_bytes_per_file_record = bytes_per_file_record;
        ntfs.m_cluster_size = 4096;
    }
    NTFS_INODE_INFO parse(const byte_list& record, std::uint64_t inode = 6) {
        NTFS_INODE_INFO info;
        EXPECT_TRUE(ntfs.parse_inode(record, info, inode, false));
        return info;
    }
};

NTFS_INODE_INFO parsed(const record_builder& record) {
    return record_parser().parse(record.build_before_fixup());
}

// --- one record ---

TEST(ParseInode, ReadsNamesSizesAndRuns) {
    const NTFS_INODE_INFO info =
        parsed(record_builder(6)
                   .standard_information()
                   .file_name(5, u"$Bitmap", {.real = 0x1234})
                   .data_runs({{100, 4}, {50, 2}}, {.real = 0x5678})
                   .nonresident(support::type::bitmap, u"", cluster_runs{{9, 1}}, {.real = 0x80}));
    const byte_list name = support::file_name_value(5, u"$Bitmap", {.real = 0x1234});
    EXPECT_TRUE(std::equal(info.file_name_body.begin(), info.file_name_body.end(), name.begin()));
    EXPECT_EQ(info.name, "") << "the name itself is not read";
    EXPECT_EQ(info.wide_name, L"");
    EXPECT_EQ(info.data_size, 0x1234u) << "the size in $FILE_NAME is kept";
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{100, 4}, {50, 2}}));
    EXPECT_EQ(vcns(info.data_runs), (std::vector<std::uint64_t>{0, 4}));
    EXPECT_EQ(info.data_run_index, (std::map<std::uint64_t, std::size_t>{{0, 0}, {4, 1}}));
    EXPECT_EQ(plain(info.bitmap_runs), (plain_runs{{9, 1}}));
    EXPECT_EQ(info.bitmap_size, 0x80u);
    EXPECT_EQ(info.security_text, "");
}

TEST(ParseInode, DataSetsTheSizeOnlyIfItIsZero) {
    EXPECT_EQ(parsed(record_builder(6).data_runs({{100, 4}}, {.real = 0x5678})).data_size, 0x5678u);
    EXPECT_EQ(parsed(record_builder(6).data("four")).data_size, 4u);
    EXPECT_EQ(parsed(record_builder(6).keep_order().data("four").file_name(5, u"a", {.real = 9}))
                  .data_size,
              9u)
        << "a later $FILE_NAME sets it";
    EXPECT_EQ(parsed(record_builder(6).data("four").stream(u"s", "sixsix")).data_size, 4u);
}

TEST(ParseInode, FileNameIsReadPastItsValue) {
    record_builder record(6);
    record.file_name(5, u"$Bitmap", {.real = 0x1234}).edit(16, 40, 4);
    const NTFS_INODE_INFO info = parsed(record);
    const byte_list name = support::file_name_value(5, u"$Bitmap", {.real = 0x1234});
    EXPECT_TRUE(std::equal(info.file_name_body.begin(), info.file_name_body.end(), name.begin()));
    EXPECT_EQ(info.data_size, 0x1234u);
}

TEST(ParseInode, LastNonResidentDataReplacesTheRuns) {
    const NTFS_INODE_INFO info = parsed(
        record_builder(6).data_runs({{100, 4}}, {.real = 0x4000}).stream_runs(u"named", {{7, 1}}));
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{7, 1}})) << "names are ignored";
    EXPECT_EQ(info.data_size, 0x4000u);
}

TEST(ParseInode, ResidentDataIsAppended) {
    const NTFS_INODE_INFO info =
        parsed(record_builder(6).data_runs({{100, 4}}).stream(u"named", "value"));
    ASSERT_EQ(info.data_runs.size(), 2u);
    const NTFS_DATA& value = info.data_runs[1];
    EXPECT_EQ(value.resident, 1);
    EXPECT_EQ(value.resident_size, 5u);
    EXPECT_EQ(value.resident_data, support::as_bytes("value"));
    EXPECT_EQ(value.num_clusters, 0u);
    EXPECT_EQ(value.attrib_type, 0x80u);
    EXPECT_EQ(value.vcn, 4u);
}

TEST(ParseInode, NextRunReplacesAnEmptyRunInTheIndex) {
    // The runs {100, 0 clusters} and {200, 3} both start at VCN 0.
    const byte_list list{0x10, 0x64, 0x11, 0x03, 0x64, 0x00};
    const NTFS_INODE_INFO info =
        parsed(record_builder(6).nonresident(support::type::data, u"", list, {{100, 3}}));
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{100, 0}, {200, 3}}));
    EXPECT_EQ(info.data_run_index, (std::map<std::uint64_t, std::size_t>{{0, 1}}));
}

TEST(ParseInode, EmptyResidentValueIsIgnored) {
    const NTFS_INODE_INFO info = parsed(record_builder(6).data(""));
    EXPECT_TRUE(info.data_runs.empty());
    EXPECT_EQ(info.data_size, 0u);
}

TEST(ParseInode, ResidentValueIsClippedToTheRecord) {
    record_builder record(6);
    record.data("four").edit(16, 0xFFFFFFFF, 4);
    const NTFS_INODE_INFO info = parsed(record);
    ASSERT_EQ(info.data_runs.size(), 1u);
    EXPECT_EQ(info.data_runs[0].resident_size, 0xFFFFFFFFu);
    EXPECT_EQ(info.data_runs[0].resident_data.size(),
              1024 - record.attribute_offset(support::type::data) - 24);
    EXPECT_EQ(info.data_size, 0xFFFFFFFFu);
}

TEST(ParseInode, IndexAllocationsAreKeptSeparateWithTheirNames) {
    const NTFS_INODE_INFO info = parsed(
        record_builder(5)
            .nonresident(support::type::index_allocation, u"$I30", cluster_runs{{100, 4}, {30, 1}})
            .nonresident(support::type::index_allocation, u"", cluster_runs{{7, 1}}));
    ASSERT_EQ(info.index_alloc_runs.size(), 2u);
    EXPECT_EQ(plain(info.index_alloc_runs[0]), (plain_runs{{100, 4}, {30, 1}}));
    EXPECT_EQ(plain(info.index_alloc_runs[1]), (plain_runs{{7, 1}}));
    EXPECT_EQ(info.index_alloc_names, (std::vector<std::string>{"$I30", ""}));
}

TEST(ParseInode, NameOfAnIndexAllocationMustBeInsideIt) {
    const auto names_with = [](std::size_t at, std::uint64_t value, std::size_t width) {
        return parsed(record_builder(5)
                          .nonresident(support::type::index_allocation, u"$I30",
                                       cluster_runs{{100, 4}})
                          .edit(at, value, width))
            .index_alloc_names;
    };
    const std::uint64_t length =
        ql::le32(record_builder(5)
                     .nonresident(support::type::index_allocation, u"$I30", cluster_runs{{100, 4}})
                     .build_before_fixup(),
                 56 + 4);
    EXPECT_EQ(names_with(10, length - 8, 2), std::vector<std::string>{"\xD0\x91"
                                                                      "d"})
        << "the run list 11 04 64 00, read as a name";
    EXPECT_EQ(names_with(10, length - 7, 2), std::vector<std::string>{""});
    EXPECT_EQ(names_with(9, 0xFF, 1), std::vector<std::string>{""});
}

TEST(ParseInode, NonResidentAttributeWithoutARunListIsSkipped) {
    const struct {
        const char* name;
        std::uint64_t initialized;
        std::uint64_t run_offset;
        bool taken;
    } cases[] = {
        {"both", 1, 64, true},
        {"nothing initialized, but a list", 0, 64, true},
        {"initialized, list past the attribute", 1, 72, true},
        {"neither", 0, 72, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // An attribute of 72 bytes, with another run list after it.
        record_builder record(6);
        record.keep_order().data_runs({{100, 4}}).edit(4, 72, 4).edit(56, c.initialized, 8);
        record.edit(32, c.run_offset, 2);
        const std::size_t behind = record.attribute_offset(support::type::data) + 72;
        record.put_before_fixup(behind, 0xFFFFFFFF, 4);
        const NTFS_INODE_INFO info = parsed(record);
        EXPECT_EQ(!info.data_runs.empty(), c.taken);
        EXPECT_EQ(info.data_size != 0, c.taken);
    }
}

TEST(ParseInode, EmptyRunListEndsTheParse) {
    const byte_list no_runs{0x00};
    record_builder record(6);
    record.keep_order()
        .data_runs({{100, 4}, {50, 2}})
        .nonresident(support::type::bitmap, u"", no_runs, {{0, 1}})
        .file_name(5, u"behind", {.real = 7});
    const NTFS_INODE_INFO info = parsed(record);
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{100, 4}, {50, 2}})) << "earlier runs are kept";
    EXPECT_EQ(vcns(info.data_runs), (std::vector<std::uint64_t>{0, 0})) << "not numbered";
    EXPECT_TRUE(info.data_run_index.empty());
    EXPECT_EQ(info.data_size, 4u * 6 * 1024) << "$FILE_NAME is not reached";
    EXPECT_EQ(info.bitmap_size, 0u);

    const NTFS_INODE_INFO no_data =
        parsed(record_builder(6)
                   .data_runs({{100, 4}})
                   .nonresident(support::type::data, u"b", no_runs, {{0, 1}}));
    EXPECT_TRUE(no_data.data_runs.empty()) << "the empty list replaces the runs";

    const NTFS_INODE_INFO index =
        parsed(record_builder(5)
                   .nonresident(support::type::index_allocation, u"$I30", cluster_runs{{100, 4}})
                   .nonresident(support::type::index_allocation, u"$I30", no_runs, {{0, 1}}));
    EXPECT_EQ(index.index_alloc_runs.size(), 1u);
    EXPECT_EQ(index.index_alloc_names.size(), 1u);
}

TEST(ParseInode, WalkEndsAtTheFirstBadAttribute) {
    // A $FILE_NAME, then an attribute whose length the case sets, then $DATA.
    record_builder record(6);
    record.keep_order().file_name(5, u"a", {.real = 7}).object_id(byte_list(16)).data("four");
    const std::size_t second = record.attribute_offset(support::type::object_id);
    const byte_list valid = record.build_before_fixup();
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::uint32_t bytes_per_record;
        bool data_met;
    } cases[] = {
        {"valid", 4, 40, 1024, true},
        {"length 0", 4, 0, 1024, false},
        {"length above the record", 4, 1025, 1024, false},
        {"length above the rest of the record", 4, 1024, 1024, false},
        {"end marker", 0, 0xFFFFFFFF, 1024, false},
        {"stride that covers all three", 4, 40, 168 + 40, true},
        {"stride that covers two", 4, 40, 167, false},
        {"stride of zero", 4, 40, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const byte_list bytes = support::byte_image(valid).put(second + c.at, c.value, 4).bytes();
        const NTFS_INODE_INFO info = record_parser(c.bytes_per_record).parse(bytes);
        EXPECT_EQ(!info.data_runs.empty(), c.data_met);
        EXPECT_EQ(info.data_size, c.bytes_per_record == 0 ? 0u : 7u);
    }
}

TEST(ParseInode, AttributeOfLengthZeroIsTakenAndEndsTheWalk) {
    record_builder record(6);
    record.keep_order().file_name(5, u"a").data("four").edit(4, 0, 4);
    const byte_list bytes = record.build_before_fixup();
    const auto in_front =
        static_cast<std::uint32_t>(record.attribute_offset(support::type::data) - 56);
    for (const std::uint32_t left : {0u, 1u}) {
        SCOPED_TRACE(left);
        const NTFS_INODE_INFO info = record_parser(in_front + left).parse(bytes);
        EXPECT_EQ(info.data_runs.size(), left);
        EXPECT_EQ(info.data_run_index.size(), left) << "the runs are numbered";
    }
}

TEST(ParseInode, ResidentIndexAllocationIsSkipped) {
    const NTFS_INODE_INFO info =
        parsed(record_builder(6)
                   .resident(support::type::index_allocation, u"$I30", byte_list(16))
                   .nonresident(support::type::bitmap, u"", cluster_runs{{9, 1}}));
    EXPECT_TRUE(info.index_alloc_runs.empty());
    EXPECT_EQ(info.bitmap_runs.size(), 1u);
}

TEST(ParseInode, EmptyRunListOfAnIndexEndsTheParse) {
    const NTFS_INODE_INFO info =
        parsed(record_builder(6)
                   .nonresident(support::type::index_allocation, u"$I30", byte_list{0}, {{0, 1}})
                   .nonresident(support::type::bitmap, u"", cluster_runs{{9, 1}}));
    EXPECT_TRUE(info.bitmap_runs.empty());
}

// A record of 128 KiB with a $DATA of holes of one cluster, and a $BITMAP after it.
constexpr std::uint32_t long_list_length = 0x11000;

support::byte_image record_with_long_list() {
    constexpr std::uint32_t length = long_list_length;
    support::byte_image image(0x20000);
    image.put(20, 56, 2).put(56, 0x80, 4).put(60, length, 4).put(64, 1, 1).put(56 + 32, 64, 2);
    for (std::size_t at = 56 + 64; at < 56 + length; ++at)
        image.put(at, 1, 1);
    constexpr std::size_t next = 56 + length;
    image.put(next, 0xB0, 4).put(next + 4, 72, 4).put(next + 8, 1, 1);
    image.put(next + 32, 64, 2).put(next + 64, 0x00090111, 4);
    image.put(next + 72, 0xFFFFFFFF, 4);
    return image;
}

// Without a source the memory for runs is 1 MiB.
TEST(ParseInode, RunListUsesNoMoreMemoryThanTheSourceHas) {
    constexpr std::size_t most_runs = (1u << 20) / sizeof(NTFS_DATA);
    static_assert(most_runs < long_list_length / 2);
    const NTFS_INODE_INFO info = record_parser(0x20000).parse(record_with_long_list().bytes());
    EXPECT_EQ(info.data_runs.size(), most_runs);
    EXPECT_EQ(info.data_run_index.size(), most_runs);
    EXPECT_TRUE(info.bitmap_runs.empty());
}

// The list does not end with a zero byte, but continues in the $BITMAP to the first zero header.
TEST(ParseInode, RunListOfMoreThan64KiBIsReadToItsEnd) {
    constexpr std::size_t runs = (long_list_length - 64) / 2;
    image_volume volume(ntfs_image{}.build().resize(std::uint64_t{16} << 20));
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_bytes_per_file_record = 0x20000;
    NTFS_INODE_INFO info;
    volume.ntfs.parse_inode(record_with_long_list().bytes(), info, 30, false);
    ASSERT_LT(runs * sizeof(NTFS_DATA), std::size_t{16} << 20);
    EXPECT_GE(info.data_runs.size(), runs);
    EXPECT_LE(info.data_runs.size(), runs + 8);
    EXPECT_EQ(info.bitmap_runs.size(), 1u);
}

TEST(ParseInode, ParsingReplacesTheOutputUnlessKeepIsSet) {
    record_parser parser;
    const byte_list record = record_builder(6)
                                 .data_runs({{100, 4}}, {.real = 0x4000})
                                 .nonresident(support::type::bitmap, u"", cluster_runs{{9, 1}})
                                 .build_before_fixup();
    NTFS_INODE_INFO info;
    EXPECT_TRUE(parser.ntfs.parse_inode(record, info, 6, false));
    EXPECT_TRUE(parser.ntfs.parse_inode(record, info, 6, false));
    EXPECT_EQ(info.data_runs.size(), 1u);
    EXPECT_TRUE(parser.ntfs.parse_inode(record, info, 6, true));
    EXPECT_EQ(plain(info.data_runs), (plain_runs{{100, 4}, {100, 4}}));
    EXPECT_EQ(vcns(info.data_runs), (std::vector<std::uint64_t>{0, 4}));
    EXPECT_EQ(info.bitmap_runs.size(), 2u);
}

TEST(ParseInode, NoPrefixAndNoDamagedByteIsFatal) {
    const byte_list whole =
        record_builder(6)
            .standard_information({.security_id = 0x100})
            .file_name(5, u"$Bitmap")
            .attribute_list({{.type = 0x80, .record = support::file_reference(30, 1)}})
            .data_runs({{100, 4}, {50, 2}})
            .nonresident(support::type::index_allocation, u"$I30", cluster_runs{{1, 1}})
            .nonresident(support::type::bitmap, u"", cluster_runs{{9, 1}})
            .build_before_fixup();
    record_parser parser;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const byte_list cut(whole.begin(), whole.begin() + static_cast<long>(size));
        const NTFS_INODE_INFO info = parser.parse(cut, size % 2 == 0 ? 0 : 6);
        EXPECT_LE(info.data_runs.size(), 2u);
    }
    std::mt19937 random(4);
    for (int round = 0; round < 4000; ++round) {
        byte_list damaged = whole;
        for (unsigned hits = 1 + random() % 4; hits > 0; --hits) {
            damaged[random() % 512] = static_cast<std::uint8_t>(random());
        }
        parser.parse(damaged, round % 2 == 0 ? 0 : 6);
    }
}

// --- attribute lists ---

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
    for (const std::uint32_t behind : {24u, 25u, 26u, 32u}) {
        SCOPED_TRACE(behind);
        split_mft mft;
        mft.image.entry(0).attribute_list(mft.list);
        const std::uint64_t attribute =
            mft.image.record_pos(0) +
            mft.image.entry(0).attribute_offset(support::type::attribute_list);
        mft.image.put(attribute + 16, 3 * 32 + behind, 4);  // length of the list
        mft.image.put(attribute + 24 + 3 * 32 + 4, 24, 2);  // length of the last entry
        image_volume volume(mft.image.build());
        EXPECT_TRUE(volume.validate());
        EXPECT_EQ(plain(volume.ntfs.m_mft_info.data_runs), behind < 26 ? first_two : all_three);
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
