// Tests attributes with the same key and parts of one attribute.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntfs/attributes/attrib_store.h"
#include "unit/ntfs/attributes/categorized_entry.h"

namespace {

using namespace entry_passes;

using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;

TEST(AttribPass, SecondValueOfAKeyIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data("first").id(1);
        entry.data("second").id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).resident_value, support::as_bytes("first"));
}

TEST(AttribPass, UnnamedValuesWithDifferentIdsAreKeptSeparate) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data("first").id(1);
        entry.data("second").id(2);
    });
    EXPECT_THAT(pass.store.attributes, SizeIs(2));
}

TEST(AttribPass, RunsWithTheSameKeyAndNameAreJoined) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.stream_runs(u"s", {{200, 2}}, {.start_vcn = 10}).id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
}

TEST(AttribPass, DifferentNameUnderAUsedKeyIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"one", {{100, 4}}).id(1);
        entry.stream_runs(u"two", {{200, 2}}, {.start_vcn = 4}).id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0x80));
    EXPECT_EQ(item.attrib_name, L"one");
    EXPECT_THAT(runs_of(item.runs), ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, EmptyValueUnderAUsedKeyRenumbersTheRuns) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}, {.start_vcn = 7}).id(1);
        entry.stream(u"s", "").id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, ValueIsJoinedLikeRunsWhenValuesAreNotKept) {
    const auto fill = [](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}, {.start_vcn = 7}).id(1);
        entry.stream(u"s", "value").id(1);
    };
    EXPECT_THAT(runs_of(categorized_entry(fill).store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 7, 4}));
    EXPECT_THAT(runs_of(categorized_entry(fill, false).store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, UnnamedDataPartsWithDifferentIdsAreJoined) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 4}}).id(1);
        entry.data_runs({{200, 2}}, {.start_vcn = 4}).id(2);
        entry.data_runs({{300, 1}}, {.start_vcn = 6}).id(9);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}, run_tuple{300, 6, 1}));
}

TEST(AttribPass, UnnamedDataPartJoinsTheFirstItemInKeyOrder) {
    // The resident attribute has the lower id, so the part is joined to it.
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order().data("value").id(1);
        entry.data_runs({{100, 4}}).id(5);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, UnnamedDataPartIsNotJoinedToAStreamWithALowerId) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order().stream_runs(u"s", {{50, 3}}).id(1);
        entry.data_runs({{100, 4}}).id(5);
        entry.data_runs({{200, 2}}, {.start_vcn = 4}).id(9);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(2));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{50, 0, 3}));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(5, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
}

TEST(AttribPass, StreamsWithDifferentIdsAreKeptSeparate) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.stream_runs(u"s", {{200, 2}}, {.start_vcn = 4}).id(2);
    });
    EXPECT_THAT(pass.store.attributes, SizeIs(2));
}

TEST(AttribPass, UnnamedDataWithTheIdOfAStreamIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order();
        entry.data_runs({{50, 1}}).id(0);
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.data_runs({{200, 2}}, {.start_vcn = 1}).id(1);
    });
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(0, 0x80)).runs),
                ElementsAre(run_tuple{50, 0, 1}));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribPass, UnnamedDataPartIsKeptIfThePreviousOneWasDropped) {
    // The unnamed value has the id of a stream and is dropped, so the part is not joined to it.
    const pass_result pass = categorized_entry([](support::record_builder& entry) {
        entry.keep_order();
        entry.stream(u"zone", "x").id(3);
        entry.data("value").id(3);
        entry.data_runs({{100, 2}}).id(4);
    });
    EXPECT_TRUE(pass.store.seen_unnamed_data);
    EXPECT_THAT(labels_of(pass.store),
                ElementsAre(Pair(key_of(3, 0x80), "ads"), Pair(key_of(4, 0x80), "unnamed data")));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(4, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 2}));
}

TEST(AttribPass, PartWithAnAlreadyStoredVcnIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 4}}).id(1);
        entry.data_runs({{200, 2}}).id(2);
    });
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

}  // namespace
