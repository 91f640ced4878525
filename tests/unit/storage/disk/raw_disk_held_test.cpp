// Tests the bytes of a source that are known to be zero without a read.
#include <gtest/gtest.h>

#include <cstdint>

#include "storage/disk/raw_disk.h"
#include "support/byte_image.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::pattern;

constexpr auto top_bit = 1ull << 63;

TEST(RawDiskFile, NextHeldSkipsTheHolesOfAFile) {
    constexpr std::uint64_t mib = 1 << 20;
    byte_image image(8 * mib);
    image.fill(2 * mib, 65536, 0x41).fill(5 * mib, 65536, 0x42);
    const disk_file file{image};
    const CRawDisk& disk = file.disk;
    EXPECT_EQ(disk.next_held(2 * mib, 8 * mib), 2 * mib);
    EXPECT_EQ(disk.next_held(2 * mib + 65535, 8 * mib), 2 * mib + 65535);
    if (disk.next_held(0, 8 * mib) == 0) {
        GTEST_SKIP() << "this file system has no holes or does not show them";
    }
    EXPECT_EQ(disk.next_held(0, 8 * mib), 2 * mib);
    EXPECT_EQ(disk.next_held(0, mib), mib);
    EXPECT_EQ(disk.next_held(2 * mib + 65536, 8 * mib), 5 * mib);
    EXPECT_EQ(disk.next_held(2 * mib, 8 * mib), 2 * mib) << "back again";
    EXPECT_EQ(disk.next_held(6 * mib, 8 * mib), 8 * mib);
    EXPECT_EQ(disk.next_held(6 * mib, 100 * mib), 100 * mib);
}

TEST(RawDiskFile, NextHeldIsInsideItsBounds) {
    const disk_file file{byte_image(pattern(1 << 20))};
    const drive_file drive{byte_image(1 << 20)};
    for (const CRawDisk* disk : {&file.disk, &drive.disk}) {
        EXPECT_EQ(disk->next_held(0, 10), 0u);
        EXPECT_EQ(disk->next_held(9, 10), 9u);
        EXPECT_EQ(disk->next_held(10, 10), 10u);
        EXPECT_EQ(disk->next_held(11, 10), 10u);
        EXPECT_EQ(disk->next_held(top_bit, top_bit + 5), top_bit);
    }
}

TEST(RawDiskFile, UnheldBytesEndWithTheFile) {
    constexpr std::uint64_t mib = 1 << 20;
    byte_image image(8 * mib);
    image.fill(2 * mib, 65536, 0x41);
    const disk_file file{image};
    const CRawDisk& disk = file.disk;
    EXPECT_EQ(disk.unheld_bytes(2 * mib, mib), 0u);
    EXPECT_EQ(disk.unheld_bytes(8 * mib, mib), 0u) << "cannot be read";
    EXPECT_EQ(disk.unheld_bytes(top_bit, mib), 0u);
    if (disk.next_held(0, mib) == 0) {
        GTEST_SKIP() << "this file system has no holes or does not show them";
    }
    EXPECT_EQ(disk.unheld_bytes(mib, mib / 2), mib / 2);
    EXPECT_EQ(disk.unheld_bytes(mib, 5 * mib), mib);
    EXPECT_EQ(disk.unheld_bytes(7 * mib, 5 * mib), mib);
    EXPECT_EQ(disk.unheld_bytes(7 * mib, ~std::uint64_t{0}), mib);
}

// If lseek(2) does not support holes, all bytes may be stored.
TEST(RawDiskFile, NextHeldOfADeviceIsTheOffset) {
    const CRawDisk zeros(L"/dev/zero", false, false, 0);
    ASSERT_TRUE(zeros.ok);
    EXPECT_EQ(zeros.next_held(5, 10), 5u);
    EXPECT_EQ(zeros.next_held(1000, 2000), 1000u);
}

TEST(RawDiskFile, WalksReadTheSourceManyTimesOver) {
    const disk_file file{byte_image(pattern(1000))};
    EXPECT_EQ(file.disk.most_walked_bytes(), 64u * 1000 + (1 << 28));
    disk_file large{byte_image(pattern(1000))};
    large.disk.size_bytes = INT64_MAX;
    EXPECT_EQ(large.disk.most_walked_bytes(), ~std::uint64_t{0});
}

}  // namespace
