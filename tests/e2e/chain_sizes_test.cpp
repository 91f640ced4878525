// Whole runs with VMDK files that state more than they have: what is missing reads as zeros.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "e2e/chain_fixture.h"
#include "e2e/whole_run.h"
#include "support/vmdk_image.h"

namespace {

using e2e::mib;
using e2e::terminal_clearing;
using support::byte_image;
using support::vmdk_image;
using support::vmdk_options;

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t descriptor_size_at = 36, overhead_at = 64;
constexpr std::uint64_t grain_bytes = 65536;
constexpr char no_partitions[] = "couldn't find any partitions on disk\n\n";

// The base holds \base.txt and, in the last grain of the file, bytes that no listing needs.
class ChainSizes : public e2e::chain_fixture {
protected:
    ChainSizes() {
        byte_image disk = volume(u"base.txt");
        disk.resize((disk.size() + grain_bytes - 1) / grain_bytes * grain_bytes);
        disk.put_bytes(disk.size(), support::pattern(grain_bytes));
        m_base.content(disk);
    }

    void expect_rows(const byte_image& file, const std::string& name) const {
        run({"-vmdk", file.save(m_dir.file("disk.vmdk"))}).expect(0, rows(name), terminal_clearing);
    }
    // A delta of the base; both in each order show that name.
    void expect_rows_of_chain(const byte_image& delta, const std::string& name) const {
        const std::string first = vmdk_image(m_base).cid(1).save(m_dir.file("base.vmdk"));
        const std::string second = delta.save(m_dir.file("delta.vmdk"));
        for (const std::string& list : {first + "|" + second, second + "|" + first})
            run({"-vmdk", list}).expect(0, rows(name), terminal_clearing);
    }
    vmdk_image delta_of_base() const {
        return vmdk_image({.capacity = m_base.capacity()}).cid(2).parent(1, "base.vmdk");
    }
    // The true value of a header field, and values that the file can't hold.
    void expect_same_rows_for(std::uint64_t field) const {
        byte_image file = m_base.build();
        const std::uint64_t size = file.size() / sector;
        for (const std::uint64_t value : {file.get(field, 8), size, size + 1, size * 1000,
                                          std::uint64_t{1} << 40, std::uint64_t{1} << 53}) {
            SCOPED_TRACE(value);
            expect_rows(file.put(field, value, 8), "base.txt");
        }
    }

    vmdk_image m_base;
};

TEST_F(ChainSizes, DescriptorMayStateMoreThanTheFile) { expect_same_rows_for(descriptor_size_at); }

TEST_F(ChainSizes, MetadataMayStateMoreThanTheFile) { expect_same_rows_for(overhead_at); }

TEST_F(ChainSizes, DescriptorMayEndWithTheFile) {
    // The descriptor is moved to the end of the file, where no zero byte ends it.
    byte_image file = m_base.build();
    const std::uint64_t end = file.size();
    file.put_text(end, "parentFileNameHint=\"gone\"\nCID=1\nparentCID=ffffffff");
    expect_rows(file.put(28, end / sector, 8), "base.txt");
    const std::string path = file.resize(file.size() - 1).save(m_dir.file("disk.vmdk"));
    expect_refused(
        {"-vmdk", path},
        "Child VMDK points to a parent VMDK that doesn't exist, aborting\n\n" + suggestion(path));
}

// The file of a new delta ends with its metadata.
TEST_F(ChainSizes, DeltaWithoutGrainsMayLoseItsEnd) {
    const byte_image whole = delta_of_base().build();
    ASSERT_EQ(whole.size(), whole.get(overhead_at, 8) * sector);
    const std::uint64_t first_table = delta_of_base().table_sector(0) * sector;
    for (const std::uint64_t size : {whole.size(), whole.size() - 1, whole.size() - 512,
                                     whole.size() - 4096, first_table + 2, first_table}) {
        SCOPED_TRACE(size);
        byte_image cut = whole;
        expect_rows_of_chain(cut.resize(size), "base.txt");
    }
}

TEST_F(ChainSizes, BaseMayLoseItsEnd) {
    const byte_image whole = m_base.build();
    for (const std::uint64_t lost : {0u, 1u, 512u, 4096u, 65536u}) {
        SCOPED_TRACE(lost);
        byte_image cut = whole;
        expect_rows(cut.resize(whole.size() - lost), "base.txt");
    }
    // Down to the metadata, and into its tables: a disk of zeros.
    const std::uint64_t overhead = whole.get(overhead_at, 8) * sector;
    for (const std::uint64_t size : {overhead, overhead - 1, m_base.table_sector(0) * sector}) {
        SCOPED_TRACE(size);
        byte_image cut = whole;
        const std::string path = cut.resize(size).save(m_dir.file("disk.vmdk"));
        expect_refused({"-vmdk", path}, no_partitions);
    }
    byte_image cut = whole;
    const std::string path =
        cut.resize(m_base.directory_sector() * sector).save(m_dir.file("disk.vmdk"));
    expect_refused({"-vmdk", path}, path + " can't be opened\n\n" + suggestion(path));
}

TEST_F(ChainSizes, DirectoryMayReachToTheEndOfTheFile) {
    // Its first table is moved to the end: all between them is directory.
    byte_image file = m_base.build();
    const std::uint64_t end = file.size();
    file.put_bytes(end, file.get_bytes(m_base.table_sector(0) * sector, 2048));
    file.put(m_base.directory_sector() * sector, end / sector, 4);
    file.put(overhead_at, end / sector + 4, 8);
    expect_rows(file, "base.txt");
}

TEST_F(ChainSizes, DirectoryMayStateMoreThanTheFile) {
    // The first table is past the end of the file: a base has no grain there, in a delta the base
    // shows.
    for (const std::uint64_t first_table : {std::uint64_t{1} << 20, std::uint64_t{0xFFFFFFFF}}) {
        SCOPED_TRACE(first_table);
        byte_image file = m_base.build();
        file.put(m_base.directory_sector() * sector, first_table, 4)
            .put(overhead_at, first_table, 8);
        const std::string path = file.save(m_dir.file("disk.vmdk"));
        expect_refused({"-vmdk", path}, no_partitions);

        vmdk_image delta = delta_of_base();
        delta.content(volume(u"delta.txt"));
        byte_image changed = delta.build();
        expect_rows_of_chain(changed, "delta.txt");
        changed.put(delta.directory_sector() * sector, first_table, 4);
        expect_rows_of_chain(changed.put(overhead_at, first_table, 8), "base.txt");
    }
}

TEST_F(ChainSizes, TablesPastTheEndOfTheFileHaveNoGrains) {
    // A table for each MiB of the disk. \first.txt is in the second one, \second.txt in the fourth.
    const vmdk_options options = {.table_entries = 16};
    byte_image changed = disk();
    support::embed(changed, mib, volume(u"third.txt"));
    support::embed(changed, 3 * mib, volume(u"fourth.txt"));
    const std::vector<std::string> files = support::save_vmdk_chain(
        m_dir.path(), "disk",
        {vmdk_image(options).content(disk()), vmdk_image(options).content(changed)});
    const auto expect_names = [&](const std::string& first, const std::string& second) {
        const std::string list = files[0] + "|" + files[1];
        run({"-vmdk", list, "-offset", "0x100000"}).expect(0, rows(first), terminal_clearing);
        run({"-vmdk", list, "-offset", "0x300000"}).expect(0, rows(second), terminal_clearing);
    };
    expect_names("third.txt", "fourth.txt");
    const std::uint64_t directory =
        vmdk_image(options).content(changed).directory_sector() * sector;
    for (const std::uint64_t table : {std::uint64_t{0x7FFFFFFF}, std::uint64_t{0xFFFFFFFF}}) {
        byte_image delta = byte_image::load(files[1]);
        delta.put(directory + 4 * 3, table, 4).save(files[1]);
        expect_names("third.txt", "second.txt");
    }
}

TEST_F(ChainSizes, CapacityMayBeHuge) {
    byte_image file = m_base.build();
    for (const std::uint64_t capacity : {std::uint64_t{1} << 40, std::uint64_t{1} << 53}) {
        SCOPED_TRACE(capacity);
        const auto start = std::chrono::steady_clock::now();
        expect_rows(file.put(12, capacity, 8), "base.txt");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    }
}

}  // namespace
