#include "convert/summary/directory_totals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using convert::directory_totals;
using testing::ElementsAre;

std::vector<std::string> paths(const std::vector<directory_totals::item>& items) {
    std::vector<std::string> result;
    for (const auto& [path, total] : items)
        result.push_back(path);
    return result;
}

// \ with 1 entry of 10 bytes, \a\ with 2 entries of 5 bytes, \a\b\ with 2 entries of 20 bytes, and
// the empty \c\.
directory_totals tree() {
    directory_totals totals;
    const struct {
        const char* path;
        std::uint64_t entries, bytes;
    } directories[] = {{"\\", 1, 10}, {"\\a\\", 2, 5}, {"\\a\\b\\", 2, 20}, {"\\c\\", 0, 0}};
    for (const auto& one : directories) {
        totals.list(one.path);
        auto& total = totals.find(std::string(one.path) + "x")->second;
        total.entries = one.entries;
        total.bytes = one.bytes;
    }
    return totals;
}

TEST(DirectoryTotals, SortsByBytesOrEntries) {
    const directory_totals totals = tree();
    EXPECT_EQ(totals.size(), 4u);
    EXPECT_THAT(paths(totals.largest(9)), ElementsAre("\\a\\b\\", "\\", "\\a\\"));
    EXPECT_THAT(paths(totals.most_populated(9)), ElementsAre("\\a\\", "\\a\\b\\", "\\"))
        << "equal numbers are sorted by path, and an empty directory is left out";
    EXPECT_THAT(paths(totals.largest(1)), ElementsAre("\\a\\b\\"));
    EXPECT_THAT(paths(totals.largest(0)), ElementsAre());
}

TEST(DirectoryTotals, AddsSubdirectories) {
    directory_totals totals = tree();
    totals.finish();
    const auto largest = totals.largest(3);
    EXPECT_EQ(largest[0].second.bytes_below, 20u);
    EXPECT_EQ(largest[0].second.entries_below, 2u);
    EXPECT_EQ(largest[1].first, "\\");
    EXPECT_EQ(largest[1].second.bytes_below, 35u);
    EXPECT_EQ(largest[1].second.entries_below, 5u);
    EXPECT_EQ(largest[1].second.bytes, 10u);
    EXPECT_EQ(largest[2].second.bytes_below, 25u);
    EXPECT_EQ(largest[2].second.entries_below, 4u);
}

TEST(DirectoryTotals, SumsDoNotWrap) {
    directory_totals totals = tree();
    totals.find("\\a\\b\\x")->second.bytes = UINT64_MAX;
    totals.finish();
    EXPECT_EQ(totals.find("\\x")->second.bytes_below, UINT64_MAX);
    EXPECT_EQ(convert::capped_sum(UINT64_MAX - 1, 1), UINT64_MAX);
    EXPECT_EQ(convert::capped_sum(UINT64_MAX, 2), UINT64_MAX);
    EXPECT_EQ(convert::capped_sum(1, 2), 3u);
}

}  // namespace
