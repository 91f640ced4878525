#include "report/format/name_stamps.h"

#include "unit/report/listing_fixture.h"

namespace {

using listing::make_name;

constexpr std::uint64_t day = listing::day;
constexpr std::uint64_t base = listing::created;

TEST(NameStamps, PicksTheFirstNameOfEachKindWithACreationTime) {
    const name_stamps picked = pick_name_stamps({
        make_name(false, 0, 11, 12, 13),
        make_name(true, 0, 21, 22, 23),
        make_name(false, 30, 31, 32, 33),
        make_name(true, 40, 41, 42, 43),
        make_name(false, 50, 51, 52, 53),
        make_name(true, 60, 61, 62, 63),
    });
    EXPECT_EQ(picked.long_name.created, 30u);
    EXPECT_EQ(picked.long_name.modified, 31u);
    EXPECT_EQ(picked.long_name.mft_changed, 32u);
    EXPECT_EQ(picked.long_name.accessed, 33u);
    EXPECT_EQ(picked.short_name.created, 40u);
    EXPECT_EQ(picked.short_name.accessed, 43u);
}

TEST(NameStamps, PicksTheLastNameIfNoneHasACreationTime) {
    const name_stamps picked =
        pick_name_stamps({make_name(false, 0, 1, 2, 3), make_name(false, 0, 4, 5, 6)});
    EXPECT_EQ(picked.long_name.created, 0u);
    EXPECT_EQ(picked.long_name.modified, 4u);
    EXPECT_EQ(picked.long_name.mft_changed, 5u);
    EXPECT_EQ(picked.long_name.accessed, 6u);
    EXPECT_EQ(picked.short_name.accessed, 0u);
}

TEST(NameStamps, DiscrepancyNeedsBothTimesMoreThanADayBeforeTheName) {
    const struct {
        const char* name;
        std::uint64_t si_created, si_mft_changed, fn_created, fn_mft_changed;
        bool flagged;
    } cases[] = {
        {"both a day and a tick", base, base, base + day + 1, base + day + 1, true},
        {"created exactly a day", base, base, base + day, base + day + 1, false},
        {"mft changed exactly a day", base, base, base + day + 1, base + day, false},
        {"only created", base, base, base + 2 * day, base, false},
        {"only mft changed", base, base, base, base + 2 * day, false},
        {"after the name", base + 2 * day, base + 2 * day, base, base, false},
        {"no created", 0, base, base + 2 * day, base + 2 * day, false},
        {"no mft changed", base, 0, base + 2 * day, base + 2 * day, false},
        {"no name created", base, base, 0, base + 2 * day, false},
        {"no name mft changed", base, base, base + 2 * day, 0, false},
        // The day is added in 64-bit arithmetic: a timestamp near the maximum wraps to a small one.
        {"sums wrap", ~0ull, ~0ull, base, base, true},
        {"sum wraps to the timestamp", ~0ull, ~0ull, day - 1, day, false},
        {"sum wraps below the timestamp", ~0ull, ~0ull, day, day, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        dir_entry entry;
        entry.si_created = c.si_created;
        entry.si_mft_changed = c.si_mft_changed;
        EXPECT_EQ(has_time_discrepancy(entry, {c.fn_created, 1, c.fn_mft_changed, 1}), c.flagged);
    }
}

TEST(NameStamps, StandardStampsAreInReportOrder) {
    dir_entry entry;
    entry.si_created = 1;
    entry.si_modified = 2;
    entry.si_mft_changed = 3;
    entry.si_accessed = 4;
    const stamp_set stamps = standard_stamps(entry);
    EXPECT_EQ(stamps.created, 1u);
    EXPECT_EQ(stamps.modified, 2u);
    EXPECT_EQ(stamps.mft_changed, 3u);
    EXPECT_EQ(stamps.accessed, 4u);
}

}  // namespace
