#include <gtest/gtest.h>

#include <cstdint>

#include "ntfs/format/lznt1.h"
#include "ntfs/volume/ntfs.h"
#include "unit/ntfs/attributes/cluster_source.h"

namespace {

using namespace cluster_data;

struct bytes_read {
    bool result = false;
    byte_list content;
    std::int64_t size = 0;
    std::uint64_t status = 0;
};

bytes_read read_raw(CNtfs& ntfs, const data_run_list& runs, std::uint64_t offset, std::int64_t size,
                    std::uint64_t status = 0) {
    bytes_read read{false, byte_list(static_cast<std::size_t>(size) + 8, 0xCC), size, status};
    const std::span<std::uint8_t> target(read.content.data(), static_cast<std::size_t>(size));
    read.result = ntfs.read_runs_raw(runs, offset, target, read.size, read.status);
    EXPECT_EQ(part(read.content, static_cast<std::size_t>(size), 8), byte_list(8, 0xCC));
    if (read.result) read.content.resize(static_cast<std::size_t>(read.size));
    return read;
}

TEST(ReadRuns, ReturnsTheBytesFromTheOffset) {
    cluster_source source;
    const struct {
        const char* name;
        std::uint64_t offset;
        std::int64_t size;
    } cases[] = {
        {"one cluster", 0, 512},
        {"everything", 0, 7 * 512},
        {"inside a cluster", 100, 50},
        {"to the end of a cluster", 100, 412},
        {"one byte", 511, 1},
        {"across a boundary", 500, 24},
        {"from the middle of one to the middle of another", 100, 1000},
        {"across a hole", 600, 2000},
        {"inside a hole", 1100, 300},
        {"out of a hole", 1100, 1500},
        {"into a hole", 1000, 200},
        {"the last byte", 7 * 512 - 1, 1},
        {"two runs", 2100, 1200},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const bytes_read read = read_raw(source.ntfs, test_runs, c.offset, c.size);
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.size, c.size);
        EXPECT_EQ(read.content, part(test_content, c.offset, static_cast<std::size_t>(c.size)));
    }
}

TEST(ReadRuns, ReadThatStartsInAHoleReturnsZerosAndSetsTheStatus) {
    cluster_source source;
    const bytes_read in_hole = read_raw(source.ntfs, test_runs, 2 * 512 + 10, 100);
    EXPECT_EQ(in_hole.content, byte_list(100));
    EXPECT_NE(in_hole.status & read_status::sparse_seen, 0u);
    const bytes_read outside = read_raw(source.ntfs, test_runs, 0, 1000);
    EXPECT_EQ(outside.status & read_status::sparse_seen, 0u);
}

TEST(ReadRuns, WithSkipSparseTheDataIsContiguous) {
    cluster_source source;
    const struct {
        const char* name;
        std::uint64_t offset;
        std::int64_t size;
        byte_list content;
    } cases[] = {
        {"everything", 0, 7 * 512,
         joined({cluster_content(10), cluster_content(11), cluster_content(30), cluster_content(20),
                 cluster_content(21)})},
        {"starts inside a hole: the first cluster with data is read from its start", 1034, 1700,
         joined({cluster_content(30), part(cluster_content(20), 0, 1034 + 1700 - 5 * 512)})},
        {"a single cluster with data is read completely", 1034, 1200, cluster_content(30)},
        {"ends inside a hole: the last cluster with data is read completely", 100, 1024,
         joined({part(cluster_content(10), 100, 412), cluster_content(11)})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const bytes_read read =
            read_raw(source.ntfs, test_runs, c.offset, c.size, read_status::skip_sparse);
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.content, c.content);
        EXPECT_EQ(read.status & read_status::sparse_seen, 0u);
    }
    const bytes_read nothing =
        read_raw(source.ntfs, test_runs, 1024, 1024 - 1, read_status::skip_sparse);
    EXPECT_FALSE(nothing.result) << "only the hole";
    EXPECT_EQ(nothing.size, 1023);
}

TEST(ReadRuns, SkipSparseClearsTheSparseSeenBit) {
    cluster_source source;
    const bytes_read read = read_raw(source.ntfs, test_runs, 0, 512,
                                     read_status::skip_sparse | read_status::sparse_seen);
    EXPECT_EQ(read.status & read_status::sparse_seen, 0u);
    EXPECT_NE(read.status & read_status::skip_sparse, 0u);
}

TEST(ReadRuns, SizeAboveTheRunsIsLimitedToThem) {
    cluster_source source;
    const struct {
        const char* name;
        std::uint64_t offset;
        std::int64_t size;
        std::size_t given;
    } cases[] = {
        {"end on a boundary", 0, 20 * 512, 7 * 512},
        {"from inside a cluster, end on a boundary", 100, 20 * 512 - 100, 7 * 512 - 100},
        // The last cluster of the runs is truncated like the last cluster of the read.
        {"end 200 bytes into a cluster", 0, 20 * 512 + 200, 6 * 512 + 200},
        {"a single cluster is read to its end", 6 * 512 + 12, 20 * 512, 500},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const bytes_read read = read_raw(source.ntfs, test_runs, c.offset, c.size);
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.content, part(test_content, c.offset, c.given));
    }
}

TEST(ReadRuns, OffsetPastTheRunsFails) {
    cluster_source source;
    for (const std::uint64_t offset : {7ull * 512, 1ull << 40, ~0ull}) {
        const bytes_read read = read_raw(source.ntfs, test_runs, offset, 100);
        EXPECT_FALSE(read.result);
        EXPECT_EQ(read.size, 100);
    }
}

TEST(ReadRuns, UnreadableClusterEndsTheRead) {
    cluster_source source;
    const data_run_list runs{{10, 0, 0, 2}, {1000, 2, 0, 1}, {12, 3, 0, 1}};
    const bytes_read read = read_raw(source.ntfs, runs, 0, 4 * 512);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.content, joined({cluster_content(10), cluster_content(11)}));
    EXPECT_FALSE(read_raw(source.ntfs, runs, 2 * 512, 512).result);
}

TEST(ReadRuns, TruncatedClusterIsFilledWithZerosAtTheEndsOfTheRange) {
    cluster_source source(30 * cluster_bytes + 100);
    const byte_list cut = joined({part(cluster_content(30), 0, 100), byte_list(412)});
    // The first and the last cluster are filled with zeros; one in the middle has fewer bytes.
    EXPECT_EQ(read_raw(source.ntfs, {{30, 0, 0, 1}}, 0, 512).content, cut);
    EXPECT_EQ(read_raw(source.ntfs, {{29, 0, 0, 2}}, 0, 1000).content,
              joined({cluster_content(29), part(cut, 0, 488)}));
    EXPECT_EQ(read_raw(source.ntfs, {{29, 0, 0, 2}}, 0, 1024).content,
              joined({cluster_content(29), part(cut, 0, 100)}));
}

TEST(ReadRuns, GapInTheRunsEndsTheRead) {
    cluster_source source;
    const data_run_list runs{{10, 0, 0, 1}, {12, 2, 0, 1}};
    EXPECT_EQ(read_raw(source.ntfs, runs, 0, 3 * 512).content, cluster_content(10));
}

TEST(ReadRuns, ClusterAfterATruncatedOneIsLimitedByTheSize) {
    cluster_source source(30 * cluster_bytes + 100);
    EXPECT_EQ(read_raw(source.ntfs, {{20, 0, 0, 1}, {30, 1, 0, 1}, {10, 2, 0, 1}}, 0, 1024).content,
              joined({cluster_content(20), part(cluster_content(30), 0, 100),
                      part(cluster_content(10), 0, 412)}));
}

TEST(ReadRuns, SizeBelowTheTargetIsNotExceeded) {
    cluster_source source;
    for (const std::int64_t wanted : {513, 1000, 1024}) {
        SCOPED_TRACE(wanted);
        byte_list target(2000, 0xCC);
        std::int64_t size = wanted;
        std::uint64_t status = 0;
        EXPECT_TRUE(source.ntfs.read_runs_raw(test_runs, 0, target, size, status));
        EXPECT_EQ(size, wanted);
        EXPECT_EQ(status & read_status::sparse_seen, 0u) << "the hole begins at 1024";
        EXPECT_EQ(target[static_cast<std::size_t>(wanted)], 0xCC);
    }
}

TEST(ReadRuns, ReportsWhetherItReadAWholeAlignedUnit) {
    cluster_source source;
    const data_run_list runs{{0, 0, 0, 40}, {0, 65536, 0, 40}};
    const std::uint64_t at_65536 = 65536ull * 512;
    const struct {
        std::uint64_t offset;
        std::int64_t size;
        std::uint64_t bits;
    } cases[] = {
        {0, 16 * 512, read_status::aligned | read_status::whole_unit},
        {0, 15 * 512, read_status::aligned},
        {0, 17 * 512, read_status::aligned},
        {512, 16 * 512, 0},
        {at_65536, 16 * 512, read_status::aligned | read_status::whole_unit},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.offset);
        const bytes_read read = read_raw(source.ntfs, runs, c.offset, c.size);
        EXPECT_EQ(read.status, c.bits | read_status::always);
    }
}

TEST(ReadRuns, RejectsInvalidArguments) {
    cluster_source source;
    byte_list target(512);
    std::int64_t size = 512;
    EXPECT_FALSE(source.ntfs.read_attrib_bytes(test_runs, 0, {}, size, false));
    EXPECT_FALSE(source.ntfs.read_attrib_bytes({}, 0, target, size, false));
    size = 0;
    EXPECT_FALSE(source.ntfs.read_attrib_bytes(test_runs, 0, target, size, false));
    size = -1;
    EXPECT_FALSE(source.ntfs.read_attrib_bytes(test_runs, 0, target, size, false));
    size = 512;
    source.ntfs.m_cluster_size = 0;
    EXPECT_FALSE(source.ntfs.read_attrib_bytes(test_runs, 0, target, size, false));
}

TEST(ReadRuns, ClusterLargerThanTheSourceIsReadToItsEnd) {
    cluster_source source(1000);
    for (const std::int32_t size : {1000, 1001, 0x1000000}) {
        source.ntfs.m_cluster_size = size;
        EXPECT_TRUE(read_raw(source.ntfs, {{0, 0, 0, 1}}, 0, 16).result);
        EXPECT_TRUE(read_raw(source.ntfs, {{0, 0, 1, 1}}, 0, 16).result);
        EXPECT_FALSE(read_raw(source.ntfs, {{1, 0, 0, 1}}, 0, 16).result);
    }
}

TEST(ReadRuns, NeverWritesPastTheTarget) {
    cluster_source source;
    byte_list memory(1000, 0xCC);
    std::int64_t size = 3000;
    EXPECT_TRUE(
        source.ntfs.read_attrib_bytes(test_runs, 100, std::span(memory).first(700), size, false));
    EXPECT_EQ(size, 700);
    EXPECT_EQ(part(memory, 0, 700), part(test_content, 100, 700));
    EXPECT_EQ(part(memory, 700, 300), byte_list(300, 0xCC));
}

TEST(ReadAttribBytes, FillsHolesWithZerosOrSkipsThem) {
    cluster_source source;
    byte_list target(7 * 512);
    std::int64_t size = 7 * 512;
    EXPECT_TRUE(source.ntfs.read_attrib_bytes(test_runs, 0, target, size, false));
    EXPECT_EQ(target, test_content);
    EXPECT_TRUE(source.ntfs.read_attrib_bytes(test_runs, 0, target, size, true));
    EXPECT_EQ(size, 5 * 512);
}

}  // namespace
