#include "convert/sorting/record_sorter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/temp_dir.h"

namespace {

using convert::record_sorter;
using convert::sort_limits;
using records = std::vector<std::string>;

records sorted_by(record_sorter& sorter, const records& input) {
    for (const std::string& record : input)
        EXPECT_TRUE(sorter.add(record));
    records output;
    EXPECT_TRUE(sorter.visit_sorted([&](std::string_view record) {
        output.emplace_back(record);
        return true;
    }));
    EXPECT_EQ(sorter.failure(), "");
    return output;
}

// Returns records of 0 to 40 bytes, many with a common start, some of them several times.
records random_records(std::size_t count) {
    std::mt19937 random(1);
    records result;
    for (std::size_t i = 0; i < count; ++i) {
        std::string record(random() % 3 == 0 ? 0 : 12, 'x');
        for (auto length = random() % 29; length > 0; --length)
            record += static_cast<char>(random() % 256);
        result.push_back(record);
    }
    return result;
}

TEST(RecordSorter, SortsInMemoryAndWithFiles) {
    const support::temp_dir dir;
    const records input = random_records(3000);
    records expected = input;
    std::sort(expected.begin(), expected.end(), [](const std::string& a, const std::string& b) {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
                return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
            });
    });
    // All in memory; one file a record, in several levels; a few files; a few levels.
    for (const sort_limits& limits :
         {sort_limits{}, sort_limits{1, 3}, sort_limits{40000, 16}, sort_limits{2000, 2}}) {
        SCOPED_TRACE(limits.bytes_in_memory);
        record_sorter sorter(dir.path(), limits);
        EXPECT_EQ(sorted_by(sorter, input), expected);
    }
}

TEST(RecordSorter, SortsNothing) {
    record_sorter sorter("/none");
    EXPECT_TRUE(sorted_by(sorter, {}).empty());
}

TEST(RecordSorter, KeepsRecordsLongerThanTheBuffers) {
    const support::temp_dir dir;
    const std::string a = "a" + std::string(700'000, 'x');
    const std::string b = "b" + std::string(600'000, 'y');
    record_sorter sorter(dir.path(), {1000, 4});
    EXPECT_EQ(sorted_by(sorter, {b, "c", a, ""}), (records{"", a, b, "c"}));
}

TEST(RecordSorter, ReportsAFolderWithoutFiles) {
    record_sorter sorter("/none", {1, 4});
    EXPECT_TRUE(sorter.add("a"));
    EXPECT_FALSE(sorter.add("b"));
    EXPECT_EQ(sorter.failure(), "cannot use a temporary file in /none: No such file or directory");
}

TEST(RecordSorter, EndsWhenTheVisitorDoes) {
    const support::temp_dir dir;
    for (const std::size_t memory : {1u, 1000u}) {
        record_sorter sorter(dir.path(), {memory, 4});
        EXPECT_TRUE(sorter.add("b"));
        EXPECT_TRUE(sorter.add("a"));
        records seen;
        EXPECT_FALSE(sorter.visit_sorted([&](std::string_view record) {
            seen.emplace_back(record);
            return false;
        }));
        EXPECT_EQ(seen, records{"a"});
        EXPECT_EQ(sorter.failure(), "");
    }
}

}  // namespace
