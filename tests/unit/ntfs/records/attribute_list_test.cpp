#include "ntfs/records/attribute_list.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/record_builder.h"
#include "support/run_list.h"
#include "unit/ntfs/open_volume.h"

namespace {

support::bytes name_bytes(std::u16string_view name) { return support::as_bytes(name); }

// --- find_list_entry ---

support::bytes test_list() {
    return support::attribute_list_value({
        {.type = 0x10},
        {.type = 0x80, .name = u"zone", .id = 1},
        {.type = 0x80, .id = 2},
        {.type = 0x80, .name = u"zone", .id = 3},
    });
}

TEST(FindListEntry, ComparesTypeAndName) {
    const support::bytes list = test_list();
    list_entry entry{list, 0};
    auto left = static_cast<std::int64_t>(list.size());
    ASSERT_TRUE(find_list_entry(entry, left, 0x80, name_bytes(u"zone")));
    EXPECT_EQ(entry.id(), 1);
    EXPECT_EQ(left, static_cast<std::int64_t>(list.size() - entry.at));

    entry = {list, 0};
    left = static_cast<std::int64_t>(list.size());
    ASSERT_TRUE(find_list_entry(entry, left, 0x80, {}));
    EXPECT_EQ(entry.id(), 2);

    entry.at += entry.length();
    left = static_cast<std::int64_t>(list.size());  // more than the rest of the list
    ASSERT_TRUE(find_list_entry(entry, left, 0x80, name_bytes(u"zone")));
    EXPECT_EQ(entry.id(), 3);
}

TEST(FindListEntry, AlwaysTestsTheFirstEntry) {
    const support::bytes list = test_list();
    list_entry entry{list, 0};
    std::int64_t left = 0;
    EXPECT_TRUE(find_list_entry(entry, left, 0x10, {}));
    EXPECT_FALSE(find_list_entry(entry, left, 0x80, {}));
    EXPECT_EQ(entry.at, 0u);
}

TEST(FindListEntry, EndsAtTheEndOfTheList) {
    const support::bytes list = test_list();
    const std::int64_t first_length = list_entry{list, 0}.length();
    list_entry entry{list, 0};
    std::int64_t left = first_length;
    EXPECT_FALSE(find_list_entry(entry, left, 0x80, {}));
    EXPECT_EQ(left, 0);

    entry = {list, 0};
    left = first_length + 1;  // one byte of the next entry is enough
    EXPECT_TRUE(find_list_entry(entry, left, 0x80, name_bytes(u"zone")));
}

TEST(FindListEntry, LengthZeroEndsTheList) {
    const support::bytes list = support::byte_image(test_list()).put(4, 0, 2).bytes();
    list_entry entry{list, 0};
    std::int64_t left = 100;
    EXPECT_FALSE(find_list_entry(entry, left, 0x80, {}));
    EXPECT_EQ(left, 0);
}

TEST(FindListEntry, EndMarkerEndsTheListAfterTheFirstEntry) {
    const support::bytes list = support::attribute_list_value({
        {.type = 0xFFFFFFFF},
        {.type = 0x80, .id = 2},
        {.type = 0xFFFFFFFF},
        {.type = 0x90, .id = 4},
    });
    list_entry entry{list, 0};
    std::int64_t left = 1000;
    EXPECT_TRUE(find_list_entry(entry, left, 0x80, {}));
    EXPECT_FALSE(find_list_entry(entry, left, 0x90, {}));
}

TEST(FindListEntry, UsesTheNameOffsetOfTheEntry) {
    const support::bytes list = support::byte_image(64)
                                    .put(0, 0x80, 4)
                                    .put(4, 64, 2)
                                    .put(6, 2, 1)
                                    .put(7, 40, 1)
                                    .put_utf16(40, u"ab")
                                    .bytes();
    list_entry entry{list, 0};
    std::int64_t left = 64;
    EXPECT_TRUE(find_list_entry(entry, left, 0x80, name_bytes(u"ab")));
}

TEST(FindListEntry, ReadsTheFieldsOfAnEntry) {
    const support::bytes list =
        support::attribute_list_value({{.type = 0x80,
                                        .start_vcn = 7,
                                        .record = support::file_reference(0x123456789ABC, 0xDEF0),
                                        .id = 5}});
    const list_entry entry{list, 0};
    EXPECT_EQ(entry.starting_vcn(), 7u);
    EXPECT_EQ(entry.reference().entry(), 0x123456789ABCu);
    EXPECT_EQ(entry.reference().sequence(), 0xDEF0);
    EXPECT_EQ(entry.id(), 5);
}

// --- clusters of a list ---

// A list attribute with the given run list, alone in a record.
class list_attribute {
public:
    explicit list_attribute(const support::bytes& list, std::uint64_t real_size = 32) {
        support::record_builder record(64, 8192);
        record.nonresident(support::type::attribute_list, u"", list, {{0, 1}}, {.real = real_size});
        m_bytes = record.build_before_fixup();
        EXPECT_TRUE(find_attrib(m_bytes, support::type::attribute_list, attribute, 8192));
    }

private:
    support::bytes m_bytes;

public:
    record_attrib attribute;
};

// Returns all bytes of a list.
std::vector<std::uint8_t> drained(list_clusters* clusters) {
    std::vector<std::uint8_t> all;
    while (clusters != nullptr && clusters->append_next(all)) {
    }
    return all;
}

constexpr std::uint32_t cluster = 4096;

// An image whose clusters from `first` to its end have their number in each byte.
class numbered_volume {
public:
    explicit numbered_volume(std::uint64_t size = 0) {
        m_first = m_image.alloc(4);
        for (std::uint64_t i = 0; i < 4; ++i)
            m_image.write_clusters(m_first + i, content(i));
        if (size != 0) m_image.truncate(m_first * cluster + size);
        m_volume.emplace(m_image);
        EXPECT_TRUE(m_volume->opened);
    }

    static support::bytes content(std::uint64_t i) {
        return support::bytes(cluster, static_cast<std::uint8_t>(0x41 + i));
    }
    std::uint64_t first() const { return m_first; }
    CNtfs& ntfs() { return m_volume->ntfs; }

private:
    support::ntfs_image m_image;
    std::uint64_t m_first = 0;
    std::optional<open_volume> m_volume;
};

support::bytes joined(std::initializer_list<support::bytes> parts) {
    support::bytes all;
    for (const support::bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(ListRuns, ReadsRunsInTheirOrder) {
    numbered_volume volume;
    const list_attribute list(
        support::run_list().add(volume.first() + 2, 2).add(volume.first(), 1).terminated());
    const auto clusters = open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower);
    EXPECT_EQ(drained(clusters.get()),
              joined({volume.content(2), volume.content(3), volume.content(0)}));
    EXPECT_EQ(volume.ntfs().cluster_size(), cluster);
}

TEST(ListRuns, UnreadableClusterEndsOnlyItsRun) {
    numbered_volume volume;
    // Three clusters, starting two clusters before the volume. None of them is read.
    const list_attribute list(support::run_list()
                                  .add(volume.first(), 1)
                                  .add(~std::uint64_t{1}, 3)
                                  .add(volume.first() + 1, 1)
                                  .terminated());
    const auto clusters = open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower);
    EXPECT_EQ(drained(clusters.get()), joined({volume.content(0), volume.content(1)}));
}

// The sum of the sizes is 2^64 plus one cluster.
TEST(ListRuns, SizesAboveTheLargestNumberAreRead) {
    constexpr std::uint32_t large_cluster = 1 << 24;
    support::run_list list;
    for (int i = 0; i < 256; ++i)
        list.add(static_cast<std::uint64_t>(i), 0xFFFFFFFF);
    list.add(256, 257);
    numbered_volume volume;
    volume.ntfs().m_cluster_size = large_cluster;
    const list_attribute attribute(list.terminated());
    const auto clusters =
        open_list_runs(volume.ntfs(), attribute.attribute, cluster_size_rule::keep);
    // The image is smaller than a cluster, so only the first run is inside it.
    const std::uint64_t size = volume.ntfs().m_disk->size_in_bytes();
    ASSERT_LT(size, large_cluster);
    EXPECT_EQ(drained(clusters.get()).size(), size);
}

TEST(ListRuns, IsNullWithoutClusters) {
    for (const support::bytes& runs :
         {support::bytes{0x00}, support::bytes{0x11, 0x00, 0x05, 0x00}}) {
        numbered_volume volume;
        const list_attribute list(runs);
        EXPECT_EQ(open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower), nullptr);
        EXPECT_EQ(open_list_data(volume.ntfs(), list.attribute), nullptr);
    }
}

// Returns the cluster size after one run was read cluster by cluster.
std::uint32_t model_of_lowered_size(std::uint64_t lcn, std::uint64_t clusters,
                                    std::uint64_t source_size) {
    std::uint64_t size = cluster;
    for (std::uint64_t i = 0; i < clusters; ++i) {
        const std::uint64_t at = (lcn + i) * size;
        if (at >= source_size) break;
        size = std::min(size, source_size - at);
    }
    return static_cast<std::uint32_t>(size);
}

TEST(ListRuns, LowersTheClusterSizeAsIfTheWholeListHadBeenRead) {
    for (const std::uint64_t end : {1u, 512u, 1000u, 4095u, 4096u, 4097u, 9999u, 12288u, 16383u}) {
        for (const std::uint64_t clusters : {1u, 2u, 3u, 5u, 40u, 100000u}) {
            SCOPED_TRACE(testing::Message() << "end " << end << ", clusters " << clusters);
            numbered_volume volume(end);
            const std::uint64_t source_size = volume.first() * cluster + end;
            const list_attribute list(
                support::run_list().add(volume.first(), clusters).terminated());
            const auto clusters_read =
                open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower);
            EXPECT_EQ(volume.ntfs().cluster_size(),
                      model_of_lowered_size(volume.first(), clusters, source_size))
                << "before the first entry is read";
        }
    }
}

TEST(ListRuns, LongestRunLowersTheClusterSizeAtOnce) {
    numbered_volume volume(4095);
    const list_attribute list(
        support::run_list().add(volume.first(), 0xFFFFFFFF).add(0, 0xFFFFFFFF).terminated());
    open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower);
    EXPECT_LT(volume.ntfs().cluster_size(), cluster);
}

TEST(ListRuns, KeepsTheClusterSizeWithTheKeepRule) {
    numbered_volume volume(cluster + 100);
    const list_attribute list(support::run_list().add(volume.first(), 3).terminated());
    const auto clusters = open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::keep);
    support::bytes expected = volume.content(0);
    expected.resize(cluster + 100, 0x42);
    EXPECT_EQ(drained(clusters.get()), expected);
    EXPECT_EQ(volume.ntfs().cluster_size(), cluster);
}

// After a cluster of which 100 bytes were read, the run continues in steps of 100 bytes, also
// before the end of the source.
TEST(ListRuns, ContinuesInStepsOfTheLoweredSize) {
    numbered_volume volume(cluster + 100);
    const list_attribute list(support::run_list().add(volume.first(), 3).terminated());
    const auto clusters = open_list_runs(volume.ntfs(), list.attribute, cluster_size_rule::lower);
    const std::vector<std::uint8_t> read = drained(clusters.get());
    EXPECT_EQ(read.size(), cluster + 200u);
    EXPECT_EQ(volume.ntfs().cluster_size(), 100u);
}

TEST(ListData, FillsHolesWithZerosAndEndsAtTheFirstFailure) {
    numbered_volume volume;
    const list_attribute list(support::run_list()
                                  .add(volume.first() + 1, 1)
                                  .add_hole(1)
                                  .add(volume.first() + 3, 1)
                                  .add(std::uint64_t{1} << 40, 1)
                                  .add(volume.first(), 1)
                                  .terminated());
    const auto clusters = open_list_data(volume.ntfs(), list.attribute);
    EXPECT_EQ(drained(clusters.get()),
              joined({volume.content(1), support::bytes(cluster), volume.content(3)}));
}

TEST(ListData, TruncatedFirstClusterIsFilledWithZeros) {
    numbered_volume volume(3 * cluster + 10);
    const list_attribute twice(support::run_list()
                                   .add(volume.first() + 3, 1)
                                   .add(volume.first() + 2, 1)
                                   .add(volume.first() + 3, 1)
                                   .add(volume.first(), 1)
                                   .terminated());
    const auto clusters = open_list_data(volume.ntfs(), twice.attribute);
    support::bytes first = volume.content(3);
    std::fill(first.begin() + 10, first.end(), std::uint8_t{0});
    const support::bytes short_cluster(10, 0x44);
    EXPECT_EQ(drained(clusters.get()),
              joined({first, volume.content(2), short_cluster, volume.content(0)}));
}

TEST(ListData, HoleOfAnyLengthIsReadInSmallPieces) {
    numbered_volume volume;
    const list_attribute list(support::run_list().add_hole(0xFFFFFFFF).terminated());
    const auto clusters = open_list_data(volume.ntfs(), list.attribute);
    std::vector<std::uint8_t> window;
    ASSERT_TRUE(clusters->append_next(window));
    EXPECT_LE(window.size(), cluster);
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(clusters->append_next(window));
}

// --- list_cursor ---

// Clusters of 1000 equal bytes.
class counted_clusters : public list_clusters {
public:
    explicit counted_clusters(std::uint8_t count) : m_count(count) {}
    bool append_next(std::vector<std::uint8_t>& window) override {
        if (m_next == m_count) return false;
        window.insert(window.end(), 1000, ++m_next);
        largest_window = std::max(largest_window, window.size());
        return true;
    }
    static inline std::size_t largest_window = 0;

private:
    std::uint8_t m_count;
    std::uint8_t m_next = 0;
};

TEST(ListCursor, ReadsEachPositionOfANonResidentList) {
    list_cursor list(std::make_unique<counted_clusters>(250), 1000000);
    counted_clusters::largest_window = 0;
    EXPECT_FALSE(list.is_empty());
    for (std::uint64_t at = 0; at < 260000; at += 997) {
        EXPECT_EQ(list.position(), at);
        EXPECT_EQ(list.left(), static_cast<std::int64_t>(1000000 - at));
        const std::uint8_t expected =
            at < 250000 ? static_cast<std::uint8_t>(at / 1000 + 1) : std::uint8_t{0};
        EXPECT_EQ(list.entry().type() & 0xFF, expected);
        list.advance(997);
    }
    EXPECT_LE(counted_clusters::largest_window, 0x10000u + 2000u)
        << "bytes before the cursor are dropped";
}

TEST(ListCursor, IsEmptyIfNothingCanBeRead) {
    EXPECT_TRUE(list_cursor(std::make_unique<counted_clusters>(0), 10).is_empty());
}

TEST(ListCursor, LongestStepIsSupported) {
    list_cursor list(std::make_unique<counted_clusters>(250), 1000000);
    list.advance(65535);
    list.advance(65535);
    EXPECT_EQ(list.entry().type() & 0xFF, 131070u / 1000 + 1);
}

}  // namespace
