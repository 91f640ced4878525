#include "ntfs/index/index_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/directory_index.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using support::index_block;
using support::index_block_options;
using support::index_end_entry;
using support::index_entries;
using support::index_entry;
using support::index_root_value;
using support::ntfs_image;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using entry_set = std::set<std::uint64_t>;

constexpr std::size_t node_header_size = 16;

void put(support::bytes& bytes, std::size_t at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (i * 8));
    }
}

index_entry entry_of_file(std::uint64_t number, std::u16string_view name = u"name") {
    return {.reference = file_reference(number, 1), .key = support::file_name_value(5, name)};
}

support::bytes with_end(const std::vector<index_entry>& entries) {
    support::bytes content = index_entries(entries);
    const support::bytes end = index_end_entry();
    content.insert(content.end(), end.begin(), end.end());
    return content;
}

// Returns a node: its header, then `content`. `index_length` includes the header.
support::bytes node(const support::bytes& content) {
    support::bytes bytes(node_header_size);
    put(bytes, 0, node_header_size, 4);
    put(bytes, 4, node_header_size + content.size(), 4);
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

entry_set collected(const support::bytes& bytes, bool include_slack = false, bool expected = true) {
    std::vector<std::uint64_t> children;
    EXPECT_EQ(collect_entries(children, bytes, include_slack), expected);
    return {children.begin(), children.end()};
}

// --- one node ---

TEST(IndexNode, EntriesUpToTheLastOneAreCollected) {
    EXPECT_THAT(
        collected(node(with_end({entry_of_file(70), entry_of_file(64), entry_of_file(66)}))),
        ElementsAre(64, 66, 70));
}

TEST(IndexNode, EntryNumberHasNoSequenceNumber) {
    index_entry other = entry_of_file(70, u"LONGNA~1");
    other.reference = file_reference(70, 0xFFFF);
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), other}))), ElementsAre(70));
}

TEST(IndexNode, NumberOfAnEntryHas48Bits) {
    EXPECT_THAT(collected(node(with_end({{.reference = 0xFFFF'FEDC'BA98'7654,
                                          .key = support::file_name_value(5, u"x")}}))),
                ElementsAre(0xFEDCBA987654));
}

TEST(IndexNode, EntryZeroWithASequenceNumberIsCollected) {
    EXPECT_THAT(collected(node(with_end({{.reference = file_reference(0, 1),
                                          .key = support::file_name_value(5, u"$MFT")}}))),
                ElementsAre(0));
}

TEST(IndexNode, SubNodesOfEntriesAreNotNeeded) {
    index_entry with_sub_node = entry_of_file(70);
    with_sub_node.sub_node = 3;
    EXPECT_THAT(collected(node(with_end({with_sub_node, entry_of_file(71)}))), ElementsAre(70, 71));
}

TEST(IndexNode, FlagsAreComparedAsAWhole) {
    const struct {
        std::uint16_t flags;
        bool taken;
    } cases[] = {{0, true}, {1, true},    {2, false},   {3, false},
                 {4, true}, {0x12, true}, {0x102, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        index_entry entry = entry_of_file(70);
        entry.flags = c.flags;
        EXPECT_THAT(collected(node(with_end({entry, entry_of_file(71)}))), SizeIs(c.taken ? 2 : 0));
    }
}

TEST(IndexNode, EmptyReferenceEndsTheWalk) {
    index_entry empty = entry_of_file(0);
    empty.reference = 0;
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), empty, entry_of_file(71)}))),
                ElementsAre(70));
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), empty, entry_of_file(71)})), true),
                ElementsAre(70, 71));
}

TEST(IndexNode, LengthIsOneTo4096) {
    const support::bytes valid = node(with_end({entry_of_file(70)}));
    const struct {
        std::uint32_t length;
        bool result;
        std::size_t found;
    } cases[] = {
        {0, false, 0}, {4095, true, 1}, {4096, true, 0}, {4097, false, 0}, {0xFFFFFFFF, false, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        support::bytes bytes = valid;
        put(bytes, 4, c.length, 4);
        EXPECT_THAT(collected(bytes, false, c.result), SizeIs(c.found));
    }
    EXPECT_THAT(collected({}, false, false), IsEmpty());
}

TEST(IndexNode, EntriesOffsetIsFromTheNodeHeader) {
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    const std::size_t first_size = ql::le16(bytes, 16 + 8);
    put(bytes, 0, 16 + first_size, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(71));
    put(bytes, 0, 0xFFFFFFFF, 4);
    EXPECT_THAT(collected(bytes), IsEmpty());
}

TEST(IndexNode, SizesAboveTheIndexLengthEndTheWalk) {
    const support::bytes valid = node(with_end({entry_of_file(70), entry_of_file(71)}));
    const std::size_t second = 16 + ql::le16(valid, 16 + 8);
    const auto length = static_cast<std::uint16_t>(valid.size());
    const struct {
        const char* name;
        std::size_t field;
        std::uint16_t value;
        std::size_t found;
    } cases[] = {
        {"entry size at the length", 8, length, 2},
        {"entry size above it", 8, static_cast<std::uint16_t>(length + 1), 1},
        {"entry size below the key's", 8, 40, 1},
        {"key size above the length", 10, static_cast<std::uint16_t>(length + 1), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::bytes bytes = valid;
        put(bytes, second + c.field, c.value, 2);
        EXPECT_THAT(collected(bytes), SizeIs(c.found));
    }
}

TEST(IndexNode, EntrySmallerThanItsKeyIsCollectedWithSlack) {
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    put(bytes, 16 + 10, ql::le16(bytes, 16 + 8) + 1u, 2);
    EXPECT_THAT(collected(bytes), IsEmpty());
    EXPECT_THAT(collected(bytes, true), ElementsAre(70, 71));
}

TEST(IndexNode, NextEntryHasOneTo768Bytes) {
    const struct {
        std::uint16_t size;
        std::size_t found;
    } cases[] = {{0, 1}, {768, 2}, {769, 1}, {0xFFFF, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
        bytes.resize(2000);
        put(bytes, 4, 2000, 4);
        put(bytes, 16 + ql::le16(bytes, 16 + 8) + 8u, c.size, 2);
        EXPECT_THAT(collected(bytes), SizeIs(c.found));
    }
}

TEST(IndexNode, FirstEntryMayHaveAnySize) {
    for (const std::uint16_t size : {std::uint16_t{769}, std::uint16_t{1500}}) {
        SCOPED_TRACE(size);
        support::bytes bytes = node(entry_of_file(70).build());
        bytes.resize(2000);
        put(bytes, 4, 2000, 4);
        put(bytes, 16 + 8, size, 2);
        const support::bytes second = with_end({entry_of_file(71)});
        std::copy(second.begin(), second.end(), bytes.begin() + 16 + size);
        EXPECT_THAT(collected(bytes), SizeIs(2));
    }
    // An entry of size 0 with a key of size 0 is collected, and ends the walk.
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    put(bytes, 16 + 8, 0, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70));
}

TEST(IndexNode, WalkEndsAtTheEndOfTheLength) {
    support::bytes bytes =
        node(with_end({entry_of_file(70), entry_of_file(71), entry_of_file(72)}));
    const std::uint32_t size = ql::le16(bytes, 16 + 8);
    // The length includes the header, but only the sizes of the entries are subtracted from it.
    put(bytes, 4, 2 * size, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71));
    put(bytes, 4, 2 * size + 1, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71, 72));
    put(bytes, 4, 2 * size - 1, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71));
}

TEST(IndexNode, EveryPrefixHasNoAdditionalEntries) {
    const support::bytes whole = node(with_end({entry_of_file(70), entry_of_file(71)}));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const support::bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        std::vector<std::uint64_t> children;
        collect_entries(children, cut, false);
        for (const std::uint64_t child : children)
            EXPECT_LE(child, 71u);
        EXPECT_LE(children.size(), 2u);
    }
}

TEST(IndexNode, EntriesAreAppended) {
    std::vector<std::uint64_t> children = {5, 100};
    EXPECT_TRUE(collect_entries(
        children, node(with_end({entry_of_file(70), entry_of_file(64), entry_of_file(70)})),
        false));
    EXPECT_THAT(children, ElementsAre(5, 100, 70, 64, 70));
}

// --- blocks ---

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

support::bytes block_with(std::uint64_t number, const index_block_options& options = {}) {
    return index_block(with_end({entry_of_file(number)}), options);
}

// Returns the block with the last words of its sectors restored.
support::bytes plain_block_with(std::uint64_t number, std::uint16_t check_value = 1) {
    support::bytes block = block_with(number, {.check_value = check_value});
    for (std::size_t sector = 1; sector <= 8; ++sector) {
        put(block, sector * 512 - 2, ql::le16(block, 40 + sector * 2), 2);
    }
    return block;
}

support::bytes joined(const std::vector<support::bytes>& parts) {
    support::bytes all;
    for (const support::bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
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

// --- directories ---

entry_set children_of(open_volume& volume, std::uint64_t inode, bool expected = true) {
    EXPECT_TRUE(volume.opened);
    entry_set children;
    EXPECT_EQ(volume.ntfs.get_children(inode, children, false), expected);
    return children;
}

// A directory 64 with `count` files, starting at entry 100.
void fill_directory(ntfs_image& image, std::size_t count) {
    image.directory(5, u"dir", 64);
    for (std::size_t i = 0; i < count; ++i) {
        std::u16string name = u"file ";
        name += static_cast<char16_t>(u'a' + i / 26);
        name += static_cast<char16_t>(u'a' + i % 26);
        image.file(64, name, 100 + i);
    }
}

entry_set numbers(std::uint64_t first, std::size_t count) {
    entry_set set;
    for (std::size_t i = 0; i < count; ++i)
        set.insert(first + i);
    return set;
}

TEST(DirectoryIndex, SmallDirectoryHasOnlyARoot) {
    ntfs_image image;
    fill_directory(image, 3);
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 3));
}

TEST(DirectoryIndex, EmptyDirectoryHasNoChildren) {
    ntfs_image image;
    fill_directory(image, 0);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, RootDirectoryListsItself) {
    ntfs_image image;
    image.file(5, u"a", 100);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 5), ElementsAre(5, 100));
}

TEST(DirectoryIndex, LargeDirectoryIsReadWithAnyClusterSize) {
    for (const std::uint32_t cluster : {512u, 2048u, 4096u, 65536u}) {
        for (const bool fragmented : {false, true}) {
            SCOPED_TRACE(testing::Message() << cluster << " " << fragmented);
            ntfs_image image({.cluster = cluster});
            fill_directory(image, 150);
            if (fragmented) image.index(64).fragmented();
            open_volume volume(image);
            EXPECT_EQ(children_of(volume, 64), numbers(100, 150));
        }
    }
}

TEST(DirectoryIndex, ChildrenAreAddedToTheSet) {
    ntfs_image image;
    fill_directory(image, 1);
    open_volume volume(image);
    entry_set children = {7};
    EXPECT_TRUE(volume.ntfs.get_children(64, children, false));
    EXPECT_THAT(children, ElementsAre(7, 100));
}

TEST(DirectoryIndex, FileHasNoIndex) {
    ntfs_image image;
    image.file(5, u"a", 100);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 100, false), IsEmpty());
}

TEST(DirectoryIndex, UnreadableEntryHasNoIndex) {
    open_volume volume{ntfs_image()};
    EXPECT_THAT(children_of(volume, 0x1000000, false), IsEmpty());
    CNtfs closed(nullptr, 0, 33);
    entry_set children;
    EXPECT_FALSE(closed.get_children(5, children, false));
}

TEST(DirectoryIndex, ExtensionRecordReturnsTheIndexOfItsBase) {
    ntfs_image image;
    fill_directory(image, 2);
    image.entry(90).base(image.entry(64).reference()).data("x");
    image.entry(91).base(file_reference(90, 0x77)).data("x");
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 90), numbers(100, 2));
    EXPECT_EQ(children_of(volume, 91), numbers(100, 2));
}

TEST(DirectoryIndex, BaseMayBeEntryZero) {
    // $MFT has no index, and the index in the record itself is ignored.
    ntfs_image image;
    image.entry(90)
        .base(file_reference(0, 1))
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 90, false), IsEmpty());
}

TEST(DirectoryIndex, CycleOfBaseReferencesFails) {
    ntfs_image image;
    image.entry(90).base(file_reference(91, 1));
    image.entry(91).base(file_reference(92, 1));
    image.entry(92).base(file_reference(90, 1));
    image.entry(93).base(file_reference(93, 1));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 90, false), IsEmpty());
    EXPECT_THAT(children_of(volume, 93, false), IsEmpty());
}

TEST(DirectoryIndex, RootOfAnotherTypeIsIgnored) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint32_t value;
    } cases[] = {{"view index", 0, 0}, {"index of 0x90", 0, 0x90}, {"no block size", 8, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        fill_directory(image, 2);
        image.index(64).put_in_root(c.at, c.value, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
    }
}

TEST(DirectoryIndex, LengthOfTheRootsNodeDecidesTheResult) {
    const struct {
        std::uint32_t length;
        bool result;
    } cases[] = {{0, false}, {4096, true}, {4097, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        ntfs_image image;
        fill_directory(image, 2);
        image.index(64).put_in_root(16 + 4, c.length, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, c.result), IsEmpty());
    }
}

TEST(DirectoryIndex, LengthOfTheRootsValueIsIgnored) {
    constexpr std::size_t value_length_at = 16;
    ntfs_image image;
    image.entry(65)
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})))
        .edit(value_length_at, 0, 4);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70));
}

TEST(DirectoryIndex, CollationAndBlockSizeAreNotCompared) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).put_in_root(4, 0x99, 4).put_in_root(8, 1, 4).put_in_root(12, 0xFF, 1);
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 2));
}

TEST(DirectoryIndex, BlockOfZerosOrOfOtherContentIsSkipped) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().entries_per_block(20).spare_blocks(2);
    open_volume valid(image);
    EXPECT_EQ(children_of(valid, 64), numbers(100, 60));

    image.index(64).zero_block(0);
    open_volume damaged(image);
    const entry_set rest = children_of(damaged, 64);
    EXPECT_LT(rest.size(), 60u);
    EXPECT_GE(rest.size(), 38u);
}

TEST(DirectoryIndex, BlocksThatTheBitmapMarksFreeAreRead) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().bitmap(support::bytes(8));
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 60));
}

TEST(DirectoryIndex, EntriesAfterTheLastOneAreIgnored) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).add_stale(entry_of_file(500, u"gone"));
    open_volume volume(image);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 2));
}

TEST(DirectoryIndex, DamagedEntryHidesOnlyTheRestOfItsBlock) {
    ntfs_image image;
    fill_directory(image, 40);
    image.index(64).in_blocks().entries_per_block(20);
    open_volume valid(image);
    const std::size_t all = children_of(valid, 64).size();
    ASSERT_EQ(all, 40u);
    // The second entry of the first block has a size of 769 bytes.
    const support::bytes key = support::file_name_value(64, u"file aa");
    const std::size_t entry_size = (16 + key.size() + 7) / 8 * 8;
    const std::size_t first_entry = 24 + 40;
    image.index(64).put_in_block_before_fixup(0, first_entry + entry_size + 8, 769, 2);
    open_volume damaged(image);
    const entry_set rest = children_of(damaged, 64);
    EXPECT_EQ(rest.size(), all - 19);
    EXPECT_EQ(rest.count(100), 1u);
    EXPECT_EQ(rest.count(101), 0u);
}

TEST(DirectoryIndex, ResultIsThatOfTheAllocation) {
    // The allocation cannot be read, so the result is false, but the root's entries are added.
    ntfs_image image;
    image.directory(5, u"dir", 64);
    image.entry(65).flags(3).standard_information().resident(
        support::type::index_root, u"$I30", index_root_value(with_end({entry_of_file(70)})));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30",
                                support::cluster_runs{{support::hole, 2}});
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65, false), ElementsAre(70));
}

TEST(DirectoryIndex, AllocationIsReadDespiteABadRoot) {
    ntfs_image image;
    fill_directory(image, 60);
    image.index(64).in_blocks().put_in_root(0, 0, 4);
    open_volume volume(image);
    EXPECT_FALSE(children_of(volume, 64).empty());
}

TEST(DirectoryIndex, AllocationWithoutInitializedBytesFails) {
    ntfs_image image;
    const support::cluster_runs runs = image.store(block_with(70));
    image.entry(65).resident(support::type::index_root, u"$I30", index_root_value(with_end({})));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30", runs, {.initialized = 0});
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65, false), IsEmpty());
}

TEST(DirectoryIndex, EntriesOffsetOfABlockMayPointIntoTheNext) {
    ntfs_image image;
    // By itself, the next block would be skipped.
    const support::cluster_runs runs =
        image.store(joined({block_with(70, {.entries_offset = 4096 + 40, .used = 4000}),
                            block_with(71, {.keyword = "XXXX"})}));
    image.entry(65).nonresident(support::type::index_allocation, u"$I30", runs);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, OnlyAttributesNamedI30AreUsed) {
    const struct {
        const char* name;
        std::u16string attribute;
        bool found;
    } cases[] = {{"$I30", u"$I30", true},
                 {"none", u"", false},
                 {"other", u"$I31", false},
                 {"longer", u"$I300", false},
                 {"with a zero inside", std::u16string(u"$I30\0x", 6), true},
                 {"lower case", u"$i30", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        image.entry(65).resident(support::type::index_root, c.attribute,
                                 index_root_value(with_end({entry_of_file(70)})));
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 65, c.found), SizeIs(c.found ? 1 : 0));
    }
}

TEST(DirectoryIndex, AllocationWithAnotherNameIsIgnored) {
    ntfs_image image;
    image.entry(65)
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(70)})))
        .nonresident(support::type::index_allocation, u"$O", image.store(block_with(71)));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70));
}

TEST(DirectoryIndex, NameMustBeInsideItsAttribute) {
    ntfs_image image;
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    const std::size_t at = image.entry(65).attribute_offset(support::type::index_root, u"$I30");
    const support::bytes record = image.entry(65).build_before_fixup();
    const std::uint32_t length = ql::le32(record, at + 4);
    // The name is repeated across and past the end of the attribute.
    const support::bytes name = support::as_bytes(u"$I30");
    for (const std::uint32_t offset : {length - 8, length - 7}) {
        SCOPED_TRACE(offset);
        ntfs_image moved = image;
        for (std::size_t i = 0; i < name.size(); ++i) {
            moved.entry(65).put_before_fixup(at + offset + i, name[i], 1);
        }
        moved.entry(65).put_before_fixup(at + 10, offset, 2);
        open_volume volume(moved);
        entry_set children;
        EXPECT_EQ(volume.ntfs.get_children(65, children, false), offset == length - 8);
    }
}

TEST(DirectoryIndex, AttributeMayHaveAtMostTheLengthOfARecord) {
    for (const std::uint32_t length : {1024u, 1025u}) {
        SCOPED_TRACE(length);
        ntfs_image image;
        image.entry(65).resident(support::type::index_root, u"$I30",
                                 index_root_value(with_end({entry_of_file(70)})));
        const std::size_t at = image.entry(65).attribute_offset(support::type::index_root, u"$I30");
        image.entry(65).put_before_fixup(at + 4, length, 4);
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 65, length == 1024), SizeIs(length == 1024 ? 1 : 0));
        // The record size is that of record 0, not of the boot sector.
        volume.ntfs.m_mft_record_size = 2048;
        EXPECT_THAT(children_of(volume, 65, length == 1024), SizeIs(length == 1024 ? 1 : 0));
    }
}

TEST(DirectoryIndex, LastAttributeOfATypeIsUsed) {
    ntfs_image image;
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    image.entry(65).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(71)})));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, LastAllocationIsUsed) {
    ntfs_image image;
    image.entry(65)
        .nonresident(support::type::index_allocation, u"$I30", image.store(block_with(70)))
        .nonresident(support::type::index_allocation, u"$I30", image.store(block_with(71)));
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(71));
}

TEST(DirectoryIndex, SlackIsNotReadThroughAnExtensionRecord) {
    ntfs_image image;
    fill_directory(image, 2);
    image.index(64).add_stale(entry_of_file(500, u"gone"));
    image.entry(90).base(image.entry(64).reference()).data("x");
    open_volume volume(image);
    entry_set with_slack;
    EXPECT_TRUE(volume.ntfs.get_children(64, with_slack, true));
    EXPECT_THAT(with_slack, ElementsAre(100, 101, 500));
    entry_set through_extension;
    EXPECT_TRUE(volume.ntfs.get_children(90, through_extension, true));
    EXPECT_THAT(through_extension, ElementsAre(100, 101));
}

// --- indexes in extension records ---

// A directory 64 whose index attributes are in other records.
struct listed_index {
    ntfs_image image;
    support::bytes far_block = block_with(71);

    listed_index() {
        image.entry(64).flags(3).standard_information();
        image.entry(65)
            .base(file_reference(64, 1))
            .resident(support::type::index_root, u"$I30",
                      index_root_value(with_end({entry_of_file(70)})));
        image.entry(66)
            .base(file_reference(64, 1))
            .nonresident(support::type::index_allocation, u"$I30", image.store(far_block));
    }

    static support::list_entry root(std::uint64_t record) {
        return {.type = support::type::index_root,
                .name = u"$I30",
                .record = file_reference(record, 1)};
    }
    static support::list_entry allocation(std::uint64_t record) {
        return {.type = support::type::index_allocation,
                .name = u"$I30",
                .record = file_reference(record, 1)};
    }
};

TEST(DirectoryIndex, RootAndAllocationAreFoundThroughTheList) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, ExtensionWithAPartReturnsTheIndexOfItsBase) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 65), ElementsAre(70, 71));
    EXPECT_THAT(children_of(volume, 66), ElementsAre(70, 71));
}

TEST(DirectoryIndex, LastListIsUsed) {
    listed_index directory;
    directory.image.entry(64)
        .attribute_list({listed_index::root(65)})
        .attribute_list({listed_index::allocation(66)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(71));
}

TEST(DirectoryIndex, ListInTheRecordEndsWithItsValue) {
    constexpr std::size_t value_length_at = 16;
    const std::size_t first = support::attribute_list_value({listed_index::root(65)}).size();
    for (const std::size_t length : {first, first + 1}) {
        SCOPED_TRACE(length);
        listed_index directory;
        directory.image.entry(64)
            .attribute_list({listed_index::root(65), listed_index::allocation(66)})
            .edit(value_length_at, length, 4);
        open_volume volume(directory.image);
        // The next entry is used if one byte of it is inside the list.
        EXPECT_THAT(children_of(volume, 64), SizeIs(length == first ? 1 : 2));
    }
}

TEST(DirectoryIndex, ResultIsThatOfTheLastListedPartThatIsRead) {
    const struct {
        const char* name;
        bool root_in_base;
        std::uint32_t listed_root_type;
        std::uint64_t initialized;
        bool result;
        std::vector<std::uint64_t> children;
    } cases[] = {
        {"bad allocation with a root in the record", true, 0x30, 0, false, {80}},
        {"bad allocation, then a root", false, 0x30, 0, true, {70}},
        {"allocation, then a bad root", false, 0, 4096, false, {71}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        image.entry(64).attribute_list({listed_index::root(65), listed_index::allocation(66)});
        if (c.root_in_base) {
            image.entry(64).resident(support::type::index_root, u"$I30",
                                     index_root_value(with_end({entry_of_file(80)})));
        }
        image.entry(65).resident(
            support::type::index_root, u"$I30",
            index_root_value(with_end({entry_of_file(70)}), {.type_code = c.listed_root_type}));
        image.entry(66).nonresident(support::type::index_allocation, u"$I30",
                                    image.store(block_with(71)), {.initialized = c.initialized});
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64, c.result), testing::ElementsAreArray(c.children));
    }
}

TEST(DirectoryIndex, NamesInListedRecordsAreComparedExactly) {
    for (const std::u16string& name :
         {std::u16string(u"$I300"), std::u16string(u"$I30\0x", 6), std::u16string()}) {
        ntfs_image image;
        image.entry(64).attribute_list({listed_index::root(65)});
        image.entry(65).resident(support::type::index_root, name,
                                 index_root_value(with_end({entry_of_file(70)})));
        open_volume volume(image);
        EXPECT_THAT(children_of(volume, 64), IsEmpty());
    }
}

TEST(DirectoryIndex, BuilderLayoutWithPartsInExtensionsIsRead) {
    ntfs_image both;
    fill_directory(both, 60);
    both.index(64).in_blocks().root_in_extension(90).blocks_in_extension(91);
    open_volume volume(both);
    EXPECT_EQ(children_of(volume, 64), numbers(100, 60));
}

TEST(DirectoryIndex, NonResidentListIsRead) {
    listed_index directory;
    const support::bytes list =
        support::attribute_list_value({listed_index::root(65), listed_index::allocation(66)});
    const support::cluster_runs runs = directory.image.store(list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, NonResidentListIsReadPastItsRealSize) {
    listed_index directory;
    const support::bytes list = support::attribute_list_value({listed_index::root(65)});
    const support::cluster_runs runs = directory.image.store(list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = 1});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, HolesOfANonResidentListAreZeros) {
    // An entry of 8192 bytes, half stored and half in a hole, then the entry of the root.
    listed_index directory;
    const support::bytes list = support::attribute_list_value(
        {{.type = support::type::data, .length = std::uint16_t{8192}}, listed_index::root(65)});
    const std::uint64_t lcn = directory.image.alloc(2);
    const support::cluster_runs runs = {{lcn, 1}, {support::hole, 1}, {lcn + 1, 1}};
    directory.image.write_runs(runs, list);
    directory.image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, NamedListIsUsed) {
    listed_index directory;
    directory.image.entry(64).resident(support::type::attribute_list, u"$X",
                                       support::attribute_list_value({listed_index::root(65)}));
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, UnreadableNonResidentListFails) {
    listed_index directory;
    directory.image.entry(64).attribute_list_runs({{1000000, 1}}, {.real = 32});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
}

TEST(DirectoryIndex, ListInAHoleIsAnEmptyIndex) {
    const struct {
        const char* name;
        support::cluster_runs runs;
        bool result;
    } cases[] = {
        {"none", {}, false},
        {"a cluster", {{support::hole, 1}}, true},
        {"more than the source", {{support::hole, 0x10000}}, true},
        {"2 GiB", {{support::hole, 0x80000}}, true},
        {"16 TiB", {{support::hole, 0xFFFFFFFF}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        listed_index directory;
        directory.image.entry(64).attribute_list_runs(c.runs, {.real = 32, .initialized = 32});
        open_volume volume(directory.image);
        EXPECT_THAT(children_of(volume, 64, c.result), IsEmpty());
    }
}

TEST(DirectoryIndex, ListWithoutInitializedBytesIsAnEmptyIndex) {
    listed_index directory;
    directory.image.entry(64).attribute_list_runs({{1000000, 1}}, {.real = 32, .initialized = 0});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, ListWithoutIndexIsAnEmptyIndex) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {{.type = support::type::data, .record = file_reference(65, 1)}});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, OnlyTheFirstListEntryOfATypeIsFollowed) {
    listed_index directory;
    directory.image.entry(67)
        .base(file_reference(64, 1))
        .nonresident(support::type::index_allocation, u"$I30",
                     directory.image.store(block_with(72)), {.start_vcn = 1});
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66), listed_index::allocation(67)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70, 71));
}

TEST(DirectoryIndex, ListIsIgnoredIfThereIsAnAllocation) {
    listed_index directory;
    const support::cluster_runs runs = directory.image.store(block_with(73));
    directory.image.entry(64)
        .attribute_list({listed_index::root(65), listed_index::allocation(66)})
        .nonresident(support::type::index_allocation, u"$I30", runs);
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(73));
}

TEST(DirectoryIndex, ListedRootIsIgnoredIfThereIsARoot) {
    listed_index directory;
    directory.image.entry(64)
        .attribute_list({listed_index::root(65), listed_index::allocation(66)})
        .resident(support::type::index_root, u"$I30",
                  index_root_value(with_end({entry_of_file(80)})));
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(71, 80));
}

TEST(DirectoryIndex, ListedPartsInTheOwnRecordAreIgnored) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::allocation(64), listed_index::root(65)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, ListedRootInTheOwnRecordIsIgnoredEvenIfItExists) {
    // The name of the root extends past the end of its attribute, so only a search by list could
    // find it.
    ntfs_image image;
    image.entry(64).flags(3).attribute_list({listed_index::root(64)});
    image.entry(64).resident(support::type::index_root, u"$I30",
                             index_root_value(with_end({entry_of_file(70)})));
    const std::size_t at = image.entry(64).attribute_offset(support::type::index_root, u"$I30");
    const std::uint32_t length = ql::le32(image.entry(64).build_before_fixup(), at + 4);
    const support::bytes name = support::as_bytes(u"$I30");
    for (std::size_t i = 0; i < name.size(); ++i) {
        image.entry(64).put_before_fixup(at + length - 7 + i, name[i], 1);
    }
    image.entry(64).put_before_fixup(at + 10, length - 7, 2);
    open_volume volume(image);
    EXPECT_THAT(children_of(volume, 64), IsEmpty());
}

TEST(DirectoryIndex, UnreadableListedRecordFails) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(0x100000)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64, false), IsEmpty());
}

TEST(DirectoryIndex, ListedRecordWithoutThePartIsSkipped) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(65)});
    open_volume volume(directory.image);
    EXPECT_THAT(children_of(volume, 64), ElementsAre(70));
}

TEST(DirectoryIndex, NamesInTheListAreComparedExactly) {
    for (const std::u16string name : {u"$I31", u"$i30", u"$I300", u""}) {
        listed_index directory;
        support::list_entry root = listed_index::root(65);
        root.name = name;
        directory.image.entry(64).attribute_list({root});
        open_volume volume(directory.image);
        EXPECT_THAT(children_of(volume, 64), IsEmpty());
    }
}

TEST(DirectoryIndex, NoDamagedByteOfADirectoryIsFatal) {
    listed_index directory;
    directory.image.entry(64).attribute_list(
        {listed_index::root(65), listed_index::allocation(66)});
    open_volume volume(directory.image);
    const support::byte_image valid = directory.image.build();
    std::fstream file(volume.path, std::ios::in | std::ios::out | std::ios::binary);
    for (const std::uint64_t entry : {64u, 65u, 66u}) {
        const std::uint64_t pos = directory.image.record_pos(entry);
        for (std::size_t at = 0; at < 400; ++at) {
            SCOPED_TRACE(testing::Message() << entry << " " << at);
            for (const char damage : {'\xFF', '\x00', '\x81'}) {
                file.seekp(static_cast<std::streamoff>(pos + at)).put(damage).flush();
                entry_set children;
                static_cast<void>(volume.ntfs.get_children(64, children, false));
                EXPECT_LE(children.size(), 4u);
            }
            file.seekp(static_cast<std::streamoff>(pos + at))
                .put(static_cast<char>(valid.get(pos + at, 1)))
                .flush();
        }
    }
}

TEST(DirectoryIndex, SortedChildrenHaveNoDuplicates) {
    ntfs_image image;
    image.directory(5, u"d", 64);
    image.file(64, u"c", 100);
    image.file(64, u"b", 102);
    image.file(64, u"a", 104);
    image.link(100, 64, u"d");
    open_volume volume(image);
    std::vector<std::uint64_t> children = {7};
    EXPECT_TRUE(volume.ntfs.get_sorted_children(64, children, false));
    EXPECT_THAT(children, ElementsAre(100, 102, 104));
}

}  // namespace
