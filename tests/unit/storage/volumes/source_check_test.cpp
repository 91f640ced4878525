#include "storage/volumes/source_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::ntfs_boot_sector;
using support::temp_dir;

struct check {
    bool result = false;
    bool found_ntfs = false;
    std::uint64_t offset = 0;
    std::string text;
};

check image(const std::string& path, std::uint64_t offset = 0, bool ignore_image_size = false) {
    check c;
    c.offset = offset;
    std::ostringstream out;
    c.result = check_image(out, path, c.offset, c.found_ntfs, ignore_image_size);
    c.text = out.str();
    return c;
}

check drive(std::uint32_t number) {
    check c;
    std::ostringstream out;
    out << std::hex;  // the number is still decimal
    c.result = check_drive(out, number, c.offset, c.found_ntfs, false);
    c.text = out.str();
    return c;
}

check vmdk(const std::vector<std::wstring>& files) {
    check c;
    std::ostringstream out;
    c.result = check_vmdk_list(out, files, c.offset, c.found_ntfs, false);
    c.text = out.str();
    return c;
}

TEST(CheckImage, BareVolumeIsAccepted) {
    const temp_dir dir;
    const check c = image(ntfs_boot_sector().resize(0x200000).save(dir.file("bare.dd")));
    EXPECT_TRUE(c.result);
    EXPECT_TRUE(c.found_ntfs);
    EXPECT_EQ(c.offset, 0u);
    EXPECT_EQ(c.text, "");
}

TEST(CheckImage, OffsetAndSizeRuleReachTheSelection) {
    const temp_dir dir;
    byte_image disk(0x180000);
    support::put_boot_record(disk, 0, {{7, 0x800, 0x1000}});
    const std::string path = disk.save(dir.file("disk.dd"));
    EXPECT_FALSE(image(path, 0x100000).result);
    EXPECT_EQ(image(path, 0x100000).text,
              "volume offset 0x100000 is a NTFS partition, however image size does not encapsulate "
              "entire volume\n");
    EXPECT_TRUE(image(path, 0x100000, true).result);
    EXPECT_EQ(image(path).offset, 0x100000u);
}

TEST(CheckImage, MissingImageIsReported) {
    const temp_dir dir;
    const std::string path = dir.file("missing.dd");
    const check c = image(path, 0x123);
    EXPECT_FALSE(c.result);
    EXPECT_FALSE(c.found_ntfs);
    EXPECT_EQ(c.offset, 0x123u);
    EXPECT_EQ(c.text, "invalid image: " + path + "\n");
}

TEST(CheckImage, FifoIsNotAnImage) {
    const temp_dir dir;
    const std::string path = dir.file("fifo");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(image(path).text, "invalid image: " + path + "\n");
}

TEST(CheckImage, FolderOpensAndHasNoPartitions) {
    const temp_dir dir;
    EXPECT_EQ(image(dir.path()).text, "couldn't find any partitions on disk\n");
}

TEST(CheckImage, MalformedNameIsShownEmpty) {
    const temp_dir dir;
    EXPECT_EQ(image(dir.path() + "/\xFF.dd").text, "invalid image: \n");
}

TEST(CheckImage, NameIsShownInItsShortestForm) {
    const temp_dir dir;
    // E0 81 A1 is an overlong "a".
    EXPECT_EQ(image(dir.path() + "/\xE0\x81\xA1").text, "invalid image: " + dir.path() + "/a\n");
    EXPECT_EQ(image(dir.path() + "/\xC3\xA9").text, "invalid image: " + dir.path() + "/\xC3\xA9\n");
}

TEST(CheckDrive, OpensTheDriveAndReportsTheError) {
    testing::internal::CaptureStderr();
    { const CRawDisk disk(3, false, false, false, 3, false); }
    const std::string told = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    drive(3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told);
}

TEST(CheckDrive, NumbersWithoutADeviceAreReported) {
    for (const std::uint32_t number : {20u, 24u, 25u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(number);
        testing::internal::CaptureStderr();
        const check c = drive(number);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_FALSE(c.result);
        EXPECT_EQ(c.text,
                  "problems accessing physical disk #" + std::to_string(number) + ", aborting \n");
    }
}

TEST(CheckVmdkList, EmptyListFailsWithoutAMessage) {
    const check c = vmdk({});
    EXPECT_FALSE(c.result);
    EXPECT_EQ(c.text, "");
}

TEST(CheckVmdkList, FilesThatFormNoChainAreReported) {
    const temp_dir dir;
    const check c = vmdk({widened(dir.write("text.vmdk", "no sparse extent"))});
    EXPECT_FALSE(c.result);
    EXPECT_FALSE(c.found_ntfs);
    EXPECT_EQ(c.text, "invalid disk collection of snaps \n");
}

TEST(CheckVmdkList, SelectionSetsTheOffsetOfTheLastNtfsPartition) {
    const temp_dir dir;
    byte_image disk(0x200000);
    support::put_boot_record(disk, 0, {{7, 0x800, 0x100}, {7, 0xC00, 0x100}, {0x83, 0xF00, 5}});
    const std::string path = support::vmdk_image().content(disk).save(dir.file("disk.vmdk"));
    const check c = vmdk({widened(path)});
    EXPECT_FALSE(c.result);
    EXPECT_TRUE(c.found_ntfs);
    EXPECT_EQ(c.offset, 0x180000u);
    EXPECT_EQ(c.text,
              "\n"
              "volume offset [ 0x100000 ] : ntfs or exfat\n"
              "volume offset [ 0x180000 ] : ntfs or exfat\n"
              "volume offset [ 0x1e0000 ] : linux\n"
              "\n"
              "use option [-offset 0x180000]\n");
}

TEST(CheckVmdkList, CompressedGrainsShowNoPartitions) {
    const temp_dir dir;
    // A stream-optimised file opens; the content of its grains is not decompressed.
    const std::string path = support::vmdk_image({.flags = 0x30001})
                                 .grain(0, support::pattern(65536))
                                 .put(77, 1, 2)
                                 .save(dir.file("stream.vmdk"));
    EXPECT_EQ(vmdk({widened(path)}).text, "couldn't find any partitions on disk\n");
}

TEST(CheckVmdkList, BareVolumeIsAccepted) {
    const temp_dir dir;
    const std::string path = support::vmdk_image()
                                 .content(ntfs_boot_sector({.total_sectors = 8}).resize(0x10000))
                                 .save(dir.file("bare.vmdk"));
    const check c = vmdk({widened(path)});
    EXPECT_TRUE(c.result);
    EXPECT_EQ(c.text, "");
}

}  // namespace
