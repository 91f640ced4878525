#include "ntfs/records/record_hints.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "unit/ntfs/open_volume.h"
#include "unit/storage/fresh_hints.h"

namespace {

using support::given_hint;
using support::system_hints;
using cache = system_hints::cache;
using entry_list = std::vector<std::uint64_t>;

constexpr std::uint64_t record_size = 1024;
constexpr std::uint64_t page = 4096;
constexpr std::uint64_t records = 2000;
constexpr std::uint64_t none_skipped = 0;

entry_list entries(std::uint64_t first, std::uint64_t count, std::uint64_t step = 1) {
    entry_list list;
    for (std::uint64_t i = 0; i < count; ++i)
        list.push_back(first + i * step);
    return list;
}

class RecordHints : public testing::Test {
protected:
    RecordHints() : m_image({.mft_records = records}), m_volume(m_image) {}

    void SetUp() override {
        if (!support::reads_cached_bytes(m_volume.path))
            GTEST_SKIP() << "this system does not say what is cached";
    }
    std::uint64_t position(std::uint64_t entry) const { return m_image.record_pos(entry); }
    void read(std::uint64_t entry) { m_volume.ntfs.read_record(entry, m_record); }
    // Reads the records of a list and returns, for each hint, how many were read before it.
    std::multimap<std::uint64_t, given_hint> hints_of_a_walk(const entry_list& list,
                                                             const system_hints& system) {
        std::multimap<std::uint64_t, given_hint> hints;
        record_hints ahead(m_volume.ntfs, list.begin(), list.end(), none_skipped);
        std::size_t seen = system.given.size();
        for (std::size_t i = 0; i < list.size(); ++i) {
            ahead.before_read();
            for (; seen < system.given.size(); ++seen)
                hints.emplace(i, system.given[seen]);
            read(list[i]);
        }
        return hints;
    }

    support::ntfs_image m_image;
    open_volume m_volume;
    std::vector<std::uint8_t> m_record;
};

TEST_F(RecordHints, NothingIsAnnouncedAsLongAsReadsDoNotWait) {
    const fresh_hints system(cache::full);
    hints_of_a_walk(entries(64, 1000), system);
    EXPECT_TRUE(system.given.empty());
}

TEST_F(RecordHints, RecordsAfterTheFirstSlowReadAreAnnounced) {
    const fresh_hints system(cache::empty);
    ASSERT_FALSE(m_volume.ntfs.disk()->has_waited());
    const auto hints = hints_of_a_walk(entries(64, 5), system);
    ASSERT_EQ(hints.size(), 1u) << "neighbours are one piece";
    EXPECT_EQ(hints.begin()->first, 1u);
    EXPECT_EQ(hints.begin()->second, (given_hint{position(65), 4 * record_size}));
}

TEST_F(RecordHints, SlowReadBeforeTheListCounts) {
    const fresh_hints system(cache::empty);
    read(5);
    const auto hints = hints_of_a_walk(entries(64, 5), system);
    ASSERT_EQ(hints.size(), 1u);
    EXPECT_EQ(hints.begin()->first, 0u);
    EXPECT_EQ(hints.begin()->second, (given_hint{position(64), 5 * record_size}));
}

// Every eighth record, two pages apart: a piece each, 256 ahead at most and at least 127.
TEST_F(RecordHints, EachRecordIsAnnouncedOnceAndInTime) {
    const fresh_hints system(cache::empty);
    read(5);
    const entry_list list = entries(64, 240, 8);
    const auto hints = hints_of_a_walk(list, system);
    ASSERT_EQ(hints.size(), list.size());
    std::size_t number = 0;
    for (const auto& [reads_before, hint] : hints) {
        EXPECT_EQ(hint, (given_hint{position(list[number]), record_size})) << number;
        ++number;
    }
}

TEST_F(RecordHints, LongListIsAnnouncedInParts) {
    const fresh_hints system(cache::empty);
    read(5);
    const entry_list list = entries(64, 1900);
    std::vector<std::size_t> reads_before(records, records);
    for (const auto& [before, hint] : hints_of_a_walk(list, system)) {
        for (std::uint64_t entry : list) {
            if (position(entry) >= hint.offset && position(entry) < hint.offset + hint.size) {
                EXPECT_EQ(reads_before[entry], records) << "announced twice: " << entry;
                reads_before[entry] = before;
            }
        }
    }
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::size_t before = reads_before[list[i]];
        EXPECT_LE(before, i) << "too late";
        EXPECT_LE(i - before, 256u) << "too early";
        EXPECT_TRUE(i < 256 || i - before >= 127) << i;
    }
}

TEST_F(RecordHints, SetsAndEmptyListsWork) {
    const fresh_hints system(cache::empty);
    read(5);
    const std::set<std::uint64_t> none;
    record_hints nothing(m_volume.ntfs, none.begin(), none.end(), none_skipped);
    nothing.before_read();
    nothing.before_read();
    EXPECT_TRUE(system.given.empty());
    const std::set<std::uint64_t> two = {70, 80};
    record_hints ahead(m_volume.ntfs, two.begin(), two.end(), none_skipped);
    ahead.before_read();
    EXPECT_EQ(system.given.size(), (position(80) - position(70)) / page < 2 ? 1u : 2u);
}

// Directories contain themselves.
TEST_F(RecordHints, SkippedEntryIsNotAnnounced) {
    const fresh_hints system(cache::empty);
    read(5);
    const entry_list list = {64, 128, 192};
    record_hints ahead(m_volume.ntfs, list.begin(), list.end(), 128);
    ahead.before_read();
    EXPECT_EQ(system.given,
              (std::vector<given_hint>{{position(64), record_size}, {position(192), record_size}}));
    ahead.before_read();
    ahead.before_read();
    EXPECT_EQ(system.given.size(), 2u);
}

TEST_F(RecordHints, FailedReadEndsTheHints) {
    const fresh_hints system(cache::empty);
    read(5);
    const int open_fd = m_volume.ntfs.m_disk->fd;
    m_volume.ntfs.m_disk->fd = 1'000'000;  // not open: reads fail
    read(64);
    m_volume.ntfs.m_disk->fd = open_fd;
    EXPECT_TRUE(hints_of_a_walk(entries(64, 500), system).empty());
}

}  // namespace
