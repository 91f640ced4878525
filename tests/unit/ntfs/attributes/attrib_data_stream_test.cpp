// Tests the data of a row that is written to a stream.
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "unit/ntfs/attributes/cluster_source.h"

namespace {

using namespace cluster_data;

NTFS_ATTRIB_ROW row_with_value(const byte_list& value, std::uint8_t length) {
    NTFS_ATTRIB_ROW row;
    row.value = value;
    row.body[0] = length;
    return row;
}

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

}  // namespace
