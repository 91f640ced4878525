#include "storage/vmdk/vmdk_metadata.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "storage/vmdk/vmdk_extent.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/vmdk/extent_file.h"

namespace {

using namespace extent_files;

using support::byte_image;
using support::bytes;
using support::pattern;
using support::temp_dir;

// Counts the bytes that this process has read by system calls. Returns false if the system does not
// count them.
bool count_bytes_read(std::uint64_t& count) {
    std::ifstream counters("/proc/self/io");
    std::string name;
    return counters >> name >> count && name == "rchar:";
}

TEST(VmdkDamage, ScatteredTablesCostAPageEach) {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    if (!count_bytes_read(before)) GTEST_SKIP() << "no /proc/self/io to count reads with";
    // Tables of one entry in each of 8192 sectors, from the last one down.
    constexpr std::uint64_t directory = 64, directory_sectors = 64, entries = 8192;
    constexpr std::uint64_t first_table = directory + directory_sectors;
    byte_image content((first_table + entries) * 512);
    content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
    content.put(table_entries_at, 1, 4).put(directory_at, directory, 8);
    content.put(overhead_at, content.size() / 512, 8);
    content.put(directory * 512, first_table, 4);
    for (std::uint64_t i = 1; i < entries; ++i)
        content.put(directory * 512 + 4 * i, first_table + entries - i, 4);
    const temp_dir dir;
    const std::string path = content.save(dir.file("disk.vmdk"));
    vmdk_extent extent;
    ASSERT_TRUE(count_bytes_read(before));
    EXPECT_TRUE(extent.open(widened(path), false));
    ASSERT_TRUE(count_bytes_read(after));
    EXPECT_EQ(extent.grains.num_held_tables(), entries);
    EXPECT_LE(after - before, entries * 4096 + 0x100000);
}

// A terabyte of a sparse file: a directory of zeros, and a table of the same length.
TEST(VmdkDamage, HolesOfTheFileAreSkipped) {
    constexpr std::uint64_t size = std::uint64_t{1} << 40;
    byte_image content(size);
    content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
    content.put(table_entries_at, 0xFFFFFFFF, 4).put(directory_at, 1, 8);
    content.put(overhead_at, size / 512, 8).put(512, size / 512 - 1, 4);
    content.put(size - 508, 7, 4);  // in the last sector: second entry of the first table
    const auto start = std::chrono::steady_clock::now();
    const extent_file file(content);
    EXPECT_TRUE(file.result);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(file.extent.grains.num_tables(), (size - 1024) / 4);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(grain_size, position));
    EXPECT_EQ(position, 7u * 512u);
}

}  // namespace
