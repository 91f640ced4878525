#include "ntfs/index/index_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/directory_index.h"
#include "support/vmdk_image.h"
#include "unit/ntfs/image_volume.h"
#include "unit/storage/fresh_hints.h"

namespace {

using support::byte_image;
using byte_list = std::vector<std::uint8_t>;
using block_map = std::map<std::uint64_t, byte_list>;  // by number, those that are not zero

constexpr std::uint64_t block_size = 4096;

bool is_zero(const byte_list& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t b) { return b == 0; });
}

// A reader with the given geometry over bytes that are not a volume.
class block_source {
public:
    block_source(const byte_image& image, std::int32_t cluster_size)
        : m_volume(image), image_bytes(image.bytes()) {
        ntfs().m_Validated = true;
        ntfs().m_cluster_size = cluster_size;
        const byte_image boot = byte_image(512).put(11, 512, 2);
        const support::bytes raw = boot.bytes();
        std::copy(raw.begin(), raw.end(), ntfs().m_boot.raw.begin());
    }
    CNtfs& ntfs() { return m_volume.ntfs; }

private:
    image_volume m_volume;

public:
    byte_list image_bytes;
};

// A simple model: reads all runs except holes into one buffer, cluster by cluster, and splits it.
block_map model(const byte_list& image, const data_run_list& runs, std::uint64_t cluster) {
    const std::uint64_t parts = cluster < block_size ? block_size / cluster : 0;
    const std::uint64_t per_cluster = cluster / block_size;
    std::uint64_t stated = 0;
    for (const data_run& run : runs)
        stated += run.sparse != 0 ? 0 : run.num_clusters;
    const std::uint64_t total = parts != 0 ? stated / parts : stated * per_cluster;

    byte_list out;
    const auto finish = [&](std::size_t at) {
        byte_list block(out.begin() + static_cast<std::ptrdiff_t>(at),
                        out.begin() + static_cast<std::ptrdiff_t>(at + block_size));
        if (std::string(block.begin(), block.begin() + 4) != "INDX") return;
        const unsigned array = static_cast<unsigned>(block[4] | block[5] << 8);
        const unsigned count = static_cast<unsigned>(block[6] | block[7] << 8);
        for (unsigned i = 1; i < count && i < 9; ++i) {
            for (unsigned k = 0; k < 2; ++k) {
                const std::size_t word = array + i * 2 + k;
                block[i * 512 - 2 + k] = word < block.size() ? block[word] : 0;
                out[at + i * 512 - 2 + k] = block[i * 512 - 2 + k];
            }
        }
    };
    std::uint64_t parts_done = 0;
    for (const data_run& run : runs) {
        if (run.sparse != 0) continue;
        for (std::uint64_t i = 0; i < run.num_clusters; ++i) {
            const std::uint64_t at = (run.lcn + i) * cluster;
            if (at >= image.size() || out.size() / block_size >= total) break;
            const std::size_t count = std::min<std::uint64_t>(cluster, image.size() - at);
            byte_list content(image.begin() + static_cast<std::ptrdiff_t>(at),
                              image.begin() + static_cast<std::ptrdiff_t>(at + count));
            if (parts == 0) {
                content.resize((content.size() + block_size - 1) / block_size * block_size);
                const std::size_t start = out.size();
                out.insert(out.end(), content.begin(), content.end());
                for (std::size_t b = start; b < out.size(); b += block_size)
                    finish(b);
            } else {
                content.resize(cluster);
                out.insert(out.end(), content.begin(), content.end());
                if (++parts_done % parts == 0) finish(out.size() - block_size);
            }
        }
    }
    out.resize((out.size() + block_size - 1) / block_size * block_size);
    block_map blocks;
    for (std::uint64_t number = 0; number < std::min(total, out.size() / block_size); ++number) {
        const auto start = out.begin() + static_cast<std::ptrdiff_t>(number * block_size);
        byte_list block(start, start + block_size);
        if (!is_zero(block)) blocks.emplace(number, std::move(block));
    }
    return blocks;
}

block_map streamed(CNtfs& ntfs, const data_run_list& runs) {
    block_map blocks;
    index_block_stream stream(ntfs, runs, 0);
    while (stream.next()) {
        const ql::bytes block = stream.block();
        byte_list content(block.begin(), block.end());
        if (!is_zero(content)) blocks.emplace(stream.number(), std::move(content));
    }
    return blocks;
}

// 40 blocks: zeros, index blocks or other bytes. The last one is incomplete.
byte_image test_image(std::mt19937& random) {
    byte_image image(39 * block_size + 700);
    for (std::uint64_t i = 0; i < 40; ++i) {
        if (random() % 4 == 0) continue;
        const support::bytes content =
            random() % 2 == 0 ? support::index_block(support::index_end_entry(), {.vcn = i})
                              : support::pattern(block_size, static_cast<std::uint32_t>(random()));
        image.put_bytes(i * block_size, content);
    }
    return image.resize(39 * block_size + 700);
}

TEST(IndexBlockStream, ReadsTheBlocksOfRandomRuns) {
    std::mt19937 random(1);
    for (int round = 0; round < 400; ++round) {
        constexpr std::uint32_t sizes[] = {512, 1024, 2048, 4096, 8192, 16384, 65536};
        const std::uint32_t cluster = sizes[random() % std::size(sizes)];
        SCOPED_TRACE(testing::Message() << "round " << round << ", clusters of " << cluster);
        block_source source(test_image(random), static_cast<std::int32_t>(cluster));
        const std::uint64_t clusters = source.image_bytes.size() / cluster + 2;
        data_run_list runs;
        std::uint64_t vcn = 0;
        for (std::uint64_t i = 1 + random() % 5; i-- > 0;) {
            const bool is_hole = random() % 5 == 0;
            const auto count = static_cast<std::uint32_t>(
                random() % 6 == 0 ? random() : 1 + random() % (2 * clusters));
            runs.push_back({is_hole ? 0 : random() % clusters, vcn,
                            static_cast<std::uint8_t>(is_hole ? 1 : 0), count});
            vcn += count;
        }
        ASSERT_EQ(streamed(source.ntfs(), runs), model(source.image_bytes, runs, cluster));
    }
}

TEST(IndexBlockStream, LimitsTheNumberOfBlocksTo32Bits) {
    std::mt19937 random(2);
    block_source source(test_image(random), 65536);
    const data_run_list one{{0, 0, 0, 0xFFFFFFFF}};
    EXPECT_EQ(index_block_stream(source.ntfs(), one, 0).num_blocks(), 0xFFFFFFFFu);
    EXPECT_EQ(index_block_stream(source.ntfs(), {{0, 0, 0, 2}}, 0).num_blocks(), 32u);
    EXPECT_EQ(index_block_stream(source.ntfs(), {{0, 0, 0, 2}}, 31).num_blocks(), 1u);
    EXPECT_EQ(index_block_stream(source.ntfs(), {{0, 0, 0, 2}}, 32).num_blocks(), 0u);
    EXPECT_EQ(index_block_stream(source.ntfs(), {{0, 0, 1, 2}}, 0).num_blocks(), 0u);
    EXPECT_EQ(index_block_stream(source.ntfs(), {}, 0).num_blocks(), 0u);
    source.ntfs().m_cluster_size = 0;
    EXPECT_EQ(index_block_stream(source.ntfs(), one, 0).num_blocks(), 0u);
}

// Runs that contain the same clusters repeatedly are not read to their end.
TEST(IndexBlockStream, EndsAfterManyReadsOfTheSource) {
    std::mt19937 random(3);
    block_source source(test_image(random), 4096);
    data_run_list runs;
    for (std::uint32_t i = 0; i < 20000; ++i)
        runs.push_back({0, std::uint64_t{i} * 39, 0, 39});
    index_block_stream stream(source.ntfs(), runs, 0);
    std::uint64_t blocks = 0;
    while (stream.next())
        ++blocks;
    const std::uint64_t most = source.ntfs().m_disk->most_walked_bytes() / block_size;
    EXPECT_GE(blocks, most / 2) << "blocks of zeros may be skipped";
    EXPECT_LE(blocks, most + 1);
}

TEST(IndexBlockWindow, ReturnsABlockAndTheTwoAfterIt) {
    byte_image image(6 * block_size);
    for (std::uint64_t i = 0; i < 6; ++i) {
        if (i != 3) image.fill(i * block_size, block_size, static_cast<std::uint8_t>(i + 1));
    }
    block_source source(image, 4096);
    const data_run_list runs{{0, 0, 0, 6}};
    index_block_stream stream(source.ntfs(), runs, 0);
    index_block_window window(stream);
    std::vector<std::uint32_t> numbers;
    while (window.next()) {
        const std::uint32_t number = window.number();
        numbers.push_back(number);
        EXPECT_EQ(window.block()[0], source.image_bytes[number * block_size]);
        for (std::uint64_t i = 0; i < 3; ++i) {
            const std::uint64_t at = (number + i) * block_size;
            const unsigned expected = at < source.image_bytes.size() ? source.image_bytes[at] : 0u;
            EXPECT_EQ(window.with_following()[i * block_size + 5], expected) << number << "+" << i;
        }
    }
    numbers.erase(std::remove(numbers.begin(), numbers.end(), 3u), numbers.end());
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{0, 1, 2, 4, 5}));
}

// --- hints ---

using hints = std::vector<support::given_hint>;

// Returns the hints that the blocks of the runs give if nothing is cached, in a source of 100
// blocks.
hints given_hints(const data_run_list& runs, std::int32_t cluster_size = 4096) {
    block_source source(byte_image(support::pattern(100 * block_size)), cluster_size);
    const fresh_hints system(support::system_hints::cache::empty);
    index_block_stream stream(source.ntfs(), runs, 0);
    while (stream.next()) {
    }
    return system.given;
}

data_run run_of(std::uint64_t lcn, std::uint64_t clusters, bool sparse = false) {
    data_run run;
    run.lcn = lcn;
    run.num_clusters = static_cast<std::uint32_t>(clusters);
    run.sparse = sparse ? 1 : 0;
    return run;
}

TEST(IndexBlockHints, ClustersAfterTheFirstSlowReadAreAnnounced) {
    EXPECT_EQ(given_hints({run_of(10, 5), run_of(0, 7, true), run_of(50, 2), run_of(30, 1)}),
              (hints{{11 * 4096, 4 * 4096}, {50 * 4096, 2 * 4096}, {30 * 4096, 4096}}));
}

TEST(IndexBlockHints, ClustersPastTheEndAreNot) {
    EXPECT_EQ(given_hints({run_of(97, 5), run_of(3, 1)}),
              (hints{{98 * 4096, 2 * 4096}, {3 * 4096, 4096}}));
}

TEST(IndexBlockHints, AtMostOneMebibyteAhead) {
    const hints given = given_hints({run_of(0, 40), run_of(0, 40), run_of(0, 400)}, 65536);
    std::uint64_t total = 0;
    for (const support::given_hint& hint : given)
        total += hint.size;
    ASSERT_FALSE(given.empty());
    EXPECT_EQ(given.front(), (support::given_hint{65536, 128 * 1024}));
    // Seven clusters of each run are in the source; no run is read to its end, and hints reach
    // 16 clusters beyond the reads.
    EXPECT_LE(total, 3 * 100 * block_size);
}

TEST(IndexBlockHints, LongRunIsAnnouncedOnce) {
    block_source source(byte_image(support::pattern(700 * block_size)), 4096);
    const fresh_hints system(support::system_hints::cache::empty);
    const data_run_list runs = {run_of(0, 700)};
    index_block_stream stream(source.ntfs(), runs, 0);
    while (stream.next()) {
    }
    std::uint64_t end = block_size;  // the first block is read without a hint
    for (const support::given_hint& hint : system.given) {
        EXPECT_EQ(hint.offset, end);
        end = hint.offset + hint.size;
    }
    EXPECT_EQ(end, 700 * block_size);
}

TEST(IndexBlockHints, HolesOfTheSourceAreNotAnnounced) {
    byte_image image(300 * block_size);
    image.fill(0, 20 * block_size, 1).fill(200 * block_size, 100 * block_size, 1);
    block_source source(image, 4096);
    const fresh_hints system(support::system_hints::cache::empty);
    const data_run_list runs = {run_of(0, 300)};
    index_block_stream stream(source.ntfs(), runs, 0);
    if (source.ntfs().disk()->next_held(20 * block_size, 300 * block_size) == 20 * block_size) {
        GTEST_SKIP() << "this file system has no holes or does not show them";
    }
    while (stream.next()) {
    }
    std::uint64_t total = 0;
    for (const support::given_hint& hint : system.given) {
        EXPECT_TRUE(hint.offset + hint.size <= 20 * block_size || hint.offset >= 200 * block_size);
        total += hint.size;
    }
    EXPECT_EQ(total, 119 * block_size);
}

TEST(IndexBlockHints, NoneWhileEverythingIsCached) {
    block_source source(byte_image(support::pattern(100 * block_size)), 4096);
    const fresh_hints system(support::system_hints::cache::full);
    const data_run_list runs = {run_of(0, 100)};
    index_block_stream stream(source.ntfs(), runs, 0);
    while (stream.next()) {
    }
    EXPECT_TRUE(system.given.empty());
}

}  // namespace
