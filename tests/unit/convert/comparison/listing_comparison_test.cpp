#include "convert/comparison/listing_comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "unit/convert/comparison/changes_text.h"

namespace {

using changes_text::directory;
using changes_text::file;
using convert::listing_comparison;
using convert::listing_row;
using convert::listing_side;
using testing::ElementsAre;
using testing::IsEmpty;

using rows = std::vector<listing_row>;

std::vector<std::string> changes(const rows& before, const rows& after,
                                 const convert::sort_limits& limits = {}) {
    const support::temp_dir dir;
    listing_comparison comparison(dir.path(), limits);
    for (const listing_row& row : before)
        EXPECT_TRUE(comparison.add(row, listing_side::old_listing));
    for (const listing_row& row : after)
        EXPECT_TRUE(comparison.add(row, listing_side::new_listing));
    std::vector<std::string> found;
    EXPECT_TRUE(comparison.visit_changes([&found](const convert::row_change& change) {
        found.push_back(changes_text::text_of(change));
        return true;
    }));
    return found;
}

TEST(ListingComparison, ChangesAreSortedByEntry) {
    const rows before = {directory("\\", 5), file("\\z", 300), file("\\a", 41)};
    const rows after = {directory("\\", 5), file("\\b", 41), file("\\m", 256)};
    EXPECT_THAT(changes(before, after),
                ElementsAre("renamed \\a > \\b", "created \\m", "deleted \\z"));
    EXPECT_THAT(changes(after, before),
                ElementsAre("renamed \\b > \\a", "deleted \\m", "created \\z"));
    EXPECT_THAT(changes(before, before), IsEmpty());
    EXPECT_THAT(changes({}, {}), IsEmpty());
}

// What is in a directory that was renamed or moved has other paths, but has not moved.
TEST(ListingComparison, AMovedDirectoryIsOneChange) {
    const rows before = {directory("\\", 5), directory("\\d\\", 40), file("\\d\\a", 41),
                         directory("\\d\\e\\", 42), file("\\d\\e\\b", 43)};
    const rows after = {directory("\\", 5), directory("\\n\\", 40), file("\\n\\a", 41),
                        directory("\\n\\e\\", 42), file("\\n\\e\\c", 43)};
    EXPECT_THAT(changes(before, after),
                ElementsAre("renamed \\d\\ > \\n\\", "renamed \\d\\e\\b > \\n\\e\\c"));
}

TEST(ListingComparison, AFileInANewDirectoryOfTheSameNameHasMovedNowhere) {
    const rows before = {directory("\\", 5), directory("\\d\\", 40), file("\\d\\a", 41)};
    const rows after = {directory("\\", 5), directory("\\d\\", 50), file("\\d\\a", 41)};
    EXPECT_THAT(changes(before, after), ElementsAre("deleted \\d\\", "created \\d\\"));
}

// The listings exchange files 0 to 99 and 50 to 149. Rows that do not fit in memory are sorted in
// files, with the same result.
TEST(ListingComparison, TheLimitOfMemoryChangesNothing) {
    rows before, after;
    for (std::uint64_t i = 0; i < 150; ++i) {
        const listing_row row = file("\\" + std::to_string(i), i);
        if (i < 100) before.push_back(row);
        if (i >= 50) after.push_back(row);
    }
    const auto in_memory = changes(before, after);
    EXPECT_EQ(in_memory.size(), 100u);
    EXPECT_EQ(in_memory.front(), "deleted \\0");
    EXPECT_EQ(in_memory.back(), "created \\149");
    EXPECT_EQ(changes(before, after, {.bytes_in_memory = 1000, .files_of_a_level = 3}), in_memory);
}

TEST(ListingComparison, EndsWithItsVisitorOrAFailure) {
    const support::temp_dir dir;
    listing_comparison comparison(dir.path());
    EXPECT_TRUE(comparison.add(file("\\a", 41), listing_side::old_listing));
    EXPECT_TRUE(comparison.add(file("\\b", 42), listing_side::old_listing));
    int calls = 0;
    EXPECT_FALSE(comparison.visit_changes([&calls](const convert::row_change&) {
        ++calls;
        return false;
    }));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(comparison.failure(), "");

    listing_comparison without_folder(dir.file("none"), {.bytes_in_memory = 1});
    bool added = true;
    for (int i = 0; i < 3 && added; ++i)
        added = without_folder.add(file("\\a"), listing_side::old_listing);
    EXPECT_FALSE(added);
    EXPECT_NE(without_folder.failure(), "");
}

}  // namespace
