#include "convert/summary/entry_set.h"

#include <gtest/gtest.h>

namespace {

TEST(EntrySet, ContainsEachEntryAndSequenceNumberOnce) {
    convert::entry_set set;
    const std::pair<std::uint64_t, std::uint16_t> entries[] = {
        {0, 0}, {0, 1}, {511, 1}, {512, 1}, {512, 2}, {0xFFFF'FFFF'FFFF'FFFF, 0xFFFF}};
    for (const auto& [entry, sequence] : entries)
        EXPECT_TRUE(set.insert(entry, sequence)) << entry;
    for (const auto& [entry, sequence] : entries)
        EXPECT_FALSE(set.insert(entry, sequence)) << entry;
    EXPECT_EQ(set.size(), 6u);
}

}  // namespace
