#include "storage/disk/announcement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "storage/disk/raw_disk.h"
#include "support/byte_image.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/fresh_hints.h"

namespace {

using support::byte_image;
using support::given_hint;
using support::system_hints;
using hints = std::vector<given_hint>;

constexpr std::uint64_t page = 4096;
constexpr std::uint64_t size = 100 * page + 10;

// Returns the hints that a batch of these pieces gives.
hints given(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& pieces) {
    disk_file file{byte_image(size)};
    const fresh_hints system(system_hints::cache::empty);
    {
        announcement batch(file.disk);
        for (const auto& [offset, count] : pieces)
            batch.add(offset, count);
    }
    return system.given;
}

TEST(Announcement, PiecesInTheSameOrInAdjacentPagesAreOne) {
    EXPECT_EQ(given({{0, 1024}, {1024, 1024}}), (hints{{0, 2048}}));
    EXPECT_EQ(given({{0, 1024}, {3072, 1024}, {page, 1024}}), (hints{{0, page + 1024}}));
    EXPECT_EQ(given({{0, 1024}, {2 * page - 1, 1}}), (hints{{0, 2 * page}}));
    EXPECT_EQ(given({{10, 20}, {10, 5}}), (hints{{10, 20}}));
}

TEST(Announcement, PageBetweenTwoPiecesIsNotFetched) {
    EXPECT_EQ(given({{0, 1024}, {2 * page, 1024}}), (hints{{0, 1024}, {2 * page, 1024}}));
    EXPECT_EQ(given({{0, page + 1}, {3 * page, 7}}), (hints{{0, page + 1}, {3 * page, 7}}));
}

TEST(Announcement, PiecesInDescendingOrderStayApart) {
    EXPECT_EQ(given({{9 * page, 10}, {2 * page, 10}}), (hints{{9 * page, 10}, {2 * page, 10}}));
}

TEST(Announcement, WithoutPiecesThereAreNoHints) {
    EXPECT_EQ(given({}), hints{});
    EXPECT_EQ(given({{5, 0}}), hints{});
}

TEST(Announcement, EndsAtTheEndOfTheSource) {
    EXPECT_EQ(given({{100 * page, page}}), (hints{{100 * page, 10}}));
    EXPECT_EQ(given({{size, 1}, {size + page, 1}, {~std::uint64_t{0}, 5}}), hints{});
}

TEST(Announcement, SourceThatIsNotOpenGetsNone) {
    CRawDisk none(L"/nowhere/at/all");
    const fresh_hints system(system_hints::cache::empty);
    announcement(none).add(0, 10);
    none.announce(0, 10);
    EXPECT_FALSE(none.has_waited());
    EXPECT_EQ(system.given, hints{});
}

TEST(Announcement, DriveGetsNone) {
    drive_file drive{byte_image(size)};
    const fresh_hints system(system_hints::cache::empty);
    drive.disk.announce(0, 10);
    EXPECT_EQ(system.given, hints{});
}

// --- what a source has waited for ---

TEST(Announcement, DiskSaysWhetherItsLastReadHasWaited) {
    disk_file file{byte_image(size)};
    fresh_hints system(system_hints::cache::empty);
    EXPECT_FALSE(file.disk.has_waited());
    char byte = 0;
    std::uint32_t count = 1;
    EXPECT_TRUE(file.disk.read_bytes(&byte, count, 0));
    EXPECT_TRUE(file.disk.has_waited());
    system.state = system_hints::cache::full;
    EXPECT_TRUE(file.disk.read_bytes(&byte, count, 0));
    EXPECT_FALSE(file.disk.has_waited());
}

}  // namespace
