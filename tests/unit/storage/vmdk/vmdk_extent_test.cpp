#include "storage/vmdk/vmdk_extent.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/vmdk/extent_file.h"

namespace {

using namespace extent_files;

using support::byte_image;
using support::bytes;
using support::pattern;
using support::temp_dir;
using support::vmdk_image;

TEST(VmdkExtent, ValidFileIsReadInFull) {
    const vmdk_image image = valid_image().cid(0x1234abcd);
    const extent_file file(image);
    const vmdk_extent& extent = file.extent;
    EXPECT_TRUE(file.result);
    EXPECT_TRUE(extent.ready);
    EXPECT_EQ(extent.cid, "1234abcd");
    EXPECT_EQ(extent.parent_cid, "ffffffff");
    EXPECT_EQ(extent.parent_file_hint, "");
    EXPECT_EQ(extent.capacity(), 131u * 8u);
    EXPECT_EQ(extent.grain_size(), 8u);
    EXPECT_EQ(extent.descriptor_offset(), 1u);
    EXPECT_EQ(extent.descriptor_size(), 20u);
    EXPECT_EQ(extent.entries_per_table(), 128u);
    EXPECT_EQ(extent.grain_dir_offset(), image.directory_sector());
    EXPECT_EQ(extent.grain_bytes, grain_size);
    EXPECT_EQ(extent.table_span, table_span);
    EXPECT_EQ(extent.file_size, image.build().size());
    EXPECT_EQ(extent.path_utf8, file.path);
    EXPECT_EQ(extent.path_wide, widened(file.path));
    EXPECT_EQ(extent.first_table_offset, image.table_sector(0) * 512);
    EXPECT_EQ(extent.first_sector_offset, image.grain_sector(0) * 512);
    EXPECT_EQ(extent.first_sector, part(pattern(grain_size, 10), 0, 512));
    EXPECT_EQ(extent.sector_size, 512u);
}

TEST(VmdkExtent, GrainsAreFoundThroughTheirTables) {
    const vmdk_image image = valid_image();
    const extent_file file(image);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(0, position));
    EXPECT_EQ(position, image.grain_sector(0) * 512);
    EXPECT_TRUE(file.extent.find_grain(2 * grain_size + 77, position));
    EXPECT_EQ(position, image.grain_sector(2) * 512 + 77);
    EXPECT_TRUE(file.extent.find_grain(130 * grain_size + 4095, position));
    EXPECT_EQ(position, image.grain_sector(130) * 512 + 4095);
    for (const std::uint64_t hole :
         {1 * grain_size, 3 * grain_size, 127 * grain_size, 128 * grain_size, 131 * grain_size}) {
        EXPECT_FALSE(file.extent.find_grain(hole, position)) << hole;
    }
}

TEST(VmdkExtent, DirectoryIndexHas32Bits) {
    const vmdk_image image = valid_image();
    const extent_file file(image);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain((table_span << 32) + 5, position));
    EXPECT_EQ(position, image.grain_sector(0) * 512 + 5);
}

TEST(VmdkExtent, GrainLeftExtendsToTheEndOfTheGrain) {
    const extent_file file(valid_image());
    EXPECT_EQ(file.extent.grain_left(0), grain_size);
    EXPECT_EQ(file.extent.grain_left(1), grain_size - 1);
    EXPECT_EQ(file.extent.grain_left(grain_size - 1), 1u);
    EXPECT_EQ(file.extent.grain_left(7 * grain_size), grain_size);
}

TEST(VmdkExtent, ReadDeliversPartsOfAGrain) {
    extent_file file(valid_image());
    const outcome got = read(file.extent, 2 * grain_size + 100, 1000);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 1000u);
    EXPECT_EQ(got.buffer, part(pattern(grain_size, 12), 100, 1000));
    const outcome last = read(file.extent, 3 * grain_size - 1, 1);
    EXPECT_TRUE(last.result);
    EXPECT_EQ(last.buffer, part(pattern(grain_size, 12), grain_size - 1, 1));
}

TEST(VmdkExtent, StartsWithNothing) {
    const vmdk_extent extent;
    EXPECT_EQ(extent.fd, -1);
    EXPECT_EQ(extent.sector_size, 512u);
    for (const std::uint64_t number :
         {extent.file_size, extent.table_span, extent.grain_bytes, extent.first_table_offset,
          extent.first_sector_offset, extent.capacity(), extent.overhead()}) {
        EXPECT_EQ(number, 0u);
    }
    EXPECT_FALSE(extent.ready);
    EXPECT_FALSE(extent.write_access);
}

TEST(VmdkExtent, NoGrainIsFoundAfterTheLastOne) {
    for (const std::uint64_t last : {5u, 9u, 13u}) {
        SCOPED_TRACE(last);
        const extent_file file(vmdk_image(small).grain(last, pattern(grain_size)));
        std::uint64_t position = 0;
        EXPECT_TRUE(file.extent.find_grain(last * grain_size, position));
        EXPECT_FALSE(file.extent.find_grain((last + 1) * grain_size, position));
        EXPECT_EQ(file.extent.grains.num_tables(), 128u);
        EXPECT_FALSE(file.extent.find_grain(128 * table_span + last * grain_size, position));
    }
}

TEST(VmdkExtent, HolesAndEmptyReadsFail) {
    extent_file file(valid_image());
    EXPECT_FALSE(read(file.extent, grain_size, 512).result);
    EXPECT_FALSE(read(file.extent, 1ull << 40, 512).result);
    std::uint8_t byte = 0;
    std::uint32_t count = 0;
    EXPECT_FALSE(file.extent.read(&byte, 0, count));
    vmdk_extent closed;
    EXPECT_FALSE(read(closed, 0, 512).result);
    std::uint64_t position = 0;
    EXPECT_FALSE(closed.find_grain(0, position));
}

TEST(VmdkExtent, GrainTruncatedByTheEndOfTheFileIsShort) {
    vmdk_image image = valid_image();
    byte_image content = image.build();
    const std::uint64_t last_grain = image.grain_sector(130) * 512;
    content.resize(last_grain + 100);
    extent_file file(content);
    const outcome got = read(file.extent, 130 * grain_size, 512);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 100u);
    EXPECT_EQ(part(got.buffer, 0, 100), part(pattern(grain_size, 13), 0, 100));
    EXPECT_FALSE(read(file.extent, 130 * grain_size + 100, 512).result);
    EXPECT_FALSE(read(file.extent, 130 * grain_size + 4095, 1).result);

    ASSERT_EQ(::truncate(file.path.c_str(), static_cast<off_t>(last_grain)), 0);
    const outcome gone = read(file.extent, 130 * grain_size, 512);
    EXPECT_FALSE(gone.result);
    EXPECT_EQ(gone.count, 512u) << "as it was";
}

TEST(VmdkExtent, FileThatShrinksReadsAsZeros) {
    const vmdk_image image = valid_image();
    extent_file file(image);
    const std::uint64_t last_grain = image.grain_sector(130) * 512;
    ASSERT_EQ(::truncate(file.path.c_str(), static_cast<off_t>(last_grain + 10)), 0);
    const outcome got = read(file.extent, 130 * grain_size, 512);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 512u);
    EXPECT_EQ(part(got.buffer, 0, 10), part(pattern(grain_size, 13), 0, 10));
    EXPECT_EQ(part(got.buffer, 10, 502), bytes(502, 0));
    EXPECT_FALSE(read(file.extent, 130 * grain_size + 10, 512).result);
}

TEST(VmdkExtent, EntryOneIsSectorOne) {
    extent_file file(valid_image().grain_entry(1, 1));
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(grain_size + 3, position));
    EXPECT_EQ(position, 512u + 3u);
    EXPECT_EQ(read(file.extent, grain_size, 21).buffer,
              support::as_bytes(std::string_view("# Disk DescriptorFile")));
}

TEST(VmdkExtent, EntriesAreUsedIn64Bits) {
    const extent_file file(valid_image().grain_entry(1, 0xFFFFFFFF));
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(grain_size, position));
    EXPECT_EQ(position, 0xFFFFFFFFull * 512);
}

TEST(VmdkExtent, DestructionClosesTheFile) {
    int fd = -1;
    {
        const extent_file file(valid_image());
        fd = file.extent.fd;
        EXPECT_NE(::fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST(VmdkExtent, WriteAccessSetsTheModeOfTheDescriptor) {
    const temp_dir dir;
    const std::wstring path = widened(valid_image().save(dir.file("disk.vmdk")));
    for (const bool write : {false, true}) {
        SCOPED_TRACE(write);
        vmdk_extent extent;
        EXPECT_TRUE(extent.open(path, write));
        EXPECT_EQ(::fcntl(extent.fd, F_GETFL) & O_ACCMODE, write ? O_RDWR : O_RDONLY);
    }
}

TEST(VmdkDamage, SizesOfZeroAreNotDivisors) {
    vmdk_image damaged = valid_image();
    extent_file file(damaged.put(grain_size_at, 0, 8));
    ASSERT_TRUE(file.result);
    EXPECT_EQ(file.extent.grain_bytes, 0u);
    EXPECT_EQ(file.extent.table_span, 0u);
    EXPECT_EQ(file.extent.grain_left(12345), 0u);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(12345, position));  // always the first entry
    EXPECT_EQ(position, valid_image().grain_sector(0) * 512);
}

TEST(VmdkDamage, EveryPrefixOfAFileIsOpened) {
    const vmdk_image image = valid_image();
    const byte_image content = image.build();
    const std::uint64_t directory = image.directory_sector() * 512;
    ASSERT_LT(image.table_sector(0), 256u);  // one byte of the first entry is all of it
    const temp_dir dir;
    const std::string path = content.save(dir.file("cut.vmdk"));
    for (std::uint64_t size = content.size(); size > 0; size -= size > 600 ? 61 : 1) {
        ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(size)), 0);
        vmdk_extent extent;
        EXPECT_EQ(extent.open(widened(path), false), size > directory) << size;
        for (const std::uint64_t grain : {0u, 1u, 2u, 130u}) {
            bytes buffer(grain_size);
            std::uint32_t count = grain_size;
            const bool stored = image.grain_sector(grain) != 0;
            const bool held = image.grain_sector(grain) * 512 < size;
            EXPECT_EQ(extent.read(buffer.data(), grain * grain_size, count), stored && held)
                << size << " " << grain;
        }
    }
}

}  // namespace
