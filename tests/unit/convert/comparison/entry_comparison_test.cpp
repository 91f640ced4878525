#include "convert/comparison/entry_comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/comparison/changes_text.h"

namespace {

using changes_text::file;
using changes_text::sized;
using changes_text::stream;
using changes_text::unused;
using convert::compared_row;
using convert::listing_row;
using convert::listing_side;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using rows = std::vector<listing_row>;

// Returns the changes of an entry. Both listings have the directories \ (5), \d\ (40) and \e\ (39).
std::vector<std::string> changes(const rows& before, const rows& after) {
    std::vector<compared_row> all;
    for (const auto side : {listing_side::old_listing, listing_side::new_listing}) {
        convert::row_locator locator;
        compared_row row;
        for (const auto& [path, entry] : {std::pair{"\\", 5}, {"\\d\\", 40}, {"\\e\\", 39}}) {
            row.row = changes_text::directory(path, static_cast<std::uint64_t>(entry));
            locator.locate(row);
        }
        for (const listing_row& one : side == listing_side::old_listing ? before : after) {
            compared_row added;
            added.row = one;
            added.side = side;
            locator.locate(added);
            all.push_back(added);
        }
    }
    std::vector<std::string> found;
    EXPECT_TRUE(convert::compare_entry(all, [&found](const convert::row_change& change) {
        found.push_back(changes_text::text_of(change));
        return true;
    }));
    return found;
}

TEST(EntryComparison, EqualRowsAreNoChange) {
    const rows same = {file("\\a"), stream("\\a:s"), unused(file("\\gone", 41, 2))};
    EXPECT_THAT(changes(same, same), IsEmpty());
    EXPECT_THAT(changes({}, {}), IsEmpty());
}

TEST(EntryComparison, AnEntryInUseIsCreatedOrDeleted) {
    EXPECT_THAT(changes({}, {file("\\a")}), ElementsAre("created \\a"));
    EXPECT_THAT(changes({file("\\a")}, {}), ElementsAre("deleted \\a"));
    EXPECT_THAT(changes({file("\\a"), stream("\\a:s")}, {}),
                ElementsAre("deleted \\a", "deleted \\a:s"));
}

// Deleting raises the sequence number, in the listing of a deleted file.
TEST(EntryComparison, AnEntryThatIsNotInUseIsNeverCreated) {
    EXPECT_THAT(changes({file("\\a", 41, 1)}, {unused(file("\\a", 41, 2))}),
                ElementsAre("deleted \\a"));
    EXPECT_THAT(changes({file("\\a", 41, 1)}, {unused(file("\\a", 41, 1))}),
                ElementsAre("deleted \\a"))
        << "without a new sequence number";
    EXPECT_THAT(changes({}, {unused(file("\\a"))}), IsEmpty());
    EXPECT_THAT(changes({unused(file("\\a"))}, {}), IsEmpty()) << "the entry is gone";
    EXPECT_THAT(changes({unused(file("\\a", 41, 1))}, {unused(file("\\b", 41, 2))}), IsEmpty());
}

TEST(EntryComparison, AReusedEntryIsDeletedAndCreated) {
    EXPECT_THAT(changes({file("\\a", 41, 1)}, {file("\\b", 41, 2)}),
                ElementsAre("deleted \\a", "created \\b"));
    EXPECT_THAT(changes({unused(file("\\a", 41, 2))}, {file("\\b", 41, 2)}),
                ElementsAre("created \\b"));
    EXPECT_THAT(changes({file("\\a", 41, 1)}, {file("\\a", 41, 3)}),
                ElementsAre("deleted \\a", "created \\a"));
}

TEST(EntryComparison, ARenamedOrMovedFile) {
    EXPECT_THAT(changes({file("\\a")}, {file("\\b")}), ElementsAre("renamed \\a > \\b"));
    EXPECT_THAT(changes({file("\\a")}, {file("\\d\\a")}), ElementsAre("moved \\a > \\d\\a"));
    EXPECT_THAT(changes({file("\\d\\a")}, {file("\\e\\b")}),
                ElementsAre("renamed moved \\d\\a > \\e\\b"));
    EXPECT_THAT(changes({file("x\\a")}, {file("y\\a")}), ElementsAre("moved x\\a > y\\a"))
        << "directories without a row";
    EXPECT_THAT(changes({unused(file("\\a"))}, {unused(file("\\b"))}),
                ElementsAre("renamed \\a > \\b"));
}

TEST(EntryComparison, SizesAndTimes) {
    listing_row later = sized(file("\\a"), 9);
    EXPECT_THAT(changes({file("\\a")}, {later}), ElementsAre("resized \\a"));
    later.standard.modified = format_text::at("2022-01-01", "00:00:00.0000000");
    EXPECT_THAT(changes({file("\\a")}, {later}), ElementsAre("resized times \\a"));
    later.path = "\\d\\b";
    EXPECT_THAT(changes({file("\\a")}, {later}),
                ElementsAre("renamed moved resized times \\a > \\d\\b"));
}

TEST(EntryComparison, HardLinksAreToldApartByPath) {
    const rows two = {file("\\a"), file("\\d\\b")};
    EXPECT_THAT(changes({file("\\a")}, two), ElementsAre("created \\d\\b"));
    EXPECT_THAT(changes(two, {file("\\d\\b")}), ElementsAre("deleted \\a"));
    EXPECT_THAT(changes(two, {file("\\c"), file("\\d\\b")}), ElementsAre("renamed \\a > \\c"));
    EXPECT_THAT(changes(two, {file("\\b"), file("\\a")}), ElementsAre("moved \\d\\b > \\b"));
    EXPECT_THAT(changes(two, {file("\\b"), file("\\c")}),
                ElementsAre("moved \\d\\b > \\b", "renamed \\a > \\c"))
        << "the same name first";
    EXPECT_THAT(changes({file("\\a"), file("\\a")}, {file("\\a"), file("\\a")}), IsEmpty());
    EXPECT_THAT(changes({file("\\a"), file("\\a")}, {file("\\a")}), ElementsAre("deleted \\a"));
}

TEST(EntryComparison, AFileThatBecomesADirectoryIsAnotherOne) {
    EXPECT_THAT(changes({file("\\a")}, {changes_text::directory("\\a\\", 41)}),
                UnorderedElementsAre("deleted \\a", "created \\a\\"));
}

TEST(EntryComparison, StreamsAreToldApartByName) {
    const rows before = {file("\\a"), stream("\\a:s"), stream("\\a:t")};
    EXPECT_THAT(changes(before, {file("\\a"), stream("\\a:s"), stream("\\a:u")}),
                ElementsAre("deleted \\a:t", "created \\a:u"));
    EXPECT_THAT(changes(before, {file("\\a"), sized(stream("\\a:s"), 9), stream("\\a:t")}),
                ElementsAre("resized \\a:s"));
    listing_row index = stream("\\a:s");
    index.type = convert::row_type::index;
    EXPECT_THAT(changes(before, {file("\\a"), index, stream("\\a:t")}),
                ElementsAre("deleted \\a:s", "created \\a:s"));
    listing_row touched = stream("\\a:s");
    touched.standard = format_text::times_of("2022");
    EXPECT_THAT(changes(before, {file("\\a"), touched, stream("\\a:t")}), IsEmpty())
        << "times belong to the entry";
}

TEST(EntryComparison, StreamsFollowTheirLink) {
    const rows before = {file("\\a"), stream("\\a:s"), file("\\d\\b"), stream("\\d\\b:s")};
    EXPECT_THAT(changes(before, {file("\\c"), stream("\\c:s"), file("\\d\\b"), stream("\\d\\b:s")}),
                ElementsAre("renamed \\a > \\c"));
    EXPECT_THAT(changes(before, {file("\\a"), stream("\\a:s")}),
                ElementsAre("deleted \\d\\b", "deleted \\d\\b:s"));
    EXPECT_THAT(changes({stream(":s"), stream(":t")}, {stream(":s")}), ElementsAre("deleted :t"))
        << "streams without the row of their entry";
}

// A damaged volume may have two links or streams of one name.
TEST(EntryComparison, RowsOfOneNameArePairedInOrder) {
    const rows two = {file("\\a"), stream("\\a:s"), sized(stream("\\a:s"), 9),
                      sized(file("\\a"), 9)};
    EXPECT_THAT(changes(two, two), IsEmpty());
    EXPECT_THAT(changes(two, {two[0], two[1]}), ElementsAre("deleted \\a", "deleted \\a:s"));
}

TEST(EntryComparison, EndsWithItsVisitor) {
    for (const listing_side side : {listing_side::old_listing, listing_side::new_listing}) {
        compared_row row;
        row.row = file("\\a");
        row.side = side;
        int calls = 0;
        EXPECT_FALSE(convert::compare_entry({row, row}, [&calls](const convert::row_change&) {
            ++calls;
            return false;
        }));
        EXPECT_EQ(calls, 1);
    }
}

}  // namespace
