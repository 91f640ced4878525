#include "storage/tables/partition_walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "storage/tables/partition_table.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/scan_result.h"

namespace {

using support::byte_image;
using support::ntfs_boot_sector;
using support::put_boot_record;
using support::put_extended_chain;

TEST(BootRecord, NamesOfFileSystemsAreFourBytes) {
    const struct {
        const char* name;
        bool has_name;
    } cases[] = {{"EXFAxxxx", true},  {"MSDO", true},  {"NTFS", true}, {"-FVE-FS-", false},
                 {"mkfs.fat", false}, {"ntfs", false}, {"", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        byte_image start(512);
        start.put_text(3, c.name).put(510, 0xAA55, 2);
        EXPECT_EQ(has_fs_name(start.bytes()), c.has_name);
        EXPECT_EQ(is_boot_record(start.bytes()), !c.has_name);
        start.put(510, 0xAA54, 2);
        EXPECT_FALSE(is_boot_record(start.bytes()));
    }
}

TEST(ExtendedChain, VolumesAreRelativeToTheirRecordAndLinksToTheBase) {
    byte_image disk = disk_with({{7, 64, 30}, {0x0F, 100, 900}});
    put_extended_chain(disk, 100, {{7, 100, 110, 20}, {0x83, 200, 215, 30}, {11, 300, 301, 4}});
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{64, 30, 7},
                                {100, 900, 0x0F},
                                {110, 20, 7},
                                {200, 45, 5},  // from the record to the end of its volume
                                {215, 30, 0x83},
                                {300, 5, 5},
                                {301, 4, 11}}));
}

TEST(ExtendedChain, PrimariesAfterTheExtendedEntryAreNotRead) {
    byte_image disk = disk_with({{5, 100, 900}, {7, 2048, 50}});
    put_extended_chain(disk, 100, {{7, 100, 110, 20}});
    EXPECT_EQ(scan_image(disk).found, (entries{{100, 900, 5}, {110, 20, 7}}));
}

TEST(ExtendedChain, OtherContainerTypesAreListedAndNotFollowed) {
    for (const std::uint8_t type : support::bytes{0x85, 0x15, 0x1F, 0x91, 0xC5, 0xCF, 0xD5}) {
        SCOPED_TRACE(int{type});
        byte_image disk = disk_with({{type, 100, 900}, {7, 2048, 50}});
        put_extended_chain(disk, 100, {{7, 100, 110, 20}});
        EXPECT_EQ(scan_image(disk).found, (entries{{100, 900, type}, {2048, 50, 7}}));
    }
}

TEST(ExtendedChain, ExtendedEntryAtSectorZeroEndsTheWalkOnly) {
    byte_image disk = disk_with({{0x83, 2048, 50}, {5, 0, 900}, {7, 3000, 5}});
    disk.put_image(sector(2048), ntfs_boot_sector());
    // Detection still runs; the first sector of the disk is not a file system.
    EXPECT_EQ(scan_image(disk).found, (entries{{2048, 50, 7}, {0, 900, 5}}));
}

TEST(ExtendedChain, UnreadableFirstRecordFailsTheWholeScan) {
    const byte_image disk = disk_with({{7, 64, 30}, {5, 100, 900}}, sector(100));
    EXPECT_FALSE(scan_image(disk).result);
}

TEST(ExtendedChain, FirstRecordNeedsNoSignatureLaterOnesDo) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_extended_chain(disk, 100, {{7, 100, 110, 20}, {7, 200, 215, 30}, {7, 300, 301, 4}});
    disk.put(sector(100) + 510, 0, 2);
    disk.put(sector(300) + 510, 0, 2);
    EXPECT_EQ(scan_image(disk).found,
              (entries{{100, 900, 5}, {110, 20, 7}, {200, 45, 5}, {215, 30, 7}, {300, 5, 5}}));
}

TEST(ExtendedChain, LaterFailureKeepsThePartitionsFoundBefore) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_extended_chain(disk, 100, {{7, 100, 110, 20}, {7, 200, 215, 30}});
    disk.resize(sector(200));
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{100, 900, 5}, {110, 20, 7}, {200, 45, 5}}));
}

TEST(ExtendedChain, LinkBeforeTheVolumeHidesTheVolumeOfARecord) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_boot_record(disk, sector(100), {{5, 50, 10}, {7, 3, 3}});
    put_boot_record(disk, sector(150), {{15, 80, 10}, {7, 4, 4}});
    put_boot_record(disk, sector(180), {{7, 1, 2}, {12, 3, 4}, {4, 5, 6}, {6, 7, 8}});
    EXPECT_EQ(scan_image(disk).found, (entries{{100, 900, 5},
                                               {150, 10, 5},
                                               {180, 10, 15},
                                               {181, 2, 7},
                                               {183, 4, 12},
                                               {185, 6, 4},
                                               {187, 8, 6}}));
}

TEST(ExtendedChain, FirstRecordOfFourVolumesHasNoLink) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_boot_record(disk, sector(100), {{7, 1, 2}, {12, 3, 4}, {4, 5, 6}, {6, 7, 8}});
    EXPECT_EQ(scan_image(disk).found,
              (entries{{100, 900, 5}, {101, 2, 7}, {103, 4, 12}, {105, 6, 4}, {107, 8, 6}}));
}

TEST(ExtendedChain, GapEndsARecordAndTheChain) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_boot_record(disk, sector(100), {{7, 3, 3}, {0, 0, 0}, {5, 50, 10}});
    put_boot_record(disk, sector(150), {{7, 4, 4}});
    EXPECT_EQ(scan_image(disk).found, (entries{{100, 900, 5}, {103, 3, 7}}));

    put_boot_record(disk, sector(100), {{7, 3, 3}, {5, 50, 10}});
    put_boot_record(disk, sector(150), {{0x17, 4, 4}, {5, 90, 10}});
    put_boot_record(disk, sector(190), {{7, 5, 5}});
    EXPECT_EQ(scan_image(disk).found, (entries{{100, 900, 5}, {103, 3, 7}, {150, 10, 5}}));
}

TEST(ExtendedChain, LoopsEndAtARepeatedSector) {
    byte_image disk = disk_with({{5, 100, 900}});
    put_boot_record(disk, sector(100), {{7, 3, 3}, {5, 50, 10}});
    put_boot_record(disk, sector(150), {{7, 4, 4}, {5, 0, 10}});  // back to the first record
    EXPECT_EQ(scan_image(disk).found,
              (entries{{100, 900, 5}, {103, 3, 7}, {150, 10, 5}, {154, 4, 7}, {100, 10, 5}}));

    put_boot_record(disk, sector(150), {{7, 4, 4}, {5, 50, 10}});  // to itself
    EXPECT_EQ(scan_image(disk).found,
              (entries{{100, 900, 5}, {103, 3, 7}, {150, 10, 5}, {154, 4, 7}, {150, 10, 5}}));
}

TEST(ExtendedChain, SumsAreWiderThan32Bits) {
    byte_image disk = disk_with({{5, 0x800, 0xFFFFFFFF}});
    put_boot_record(disk, sector(0x800), {{7, 0xFFFFFFFF, 0xFFFFFFFE}});
    const scan s = scan_image(disk);
    EXPECT_EQ(s.found, (entries{{0x800, 0xFFFFFFFF, 5}, {0x1000007FFull, 0xFFFFFFFE, 7}}));
    EXPECT_EQ(s.list.back().byte_offset(), 0x1000007FFull * 512);
}

TEST(ExtendedChain, SectorSizeOfTheTableAppliesToTheChain) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{5, 16, 90}}, 4094);
    put_extended_chain(disk, 16, {{0x83, 16, 18, 2}, {0x83, 24, 26, 3}}, 4096);
    EXPECT_EQ(
        scan_image(disk).found,
        (entries{{16, 90, 5, 4096}, {18, 2, 0x83, 4096}, {24, 5, 5, 4096}, {26, 3, 0x83, 4096}}));
}

}  // namespace
