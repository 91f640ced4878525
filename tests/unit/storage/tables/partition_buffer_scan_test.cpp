#include <gtest/gtest.h>

#include <cstdint>

#include "storage/tables/ql_disk_structs.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/scan_result.h"

namespace {

using support::byte_image;
using support::ntfs_boot_sector;
using support::put_boot_record;
using support::put_extended_chain;

TEST(BufferScan, FewerThan512BytesFail) {
    byte_image disk = disk_with({{7, 64, 30}}, 512);
    EXPECT_TRUE(scan_bytes(disk).result);
    for (const std::uint64_t size : {0u, 1u, 511u}) {
        EXPECT_FALSE(scan_bytes(disk.resize(size), true).result);
    }
    EXPECT_FALSE(scan_bytes(ntfs_boot_sector().resize(511), true).result);
}

TEST(BufferScan, PrimaryWalkStopsAtAGap) {
    const byte_image disk = disk_with({{7, 64, 30}, {0, 0, 0}, {7, 100, 5}}, 512);
    EXPECT_EQ(scan_bytes(disk).found, (entries{{64, 30, 7}}));
    EXPECT_EQ(scan_bytes(disk_with({{0, 0, 0}, {7, 100, 5}}, 512)).found, entries{});
    EXPECT_EQ(scan_bytes(disk_with({{7, 64, 30}, {7, 80, 0}, {7, 100, 5}}, 512)).found,
              (entries{{64, 30, 7}}));
}

TEST(BufferScan, ProtectiveEntryIsAGap) {
    byte_image disk(0x10000);
    support::put_gpt(disk, {{.first = 60, .last = 70}}, {.entry_count = 4, .protective = false});
    put_boot_record(disk, 0, {{7, 64, 30}, {0xEE, 1, 100}, {7, 100, 5}});
    EXPECT_EQ(scan_bytes(disk).found, (entries{{64, 30, 7}}));
    put_boot_record(disk, 0, {{0xEE, 1, 100}});
    EXPECT_FALSE(scan_bytes(disk).result);
}

TEST(BufferScan, VolumeAtTheStartNeedsForce) {
    const byte_image image = ntfs_boot_sector().resize(4096);
    EXPECT_FALSE(scan_bytes(image).result);
    const scan s = scan_bytes(image, true);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{0, 0x1000, 7}}));
    EXPECT_TRUE(s.list.front().is_volume);
}

TEST(BufferScan, SuperblockAtTheStartIsNotDetected) {
    EXPECT_FALSE(scan_bytes(support::ext_start().resize(0x8000)).result);
    EXPECT_FALSE(scan_bytes(support::ext_start().resize(0x8000), true).result);
}

TEST(BufferScan, LargerSignaturesNeedABufferLongerThanTheSector) {
    for (const std::uint32_t size : {1024u, 2048u, 4096u, 8192u, 16384u}) {
        SCOPED_TRACE(size);
        byte_image disk(size);
        put_boot_record(disk, 0, {{0x83, 16, 100}}, size - 2);
        EXPECT_FALSE(scan_bytes(disk).result);
        EXPECT_EQ(scan_bytes(disk.resize(size + 1)).found, (entries{{16, 100, 0x83, size}}));
    }
}

TEST(BufferScan, DetectionReads76BytesAndRecognisesAFileSystemIn512) {
    byte_image disk = disk_with({{0x83, 8, 30}, {0x83, 16, 30}}, sector(32));
    disk.put_image(sector(8), ntfs_boot_sector());
    disk.put_image(sector(16), ntfs_boot_sector());
    EXPECT_EQ(scan_bytes(disk).found, (entries{{8, 30, 7}, {16, 30, 7}}));
    disk.resize(sector(16) + 511);
    EXPECT_EQ(scan_bytes(disk).found, (entries{{8, 30, 7}, {16, 30, 0x83}}));
    disk.resize(sector(16) + 76);
    EXPECT_EQ(scan_bytes(disk).found, (entries{{8, 30, 7}, {16, 30, 0x83}}));
}

TEST(BufferScan, PartitionAtSectorZeroIsDetectedInTheTableItself) {
    byte_image disk = disk_with({{0x83, 0, 30}}, 512);
    disk.put(3, 1, 1).put(11, 1024, 2).put(32, 77, 4).put_text(82, "FAT32");
    EXPECT_EQ(scan_bytes(disk).found, (entries{{0, 77, 12, 1024}}));
}

TEST(BufferScan, ChainIsFollowedInTheBuffer) {
    byte_image disk = disk_with({{5, 10, 900}}, sector(64));
    put_extended_chain(disk, 10, {{0x83, 10, 11, 2}, {0x83, 20, 21, 3}});
    EXPECT_EQ(scan_bytes(disk).found,
              (entries{{10, 900, 5}, {11, 2, 0x83}, {20, 4, 5}, {21, 3, 0x83}}));
}

TEST(BufferScan, SectorNumberIsComparedWithBytes) {
    // Sector 511 is below 512 bytes: it is read past the buffer, as zeros.
    EXPECT_EQ(scan_bytes(disk_with({{5, 511, 900}}, 512)).found, (entries{{511, 900, 5}}));
    EXPECT_EQ(scan_bytes(disk_with({{7, 63, 9}, {5, 512, 900}}, 512)).found,
              (entries{{63, 9, 7}, {512, 900, 5}}));
}

TEST(BufferScan, ChainEndsPastTheBuffer) {
    byte_image disk = disk_with({{5, 10, 900}}, sector(20));
    put_boot_record(disk, sector(10), {{7, 1, 1}, {5, 50, 5}});
    EXPECT_EQ(scan_bytes(disk).found, (entries{{10, 900, 5}, {11, 1, 7}, {60, 5, 5}}));
}

TEST(BufferScan, NoGuessIsMade) {
    byte_image disk = disk_with({{5, 100, 900}}, sector(128));
    put_boot_record(disk, sector(100), {{7, 10, 20}});
    disk.put_image(sector(63), ntfs_boot_sector());
    EXPECT_EQ(scan_bytes(disk).found, (entries{{100, 900, 5}, {110, 20, 7}}));
}

TEST(BufferScan, LostRecordIsSearchedForToTheEndOfTheBuffer) {
    byte_image disk(0x120000);
    put_extended_chain(disk, 0x880, {{7, 0x880, 0x890, 20}});  // after the first MiB
    EXPECT_FALSE(scan_bytes(disk).result);
    EXPECT_EQ(scan_bytes(disk, true).found, (entries{{0x890, 20, 7}}));
    EXPECT_FALSE(scan_bytes(disk.resize(sector(0x880)), true).result);
    EXPECT_FALSE(scan_bytes(byte_image(512), true).result);
}

TEST(BufferScan, LoopsEnd) {
    byte_image disk = disk_with({{5, 10, 900}}, sector(64));
    put_boot_record(disk, sector(10), {{7, 1, 1}, {5, 10, 5}});
    put_boot_record(disk, sector(20), {{7, 1, 1}, {5, 0, 5}});
    EXPECT_EQ(scan_bytes(disk).found,
              (entries{{10, 900, 5}, {11, 1, 7}, {20, 5, 5}, {21, 1, 7}, {10, 5, 5}}));
}

TEST(BufferScan, EveryPrefixOfADiskIsScanned) {
    byte_image disk = disk_with({{7, 4, 2}, {5, 8, 20}});
    disk.put_image(sector(4), ntfs_boot_sector());
    put_extended_chain(disk, 8, {{7, 8, 9, 2}, {0x83, 12, 13, 2}});
    for (std::uint64_t size = 512; size <= sector(20); size += 7) {
        byte_image cut = disk;
        cut.resize(size);
        for (const bool forced : {false, true}) {
            const scan s = scan_bytes(cut, forced);
            EXPECT_TRUE(s.result) << size;
            EXPECT_GE(s.list.size(), 2u) << size;
        }
    }
}

}  // namespace
