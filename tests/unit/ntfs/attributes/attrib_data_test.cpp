#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/format/lznt1.h"
#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/lznt1_compressor.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "unit/ntfs/image_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

constexpr std::uint32_t cluster_bytes = 512;

byte_list joined(std::initializer_list<byte_list> parts) {
    byte_list out;
    for (const byte_list& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

byte_list part(const byte_list& whole, std::size_t from, std::size_t count) {
    const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(from);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

// Returns the content of a cluster of the test source.
byte_list cluster_content(std::uint64_t lcn) {
    return support::pattern(cluster_bytes, static_cast<std::uint32_t>(lcn + 1));
}

const byte_list hole(cluster_bytes, 0);

// 40 clusters of 512 bytes with different content, in a reader that uses them as a volume.
class cluster_source : public image_volume {
public:
    explicit cluster_source(std::uint64_t size = 40 * cluster_bytes)
        : image_volume(make_image(size)) {
        ntfs.m_cluster_size = cluster_bytes;
        ntfs.m_Validated = true;
    }

private:
    static support::byte_image make_image(std::uint64_t size) {
        support::byte_image image;
        for (std::uint64_t lcn = 0; lcn < 40; ++lcn) {
            image.put_bytes(lcn * cluster_bytes, cluster_content(lcn));
        }
        return image.resize(size);
    }
};

// VCN 0 and 1 at LCN 10, a hole of 2, VCN 4 at LCN 30, VCN 5 and 6 at LCN 20.
const data_run_list test_runs{{10, 0, 0, 2}, {0, 2, 1, 2}, {30, 4, 0, 1}, {20, 5, 0, 2}};
const byte_list test_content =
    joined({cluster_content(10), cluster_content(11), hole, hole, cluster_content(30),
            cluster_content(20), cluster_content(21)});

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

// --- stream_attribute ---

struct row_sizes {
    std::uint64_t allocated = 0, real = 0, initialized = 0, compressed = 0;
    std::uint8_t unit = 0;
    std::uint16_t flags = 0;
};

NTFS_ATTRIB_ROW row_with_runs(const data_run_list& runs, const row_sizes& sizes) {
    NTFS_ATTRIB_ROW row;
    row.runs = runs;
    row.nonresident = 1;
    row.attrib_flags = sizes.flags;
    const byte_list body = support::byte_image(row.body.size())
                               .put(8, sizes.allocated, 8)
                               .put(16, sizes.real, 8)
                               .put(24, sizes.initialized, 8)
                               .put(32, sizes.compressed, 8)
                               .put(44, sizes.unit, 1)
                               .bytes();
    std::copy(body.begin(), body.end(), row.body.begin());
    return row;
}

NTFS_ATTRIB_ROW row_with_value(const byte_list& value, std::uint8_t length) {
    NTFS_ATTRIB_ROW row;
    row.value = value;
    row.body[0] = length;
    return row;
}

// The data of a row as stream_attribute writes it, and the trace.
struct streamed_row {
    bool result = false;
    std::string text;
    std::uint64_t byte_count = 0;
    std::string trace;

    streamed_row(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row) {
        const support::temp_dir dir;
        std::ostringstream out, out2;
        out.setstate(std::ios::failbit);
        out2.setstate(std::ios::failbit);
        {
            mft_entries_ctx ctx;
            ctx.byte_count = 99;
            ctx.diags_on = 1;
            ctx.diags_stream = std::make_unique<std::ofstream>(dir.file("trace"));
            result = ntfs.stream_attribute(row, out, out2, ctx);
            byte_count = ctx.byte_count;
        }
        text = out.str();
        trace = support::read_file(dir.file("trace"));
        EXPECT_TRUE(out.good());
        EXPECT_TRUE(out2.good());
        EXPECT_EQ(out2.str(), "");
    }
};

std::string text_of(const byte_list& content) { return {content.begin(), content.end()}; }

TEST(StreamAttribute, RowWithoutDataFails) {
    cluster_source source;
    const streamed_row streamed(source.ntfs, NTFS_ATTRIB_ROW{});
    EXPECT_FALSE(streamed.result);
    EXPECT_EQ(streamed.text, "");
    EXPECT_EQ(streamed.byte_count, 0u);
    EXPECT_EQ(streamed.trace, "->err: no data\n");
}

TEST(StreamAttribute, StreamWithoutABufferFails) {
    cluster_source source;
    const NTFS_ATTRIB_ROW row = row_with_value(support::as_bytes("value"), 5);
    std::ostringstream valid;
    std::ostream broken(nullptr);
    mft_entries_ctx ctx;
    EXPECT_FALSE(source.ntfs.stream_attribute(row, broken, valid, ctx));
    EXPECT_FALSE(source.ntfs.stream_attribute(row, valid, broken, ctx));
    EXPECT_EQ(valid.str(), "");
    EXPECT_EQ(ctx.byte_count, 0u);
}

TEST(StreamAttribute, ResidentRowWritesItsValue) {
    cluster_source source;
    const streamed_row streamed(source.ntfs, row_with_value(support::as_bytes("value"), 5));
    EXPECT_TRUE(streamed.result);
    EXPECT_EQ(streamed.text, "value");
    EXPECT_EQ(streamed.byte_count, 5u);
    EXPECT_EQ(streamed.trace, "->info: data size 0x5\n");
}

TEST(StreamAttribute, LengthInTheBodyOverridesTheSizeOfTheValue) {
    cluster_source source;
    EXPECT_EQ(streamed_row(source.ntfs, row_with_value(support::as_bytes("value"), 3)).text, "val");
    NTFS_ATTRIB_ROW longer = row_with_value(support::as_bytes("value"), 99);
    EXPECT_EQ(streamed_row(source.ntfs, longer).text, "value") << "no record is that long";
    longer.record_size = 99;
    EXPECT_EQ(streamed_row(source.ntfs, longer).text, "value");
    longer.record_size = 100;
    const streamed_row truncated(source.ntfs, longer);
    EXPECT_EQ(truncated.text, "value" + std::string(94, '\0')) << "filled with zeros";
    EXPECT_EQ(truncated.byte_count, 99u);
    const streamed_row empty(source.ntfs, row_with_value(support::as_bytes("value"), 0));
    EXPECT_FALSE(empty.result);
    EXPECT_EQ(empty.trace, "->info: data size 0x0\n");
}

TEST(StreamAttribute, ResidentRowWithRunsReadsNoCluster) {
    cluster_source source;
    NTFS_ATTRIB_ROW row = row_with_value(support::as_bytes("value"), 5);
    row.runs = test_runs;
    EXPECT_EQ(streamed_row(source.ntfs, row).text, "value");
}

TEST(StreamAttribute, RunsAreWrittenUpToTheSize) {
    cluster_source source;
    const struct {
        const char* name;
        std::uint64_t real;
        std::uint64_t initialized;
        std::size_t written;
        const char* trace;
    } cases[] = {
        {"real size", 1000, 0, 1000, "->info: data size 0x3e8\n"},
        {"initialized size if it is larger", 1000, 1001, 1001, "->info: data size 0x3e9\n"},
        {"all clusters of the runs", 1 << 20, 5, 7 * 512, "->info: data size 0x100000\n"},
        {"nothing", 0, 0, 0, "->info: data size 0x0\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const streamed_row streamed(
            source.ntfs, row_with_runs(test_runs, {.real = c.real, .initialized = c.initialized}));
        EXPECT_TRUE(streamed.result);
        EXPECT_EQ(streamed.text, text_of(part(test_content, 0, c.written)));
        EXPECT_EQ(streamed.byte_count, c.written);
        EXPECT_EQ(streamed.trace, c.trace);
    }
}

TEST(StreamAttribute, LongDataIsWrittenInChunks) {
    cluster_source source;
    const data_run_list runs{{0, 0, 0, 40}};
    byte_list expected;
    for (std::uint64_t lcn = 0; lcn < 40; ++lcn)
        expected = joined({expected, cluster_content(lcn)});
    for (const std::size_t size : {16u * 512u, 16u * 512u + 1, 32u * 512u - 1, 40u * 512u}) {
        SCOPED_TRACE(size);
        const streamed_row streamed(source.ntfs, row_with_runs(runs, {.real = size}));
        EXPECT_TRUE(streamed.text == text_of(part(expected, 0, size)));
        EXPECT_EQ(streamed.byte_count, size);
    }
}

TEST(StreamAttribute, UnreadableClusterEndsTheStreamButIsNotAFailure) {
    cluster_source source;
    const data_run_list runs{{0, 0, 0, 18}, {1000, 18, 0, 1}, {19, 19, 0, 20}};
    const streamed_row streamed(source.ntfs, row_with_runs(runs, {.real = 39 * 512}));
    EXPECT_TRUE(streamed.result);
    EXPECT_EQ(streamed.text.size(), 18u * 512);
    EXPECT_EQ(streamed.byte_count, 18u * 512);
    const streamed_row nothing(source.ntfs, row_with_runs({{1000, 0, 0, 2}}, {.real = 1024}));
    EXPECT_TRUE(nothing.result);
    EXPECT_EQ(nothing.text, "");
}

TEST(StreamAttribute, CompressedUnitsLargerThanTheSourceAreRejected) {
    cluster_source source;
    source.ntfs.m_cluster_size = 0xFFFFFF;
    const data_run_list runs{{0, 0, 1, 0xFFFFFFFF}};
    EXPECT_FALSE(
        streamed_row(source.ntfs,
                     row_with_runs(runs, {.real = ~0ull, .compressed = 1, .unit = 4, .flags = 1}))
            .result);
}

TEST(StreamAttribute, ChunksAboveTheUsualSizeAreReadFromALargeSource) {
    constexpr std::uint32_t cluster = 128 * 1024;
    cluster_source source(16 * cluster);
    source.ntfs.m_cluster_size = cluster;
    const streamed_row streamed(source.ntfs,
                                row_with_runs({{0, 0, 0, 16}}, {.real = 16 * cluster}));
    EXPECT_TRUE(streamed.result);
    ASSERT_EQ(streamed.byte_count, 16u * cluster);
    EXPECT_TRUE(streamed.text.substr(39 * cluster_bytes, cluster_bytes) ==
                text_of(cluster_content(39)));
}

TEST(StreamAttribute, CompressedUnitsOfAtMostOneMebibyteAreReadFromAnySource) {
    const struct {
        std::uint32_t cluster;
        bool result;
    } cases[] = {{16384, true}, {65536, true}, {65537, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.cluster);
        cluster_source source(128 * 1024);
        source.ntfs.m_cluster_size = static_cast<std::int32_t>(c.cluster);
        const streamed_row streamed(
            source.ntfs,
            row_with_runs(
                {{0, 0, 0, 16}},
                {.real = std::uint64_t{16} * c.cluster, .compressed = 1, .unit = 4, .flags = 1}));
        EXPECT_EQ(streamed.result, c.result);
        EXPECT_EQ(streamed.text.size(), c.result ? 128u * 1024 : 0u);
    }
}

TEST(StreamAttribute, ChunksOfAnySizeAreReadFromAnySource) {
    for (const std::uint32_t cluster : {16384u, 65536u, 65537u, 0x100000u}) {
        SCOPED_TRACE(cluster);
        cluster_source source(128 * 1024);
        source.ntfs.m_cluster_size = static_cast<std::int32_t>(cluster);
        const streamed_row streamed(
            source.ntfs, row_with_runs({{0, 0, 1, 16}}, {.real = std::uint64_t{16} * cluster}));
        EXPECT_TRUE(streamed.result);
        EXPECT_EQ(streamed.byte_count, 16u * cluster);
        const streamed_row stored(source.ntfs, row_with_runs({{0, 0, 0, 1}}, {.real = cluster}));
        EXPECT_EQ(stored.text.size(), cluster) << "filled with zeros after the end of the source";
    }
}

// A compressed row, stored from LCN 0. Each unit is filled up to 16 clusters with a hole.
struct compressed_volume {
    support::byte_image image;
    data_run_list runs;
    std::uint64_t lcn = 0;
    std::uint64_t vcn = 0;

    void add_unit(const byte_list& stored) {
        image.put_bytes(lcn * cluster_bytes, stored);
        const auto clusters =
            static_cast<std::uint32_t>((stored.size() + cluster_bytes - 1) / cluster_bytes);
        if (clusters > 0) runs.push_back({lcn, vcn, 0, clusters});
        if (clusters < 16) runs.push_back({0, vcn + clusters, 1, 16 - clusters});
        lcn += clusters;
        vcn += 16;
        image.resize(lcn * cluster_bytes + 512);
    }
    streamed_row stream(const row_sizes& sizes) const {
        image_volume volume(image);
        volume.ntfs.m_cluster_size = cluster_bytes;
        volume.ntfs.m_Validated = true;
        return {volume.ntfs, row_with_runs(runs, sizes)};
    }
};

constexpr std::size_t unit_bytes = 16 * cluster_bytes;  // two chunks of 4096

byte_list text_content(std::size_t size, char first) {
    byte_list out;
    for (std::size_t i = 0; out.size() < size; ++i) {
        out.push_back(static_cast<std::uint8_t>(first + static_cast<char>(i / 64 % 10)));
    }
    return out;
}

row_sizes compressed_sizes(std::size_t size) {
    const std::size_t units = (size + unit_bytes - 1) / unit_bytes;
    return {.allocated = units * unit_bytes,
            .real = size,
            .initialized = size,
            .compressed = 1024,
            .unit = 4,
            .flags = 1};
}

TEST(StreamCompressed, UnitsAreDecompressedOneByOne) {
    for (const std::size_t size :
         {unit_bytes, 2 * unit_bytes, 2 * unit_bytes + 100, unit_bytes + 4096, std::size_t{100}}) {
        SCOPED_TRACE(size);
        const byte_list plain = text_content(size, 'a');
        compressed_volume volume;
        for (std::size_t at = 0; at < size; at += unit_bytes) {
            volume.add_unit(
                support::lznt1_compress(part(plain, at, std::min(unit_bytes, size - at))));
        }
        const streamed_row streamed = volume.stream(compressed_sizes(size));
        EXPECT_TRUE(streamed.result);
        EXPECT_TRUE(streamed.text == text_of(plain));
        EXPECT_EQ(streamed.byte_count, size);
    }
}

TEST(StreamCompressed, UnitThatDidNotShrinkIsWrittenUnchanged) {
    const byte_list noise = support::pattern(unit_bytes, 9);
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(noise);
    volume.add_unit(support::lznt1_compress(text));
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.text == text_of(joined({noise, text})));
}

TEST(StreamCompressed, HolesOfOneUnitDoNotAffectTheNext) {
    // If the second unit were read as chunks, it would consist of gaps.
    byte_list stored_plain = support::pattern(unit_bytes, 9);
    stored_plain[0] = stored_plain[1] = 0;
    stored_plain[4096] = stored_plain[4097] = 0;
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit(stored_plain);
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.text == text_of(joined({text, stored_plain})));
}

TEST(StreamCompressed, UnreadableClusterInsideAUnitEndsTheStream) {
    const byte_list noise = support::pattern(unit_bytes, 9);
    compressed_volume volume;
    volume.add_unit(noise);
    volume.add_unit(noise);
    volume.runs = {{0, 0, 0, 3}, {1000, 3, 0, 13}, {16, 16, 0, 16}};
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(part(noise, 0, 3 * cluster_bytes)));
}

TEST(StreamCompressed, UnitThatIsAHoleEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit({});
    volume.add_unit(support::lznt1_compress(text));
    const streamed_row streamed = volume.stream(compressed_sizes(3 * unit_bytes));
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(text));
    EXPECT_EQ(streamed.byte_count, 3 * unit_bytes) << "the stated size, not the bytes written";
}

TEST(StreamCompressed, DamagedUnitEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit({0x01, 0x00});
    volume.add_unit(support::lznt1_compress(text));
    EXPECT_TRUE(volume.stream(compressed_sizes(3 * unit_bytes)).text == text_of(text));

    compressed_volume first_damaged;
    first_damaged.add_unit({0x01, 0x00});
    const streamed_row nothing = first_damaged.stream(compressed_sizes(unit_bytes));
    EXPECT_FALSE(nothing.result);
    EXPECT_EQ(nothing.text, "");
    EXPECT_EQ(nothing.byte_count, 0u);
}

TEST(StreamCompressed, UnreadableUnitEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.runs.push_back({1000, 16, 0, 16});
    EXPECT_TRUE(volume.stream(compressed_sizes(2 * unit_bytes)).text == text_of(text));

    volume.runs = {{1000, 0, 0, 16}};
    const streamed_row nothing = volume.stream(compressed_sizes(unit_bytes));
    EXPECT_FALSE(nothing.result);
    EXPECT_EQ(nothing.text, "");
}

TEST(StreamCompressed, CompressionNeedsTheExactFlagAUnitAndASize) {
    const byte_list packed = support::lznt1_compress(text_content(unit_bytes, 'a'));
    compressed_volume volume;
    volume.add_unit(packed);
    byte_list raw = packed;
    raw.resize(unit_bytes);
    const row_sizes valid = compressed_sizes(unit_bytes);
    EXPECT_TRUE(volume.stream(valid).text == text_of(text_content(unit_bytes, 'a')));
    for (const std::uint16_t flags :
         {std::uint16_t{0}, std::uint16_t{0x8001}, std::uint16_t{0x4001}, std::uint16_t{3}}) {
        SCOPED_TRACE(flags);
        row_sizes sizes = valid;
        sizes.flags = flags;
        EXPECT_TRUE(volume.stream(sizes).text == text_of(raw));
    }
    row_sizes no_unit = valid;
    no_unit.unit = 0;
    EXPECT_TRUE(volume.stream(no_unit).text == text_of(raw));
    row_sizes no_size = valid;
    no_size.compressed = 0;
    EXPECT_TRUE(volume.stream(no_size).text == text_of(raw));
}

TEST(StreamCompressed, LastUnitIsReadToItsAllocatedEndOnly) {
    // The last unit stores its data in 1024 bytes, which are read up to the allocated size. If the
    // allocated size ends with the data, the end of the chunk is not read.
    const byte_list first = text_content(unit_bytes, 'a');
    const byte_list last = support::pattern(900, 5);
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(first));
    volume.add_unit(support::lznt1_literals(last));
    row_sizes sizes = compressed_sizes(unit_bytes + 900);
    EXPECT_TRUE(volume.stream(sizes).text == text_of(joined({first, last})));

    sizes.allocated = ~0ull;  // at most one unit is read
    EXPECT_TRUE(volume.stream(sizes).text == text_of(joined({first, last})));

    sizes.allocated = unit_bytes + 900;
    const std::string cut = volume.stream(sizes).text;
    EXPECT_NE(cut, text_of(joined({first, last})));
    EXPECT_TRUE(cut.substr(0, unit_bytes) == text_of(first));
}

TEST(StreamCompressed, StreamOfABuiltVolume) {
    support::ntfs_image image;
    const byte_list plain =
        joined({text_content(200000, 'a'), support::pattern(4 * 65536 - 200000, 3),
                text_content(5000, 'a')});
    image.compressed_stream(image.file(5, u"packed.txt", 30), u"", plain);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    std::vector<NTFS_ATTRIB_ROW> rows;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(30, rows));
    const auto data = std::find_if(rows.begin(), rows.end(),
                                   [](const NTFS_ATTRIB_ROW& row) { return row.type == 0x80; });
    ASSERT_NE(data, rows.end());
    const streamed_row streamed(volume.ntfs, *data);
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(plain));
}

}  // namespace
