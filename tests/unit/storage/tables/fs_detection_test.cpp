#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "storage/tables/fs_detection.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/partition_scan.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::bytes;

// The result of detection for a record whose table says Linux, 777 sectors at sector 100.
struct detected {
    bool result = false;
    partition_record record;
};

detected detect(const byte_image& start, std::size_t length = 512, std::uint64_t num_sectors = 777,
                std::uint16_t type = 0x83) {
    detected d;
    d.record.m_LBA_first_sector = 100;
    d.record.m_num_sectors = num_sectors;
    d.record.m_partition_type = type;
    const bytes data = start.get_bytes(0, length);
    d.result = detect_file_system(d.record, data);
    return d;
}

// A first sector with a given name at byte 3, and numbers that show their offset.
byte_image named_sector(std::string_view name) {
    byte_image sector(512);
    sector.put(11, 0x0400, 2).put(13, 0x10, 1);
    sector.put(32, 0x20202020, 4).put(39, 0x39393939, 4).put(40, 0x4040404040404040, 8);
    sector.put(67, 0x67676767, 4).put(72, 0x7272727272727272, 8).put(100, 0x10010010, 4);
    sector.put(104, 0x10410410, 4).put(108, 0x0C, 1).put(109, 0x05, 1);
    sector.put_text(3, name);
    return sector;
}

TEST(FsDetection, NtfsGeometryIsReadFromTheBootSector) {
    const detected d = detect(named_sector("NTFS    "));
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 7);
    EXPECT_EQ(d.record.fs_name, "ntfs");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 0x10u);
    EXPECT_EQ(d.record.m_sector_size, 0x400u);
    EXPECT_EQ(d.record.volume_serial, 0x72727272u);
    EXPECT_EQ(d.record.m_num_sectors, 777u);
    EXPECT_EQ(d.record.m_LBA_first_sector, 100u);
    EXPECT_EQ(d.record.byte_offset(), 100u * 0x400u);
}

TEST(FsDetection, NtfsCountIsUsedIfTheTableHasNone) {
    EXPECT_EQ(detect(named_sector("NTFS    "), 512, 0).record.m_num_sectors, 0x4040404040404040u);
}

TEST(FsDetection, BitlockerHasTheNtfsType) {
    const detected d = detect(named_sector("-FVE-FS-"), 512, 0);
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 7);
    EXPECT_EQ(d.record.fs_name, "bitlocker container");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 0x10u);
    EXPECT_EQ(d.record.m_sector_size, 0x400u);
    EXPECT_EQ(d.record.volume_serial, 0x72727272u);
    EXPECT_EQ(d.record.m_num_sectors, 0x4040404040404040u);
}

TEST(FsDetection, ExfatUsesShiftsAndItsOwnCount) {
    const detected d = detect(named_sector("EXFAT   "), 512, 0);
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 7);
    EXPECT_EQ(d.record.fs_name, "exfat");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 1u << 5);
    EXPECT_EQ(d.record.m_sector_size, 1u << 12);
    EXPECT_EQ(d.record.volume_serial, 0x10010010u);
    EXPECT_EQ(d.record.m_num_sectors, 0x7272727272727272u);
    EXPECT_EQ(detect(named_sector("EXFAT   ")).record.m_num_sectors, 777u);
}

TEST(FsDetection, ExfatShiftsAreTakenModulo32) {
    const detected d = detect(named_sector("EXFAT   ").put(108, 41, 1).put(109, 0xFF, 1));
    EXPECT_EQ(d.record.m_sector_size, 1u << 9);
    EXPECT_EQ(d.record.m_sectors_per_cluster, 1u << 31);
}

TEST(FsDetection, Fat32ReplacesTheCountOfTheTable) {
    const detected d = detect(named_sector("MSDOS5.0").put_text(82, "FAT32"));
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 12);
    EXPECT_EQ(d.record.fs_name, "fat32");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 0x10u);
    EXPECT_EQ(d.record.m_sector_size, 0x400u);
    EXPECT_EQ(d.record.volume_serial, 0x67676767u);
    EXPECT_EQ(d.record.m_num_sectors, 0x20202020u);
}

TEST(FsDetection, Fat16KeepsTheCountOfTheTable) {
    const byte_image sector = named_sector("MSDOS5.0").put_text(54, "FAT16");
    const detected d = detect(sector);
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 4);
    EXPECT_EQ(d.record.fs_name, "fat16");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 0x10u);
    EXPECT_EQ(d.record.m_sector_size, 0x400u);
    EXPECT_EQ(d.record.volume_serial, 0x40404039u);  // the byte at 39 and three of those at 40
    EXPECT_EQ(d.record.m_num_sectors, 777u);
    EXPECT_EQ(detect(sector, 512, 0).record.m_num_sectors, 0x20202020u);
}

TEST(FsDetection, ExtSuperblockMovesTheVolumeToSectorTwo) {
    byte_image block = named_sector("anything");
    block.put(56, 0xEF53, 2).put(24, 2, 4).put(4, 0x1000, 4);
    const detected d = detect(block);
    EXPECT_TRUE(d.result);
    EXPECT_TRUE(d.record.is_volume);
    EXPECT_EQ(d.record.m_partition_type, 131);
    EXPECT_EQ(d.record.fs_name, "ext2/3");
    EXPECT_EQ(d.record.m_sectors_per_cluster, 8u);
    EXPECT_EQ(d.record.m_sector_size, 512u);
    EXPECT_EQ(d.record.volume_serial, 0x10410410u);
    // Bytes 4 to 6 are the name's "nyt", which the count overwrote: 0x1000 blocks of 4096 bytes.
    EXPECT_EQ(d.record.m_num_sectors, 0x1000u * 4096u);
    EXPECT_EQ(d.record.m_LBA_first_sector, 2u);
}

TEST(FsDetection, ExtBlockShiftIsTakenModulo32) {
    byte_image block = named_sector("anything");
    block.put(56, 0xEF53, 2).put(24, 33, 4).put(4, 3, 4);
    const detected d = detect(block);
    EXPECT_EQ(d.record.m_sectors_per_cluster, 4u);
    EXPECT_EQ(d.record.m_num_sectors, 3u * 2048u);
}

TEST(FsDetection, FileSystemsAreTestedInOrder) {
    byte_image sector = named_sector("NTFS    ");
    sector.put_text(82, "FAT32").put_text(54, "FAT16");
    EXPECT_EQ(detect(sector).record.fs_name, "ntfs");
    sector.put_text(3, "MSDOS5.0");
    EXPECT_EQ(detect(sector).record.fs_name, "fat32");
    sector.put_text(82, "     ");
    EXPECT_EQ(detect(sector).record.fs_name, "fat16");
    sector.put_text(54, "     ").put(56, 0xEF53, 2);
    EXPECT_EQ(detect(sector).record.fs_name, "ext2/3");
}

TEST(FsDetection, UnknownNamesChangeOnlyTheClusterSize) {
    for (const std::string_view name :
         {"NTFS   ", "NTFSxxxx", "EXFATxxx", "MSDOS5.0", "mkfs.fat"}) {
        SCOPED_TRACE(name);
        const detected d = detect(named_sector(name));
        EXPECT_FALSE(d.result);
        EXPECT_FALSE(d.record.is_volume);
        EXPECT_EQ(d.record.m_partition_type, 0x83);
        EXPECT_EQ(d.record.fs_name, "");
        EXPECT_EQ(d.record.m_sector_size, 512u);
        EXPECT_EQ(d.record.m_num_sectors, 777u);
        EXPECT_EQ(d.record.m_sectors_per_cluster, 0x10u);
    }
}

TEST(FsDetection, ClusterSizeOfZeroIsIgnored) {
    partition_record record;
    record.m_sectors_per_cluster = 4;
    const bytes data = byte_image(512).put_text(3, "something").bytes();
    EXPECT_FALSE(detect_file_system(record, data));
    EXPECT_EQ(record.m_sectors_per_cluster, 4u);
}

TEST(FsDetection, KnownVolumesReplaceTheGeometryOfTheTable) {
    partition_record record;
    record.m_sectors_per_cluster = 4;
    EXPECT_TRUE(detect_file_system(record, named_sector("NTFS    ").put(13, 0, 1).bytes()));
    EXPECT_EQ(record.m_sectors_per_cluster, 0u);

    record.m_sector_size = 4096;
    EXPECT_TRUE(detect_file_system(record, named_sector("anything").put(56, 0xEF53, 2).bytes()));
    EXPECT_EQ(record.m_sector_size, 512u);
}

TEST(FsDetection, NothingIsDetectedInFewerThan512Bytes) {
    const byte_image sector = named_sector("NTFS    ");
    for (const std::size_t length : {0u, 1u, 12u, 511u}) {
        SCOPED_TRACE(length);
        const detected d = detect(sector, length);
        EXPECT_FALSE(d.result);
        EXPECT_EQ(d.record.m_partition_type, 0x83);
        EXPECT_EQ(d.record.m_sectors_per_cluster, 0u);
    }
    EXPECT_TRUE(detect(sector, 512).result);
}

TEST(FsDetection, SuperblockAfterAnEmptySectorNeeds2048Bytes) {
    const byte_image start = support::ext_start();
    EXPECT_FALSE(detect(start, 2047, 777, 0).result);
    const detected d = detect(start, 2048, 777, 0);
    EXPECT_TRUE(d.result);
    EXPECT_EQ(d.record.m_partition_type, 131);
    EXPECT_EQ(d.record.m_LBA_first_sector, 100u);
    EXPECT_EQ(d.record.m_num_sectors, 777u);
}

TEST(FsDetection, HfsHasTwoVersions) {
    const struct {
        const char* name;
        std::string_view signature;
        bool result;
        std::uint16_t type;
        const char* fs_name;
    } cases[] = {
        {"plus", "H+", true, 175, "hfs+"},
        {"case-sensitive", "HX", true, 175, "hfsx"},
        {"neither leaves the type", "HH", false, 175, ""},
        {"other letters leave nothing", "h+", false, 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const byte_image start = support::hfs_plus_start({.signature = c.signature});
        const detected d = detect(start, 2048, 777, 0);
        EXPECT_EQ(d.result, c.result);
        EXPECT_EQ(d.record.m_partition_type, c.type);
        EXPECT_EQ(d.record.fs_name, c.fs_name);
        EXPECT_FALSE(detect(start, 2047, 777, 0).result);
    }
}

TEST(FsDetection, GuessKeepsItsTypeOnly) {
    const detected d = detect(named_sector("NTFS    "), 512, 0, 0x8083);
    EXPECT_TRUE(d.result);
    EXPECT_EQ(d.record.m_partition_type, 0x8083);
    EXPECT_EQ(d.record.fs_name, "ntfs");
    EXPECT_EQ(d.record.m_sector_size, 0x400u);
    EXPECT_EQ(d.record.m_num_sectors, 0x4040404040404040u);
}

TEST(FsDetection, BootSectorsOfTheBuildersAreRecognised) {
    EXPECT_EQ(detect(support::ntfs_boot_sector()).record.fs_name, "ntfs");
    EXPECT_EQ(detect(support::exfat_boot_sector()).record.fs_name, "exfat");
    EXPECT_EQ(detect(support::bitlocker_boot_sector()).record.fs_name, "bitlocker container");
    EXPECT_EQ(detect(support::fat32_boot_sector()).record.fs_name, "fat32");
    EXPECT_EQ(detect(support::fat16_boot_sector()).record.fs_name, "fat16");
    EXPECT_FALSE(detect(support::fat12_boot_sector()).result);
}

TEST(NtfsBootSector, EightBytesAreCompared) {
    byte_image image(4096);
    image.put_text(512 + 3, "NTFS    ").put_text(1024 + 3, "NTFS   x").put_text(4000 + 3, "NTFS");
    disk_file source(image);
    EXPECT_TRUE(has_ntfs_boot_sector(source.disk, 512));
    EXPECT_FALSE(has_ntfs_boot_sector(source.disk, 0));
    EXPECT_FALSE(has_ntfs_boot_sector(source.disk, 1024));
    EXPECT_FALSE(has_ntfs_boot_sector(source.disk, 4000));
    EXPECT_FALSE(has_ntfs_boot_sector(source.disk, 4096));
}

TEST(NtfsBootSector, TruncatedSectorIsEnough) {
    disk_file source(byte_image(512 + 11).put_text(512 + 3, "NTFS    "));
    EXPECT_TRUE(has_ntfs_boot_sector(source.disk, 512));
    disk_file shorter(byte_image(512 + 10).put_text(512 + 3, "NTFS   "));
    EXPECT_FALSE(has_ntfs_boot_sector(shorter.disk, 512));
}

TEST(NtfsBootSector, ClosedDiskHasNone) {
    CRawDisk disk(L"", false, false, 0);
    EXPECT_FALSE(has_ntfs_boot_sector(disk, 0));
}

}  // namespace
