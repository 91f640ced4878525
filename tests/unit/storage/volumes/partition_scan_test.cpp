#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "storage/tables/partition_types.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/partition_scan.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/broken_off_disk.h"
#include "unit/storage/scan_result.h"

namespace {

using support::byte_image;
using support::mbr_slot;
using support::ntfs_boot_sector;
using support::put_boot_record;
using support::put_extended_chain;

TEST(PartitionRecord, StartsWithNothingButSectorsOf512Bytes) {
    const partition_record record;
    EXPECT_EQ(record.m_LBA_first_sector, 0u);
    EXPECT_EQ(record.m_num_sectors, 0u);
    EXPECT_EQ(record.m_partition_type, 0u);
    EXPECT_EQ(record.m_sectors_per_cluster, 0u);
    EXPECT_EQ(record.m_sector_size, 512u);
    EXPECT_EQ(record.volume_serial, 0u);
    EXPECT_FALSE(record.is_volume);
    EXPECT_FALSE(record.is_gpt);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(record.type_guid[i], 0u);
        EXPECT_EQ(record.unique_guid[i], 0u);
    }
}

TEST(PartitionScan, PrimaryPartitionsComeInTableOrder) {
    const scan s =
        scan_image(disk_with({{7, 2048, 100}, {0x83, 63, 50}, {12, 3000, 7}, {4, 9, 1}}));
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{2048, 100, 7}, {63, 50, 0x83}, {3000, 7, 12}, {9, 1, 4}}));
    EXPECT_FALSE(s.list.front().is_volume);
    EXPECT_FALSE(s.list.front().is_gpt);
}

TEST(PartitionScan, GapsAreSkipped) {
    const scan s = scan_image(disk_with({
        {0, 5, 5},       // no type
        {7, 100, 0},     // no sectors
        {0x17, 10, 10},  // not a known type
        {7, 2048, 100},
    }));
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{2048, 100, 7}}));
}

TEST(PartitionScan, BytesAfterTheTableAreNotAFifthEntry) {
    byte_image disk =
        disk_with({{7, 2048, 100}, {0x83, 63, 50}, {12, 3000, 7}, {4, 9, 1}}, sector(4096));
    disk.put(446 + 4 * 16 + 4, 0x83, 1);
    disk.put(446 + 4 * 16 + 8, 70, 4);
    disk.put(446 + 4 * 16 + 12, 20, 4);
    const entries four{{2048, 100, 7}, {63, 50, 0x83}, {3000, 7, 12}, {9, 1, 4}};
    EXPECT_EQ(scan_image(disk).found, four);
    EXPECT_EQ(scan_bytes(disk).found, four);
}

TEST(PartitionScan, TableWithoutPartitionsFails) {
    const scan s = scan_image(disk_with({}));
    EXPECT_FALSE(s.result);
    EXPECT_TRUE(s.list.empty());
}

TEST(PartitionScan, FirstSectorsDefineTheType) {
    byte_image disk = disk_with({{0x83, 2048, 100}, {7, 3000, 100}, {7, 9000, 100}});
    disk.put_image(sector(2048), ntfs_boot_sector({.serial = 0xABCD}));
    disk.put_image(sector(3000), support::fat32_boot_sector({.total_sectors = 90}));
    disk.resize(sector(4096));
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    // The third one starts past the end of the disk: its read fails, and the table's type is kept.
    EXPECT_EQ(s.found, (entries{{2048, 100, 7}, {3000, 90, 12}, {9000, 100, 7}}));
    EXPECT_TRUE(s.list[0].is_volume);
    EXPECT_EQ(s.list[0].volume_serial, 0xABCDu);
    EXPECT_EQ(s.list[0].m_sectors_per_cluster, 8u);
    EXPECT_EQ(s.list[1].fs_name, "fat32");
    EXPECT_FALSE(s.list[2].is_volume);
}

TEST(PartitionScan, PartitionsAfterAnUnreadableOneAreDetected) {
    byte_image disk = disk_with({{7, 9000, 100}, {0x83, 2048, 100}});
    disk.put_image(sector(2048), ntfs_boot_sector());
    EXPECT_EQ(scan_image(disk).found, (entries{{9000, 100, 7}, {2048, 100, 7}}));
}

TEST(PartitionScan, FatTwelveCountsAsAPartition) {
    EXPECT_EQ(scan_image(disk_with({{1, 2048, 100}})).found, (entries{{2048, 100, 1}}));
}

TEST(PartitionScan, StartThatCannotBeReadFails) {
    const broken_off_disk source(disk_with({{0x83, 2, 1}}));
    partition_list list;
    EXPECT_FALSE(scan_partitions(*source.disk, list, false, false));
    EXPECT_TRUE(list.empty());
}

TEST(PartitionScan, FirstSectorTruncatedByTheEndOfTheDiskKeepsTheType) {
    byte_image disk = disk_with({{0x83, 2048, 100}});
    disk.put_image(sector(2048), ntfs_boot_sector());
    disk.resize(sector(2048) + 511);
    EXPECT_EQ(scan_image(disk).found, (entries{{2048, 100, 0x83}}));
    disk.resize(sector(2048) + 512);
    EXPECT_EQ(scan_image(disk).found, (entries{{2048, 100, 7}}));
}

TEST(PartitionScan, BootSectorOfLargerSectorsMovesTheStart) {
    byte_image disk = disk_with({{7, 256, 100}});
    disk.put_image(sector(256), ntfs_boot_sector({.bytes_per_sector = 4096}));
    const scan s = scan_image(disk);
    EXPECT_EQ(s.found, (entries{{256, 100, 7, 4096}}));
    EXPECT_EQ(s.list.front().byte_offset(), 256u * 4096u);
}

TEST(PartitionScan, SuperblocksOf512ByteSectorsAreNotDetected) {
    byte_image disk = disk_with({{0x83, 2048, 100}, {0xAF, 3000, 100}});
    disk.put_image(sector(2048), support::ext_start());
    disk.put_image(sector(3000), support::hfs_plus_start());
    EXPECT_EQ(scan_image(disk).found, (entries{{2048, 100, 0x83}, {3000, 100, 0xAF}}));
}

TEST(PartitionScan, SignatureDefinesTheSectorSize) {
    for (const std::uint32_t size : {1024u, 2048u, 4096u, 8192u, 16384u}) {
        SCOPED_TRACE(size);
        byte_image disk(0x100000);
        put_boot_record(disk, 0, {{0x83, 16, 100}}, size - 2);
        const scan s = scan_image(disk);
        EXPECT_TRUE(s.result);
        EXPECT_EQ(s.found, (entries{{16, 100, 0x83, size}}));
    }
}

TEST(PartitionScan, SmallestSignatureIsUsed) {
    byte_image disk(0x100000);
    put_boot_record(disk, 0, {{0x83, 16, 100}}, 4094);
    disk.put(1022, 0xAA55, 2);
    EXPECT_EQ(scan_image(disk).found, (entries{{16, 100, 0x83, 1024}}));
}

TEST(PartitionScan, WholeSectorIsReadForDetection) {
    byte_image disk(0x100000);
    put_boot_record(disk, 0, {{7, 16, 100}}, 4094);
    disk.put_image(16 * 4096, support::ext_start());
    EXPECT_EQ(scan_image(disk).found, (entries{{16, 100, 131, 4096}}));
}

TEST(PartitionScan, VolumeAtTheStartIsOneRecord) {
    byte_image image = ntfs_boot_sector({.total_sectors = 0x1234});
    put_boot_record(image, 0, {{0x83, 5, 5}});  // boot code that looks like a table
    const scan s = scan_image(image.resize(0x10000));
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{0, 0x1234, 7}}));
    EXPECT_TRUE(s.list.front().is_volume);
    EXPECT_EQ(s.list.front().fs_name, "ntfs");
    EXPECT_EQ(s.list.front().byte_offset(), 0u);
}

TEST(PartitionScan, NameAtTheStartNeedsNoSignature) {
    byte_image image = ntfs_boot_sector().resize(4096);
    image.put(510, 0, 2);
    EXPECT_EQ(scan_image(image).found, (entries{{0, 0x1000, 7}}));
}

TEST(PartitionScan, UnknownVolumeAtTheStartKeepsTypeZero) {
    for (const char* name : {"NTFSxxxx", "MSDOS5.0", "EXFAxxxx"}) {
        SCOPED_TRACE(name);
        const scan s = scan_image(byte_image(4096).put_text(3, name));
        EXPECT_TRUE(s.result);
        EXPECT_EQ(s.found, (entries{{0, 0, 0}}));
        EXPECT_TRUE(s.list.front().is_volume);
    }
}

TEST(PartitionScan, BitlockerAtTheStartIsReadAsATable) {
    const scan s = scan_image(support::bitlocker_boot_sector().resize(0x10000));
    EXPECT_FALSE(s.result);
    EXPECT_TRUE(s.list.empty());
}

TEST(PartitionScan, ExtSuperblockAtTheStart) {
    const scan s = scan_image(support::ext_start().resize(0x10000));
    EXPECT_TRUE(s.result);
    ASSERT_EQ(s.list.size(), 1u);
    EXPECT_TRUE(s.list.front().is_volume);
    // The superblock's counts at bytes 3 to 10 are not all zero: it is detected and moves to sector
    // 2.
    EXPECT_EQ(s.list.front().m_partition_type, 131);
    EXPECT_EQ(s.list.front().byte_offset(), 1024u);
}

TEST(PartitionScan, ExtSuperblockWithoutCountsDoesNotMove) {
    byte_image image = support::ext_start().resize(0x10000);
    image.put(1024 + 3, 0, 8);
    const scan s = scan_image(image);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{1024, 0, 0}}));
    EXPECT_EQ(s.list.front().byte_offset(), 0x80000u);
}

TEST(PartitionScan, UnknownStartFails) {
    EXPECT_FALSE(scan_image(byte_image(0x10000)).result);
    EXPECT_FALSE(scan_image(byte_image(support::pattern(0x10000, 3)).put(510, 0, 2)).result);
}

TEST(PartitionScan, ShortImageIsAllowed) {
    EXPECT_EQ(scan_image(disk_with({{0x83, 1, 1}}, 512)).found, (entries{{1, 1, 0x83}}));
    EXPECT_EQ(scan_image(byte_image(11).put_text(3, "NTFS    ")).found, (entries{{0, 0, 7, 0}}));
}

TEST(PartitionScan, EmptyOrClosedDiskFails) {
    EXPECT_FALSE(scan_image(byte_image()).result);
    CRawDisk closed(L"", false, false, 0);
    partition_list list(2);
    EXPECT_FALSE(scan_partitions(closed, list, true, false));
    EXPECT_TRUE(list.empty());
}

TEST(PartitionScan, EveryPrefixOfADiskIsScanned) {
    byte_image disk = disk_with({{7, 4, 2}, {5, 8, 20}});
    disk.put_image(sector(4), ntfs_boot_sector());
    put_extended_chain(disk, 8, {{7, 8, 9, 2}, {0x83, 12, 13, 2}});
    disk.resize(sector(20));
    const disk_file whole(disk);
    for (std::uint64_t size = sector(20); size-- > 0;) {
        ASSERT_EQ(::truncate(whole.path.c_str(), static_cast<off_t>(size)), 0);
        CRawDisk cut(widened(whole.path), false, false, 0);
        partition_list list;
        const bool result = scan_partitions(cut, list, false, false);
        EXPECT_EQ(result, size > sector(8)) << size;  // the extended record cannot be read before
        if (result) {
            EXPECT_GE(list.size(), 2u) << size;
        }
    }
    EXPECT_EQ(scan_image(disk).found,
              (entries{{4, 2, 7}, {8, 20, 5}, {9, 2, 7}, {12, 3, 5}, {13, 2, 0x83}}));
}

// --- GUID partition tables ---

TEST(PartitionScan, ProtectiveEntryLeadsToTheGpt) {
    for (const int slot : {0, 1, 3}) {
        SCOPED_TRACE(slot);
        byte_image disk(0x100000);
        support::put_gpt(disk, {{.first = 100, .last = 199}}, {.protective = false});
        std::vector<mbr_slot> slots(4, {0x83, 50, 5});
        slots[static_cast<std::size_t>(slot)] = {0xEE, 1, 0};  // a count of 0 is enough
        put_boot_record(disk, 0, slots);
        const scan s = scan_image(disk);
        EXPECT_TRUE(s.result);
        EXPECT_EQ(s.found, (entries{{100, 100, 238}}));
        EXPECT_TRUE(s.list.front().is_gpt);
    }
}

TEST(PartitionScan, FailedGptFailsTheScan) {
    byte_image disk(0x100000);
    put_boot_record(disk, 0, {{7, 50, 5}, {0xEE, 1, 100}});
    const scan s = scan_image(disk);
    EXPECT_FALSE(s.result);
    EXPECT_TRUE(s.list.empty());
}

TEST(PartitionScan, ExtendedEntryHidesTheProtectiveOne) {
    byte_image disk(0x100000);
    support::put_gpt(disk, {{.first = 100, .last = 199}}, {.protective = false});
    put_boot_record(disk, 0, {{5, 300, 50}, {0xEE, 1, 100}});
    EXPECT_EQ(scan_image(disk).found, (entries{{300, 50, 5}}));
}

// --- the guess at sector 63 ---

TEST(Guess, IsFirstWithTheLastTypeOfTheFirstRecord) {
    byte_image disk = disk_with({{5, 1000, 900}});
    put_boot_record(disk, sector(1000), {{7, 10, 20}, {0x83, 40, 5}, {5, 100, 10}});
    put_boot_record(disk, sector(1100), {{12, 1, 2}});
    disk.put_image(sector(63), ntfs_boot_sector({.serial = 0x99}));
    const scan s = scan_image(disk);
    EXPECT_EQ(s.found, (entries{{63, 937, 0x8083},
                                {1000, 900, 5},
                                {1010, 20, 7},
                                {1040, 5, 0x83},
                                {1100, 10, 5},
                                {1101, 2, 12}}));
    EXPECT_EQ(s.list.front().fs_name, "ntfs");
    EXPECT_EQ(s.list.front().volume_serial, 0x99u);
    EXPECT_EQ(partition_type_name(s.list.front().m_partition_type), "linux [guess]");
}

TEST(Guess, IsNtfsOnlyIfTheLastTypeWas) {
    byte_image disk = disk_with({{5, 1000, 900}});
    put_boot_record(disk, sector(1000), {{7, 10, 20}});
    disk.put_image(sector(63), ntfs_boot_sector());
    EXPECT_EQ(partition_type_name(scan_image(disk).list.front().m_partition_type),
              "ntfs or exfat [guess]");

    put_boot_record(disk, sector(1000), {{5, 10, 20}});  // no volume in the first record
    EXPECT_EQ(partition_type_name(scan_image(disk).list.front().m_partition_type), "empty [guess]");
}

TEST(Guess, NeedsAnExtendedPartitionAndAnNtfsVolume) {
    byte_image disk = disk_with({{7, 1000, 900}});
    disk.put_image(sector(63), ntfs_boot_sector());
    EXPECT_EQ(scan_image(disk).found, (entries{{1000, 900, 7}}));

    disk = disk_with({{5, 1000, 900}});
    put_boot_record(disk, sector(1000), {{7, 10, 20}});
    disk.put_image(sector(63), support::fat32_boot_sector());
    EXPECT_EQ(scan_image(disk).found, (entries{{1000, 900, 5}, {1010, 20, 7}}));
}

TEST(Guess, IsAddedToThePartitionOfTheTable) {
    byte_image disk = disk_with({{7, 63, 900}, {5, 1000, 900}});
    put_boot_record(disk, sector(1000), {{7, 10, 20}});
    disk.put_image(sector(63), ntfs_boot_sector());
    EXPECT_EQ(scan_image(disk).found,
              (entries{{63, 937, 0x8007}, {63, 900, 7}, {1000, 900, 5}, {1010, 20, 7}}));
}

TEST(Guess, StartsAtSector63OfTheTablesSize) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{5, 16, 90}}, 4094);
    put_boot_record(disk, 16 * 4096, {{7, 2, 2}});
    disk.put_image(63 * 4096, ntfs_boot_sector({.bytes_per_sector = 4096}));
    const scan s = scan_image(disk);
    // The base is before sector 63, and the count wraps.
    EXPECT_EQ(s.found,
              (entries{{63, 16 - 63ull, 0x8007, 4096}, {16, 90, 5, 4096}, {18, 2, 7, 4096}}));
}

// --- damaged first sectors ---

TEST(LostRecord, IsFoundAndItsChainListed) {
    byte_image disk(0x200000);
    put_extended_chain(disk, 100, {{7, 100, 110, 20}, {0x83, 200, 215, 30}});
    EXPECT_FALSE(scan_image(disk).result);
    const scan s = scan_image(disk, true);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.found, (entries{{110, 20, 7}, {200, 45, 5}, {215, 30, 0x83}}));
}

TEST(LostRecord, DetectionIsSkipped) {
    byte_image disk(0x200000);
    put_extended_chain(disk, 100, {{0x83, 100, 110, 20}});
    disk.put_image(sector(110), ntfs_boot_sector());
    EXPECT_EQ(scan_image(disk, true).found, (entries{{110, 20, 0x83}}));
}

TEST(LostRecord, HasAGuessToo) {
    byte_image disk(0x200000);
    put_extended_chain(disk, 100, {{7, 100, 110, 20}});
    disk.put_image(sector(63), ntfs_boot_sector());
    // The NTFS sector before it has a name and is not a boot record.
    EXPECT_EQ(scan_image(disk, true).found, (entries{{63, 37, 0x8007}, {110, 20, 7}}));
}

TEST(LostRecord, IsSearchedForUpToOneSectorAfterTheFirstMebibyte) {
    const struct {
        const char* name;
        std::uint32_t lba;
        bool found;
    } cases[] = {{"sector 2", 2, true},
                 {"at 1 MiB", 0x800, true},
                 {"one beyond", 0x801, true},
                 {"two beyond", 0x802, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        byte_image disk(0x200000);
        put_extended_chain(disk, c.lba, {{7, c.lba, c.lba + 1, 20}});
        EXPECT_EQ(scan_image(disk, true).result, c.found);
    }
}

TEST(LostRecord, EndOfTheImageFails) {
    EXPECT_FALSE(scan_image(byte_image(0x8000), true).result);
    // The last sector is truncated. If bytes of the previous sector remained in the buffer, there
    // would be a guess at sector 63.
    byte_image disk(sector(71) + 100);
    disk.put_image(sector(63), ntfs_boot_sector());
    disk.put_text(sector(70) + 3, "NTFS    ").put(sector(70) + 510, 0xAA55, 2);
    EXPECT_FALSE(scan_image(disk, true).result);
}

TEST(LostRecord, WithoutPartitionsFails) {
    byte_image disk(0x200000);
    put_boot_record(disk, sector(100), {});
    EXPECT_FALSE(scan_image(disk, true).result);
}

TEST(LostRecord, ItsSignatureMayMakeTheDiskATableOfLargerSectors) {
    for (const std::uint32_t lba : {1u, 3u, 7u, 15u, 31u}) {
        SCOPED_TRACE(lba);
        byte_image disk(0x200000);
        disk.put(446 + 4, 0x83, 1).put(446 + 8, 16, 4).put(446 + 12, 9, 4);
        put_extended_chain(disk, lba, {{7, lba, lba + 1, 20}});
        for (const bool forced : {false, true}) {
            EXPECT_EQ(scan_image(disk, forced).found, (entries{{16, 9, 0x83, (lba + 1) * 512}}));
        }
    }
}

TEST(LostRecord, IsSearchedForAfterASuperblockAndNotListed) {
    byte_image disk = support::ext_start().resize(0x200000);
    EXPECT_FALSE(scan_image(disk, true).result);
    byte_image shorter = disk;
    EXPECT_FALSE(scan_image(shorter.resize(0x10000), true).result);
    put_extended_chain(disk, 100, {{7, 100, 110, 20}});
    const scan s = scan_image(disk, true);
    EXPECT_TRUE(s.result);
    ASSERT_EQ(s.list.size(), 1u);
    EXPECT_EQ(s.list.front().m_partition_type, 131);
    EXPECT_EQ(s.list.front().byte_offset(), 1024u);
}

TEST(Forced, ValidTablesAndVolumesAreReadAsUsual) {
    EXPECT_EQ(scan_image(disk_with({{7, 64, 30}}), true).found, (entries{{64, 30, 7}}));
    EXPECT_EQ(scan_image(ntfs_boot_sector().resize(4096), true).found, (entries{{0, 0x1000, 7}}));
}

}  // namespace
