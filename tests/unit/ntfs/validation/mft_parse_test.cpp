#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
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
        const std::size_t after_data = record.attribute_offset(support::type::data) + 72;
        record.put_before_fixup(after_data, 0xFFFFFFFF, 4);
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
        .file_name(5, u"beyond", {.real = 7});
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

}  // namespace
