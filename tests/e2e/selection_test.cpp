// Whole runs that select a volume: partition tables, their messages and the bounds of the image.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/sample_volume.h"
#include "support/temp_dir.h"
#include "unit/run/usage_text.h"

namespace {

using e2e::directory_row;
using e2e::file_row;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::text_header;
using e2e::whole_run;
using support::byte_image;
using words = std::vector<std::string>;

constexpr std::uint64_t mib = 1024 * 1024;

std::string hex(std::uint64_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

// Formats the list of volumes and the lines after it; a `suggested` of 0 means no suggestion.
struct listed_volume {
    std::uint64_t offset;
    std::string name;
};
std::string volume_list(const std::vector<listed_volume>& volumes, std::uint64_t suggested) {
    std::string text = "\n";
    for (const listed_volume& volume : volumes) {
        text += "volume offset [ " + hex(volume.offset) + " ] : " + volume.name + "\n";
    }
    return text + "\n" +
           (suggested != 0 ? "use option [-offset " + hex(suggested) + "]\n"
                           : "prob detecting ntfs partition\n");
}

// Disks with volumes that contain one file, \<name>.
class Selection : public testing::Test {
protected:
    static byte_image volume(const std::u16string& name) {
        support::ntfs_image image;
        image.file(5, name, 64).data("abc");
        return image.build();
    }
    static std::string rows(const std::string& name) {
        return text_header + directory_row(5, "\\") + file_row(64, 3, "\\" + name);
    }

    whole_run run(const byte_image& disk, const words& options = {}) {
        words arguments = {"-image", disk.save(m_dir.file("disk.dd"))};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return whole_run(arguments);
    }
    void expect_listed(const byte_image& disk, const words& options, const std::string& name) {
        run(disk, options).expect(0, rows(name), terminal_clearing);
    }
    void expect_refused(const byte_image& disk, const words& options, const std::string& text) {
        run(disk, options).expect(status_failed, "", reported(text));
    }

    // Returns a disk with FAT16 at sector 63 and NTFS with "a.txt" at 1 MiB.
    static byte_image fat_and_ntfs() {
        byte_image disk(4 * mib);
        support::put_boot_record(disk, 0, {{6, 63, 1000}, {7, 2048, 2048}});
        support::embed(disk, 63 * 512, support::fat16_boot_sector());
        support::embed(disk, mib, volume(u"a.txt"));
        return disk;
    }
    // Returns a disk with NTFS with "a.txt" at 1 MiB and "b.txt" at 3 MiB; the latter has the type
    // of a Linux partition.
    static byte_image two_ntfs() {
        byte_image disk(6 * mib);
        support::put_boot_record(disk, 0, {{7, 2048, 2048}, {0x83, 6144, 2048}});
        support::embed(disk, mib, volume(u"a.txt"));
        support::embed(disk, 3 * mib, volume(u"b.txt"));
        return disk;
    }

    support::temp_dir m_dir;
};

// --- bare volumes ---

TEST_F(Selection, BareVolumeNeedsNoOffset) {
    expect_listed(volume(u"a.txt"), {}, "a.txt");
    expect_listed(volume(u"a.txt"), {"-offset", "0"}, "a.txt");
    expect_listed(volume(u"a.txt"), {"-offset", "zz"}, "a.txt");
}

TEST_F(Selection, BareVolumeLargerThanTheImageIsListed) {
    byte_image image = volume(u"a.txt");
    image.put(40, 0x10000000, 8);  // sectors of the volume
    expect_listed(image, {}, "a.txt");
    expect_listed(image, {"\\", "-ignore_image_size"}, "a.txt");
}

TEST_F(Selection, BareVolumeAtAnotherOffsetIsExplained) {
    // Its own offset is 0, which is not a suggestion.
    expect_refused(volume(u"a.txt"), {"-offset", "512"}, volume_list({{0, "ntfs or exfat"}}, 0));
}

// --- partition tables ---

TEST_F(Selection, PartitionedDiskWithoutAnOffsetIsExplained) {
    expect_refused(fat_and_ntfs(), {},
                   volume_list({{0x7e00, "fat16"}, {mib, "ntfs or exfat"}}, mib));
}

TEST_F(Selection, OffsetIsReadInThreeBases) {
    for (const char* offset : {"0x100000", "X100000", "1048576", "o4000000", "+1048576"}) {
        SCOPED_TRACE(offset);
        expect_listed(fat_and_ntfs(), {"-offset", offset}, "a.txt");
    }
}

TEST_F(Selection, LastNtfsVolumeIsSuggestedRegardlessOfItsType) {
    expect_refused(two_ntfs(), {},
                   volume_list({{mib, "ntfs or exfat"}, {3 * mib, "ntfs or exfat"}}, 3 * mib));
    expect_listed(two_ntfs(), {"-offset", hex(mib)}, "a.txt");
    expect_listed(two_ntfs(), {"-offset", hex(3 * mib)}, "b.txt");
}

TEST_F(Selection, OffsetBetweenVolumesIsExplained) {
    expect_refused(two_ntfs(), {"-offset", "0x200"},
                   volume_list({{mib, "ntfs or exfat"}, {3 * mib, "ntfs or exfat"}}, 3 * mib));
}

TEST_F(Selection, OtherFileSystemAtTheOffsetIsNamed) {
    // The search for a suggestion ends at the matching volume.
    expect_refused(fat_and_ntfs(), {"-offset", "0x7e00"},
                   "volume offset selected 0x7e00 is not a NTFS partition, but [fat16]\n" +
                       volume_list({{0x7e00, "fat16"}, {mib, "ntfs or exfat"}}, 0));

    byte_image disk(4 * mib);
    support::put_boot_record(disk, 0, {{7, 2048, 2048}, {0x0c, 6144, 2000}});
    support::embed(disk, mib, volume(u"a.txt"));
    support::embed(disk, 3 * mib, support::fat32_boot_sector());
    expect_refused(disk, {"-offset", hex(3 * mib)},
                   "volume offset selected 0x300000 is not a NTFS partition, but [fat32]\n" +
                       volume_list({{mib, "ntfs or exfat"}, {3 * mib, "fat32"}}, mib));
}

TEST_F(Selection, DiskWithoutNtfsHasNoSuggestion) {
    byte_image disk(2 * mib);
    support::put_boot_record(disk, 0, {{6, 63, 1000}, {0x82, 2048, 100}});
    support::embed(disk, 63 * 512, support::fat16_boot_sector());
    expect_refused(disk, {}, volume_list({{0x7e00, "fat16"}, {mib, "linux swap"}}, 0));
}

TEST_F(Selection, PartitionOfNtfsTypePassesAndListsNothing) {
    byte_image disk(4 * mib);
    support::put_boot_record(disk, 0, {{7, 2048, 100}, {0x27, 4096, 100}});
    support::embed(disk, mib, support::exfat_boot_sector());
    for (const std::uint64_t offset : {mib, 2 * mib}) {
        run(disk, {"-offset", hex(offset)}).expect(0, "", terminal_clearing);
    }
    expect_refused(disk, {},
                   volume_list({{mib, "ntfs or exfat"}, {2 * mib, "hidden ntfs"}}, 2 * mib));
}

TEST_F(Selection, TableOfLargerSectorsUsesThemAsUnit) {
    byte_image disk(6 * mib);
    support::put_boot_record(disk, 0, {{7, 256, 512}}, 4094);
    support::ntfs_image image({.sector = 4096});
    image.file(5, u"a.txt", 64).data("abc");
    support::embed(disk, mib, image.build());
    expect_refused(disk, {}, volume_list({{mib, "ntfs or exfat"}}, mib));
    expect_listed(disk, {"-offset", hex(mib)}, "a.txt");
}

// --- bounds ---

TEST_F(Selection, OffsetPastTheImageIsOutOfBounds) {
    expect_refused(fat_and_ntfs(), {"-offset", "0x400001"},
                   "volume offset 0x400001 is not within image bounds\n");
    expect_refused(byte_image(0), {"-offset", "1"},
                   "volume offset 0x1 is not within image bounds\n");
}

TEST_F(Selection, OffsetAtTheEndOfTheImageIsWithinItsBounds) {
    expect_refused(fat_and_ntfs(), {"-offset", "0x400000"},
                   volume_list({{0x7e00, "fat16"}, {mib, "ntfs or exfat"}}, mib));
}

TEST_F(Selection, PartitionPastTheImageIsReportedBeforeTheList) {
    byte_image disk(4 * mib);
    support::put_boot_record(disk, 0, {{7, 2048, 2048}, {7, 0x10000, 100}});
    support::embed(disk, mib, volume(u"a.txt"));
    const std::string list =
        volume_list({{mib, "ntfs or exfat"}, {0x2000000, "ntfs or exfat"}}, 0x2000000);
    expect_refused(disk, {}, "volume offset 0x2000000 is not within image bounds\n" + list);
    expect_listed(disk, {"-offset", hex(mib)}, "a.txt");
}

TEST_F(Selection, VolumeThatEndsPastTheImageNeedsPermission) {
    byte_image disk(4 * mib);
    support::put_boot_record(disk, 0, {{7, 2048, 8192}});
    support::embed(disk, mib, volume(u"a.txt"));
    expect_refused(disk, {"-offset", hex(mib)},
                   "volume offset 0x100000 is a NTFS partition, however image size does not "
                   "encapsulate entire volume\n");
    expect_listed(disk, {"-offset", hex(mib), "-ignore_image_size"}, "a.txt");
    expect_listed(disk, {"-Ignore_Image_Size", "\\", "-offset", hex(mib)}, "a.txt");
}

// --- no table ---

TEST_F(Selection, DiskWithoutPartitionsIsReported) {
    for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{100}, 2 * mib}) {
        SCOPED_TRACE(size);
        expect_refused(byte_image(size), {}, "couldn't find any partitions on disk\n");
    }
    expect_refused(byte_image(mib), {"-offset", "512"}, "couldn't find any partitions on disk\n");
}

TEST_F(Selection, LostTableIsReplacedByTheVolumesFound) {
    byte_image disk(4 * mib);
    support::put_boot_record(disk, 64 * 512, {{7, 1984, 2048}});  // relative to its own sector
    support::embed(disk, mib, volume(u"a.txt"));
    expect_refused(disk, {},
                   "disk is corrupted, partition info questionable\n" +
                       volume_list({{mib, "ntfs or exfat"}}, mib));
    expect_listed(disk, {"-offset", hex(mib)}, "a.txt");
}

// --- extended partitions ---

TEST_F(Selection, LogicalVolumesAreListedWithTheirLinks) {
    byte_image disk(8 * mib);
    support::put_boot_record(disk, 0, {{0x0f, 2048, 14000}, {7, 63, 100}});
    support::put_extended_chain(disk, 2048, {{7, 2048, 4096, 2048}, {7, 8192, 10240, 2048}});
    support::embed(disk, 2 * mib, volume(u"a.txt"));
    support::embed(disk, 5 * mib, volume(u"b.txt"));
    expect_refused(disk, {},
                   volume_list({{mib, "exten"},
                                {2 * mib, "ntfs or exfat"},
                                {4 * mib, "exten"},
                                {5 * mib, "ntfs or exfat"}},
                               5 * mib));
    expect_listed(disk, {"-offset", hex(2 * mib)}, "a.txt");
    expect_listed(disk, {"-offset", hex(5 * mib)}, "b.txt");
}

// Returns a disk with an extended partition at 2 MiB, which contains a logical volume of `type`,
// and with NTFS with "a.txt" at sector 63, which is in no table.
byte_image disk_with_guess(std::uint8_t type, const byte_image& volume) {
    byte_image disk(8 * mib);
    support::put_boot_record(disk, 0, {{5, 4096, 8000}});
    support::put_extended_chain(disk, 4096, {{type, 4096, 6144, 2048}});
    support::embed(disk, 63 * 512, volume);
    return disk;
}

TEST_F(Selection, VolumeAtTheClassicStartIsGuessed) {
    const byte_image disk = disk_with_guess(7, volume(u"a.txt"));
    expect_refused(
        disk, {},
        volume_list(
            {{0x7e00, "ntfs or exfat [guess]"}, {2 * mib, "exten"}, {3 * mib, "ntfs or exfat"}},
            3 * mib));
    expect_listed(disk, {"-offset", "0x7e00"}, "a.txt");
}

TEST_F(Selection, GuessIsNamedByTheLogicalVolume) {
    const byte_image disk = disk_with_guess(0x0b, volume(u"a.txt"));
    const std::string list =
        volume_list({{0x7e00, "fat32 [guess]"}, {2 * mib, "exten"}, {3 * mib, "fat32"}}, 0);
    expect_refused(disk, {}, list);
    expect_refused(
        disk, {"-offset", "0x7e00"},
        "volume offset selected 0x7e00 is not a NTFS partition, but [fat32 [guess]]\n" + list);
}

// The suggestion comes from the last NTFS record, and "-offset" selects the first at its offset.
TEST_F(Selection, SuggestedVolumeAfterItsGuessIsRefused) {
    const byte_image disk = support::disk_with_extended_partition();
    const std::vector<listed_volume> volumes = {{0x7e00, "linux [guess]"},
                                                {0x7e00, "ntfs or exfat"},
                                                {2 * mib, "exten"},
                                                {2 * mib + 0x7e00, "linux"}};
    expect_refused(disk, {}, volume_list(volumes, 0x7e00));
    expect_refused(disk, {"-offset", "0x7e00"},
                   "volume offset selected 0x7e00 is not a NTFS partition, but [linux [guess]]\n" +
                       volume_list(volumes, 0));

    const support::bytes partition = disk.get_bytes(0x7e00, disk.size() - 0x7e00);
    whole_run({"-image", byte_image(partition).save(m_dir.file("volume.dd"))})
        .expect(0, text_header + directory_row(5, "\\") + file_row(64, 10, "\\letter.txt"),
                terminal_clearing);
}

// --- GPT ---

TEST_F(Selection, GptVolumesAreListedByTheirContent) {
    byte_image disk(8 * mib);
    support::put_gpt(disk, {{support::efi_system_guid, 64, 1999, u"EFI"},
                            {support::basic_data_guid, 2048, 6143, u"Basic data"},
                            {support::linux_data_guid, 8192, 10000, u"data"}});
    support::embed(disk, mib, volume(u"a.txt"));
    support::embed(disk, 64 * 512, support::fat32_boot_sector());
    expect_refused(disk, {},
                   volume_list({{0x8000, "fat32"}, {mib, "ntfs or exfat"}, {4 * mib, "gpt"}}, mib));
    expect_listed(disk, {"-offset", hex(mib)}, "a.txt");
}

// The table is at the end of the disk.
TEST_F(Selection, TruncatedGptEntryKeepsBytesOfThePreviousEntry) {
    constexpr std::uint64_t first = 0x10800, second = 0x20900, table = 0x21000;  // sectors
    for (const std::uint32_t entry_size : {128u, 256u, 40000u}) {
        SCOPED_TRACE(entry_size);
        byte_image disk(table * 512);
        support::embed(disk, first * 512, volume(u"listed.txt"));
        support::put_gpt(
            disk, {{.first = first, .last = first + 2047}, {.first = second}},
            {.entries_lba = table, .entry_count = 2, .entry_size = entry_size, .backup = false});
        const words at_first = {"-offset", hex(first * 512)};
        expect_refused(
            disk, {},
            volume_list({{first * 512, "ntfs or exfat"}, {second * 512, "gpt"}}, first * 512));
        expect_listed(disk, at_first, "listed.txt");
        // Two bytes of the second entry's first sector are left.
        disk.resize(table * 512 + entry_size + 34);
        expect_refused(
            disk, {},
            volume_list({{first * 512, "ntfs or exfat"}, {0x10900 * 512, "gpt"}}, first * 512));
        expect_listed(disk, at_first, "listed.txt");
    }
}

// Returns a disk with `count` GPT partitions of unknown content.
byte_image disk_with_partitions(std::size_t count) {
    byte_image disk(2 * mib);
    std::vector<support::gpt_slot> slots;
    for (std::size_t i = 0; i < count; ++i) {
        slots.push_back({support::basic_data_guid, 2048 + 8 * i, 2055 + 8 * i, u""});
    }
    support::put_gpt(disk, slots);
    return disk;
}

TEST_F(Selection, ListLongerThanAMessageMayBeIsNotPrinted) {
    for (const std::size_t count : {std::size_t{100}, std::size_t{128}}) {
        std::vector<listed_volume> volumes;
        for (std::size_t i = 0; i < count; ++i)
            volumes.push_back({mib + 4096 * i, "gpt"});
        const std::string list = volume_list(volumes, 0);
        const bool shown = list.size() + 1 <= 4096;
        EXPECT_EQ(shown, count == 100);
        expect_refused(disk_with_partitions(count), {}, shown ? list : "");
    }
}

// --- MFT entries in partitioned images ---

TEST_F(Selection, EntryIsLookedUpInTheVolumeAtTheOffset) {
    run(two_ntfs(), {"-offset", hex(3 * mib), "-mft", "64"})
        .expect(0, text_header + file_row(64, 3, ".\\b.txt"), terminal_clearing);
}

// --- drives ---

// Returns the error message of opening the device, or an empty text if it can be opened.
std::string drive_error(const std::string& device) {
    const int fd = ::open(device.c_str(), O_RDONLY | O_NONBLOCK);
    if (fd == -1) {
        return "prob opening " + device + ", error " + std::to_string(errno) + "\n";
    }
    ::close(fd);
    return "";
}

TEST_F(Selection, DrivesWithoutADeviceNameAreNotOpened) {
    const struct {
        const char* typed;
        const char* number;
    } cases[] = {{"20", "20"},   {"24", "24"},  {"25", "25"},
                 {"0x14", "20"}, {"'A'", "97"}, {"-1", "4294967295"}};
    for (const auto& c : cases) {
        whole_run({"\\docs", "-drivenum", c.typed})
            .expect(status_failed, "",
                    std::string("problems accessing physical disk #") + c.number + ", aborting \n" +
                        terminal_clearing);
    }
}

TEST_F(Selection, MissingDriveIsReportedTwice) {
    const std::string error = drive_error("/dev/sdt");
    if (error.empty()) GTEST_SKIP() << "this machine has a drive /dev/sdt";
    whole_run({"\\docs", "-drivenum", "19"})
        .expect(status_failed, "",
                error + "problems accessing physical disk #19, aborting \n" + terminal_clearing);
}

TEST_F(Selection, InvalidDriveNumberIsTheFirstDrive) {
    const std::string error = drive_error("/dev/sda");
    if (error.empty()) GTEST_SKIP() << "this machine has a drive /dev/sda";
    whole_run({"\\docs", "-drivenum", "zz"})
        .expect(status_failed, "",
                error + "problems accessing physical disk #0, aborting \n" + terminal_clearing);
}

TEST_F(Selection, DriveIsIgnoredIfThereIsAnImage) {
    run(volume(u"a.txt"), {"\\", "-drivenum", "20"}).expect(0, rows("a.txt"), terminal_clearing);
    // Its arguments remain, and the first remaining argument is the directory.
    run(volume(u"a.txt"), {"-drivenum", "20", "\\"}).expect(0, "", terminal_clearing);
}

}  // namespace
