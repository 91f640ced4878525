// Whole runs with a VMDK file that cannot be read completely.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e/system_faults.h"
#include "e2e/whole_run.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using e2e::status_failed;
using e2e::system_fault;
using e2e::whole_run;
using e2e::with_faults;
using support::byte_image;
using support::vmdk_image;

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t grain_sectors = 8;

// A disk with three grain tables, and a partition in each: a FAT32 volume in an entry of type 0x82.
// The file's second table is moved to its end, after all grains.
class ChainFaults : public testing::Test {
protected:
    static constexpr std::uint32_t starts[] = {16, 1032, 2056};  // sectors of the disk

    ChainFaults() {
        byte_image disk(3 * 1024 * sector);
        support::put_boot_record(
            disk, 0, {{0x82, starts[0], 8}, {0x82, starts[1], 8}, {0x82, starts[2], 8}});
        for (const std::uint32_t start : starts)
            support::embed(disk, start * sector, support::fat32_boot_sector());
        m_vmdk.content(disk);
        byte_image file = m_vmdk.build();
        const std::uint64_t end = (file.size() + sector - 1) / sector;
        const support::bytes table = file.get_bytes(m_vmdk.table_sector(1) * sector, sector);
        m_moved_table = end * sector;
        file.resize(m_moved_table + sector).put_bytes(m_moved_table, table);
        file.put(m_vmdk.directory_sector() * sector + 4, end, 4);
        m_file = file.save(m_dir.file("disk.vmdk"));
    }
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    // Affects reads that start in the sector at byte `position` of the file.
    static system_fault sector_fault(std::uint64_t position, const std::string& effect) {
        return {.call = "read",
                .path = "disk.vmdk",
                .effect = effect,
                .offset = static_cast<std::int64_t>(position),
                .end = static_cast<std::int64_t>(position + sector)};
    }
    // Returns the position of the grain in which partition `number` starts.
    std::uint64_t grain_position(std::size_t number) const {
        return m_vmdk.grain_sector(starts[number] / grain_sectors) * sector;
    }
    void expect_errors(const std::vector<system_fault>& faults, const std::string& errors) const {
        whole_run({"-image", m_file, "-vmdk", m_file}, with_faults(faults))
            .expect(status_failed, "", errors);
    }
    // Expects the three partitions to be listed under these names.
    void expect_names(const std::vector<system_fault>& faults, const std::string& first,
                      const std::string& second, const std::string& third) const {
        expect_errors(faults, "\nvolume offset [ 0x2000 ] : " + first +
                                  "\nvolume offset [ 0x81000 ] : " + second +
                                  "\nvolume offset [ 0x101000 ] : " + third +
                                  "\n\nprob detecting ntfs partition\n\n");
    }

    support::temp_dir m_dir;
    // The grains are far enough from the tables that no read covers both.
    vmdk_image m_vmdk =
        vmdk_image({.grain_size = grain_sectors, .table_entries = 128, .first_grain_sector = 64});
    std::uint64_t m_moved_table = 0;
    std::string m_file;
};

TEST_F(ChainFaults, WithoutAFaultEveryPartitionIsListed) {
    expect_names({}, "fat32", "fat32", "fat32");
}

TEST_F(ChainFaults, GrainThatCannotBeReadIsSilentlyZero) {
    for (const char* effect : {"EIO", "EINTR", "nothing"}) {
        SCOPED_TRACE(effect);
        expect_names({sector_fault(grain_position(0), effect)}, "linux swap", "fat32", "fat32");
        expect_names({sector_fault(grain_position(2), effect)}, "fat32", "fat32", "linux swap");
    }
}

// The name of the file system is in the first half of the bytes read.
TEST_F(ChainFaults, GrainOfAShortReadEndsInZeros) {
    for (const char* effect : {"less", "half"})
        expect_names({sector_fault(grain_position(0), effect)}, "fat32", "fat32", "fat32");
}

// The tables after it are not read either, although they could be.
TEST_F(ChainFaults, TableThatCannotBeReadEndsTheTables) {
    expect_names({sector_fault(m_moved_table, "EIO")}, "fat32", "linux swap", "linux swap");
    // A short read makes a table of holes, and the next table is read.
    expect_names({sector_fault(m_moved_table, "nothing")}, "fat32", "linux swap", "fat32");
}

TEST_F(ChainFaults, FileWithUnreadableMetadataCannotBeOpened) {
    const std::string errors =
        m_file + " can't be opened\n\nsuggested array: -vmdk \"" + m_file + "\"\n";
    const std::uint64_t descriptor = m_vmdk.descriptor_sector() * sector;
    const std::uint64_t directory = m_vmdk.directory_sector() * sector;
    const std::uint64_t first_grain = m_vmdk.grain_sector(0) * sector;
    for (const std::uint64_t position : {std::uint64_t{0}, descriptor, directory, first_grain}) {
        SCOPED_TRACE(position);
        expect_errors({sector_fault(position, "EIO")}, errors);
    }
    expect_errors({{.call = "open", .path = "disk.vmdk", .effect = "EMFILE"}}, errors);
}

// A read of metadata that breaks off has brought what precedes the bad sector.
TEST_F(ChainFaults, MetadataThatBreaksOffEndsInZeros) {
    constexpr std::uint64_t page = 4096;
    byte_image disk(1200 * page);
    support::put_boot_record(disk, 0, {{0x82, 16, 8}, {0x82, 1100 * 8, 8}});
    for (const std::uint64_t grain : {2u, 1100u})
        support::embed(disk, grain * page, support::fat32_boot_sector());
    std::string descriptor = "CID=1\nparentCID=ffffffff\n";
    while (descriptor.size() < page + 100)
        descriptor += "# a comment\n";
    const auto expect_names = [&](const std::vector<system_fault>& faults, const std::string& first,
                                  const std::string& second) {
        whole_run({"-image", m_file, "-vmdk", m_file}, with_faults(faults))
            .expect(status_failed, "",
                    "\nvolume offset [ 0x2000 ] : " + first + "\nvolume offset [ 0x44c000 ] : " +
                        second + "\n\nprob detecting ntfs partition\n\n");
    };
    for (const std::uint32_t table_entries : {2048u, 1u}) {
        SCOPED_TRACE(table_entries);
        vmdk_image vmdk({.grain_size = grain_sectors,
                         .table_entries = table_entries,
                         .redundant = false,
                         .first_grain_sector = 2048});
        vmdk.content(disk).descriptor(descriptor).save(m_file);
        expect_names({}, "fat32", "fat32");
        expect_names({sector_fault(sector + page, "EIO")}, "fat32", "fat32");
        // The second page of the one table, or of the directory.
        const std::uint64_t entries =
            table_entries == 1 ? vmdk.directory_sector() : vmdk.table_sector(0);
        expect_names({sector_fault(entries * sector + page, "EIO")}, "fat32", "linux swap");
    }
}

// The second open comes after the check, which succeeds.
TEST_F(ChainFaults, FileThatCannotBeReopenedIsAnInvalidDisk) {
    expect_errors({{.call = "open", .path = "disk.vmdk", .effect = "EACCES", .first = 2}},
                  "invalid disk collection of snaps \n\n");
}

}  // namespace
