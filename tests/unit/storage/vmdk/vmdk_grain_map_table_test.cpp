// Tests grain directories and tables in damaged and sparse files.
#include <gtest/gtest.h>

#include <cstdint>

#include "support/byte_image.h"
#include "support/vmdk_image.h"
#include "unit/storage/vmdk/extent_file.h"

namespace {

using namespace extent_files;

using support::byte_image;
using support::bytes;
using support::pattern;
using support::vmdk_image;

// Two directory entries, two tables of three entries, and the header as a table of 20: its last
// non-zero byte is at 76.
constexpr std::uint64_t entries_of_valid_file = 2 + 3 + 3 + 20;

TEST(VmdkTables, TablesAreKeptWithoutTheZerosAtTheirEnd) {
    const extent_file plain(valid_image());
    EXPECT_EQ(plain.extent.grains.num_held_entries(), entries_of_valid_file);
    const extent_file longer(valid_image().grain_entry(5, 0xFFFFFFFF));
    EXPECT_EQ(longer.extent.grains.num_held_entries(), entries_of_valid_file + 3);
    const extent_file empty(vmdk_image(small).grain(130, pattern(grain_size)));
    EXPECT_EQ(empty.extent.grains.num_held_entries(), entries_of_valid_file - 3);
}

TEST(VmdkTables, LongTableEndsInsideAPiece) {
    // 1500 entries are 6000 bytes; the second table is in the next sector.
    const extent_file file(vmdk_image({.grain_size = 8, .table_entries = 1500})
                               .grain(0, pattern(grain_size))
                               .grain(1499, pattern(grain_size, 2))
                               .grain(1500, pattern(grain_size, 3)));
    std::uint64_t position = 0;
    for (const std::uint64_t stored : {0u, 1499u, 1500u})
        EXPECT_TRUE(file.extent.find_grain(stored * grain_size, position)) << stored;
    for (const std::uint64_t hole : {1u, 1498u, 1501u})
        EXPECT_FALSE(file.extent.find_grain(hole * grain_size, position)) << hole;
}

TEST(VmdkTables, DirectoryEntryOfZeroReadsTheStartOfTheFile) {
    const std::uint64_t third = 2 * table_span;
    const extent_file padded(valid_image());
    std::uint64_t position = 0;
    EXPECT_TRUE(padded.extent.find_grain(third, position));
    EXPECT_EQ(position, 0x564D444Bull * 512);  // "KDMV" as a sector
    EXPECT_TRUE(padded.extent.find_grain(third + grain_size, position));
    EXPECT_EQ(position, 1u * 512u);  // the version
    EXPECT_FALSE(padded.extent.find_grain(third + 127 * grain_size, position));

    extent_file missing(valid_image().without_table(1));
    EXPECT_TRUE(missing.extent.find_grain(table_span + grain_size, position));
    EXPECT_EQ(position, 512u);
    EXPECT_EQ(read(missing.extent, table_span + grain_size, 6).buffer,
              support::as_bytes(std::string_view("# Disk")));
}

TEST(VmdkTables, TableOutsideOfTheMetadataIsReadFromTheFile) {
    const vmdk_image image = valid_image();
    byte_image content = image.build();
    const std::uint64_t end = content.size();
    content.put(end + 8, 0x77, 4).resize(end + 512);  // third entry of a table after all grains
    content.put(image.directory_sector() * 512 + 4, end / 512, 4);
    const extent_file file(content);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(table_span + 2 * grain_size, position));
    EXPECT_EQ(position, 0x77u * 512u);
}

TEST(VmdkTables, DirectoryThatTheFileEndsInIsPaddedWithZeros) {
    // The directory is at the end of the file and states a gibibyte of entries, the file has three.
    // The first table is past the end of the file.
    constexpr std::uint64_t num_entries = 0x10000000;
    const vmdk_image image = valid_image();
    byte_image content = image.build();
    const std::uint64_t directory = content.size() / 512;
    const std::uint64_t first_table = directory + num_entries / 128;
    content.put(directory_at, directory, 8).put(overhead_at, first_table, 8);
    content.put(directory * 512, first_table, 4);
    content.put(directory * 512 + 4, image.table_sector(1), 4);
    content.put(directory * 512 + 8, image.table_sector(0), 4);
    const extent_file file(content);
    ASSERT_TRUE(file.result);
    EXPECT_EQ(file.extent.grains.num_tables(), num_entries);
    EXPECT_EQ(file.extent.grains.num_held_entries(), entries_of_valid_file + 1);
    std::uint64_t position = 0;
    EXPECT_FALSE(file.extent.find_grain(0, position));
    EXPECT_TRUE(file.extent.find_grain(table_span + 2 * grain_size, position));
    EXPECT_EQ(position, image.grain_sector(130) * 512);
    EXPECT_TRUE(file.extent.find_grain(2 * table_span, position));
    EXPECT_EQ(position, image.grain_sector(0) * 512);
    for (const std::uint64_t table : {std::uint64_t{3}, num_entries - 1}) {
        EXPECT_TRUE(file.extent.find_grain(table * table_span + grain_size, position)) << table;
        EXPECT_EQ(position, 512u);  // the version in the header
    }
    EXPECT_FALSE(file.extent.find_grain(num_entries * table_span + grain_size, position));
}

TEST(VmdkTables, LastDirectoryEntryMayBeTruncated) {
    const vmdk_image image = valid_image();
    byte_image content = image.build();
    const std::uint64_t directory = content.size() / 512;
    content.put(directory_at, directory, 8).put(overhead_at, directory + 9, 8);
    content.put(directory * 512, directory + 1, 4);
    content.put(directory * 512 + 4, 0x55550000 + image.table_sector(1), 4);
    content.resize(directory * 512 + 6);  // without the high half of the second entry
    const extent_file file(content);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(table_span + 2 * grain_size, position));
    EXPECT_EQ(position, image.grain_sector(130) * 512);
}

TEST(VmdkTables, TablePastTheFileIsEmpty) {
    const vmdk_image image = valid_image();
    vmdk_image damaged = image;
    damaged.put(image.directory_sector() * 512 + 4, 0xFFFFFFFF, 4);
    damaged.put(image.directory_sector() * 512 + 8, 0x7FFFFFFF, 4);
    const extent_file file(damaged);
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.grains.num_tables(), 128u);
    EXPECT_EQ(file.extent.grains.num_held_tables(), 2u);  // one, and that at sector 0
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(0, position));
    EXPECT_FALSE(file.extent.find_grain(table_span, position));
    EXPECT_FALSE(file.extent.find_grain(2 * table_span, position));
    EXPECT_TRUE(file.extent.find_grain(3 * table_span, position));
}

TEST(VmdkTables, TableTruncatedByTheEndOfTheFileEndsInHoles) {
    const vmdk_image image = valid_image();
    byte_image content = image.build();
    const std::uint64_t end = content.size();
    content.put(end, 0x11, 4).put(end + 4, 0x22222222, 4).resize(end + 6);
    content.put(image.directory_sector() * 512 + 4, end / 512, 4);
    const extent_file file(content);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(table_span, position));
    EXPECT_EQ(position, 0x11u * 512u);
    EXPECT_TRUE(file.extent.find_grain(table_span + grain_size, position));
    EXPECT_EQ(position, 0x2222u * 512u);  // the last two bytes are missing
    EXPECT_FALSE(file.extent.find_grain(table_span + 2 * grain_size, position));
}

TEST(VmdkTables, HugeTablesNeedNoMoreMemoryThanTheFileHasBytes) {
    const vmdk_image image = valid_image();
    vmdk_image damaged = image;
    damaged.put(table_entries_at, 0xFFFFFFFF, 4);
    const extent_file file(damaged);
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.table_span, 0xFFFFFFFFull * grain_size);
    EXPECT_LE(file.extent.grains.num_held_entries() * 4,
              file.extent.grains.num_held_tables() * file.extent.file_size);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(2 * grain_size, position));
    EXPECT_EQ(position, image.grain_sector(2) * 512);
    EXPECT_FALSE(file.extent.find_grain(1ull << 40, position));
}

TEST(VmdkTables, TablesThatOverlapAreBoundedInAll) {
    // A directory of 64 KiB, whose 16384 entries all lead to other tables, each as long as the
    // file.
    constexpr std::uint64_t directory = 64, directory_sectors = 128, entries = 16384;
    byte_image content(24ull << 20);
    content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
    content.put(table_entries_at, 0xFFFFFFFF, 4).put(directory_at, directory, 8);
    content.put(overhead_at, content.size() / 512, 8);
    for (std::uint64_t i = 0; i < entries; ++i) {
        content.put(directory * 512 + 4 * i, directory + directory_sectors + i, 4);
    }
    content.put(content.size() - 4, 1, 4);  // the end of the file is used by all of them
    const extent_file file(content);
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.grains.num_tables(), entries);
    EXPECT_LE(file.extent.grains.num_held_entries() * 4, content.size() + (2u << 20));
    // The first table has all of its entries in memory, the last one in the file.
    const std::uint64_t in_first = (content.size() - (directory + directory_sectors) * 512) / 4 - 1;
    const std::uint64_t last = (entries - 1) * file.extent.table_span;
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(in_first * grain_size, position));
    EXPECT_EQ(position, 512u);
    const std::uint64_t in_last = in_first - (entries - 1) * 128;
    EXPECT_TRUE(file.extent.find_grain(last + in_last * grain_size + 3, position));
    EXPECT_EQ(position, 512u + 3u);
    EXPECT_FALSE(file.extent.find_grain(last, position));
    EXPECT_FALSE(file.extent.find_grain(last + (in_last + 1) * grain_size, position));
}

TEST(VmdkTables, TablesInMemoryMayTakeTheSizeOfTheFileAndAMebibyte) {
    // Twenty tables of 1 MiB, which overlap, in a file of 16 MiB or one byte less.
    constexpr std::uint64_t size = 16u << 20, directory = 64;
    for (const std::uint64_t missing : {0u, 1u}) {
        SCOPED_TRACE(missing);
        byte_image content(size - missing);
        content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
        content.put(table_entries_at, 0x40000, 4).put(directory_at, directory, 8);
        content.put(overhead_at, directory + 16, 8);
        for (std::uint64_t i = 0; i < 20; ++i)
            content.put(directory * 512 + 4 * i, directory + 1 + i, 4);
        const extent_file file(content);
        EXPECT_TRUE(file.result);
        EXPECT_EQ(file.extent.grains.num_tables(), 128u);
        EXPECT_EQ(file.extent.grains.num_held_tables(), 17 - missing);
    }
}

}  // namespace
