#include "storage/volumes/volume_selection.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/broken_off_disk.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::ntfs_boot_sector;
using support::put_boot_record;
using support::put_extended_chain;

struct selection {
    bool result = false;
    bool found_ntfs = false;
    std::uint64_t offset = 0;
    std::string text;

    bool operator==(const selection&) const = default;
    friend void PrintTo(const selection& s, std::ostream* out) {
        *out << (s.result ? "true" : "false") << (s.found_ntfs ? ", ntfs" : ", no ntfs") << ", 0x"
             << std::hex << s.offset << ", \"" << s.text << "\"";
    }
};

selection select(const byte_image& image, std::uint64_t offset = 0,
                 bool ignore_image_size = false) {
    disk_file source(image);
    selection s;
    s.found_ntfs = true;  // is cleared first
    s.offset = offset;
    std::ostringstream out;
    s.result = select_volume(out, s.found_ntfs, s.offset, source.disk, ignore_image_size);
    s.text = out.str();
    return s;
}

constexpr std::uint64_t sector(std::uint64_t lba) { return lba * 512; }

byte_image bare_volume(std::uint64_t sectors = 0x80) {
    return ntfs_boot_sector({.total_sectors = sectors}).resize(sector(0x80));
}

// Two NTFS partitions, 0x100000 and 0x180000, around a FAT16 one at 0x140000; 2 MiB.
byte_image two_ntfs_disk() {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 0x800, 0x100}, {4, 0xA00, 0x100}, {7, 0xC00, 0x100}});
    disk.put_image(0x100000, ntfs_boot_sector());
    disk.put_image(0x140000, support::fat16_boot_sector());
    disk.put_image(0x180000, ntfs_boot_sector());
    return disk;
}

const std::string two_ntfs_listing =
    "\n"
    "volume offset [ 0x100000 ] : ntfs or exfat\n"
    "volume offset [ 0x140000 ] : fat16\n"
    "volume offset [ 0x180000 ] : ntfs or exfat\n"
    "\n"
    "use option [-offset 0x180000]\n";

TEST(VolumeSelection, BareVolumeNeedsNoOffset) {
    EXPECT_EQ(select(bare_volume()), (selection{true, true, 0, ""}));
}

TEST(VolumeSelection, BareVolumeLargerThanTheImageIsRefused) {
    const std::string text =
        "volume offset 0x0 is a NTFS partition, however image size does not encapsulate entire "
        "volume\n";
    EXPECT_EQ(select(bare_volume(0x81)), (selection{false, true, 0, text}));
    EXPECT_EQ(select(bare_volume(0x81), 0, true), (selection{true, true, 0, ""}));
}

TEST(VolumeSelection, OffsetAtABareVolumeDoesNotMatch) {
    EXPECT_EQ(select(bare_volume(), 0x200), (selection{false, true, 0,
                                                       "\n"
                                                       "volume offset [ 0x0 ] : ntfs or exfat\n"
                                                       "\n"
                                                       "prob detecting ntfs partition\n"}));
}

TEST(VolumeSelection, OffsetAboveTheSizeIsOutOfBounds) {
    EXPECT_EQ(
        select(bare_volume(), 0x10001),
        (selection{false, false, 0x10001, "volume offset 0x10001 is not within image bounds\n"}));
    EXPECT_EQ(select(bare_volume(), 0xABCDEF0123456789),
              (selection{false, false, 0xABCDEF0123456789,
                         "volume offset 0xabcdef0123456789 is not within image bounds\n"}));
}

TEST(VolumeSelection, OffsetMayEqualTheSize) {
    byte_image disk(sector(100));
    put_boot_record(disk, 0, {{7, 100, 0x10}});
    EXPECT_EQ(select(disk, sector(100), true), (selection{true, true, sector(100), ""}));
    EXPECT_EQ(select(byte_image(), 0),
              (selection{false, false, 0, "couldn't find any partitions on disk\n"}));
}

TEST(VolumeSelection, ListingNamesTheLastNtfsPartition) {
    EXPECT_EQ(select(two_ntfs_disk()), (selection{false, true, 0x180000, two_ntfs_listing}));
    EXPECT_EQ(select(two_ntfs_disk(), 0x123400),
              (selection{false, true, 0x180000, two_ntfs_listing}));
}

TEST(VolumeSelection, OffsetOfAnNtfsPartitionIsConfirmed) {
    EXPECT_EQ(select(two_ntfs_disk(), 0x100000), (selection{true, true, 0x100000, ""}));
    EXPECT_EQ(select(two_ntfs_disk(), 0x180000), (selection{true, true, 0x180000, ""}));
}

TEST(VolumeSelection, MatchOfAnotherTypeIsReportedWithItsName) {
    EXPECT_EQ(select(two_ntfs_disk(), 0x140000),
              (selection{false, true, 0x100000,
                         "volume offset selected 0x140000 is not a NTFS partition, but [fat16]\n"
                         "\n"
                         "volume offset [ 0x100000 ] : ntfs or exfat\n"
                         "volume offset [ 0x140000 ] : fat16\n"
                         "volume offset [ 0x180000 ] : ntfs or exfat\n"
                         "\n"
                         "use option [-offset 0x100000]\n"}));
}

TEST(VolumeSelection, NtfsAfterTheMatchIsNotACandidate) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{0x83, 0x800, 0x100}, {7, 0xC00, 0x100}});
    EXPECT_EQ(select(disk, 0x100000),
              (selection{false, false, 0x180000,
                         "volume offset selected 0x100000 is not a NTFS partition, but [linux]\n"
                         "\n"
                         "volume offset [ 0x100000 ] : linux\n"
                         "volume offset [ 0x180000 ] : ntfs or exfat\n"
                         "\n"
                         "prob detecting ntfs partition\n"}));
}

TEST(VolumeSelection, DiskWithoutNtfsSetsTheLastOffset) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{0x83, 0x800, 0x100}, {0x82, 0xC00, 0x100}});
    EXPECT_EQ(select(disk), (selection{false, false, 0x180000,
                                       "\n"
                                       "volume offset [ 0x100000 ] : linux\n"
                                       "volume offset [ 0x180000 ] : linux swap\n"
                                       "\n"
                                       "prob detecting ntfs partition\n"}));
}

TEST(VolumeSelection, PartitionThatTheImageTruncatesIsRefusedUnlessAllowed) {
    byte_image disk = two_ntfs_disk();
    disk.resize(0x180000 + sector(0xFF));
    const std::string text =
        "volume offset 0x180000 is a NTFS partition, however image size does not encapsulate "
        "entire volume\n";
    EXPECT_EQ(select(disk, 0x180000), (selection{false, true, 0x180000, text}));
    EXPECT_EQ(select(disk, 0x180000, true), (selection{true, true, 0x180000, ""}));
    EXPECT_EQ(select(disk.resize(0x180000 + sector(0x100)), 0x180000),
              (selection{true, true, 0x180000, ""}));
}

TEST(VolumeSelection, PartitionPastTheImageIsReportedBeforeTheMatch) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 0x2000, 0x100}, {7, 0x800, 0x100}, {0x83, 0x3000, 5}});
    EXPECT_EQ(select(disk), (selection{false, true, 0x100000,
                                       "volume offset 0x400000 is not within image bounds\n"
                                       "\n"
                                       "volume offset [ 0x400000 ] : ntfs or exfat\n"
                                       "volume offset [ 0x100000 ] : ntfs or exfat\n"
                                       "volume offset [ 0x600000 ] : linux\n"
                                       "\n"
                                       "use option [-offset 0x100000]\n"}));
    // The message is also written before a match after it is confirmed.
    EXPECT_EQ(
        select(disk, 0x100000),
        (selection{true, true, 0x100000, "volume offset 0x400000 is not within image bounds\n"}));
}

TEST(VolumeSelection, PartitionThatStartsAtTheEndIsWithinBounds) {
    byte_image disk(0x100000);
    put_boot_record(disk, 0, {{7, 0x800, 0x100}});
    EXPECT_EQ(select(disk).text,
              "\n"
              "volume offset [ 0x100000 ] : ntfs or exfat\n"
              "\n"
              "use option [-offset 0x100000]\n");
    put_boot_record(disk, 0, {{7, 0x801, 0x100}});
    EXPECT_EQ(select(disk).text,
              "volume offset 0x100200 is not within image bounds\n"
              "\n"
              "volume offset [ 0x100200 ] : ntfs or exfat\n"
              "\n"
              "use option [-offset 0x100200]\n");
}

TEST(VolumeSelection, LinuxEntryThatContainsNtfsIsNamedNtfs) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{0x83, 0x800, 0x100}});
    disk.put_image(0x100000, ntfs_boot_sector());
    EXPECT_EQ(select(disk), (selection{false, true, 0x100000,
                                       "\n"
                                       "volume offset [ 0x100000 ] : ntfs or exfat\n"
                                       "\n"
                                       "use option [-offset 0x100000]\n"}));
}

TEST(VolumeSelection, EveryNameThatContainsNtfsMatches) {
    for (const std::uint8_t type : support::bytes{7, 0x27, 0x87}) {
        SCOPED_TRACE(int{type});
        byte_image disk(0x200000);
        put_boot_record(disk, 0, {{type, 0x800, 0x100}});
        EXPECT_EQ(select(disk, 0x100000), (selection{true, true, 0x100000, ""}));
    }
    // Type 0xB7 is an NTFS type without a name.
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{0xB7, 0x800, 0x100}});
    EXPECT_EQ(select(disk, 0x100000).result, false);
}

TEST(VolumeSelection, ExfatAndBitlockerAreAcceptedAsNtfs) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 0x800, 0x100}, {7, 0xA00, 0x100}});
    disk.put_image(0x100000, support::exfat_boot_sector());
    disk.put_image(0x140000, support::bitlocker_boot_sector());
    EXPECT_TRUE(select(disk, 0x100000).result);
    EXPECT_TRUE(select(disk, 0x140000).result);
}

TEST(VolumeSelection, SectorSizeOfTheBootSectorMovesTheOffset) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 0x80, 0x10}});
    disk.put_image(sector(0x80), ntfs_boot_sector({.bytes_per_sector = 4096}));
    EXPECT_EQ(select(disk, sector(0x80)), (selection{false, true, 0x80000,
                                                     "\n"
                                                     "volume offset [ 0x80000 ] : ntfs or exfat\n"
                                                     "\n"
                                                     "use option [-offset 0x80000]\n"}));
    EXPECT_EQ(select(disk, 0x80000), (selection{true, true, 0x80000, ""}));
}

TEST(VolumeSelection, VolumeWithoutASectorSizeMatchesOffsetZero) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 0x800, 0x100}});
    disk.put_image(0x100000, ntfs_boot_sector().put(11, 0, 2));
    EXPECT_EQ(select(disk), (selection{true, true, 0, ""}));
    // It is NTFS, but a start of 0 is no candidate.
    EXPECT_EQ(select(disk, 0x100000), (selection{false, true, 0,
                                                 "\n"
                                                 "volume offset [ 0x0 ] : ntfs or exfat\n"
                                                 "\n"
                                                 "prob detecting ntfs partition\n"}));
}

TEST(VolumeSelection, SizesWrap) {
    byte_image disk(0x200000);
    support::put_gpt(disk, {{.first = 0x800, .last = (1ull << 55) - 1}});
    disk.put_image(0x100000, ntfs_boot_sector());
    // The partition ends at sector 2^55, which is byte 2^64: 0.
    EXPECT_EQ(select(disk, 0x100000), (selection{true, true, 0x100000, ""}));
}

TEST(VolumeSelection, GuessIsNamedAfterTheLastLogicalType) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{7, 63, 0x100}, {5, 0x800, 0x700}});
    put_boot_record(disk, 0x100000, {{7, 1, 5}, {0x83, 0x10, 0x10}});
    disk.put_image(sector(63), ntfs_boot_sector());
    const std::string listing =
        "\n"
        "volume offset [ 0x7e00 ] : linux [guess]\n"
        "volume offset [ 0x7e00 ] : ntfs or exfat\n"
        "volume offset [ 0x100000 ] : exten\n"
        "volume offset [ 0x100200 ] : ntfs or exfat\n"
        "volume offset [ 0x102000 ] : linux\n"
        "\n";
    EXPECT_EQ(select(disk),
              (selection{false, true, 0x100200, listing + "use option [-offset 0x100200]\n"}));
    // The guess is before the entry of the same volume.
    EXPECT_EQ(select(disk, 0x7e00),
              (selection{false, false, 0x102000,
                         "volume offset selected 0x7e00 is not a NTFS partition, but "
                         "[linux [guess]]\n" +
                             listing + "prob detecting ntfs partition\n"}));
}

TEST(VolumeSelection, GuessOfAnNtfsDiskCanBeSelected) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{5, 0x800, 0x700}});
    put_extended_chain(disk, 0x800, {{7, 0x800, 0x801, 0x10}});
    disk.put_image(sector(63), ntfs_boot_sector());
    EXPECT_EQ(select(disk, 0x7e00), (selection{true, true, 0x7e00, ""}));
    EXPECT_EQ(select(disk), (selection{false, true, 0x100200,
                                       "\n"
                                       "volume offset [ 0x7e00 ] : ntfs or exfat [guess]\n"
                                       "volume offset [ 0x100000 ] : exten\n"
                                       "volume offset [ 0x100200 ] : ntfs or exfat\n"
                                       "\n"
                                       "use option [-offset 0x100200]\n"}));
}

TEST(VolumeSelection, PrimaryAfterTheExtendedEntryIsNotListed) {
    byte_image disk(0x200000);
    put_boot_record(disk, 0, {{5, 0x800, 0x100}, {7, 0xC00, 0x100}});
    put_extended_chain(disk, 0x800, {{0x83, 0x800, 0x801, 0x10}});
    EXPECT_EQ(select(disk).text,
              "\n"
              "volume offset [ 0x100000 ] : exten\n"
              "volume offset [ 0x100200 ] : linux\n"
              "\n"
              "prob detecting ntfs partition\n");
}

TEST(VolumeSelection, DamagedFirstSectorIsReported) {
    byte_image disk(0x200000);
    put_extended_chain(disk, 0x40, {{7, 0x40, 0x80, 0x10}});
    EXPECT_EQ(select(disk), (selection{false, true, 0x10000,
                                       "disk is corrupted, partition info questionable\n"
                                       "\n"
                                       "volume offset [ 0x10000 ] : ntfs or exfat\n"
                                       "\n"
                                       "use option [-offset 0x10000]\n"}));
    EXPECT_EQ(select(disk, 0x10000),
              (selection{true, true, 0x10000, "disk is corrupted, partition info questionable\n"}));
}

TEST(VolumeSelection, EmptyDiskHasNoPartitions) {
    const std::string text = "couldn't find any partitions on disk\n";
    EXPECT_EQ(select(byte_image(0x200000)), (selection{false, false, 0, text}));
    EXPECT_EQ(select(byte_image(0x200000), 0x1000), (selection{false, false, 0x1000, text}));
}

TEST(VolumeSelection, DiskTruncatedBeforeItsExtendedPartitionHasNoPartitions) {
    byte_image disk(0x100000);
    put_boot_record(disk, 0, {{7, 0x100, 0x100}, {5, 0x800, 0x100}});
    EXPECT_EQ(select(disk), (selection{false, false, 0, "couldn't find any partitions on disk\n"}));
}

TEST(VolumeSelection, GptPartitionsAreListed) {
    byte_image disk(0x200000);
    support::put_gpt(disk, {{.first = 0x800, .last = 0x8FF},
                            {support::efi_system_guid, 0xA00, 0xAFF},
                            {support::linux_data_guid, 0xB00, 0xBFF}});
    disk.put_image(0x100000, ntfs_boot_sector());
    disk.put_image(sector(0xB00), support::ext_start());
    EXPECT_EQ(select(disk).text,
              "\n"
              "volume offset [ 0x100000 ] : ntfs or exfat\n"
              "volume offset [ 0x140000 ] : gpt\n"
              "volume offset [ 0x160000 ] : linux\n"
              "\n"
              "use option [-offset 0x100000]\n");
}

TEST(VolumeSelection, VolumeOfWhichOnlyTheStartCanBeReadIsBare) {
    const broken_off_disk source(bare_volume());
    std::ostringstream out;
    bool found_ntfs = false;
    std::uint64_t offset = 0x200;
    EXPECT_TRUE(select_volume(out, found_ntfs, offset, *source.disk, false));
    EXPECT_TRUE(found_ntfs);
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(out.str(), "");
}

TEST(VolumeSelection, ClosedDiskFailsWithoutAMessage) {
    CRawDisk closed(L"", false, false, 0);
    std::ostringstream out;
    bool found_ntfs = true;
    std::uint64_t offset = 5;
    EXPECT_FALSE(select_volume(out, found_ntfs, offset, closed, false));
    EXPECT_FALSE(found_ntfs);
    EXPECT_EQ(offset, 5u);
    EXPECT_EQ(out.str(), "");
}

TEST(VolumeSelection, SourceThatCannotSeekHasNoBounds) {
    CRawDisk disk(L"/proc/version", false, false, 0);
    std::ostringstream out;
    bool found_ntfs = true;
    std::uint64_t offset = 1;
    EXPECT_FALSE(select_volume(out, found_ntfs, offset, disk, false));
    EXPECT_EQ(out.str(), "couldn't find any partitions on disk\n");
}

TEST(VolumeSelection, StreamRemainsHexadecimal) {
    disk_file source(byte_image(512));
    std::ostringstream out;
    bool found_ntfs = false;
    std::uint64_t offset = 1000;
    EXPECT_FALSE(select_volume(out, found_ntfs, offset, source.disk, false));
    out << 255;
    EXPECT_EQ(out.str(), "volume offset 0x3e8 is not within image bounds\nff");
}

}  // namespace
