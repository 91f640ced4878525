// Tests blocks that are read into one buffer.
#include "ntfs/index/index_blocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/index/index_contents.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace index_contents;

using support::ntfs_image;
using testing::IsEmpty;
using testing::SizeIs;

data_run_list runs_of(const support::cluster_runs& runs) {
    data_run_list list;
    std::uint64_t vcn = 0;
    for (const support::cluster_run& run : runs) {
        const bool sparse = run.lcn == support::hole;
        list.push_back({sparse ? 0 : run.lcn, vcn, static_cast<std::uint8_t>(sparse ? 1 : 0),
                        static_cast<std::uint32_t>(run.count)});
        vcn += run.count;
    }
    return list;
}

// Returns the block with the last words of its sectors restored.
support::bytes plain_block_with(std::uint64_t number, std::uint16_t check_value = 1) {
    support::bytes block = block_with(number, {.check_value = check_value});
    for (std::size_t sector = 1; sector <= 8; ++sector) {
        put(block, sector * 512 - 2, ql::le16(block, 40 + sector * 2), 2);
    }
    return block;
}

struct blocks_read {
    bool result = false;
    std::uint32_t count = 0;
    std::vector<std::uint8_t> bytes;
};

blocks_read read_blocks(open_volume& volume, const data_run_list& runs,
                        std::uint32_t count = 0xFFFFFFFF, std::uint32_t first = 0) {
    blocks_read out;
    out.count = count;
    out.bytes = {1, 2, 3};
    out.result = volume.ntfs.read_index_blocks(out.bytes, out.count, runs, first);
    return out;
}

TEST(IndexBlocks, BlocksOfAnyClusterSizeAreReadAndFixedUp) {
    for (const std::uint32_t cluster : {512u, 1024u, 2048u, 4096u, 8192u, 65536u}) {
        SCOPED_TRACE(cluster);
        ntfs_image image({.cluster = cluster});
        const support::cluster_runs runs =
            image.store(joined({block_with(70), block_with(71), block_with(72)}), 2);
        open_volume volume(image);
        const blocks_read blocks = read_blocks(volume, runs_of(runs));
        ASSERT_TRUE(blocks.result);
        support::bytes expected =
            joined({plain_block_with(70), plain_block_with(71), plain_block_with(72)});
        expected.resize(support::clusters_in(runs) * cluster / 4096 * 4096);
        EXPECT_EQ(blocks.count, expected.size() / 4096);
        EXPECT_EQ(blocks.bytes, expected);
    }
}

TEST(IndexBlocks, RangeOfBlocksCanBeRead) {
    for (const std::uint32_t cluster : {1024u, 4096u, 8192u}) {
        SCOPED_TRACE(cluster);
        ntfs_image image({.cluster = cluster});
        const support::cluster_runs runs = image.store(
            joined({block_with(70), block_with(71), block_with(72), block_with(73)}), 2);
        open_volume volume(image);
        const blocks_read two = read_blocks(volume, runs_of(runs), 2, 1);
        ASSERT_TRUE(two.result);
        EXPECT_EQ(two.count, 2u);
        EXPECT_EQ(two.bytes, joined({plain_block_with(71), plain_block_with(72)}));

        const blocks_read rest = read_blocks(volume, runs_of(runs), 9, 3);
        ASSERT_TRUE(rest.result);
        EXPECT_EQ(rest.count, 1u);
        EXPECT_EQ(rest.bytes, plain_block_with(73));

        EXPECT_FALSE(read_blocks(volume, runs_of(runs), 1, 4).result);
    }
}

TEST(IndexBlocks, EmptyAndSparseListsFail) {
    open_volume volume{ntfs_image()};
    EXPECT_FALSE(read_blocks(volume, {}).result);
    EXPECT_FALSE(read_blocks(volume, runs_of({{support::hole, 4}})).result);
    EXPECT_FALSE(read_blocks(volume, runs_of({{8, 0}})).result);
    EXPECT_THAT(read_blocks(volume, {}).bytes, IsEmpty());
}

TEST(IndexBlocks, ListLargerThanTheSourceFails) {
    open_volume volume{ntfs_image()};
    EXPECT_FALSE(read_blocks(volume, runs_of({{8, 0xFFFFFFFF}})).result);
}

TEST(IndexBlocks, SparseRunsAreSkipped) {
    ntfs_image image;
    const std::uint64_t lcn = image.alloc(2);
    image.write_clusters(lcn, joined({block_with(70), block_with(71)}));
    open_volume volume(image);
    const blocks_read blocks = read_blocks(
        volume, runs_of({{support::hole, 3}, {lcn, 1}, {support::hole, 1}, {lcn + 1, 1}}));
    EXPECT_EQ(blocks.bytes, joined({plain_block_with(70), plain_block_with(71)}));
}

TEST(IndexBlocks, UnreadableClusterEndsItsRunWithoutAGap) {
    ntfs_image image({.cluster = 1024});
    const std::uint64_t lcn = image.alloc(8);
    image.write_clusters(lcn, joined({block_with(70), block_with(71)}));
    open_volume volume(image);
    // Two clusters past the image, then the eight readable ones: 10 clusters are two blocks.
    const blocks_read blocks = read_blocks(volume, runs_of({{1000000, 2}, {lcn, 8}}));
    ASSERT_TRUE(blocks.result);
    EXPECT_EQ(blocks.bytes, joined({plain_block_with(70), plain_block_with(71)}));

    // With half a block first, the blocks consist of other clusters.
    const blocks_read shifted = read_blocks(volume, runs_of({{lcn, 2}, {1000000, 2}, {lcn, 8}}));
    ASSERT_TRUE(shifted.result);
    EXPECT_THAT(shifted.bytes, SizeIs(3 * 4096));
    const support::bytes raw = block_with(70);
    EXPECT_TRUE(std::equal(raw.begin(), raw.begin() + 510, shifted.bytes.begin() + 2048));
}

TEST(IndexBlocks, IncompleteBlockIsNotFixedUp) {
    ntfs_image image({.cluster = 1024});
    const std::uint64_t lcn = image.alloc(4);
    image.write_clusters(lcn, block_with(70));
    open_volume volume(image);
    const blocks_read blocks = read_blocks(volume, runs_of({{lcn, 3}, {1000000, 1}}));
    ASSERT_TRUE(blocks.result);
    support::bytes expected = block_with(70);
    std::fill(expected.begin() + 3072, expected.end(), std::uint8_t{0});
    EXPECT_EQ(blocks.bytes, expected);
}

TEST(IndexBlocks, TrailingPartOfABlockIsNotRead) {
    ntfs_image image({.cluster = 1024});
    const std::uint64_t lcn = image.alloc(7);
    image.write_clusters(lcn, joined({block_with(70), support::bytes(3 * 1024, 0x55)}));
    open_volume volume(image);
    const blocks_read blocks = read_blocks(volume, runs_of({{lcn, 7}}));
    EXPECT_EQ(blocks.count, 1u);
    EXPECT_EQ(blocks.bytes, plain_block_with(70));
    EXPECT_FALSE(read_blocks(volume, runs_of({{lcn, 3}})).result);
}

TEST(IndexBlocks, TruncatedLargeClusterIsReadToItsEnd) {
    ntfs_image image({.cluster = 16384});
    const std::uint64_t lcn = image.alloc(1);
    image.write_clusters(lcn,
                         joined({block_with(70), block_with(71), block_with(72), block_with(73)}));
    image.truncate(lcn * 16384 + 2 * 4096);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const blocks_read blocks = read_blocks(volume, runs_of({{lcn, 1}}));
    ASSERT_TRUE(blocks.result);
    support::bytes expected = joined({plain_block_with(70), plain_block_with(71)});
    expected.resize(4 * 4096);
    EXPECT_EQ(blocks.bytes, expected);
}

TEST(IndexBlocks, ClustersThatDoNotDivideABlock) {
    // 1536-byte clusters: a block is two clusters, and starts at a multiple of 4096.
    ntfs_image image;
    const std::uint64_t lcn = image.alloc(8);
    support::bytes content = support::pattern(32768);
    put(content, 0, 0, 8);
    image.write_clusters(lcn, content);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    volume.ntfs.m_cluster_size = 1536;
    const std::uint64_t first = (lcn * 4096 + 1535) / 1536;
    const std::uint64_t skipped = first * 1536 - lcn * 4096;
    const blocks_read small = read_blocks(volume, runs_of({{first, 5}}));
    ASSERT_TRUE(small.result);
    ASSERT_THAT(small.bytes, SizeIs(2 * 4096));
    for (const std::size_t block : {0u, 1u}) {
        for (std::size_t i = 0; i < 4096; ++i) {
            const std::uint8_t expected =
                i < 3072 ? content[skipped + block * 3072 + i] : std::uint8_t{0};
            ASSERT_EQ(small.bytes[block * 4096 + i], expected) << block << " " << i;
        }
    }

    // 6144-byte clusters contain one block each; the rest of a cluster is ignored.
    volume.ntfs.m_cluster_size = 6144;
    const std::uint64_t large_first = (lcn * 4096 + 6143) / 6144;
    const std::uint64_t large_skipped = large_first * 6144 - lcn * 4096;
    const blocks_read large = read_blocks(volume, runs_of({{large_first, 2}}));
    ASSERT_TRUE(large.result);
    ASSERT_THAT(large.bytes, SizeIs(2 * 4096));
    for (std::size_t i = 0; i < 4096; ++i) {
        ASSERT_EQ(large.bytes[i], content[large_skipped + i]);
        ASSERT_EQ(large.bytes[4096 + i], content[large_skipped + 6144 + i]);
    }
}

TEST(IndexBlocks, FixupsFollowTheBytesPerSector) {
    const struct {
        const char* name;
        std::uint16_t bytes_per_sector;
        std::uint16_t words;
        std::vector<std::size_t> written;  // byte offsets of sector ends - 2
    } cases[] = {
        {"512", 512, 9, {510, 1022, 1534, 2046, 2558, 3070, 3582, 4094}},
        {"fewer words", 512, 3, {510, 1022}},
        {"more words than sectors", 512, 20, {510, 1022, 1534, 2046, 2558, 3070, 3582, 4094}},
        {"1024", 1024, 9, {1022, 2046, 3070, 4094}},
        {"4096", 4096, 9, {4094}},
        {"8192", 8192, 9, {}},
        {"0", 0, 9, {}},
        {"one word", 512, 1, {}},
        {"no word", 512, 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        support::bytes block(4096, 0xEE);
        put(block, 0, 0x58444E49, 4);
        put(block, 4, 40, 2);
        put(block, 6, c.words, 2);
        for (std::uint16_t i = 0; i < 24; ++i)
            put(block, 40 + i * 2u, 0x4000u + i, 2);
        const support::cluster_runs runs = image.store(block);
        open_volume volume(image);
        volume.ntfs.m_boot.raw[11] = static_cast<std::uint8_t>(c.bytes_per_sector);
        volume.ntfs.m_boot.raw[12] = static_cast<std::uint8_t>(c.bytes_per_sector >> 8);
        const blocks_read blocks = read_blocks(volume, runs_of(runs));
        ASSERT_TRUE(blocks.result);
        std::uint64_t word = 0x4001;
        for (const std::size_t at : c.written)
            put(block, at, word++, 2);
        EXPECT_EQ(blocks.bytes, block);
    }
}

TEST(IndexBlocks, WordsPastTheBlockAreZero) {
    ntfs_image image;
    support::bytes block = block_with(70, {.fixups = false});
    put(block, 4, 4096 - 4, 2);  // only the check value and word 1 are inside the block
    put(block, 6, 9, 2);
    put(block, 4094, 0x7777, 2);
    const support::cluster_runs runs = image.store(joined({block, support::bytes(4096, 0xAA)}));
    open_volume volume(image);
    const blocks_read blocks = read_blocks(volume, runs_of(runs));
    ASSERT_TRUE(blocks.result);
    EXPECT_EQ(ql::le16(blocks.bytes, 510), 0x7777);
    for (std::size_t sector = 2; sector <= 8; ++sector) {
        EXPECT_EQ(ql::le16(blocks.bytes, sector * 512 - 2), 0) << sector;
    }
}

TEST(IndexBlocks, OtherBlocksAreNotFixedUp) {
    ntfs_image image;
    support::bytes block = block_with(70);
    block[0] = 'X';
    const support::cluster_runs runs = image.store(block);
    open_volume volume(image);
    EXPECT_EQ(read_blocks(volume, runs_of(runs)).bytes, block);
}

}  // namespace
