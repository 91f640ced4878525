#include "storage/vmdk/vmdk_extent.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::bytes;
using support::pattern;
using support::temp_dir;
using support::vmdk_image;
using support::vmdk_options;

constexpr std::uint64_t grain_size = 4096;
constexpr std::uint64_t capacity_at = 12, grain_size_at = 20, descriptor_at = 28,
                        descriptor_size_at = 36, table_entries_at = 44, directory_at = 56,
                        overhead_at = 64;

// Grains of 4 KiB, tables of 128 entries: one sector, and 512 KiB of the disk.
constexpr vmdk_options small = {.grain_size = 8, .table_entries = 128};
constexpr std::uint64_t table_span = 128 * grain_size;

struct extent_file {
    explicit extent_file(const byte_image& image) : path(image.save(dir.file("disk.vmdk"))) {
        result = extent.open(widened(path), false);
    }
    explicit extent_file(const vmdk_image& image) : extent_file(image.build()) {}

    temp_dir dir;
    std::string path;
    vmdk_extent extent;
    bool result = false;
};

// A disk of two tables with a pattern in grains 0, 2 and 130.
vmdk_image valid_image() {
    vmdk_image image(small);
    image.grain(0, pattern(grain_size, 10)).grain(2, pattern(grain_size, 12));
    return image.grain(130, pattern(grain_size, 13));
}

struct outcome {
    bool result = false;
    std::uint32_t count = 0;
    bytes buffer;
};

outcome read(vmdk_extent& extent, std::uint64_t offset, std::uint32_t count) {
    outcome got{false, count, bytes(count, 0xEE)};
    got.result = extent.read(got.buffer.data(), offset, got.count);
    return got;
}

bytes part(const bytes& whole, std::size_t at, std::size_t count) {
    const auto first = whole.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

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

// Two directory entries, two tables of three entries, and the header as a table of 20: its last
// non-zero byte is at 76.
constexpr std::uint64_t entries_of_valid_file = 2 + 3 + 3 + 20;

TEST(VmdkExtent, TablesAreKeptWithoutTheZerosAtTheirEnd) {
    const extent_file plain(valid_image());
    EXPECT_EQ(plain.extent.grains.num_held_entries(), entries_of_valid_file);
    const extent_file longer(valid_image().grain_entry(5, 0xFFFFFFFF));
    EXPECT_EQ(longer.extent.grains.num_held_entries(), entries_of_valid_file + 3);
    const extent_file empty(vmdk_image(small).grain(130, pattern(grain_size)));
    EXPECT_EQ(empty.extent.grains.num_held_entries(), entries_of_valid_file - 3);
}

TEST(VmdkExtent, LongTableEndsInsideAPiece) {
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

// --- the first sector ---

TEST(VmdkExtentPartitions, TableInTheFirstSectorIsListed) {
    byte_image disk(0x10000);
    support::put_boot_record(disk, 0, {{7, 63, 100}, {0x0F, 0x800, 100}, {7, 0x900, 5}});
    const extent_file file(vmdk_image(small).content(disk));
    EXPECT_EQ(file.extent.partition_offsets, (std::vector<std::uint64_t>{63 * 512, 0x800 * 512}));
    EXPECT_EQ(file.extent.partition_sector_sizes, (std::vector<std::uint32_t>{512, 512}));
}

TEST(VmdkExtentPartitions, BareVolumeStartsAtZero) {
    const byte_image volume = support::ntfs_boot_sector({.bytes_per_sector = 4096});
    const extent_file file(vmdk_image(small).content(volume));
    EXPECT_EQ(file.extent.partition_offsets, std::vector<std::uint64_t>{0});
    EXPECT_EQ(file.extent.partition_sector_sizes, std::vector<std::uint32_t>{4096});
}

TEST(VmdkExtentPartitions, DeltaReadsItsOwnHeaderAndHasNone) {
    vmdk_image delta(small);
    delta.grain(130, pattern(grain_size));  // the first table is empty
    EXPECT_EQ(extent_file(delta).extent.first_sector_offset, 0u);
    delta.grain(2, pattern(grain_size));
    const extent_file file(delta);
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.first_sector_offset, 0u);
    EXPECT_EQ(part(file.extent.first_sector, 0, 4), support::as_bytes(std::string_view("KDMV")));
    EXPECT_TRUE(file.extent.partition_offsets.empty());
}

TEST(VmdkExtentPartitions, FirstSectorPastTheFileIsZero) {
    const extent_file file(valid_image().grain_entry(0, 0x7FFFFFFF));
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.first_sector, bytes(512, 0));
    EXPECT_TRUE(file.extent.partition_offsets.empty());
}

// --- the descriptor ---

struct descriptor_values {
    std::string cid, parent_cid, encoding, hint;
    bool operator==(const descriptor_values&) const = default;
};

descriptor_values values_of(std::string_view text) {
    const extent_file file(valid_image().descriptor(text));
    EXPECT_TRUE(file.result);
    return {file.extent.cid, file.extent.parent_cid, file.extent.encoding,
            file.extent.parent_file_hint};
}

TEST(VmdkDescriptor, KeysAndValues) {
    const struct {
        const char* name;
        std::string_view text;
        descriptor_values expected;
    } cases[] = {
        {"all keys",
         "CID=1a\nparentCID=2b\nencoding=\"UTF-8\"\nparentFileNameHint=\"Base 1.vmdk\"\n",
         {"1a", "2b", "\"UTF-8\"", "\"Base 1.vmdk\""}},
        {"any case of the key, the value as it is",
         "cId=AbC\nPARENTCID=FFFFFFFF\nEnCoding=Windows-1252\nPARENTFILENAMEHINT=A b\n",
         {"AbC", "FFFFFFFF", "Windows-1252", "A b"}},
        {"column 0 only", " CID=1\n\tparentCID=2\nxencoding=3\n", {"", "", "", ""}},
        {"no blanks around the sign", "CID =1\nparentCID= 2\n", {"", " 2", "", ""}},
        {"a carriage return stays",
         "CID=1\r\nparentCID=ffffffff\r\n",
         {"1\r", "ffffffff\r", "", ""}},
        {"the last of equal keys", "CID=1\nCID=2\ncid=3\n", {"3", "", "", ""}},
        {"empty lines", "\n\nCID=1\n\n\r\n\nparentCID=2", {"1", "2", "", ""}},
        {"an empty value", "CID=1\nCID=\n", {"", "", "", ""}},
        {"no line end", "CID=1\nparentCID=2", {"1", "2", "", ""}},
        {"nothing", "", {"", "", "", ""}},
        {"nothing behind a zero byte",
         std::string_view("CID=1\nparent\0CID=2\nCID=3\n", 24),
         {"1", "", "", ""}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(values_of(c.text), c.expected);
    }
}

TEST(VmdkDescriptor, SizeEndsTheText) {
    // The text fills its one sector, which the redundant directory follows.
    const vmdk_image image = vmdk_image({.grain_size = 8, .descriptor_sectors = 1})
                                 .grain(0, pattern(grain_size))
                                 .descriptor(std::string(506, 'x') + "\nCID=1");
    const extent_file file(image);
    EXPECT_TRUE(file.result);
    EXPECT_EQ(file.extent.cid, "1");

    const char behind = static_cast<char>(image.build().get(1024, 1));
    ASSERT_NE(behind, 0);
    const extent_file longer(byte_image(image.build()).put(descriptor_size_at, 2, 8));
    EXPECT_EQ(longer.extent.cid, std::string("1") + behind);

    const extent_file none(byte_image(image.build()).put(descriptor_size_at, 0, 8));
    EXPECT_TRUE(none.result);
    EXPECT_EQ(none.extent.cid, "");
}

TEST(VmdkDescriptor, LastPieceIsNoLongerThanTheSizeSays) {
    // The text fills nine sectors, 4608 bytes, which the redundant directory follows.
    const vmdk_image image = vmdk_image({.grain_size = 8, .descriptor_sectors = 9})
                                 .grain(0, pattern(grain_size))
                                 .descriptor(std::string(4602, 'x') + "\nCID=1");
    ASSERT_NE(image.build().get(512 + 4608, 1), 0u);
    EXPECT_EQ(extent_file(image).extent.cid, "1");
}

TEST(VmdkDescriptor, LongTextComesInPieces) {
    std::string text;
    while (text.size() < 600000)
        text += "# a comment that fills the descriptor\n";
    text += "CID=12345678\n";
    const vmdk_image image = vmdk_image({.grain_size = 8, .descriptor_sectors = 1500})
                                 .grain(0, pattern(grain_size))
                                 .descriptor(text);
    const extent_file file(image);
    EXPECT_EQ(file.extent.cid, "12345678");
}

// --- damage ---

TEST(VmdkDamage, OtherFilesAreRefused) {
    const temp_dir dir;
    for (const std::string& path :
         {dir.file("missing"), std::string(), dir.path(), dir.write("empty", ""),
          dir.write("short", "KDM"), dir.write("magic", "KDMV"),
          dir.write("text", "# Disk DescriptorFile\nCID=1\n"),
          std::string("/proc/version")}) {  // which cannot seek
        SCOPED_TRACE(path);
        vmdk_extent extent;
        EXPECT_FALSE(extent.open(widened(path), false));
        EXPECT_FALSE(extent.ready);
    }
    const extent_file file(valid_image().put_text(0, "VMDK"));
    EXPECT_FALSE(file.result);
}

TEST(VmdkDamage, SingleFields) {
    const vmdk_image image = valid_image();
    const std::uint64_t size = image.build().size();
    const std::uint64_t directory = image.directory_sector();
    const struct {
        const char* name;
        std::uint64_t at;
        std::uint64_t value;
        bool ready;
    } cases[] = {
        {"version", 4, 99, true},
        {"flags", 8, 0xFFFFFFFF, true},
        {"capacity", capacity_at, ~0ull, true},
        {"grain size 0", grain_size_at, 0, true},
        {"grain size that wraps", grain_size_at, 1ull << 55, true},
        {"descriptor behind the file", descriptor_at, size, true},
        {"descriptor that can't be sought", descriptor_at, 1ull << 54, false},
        {"descriptor of the file's size", descriptor_size_at, size / 512, true},
        {"descriptor larger than the file", descriptor_size_at, size / 512 + 1, true},
        {"descriptor of terabytes", descriptor_size_at, 1ull << 40, true},
        {"descriptor size that wraps", descriptor_size_at, 1ull << 55, true},
        {"no table entries", table_entries_at, 0, false},
        {"overhead of the file's size", overhead_at, size / 512, true},
        {"overhead larger than the file", overhead_at, size / 512 + 1, true},
        {"overhead of terabytes", overhead_at, 1ull << 40, true},
        {"overhead that wraps to 0", overhead_at, 1ull << 55, false},
        {"no overhead", overhead_at, 0, false},
        {"overhead up to the directory", overhead_at, directory, false},
        {"overhead up to the tables", overhead_at, directory + 1, true},
        {"directory behind the overhead", directory_at, 1ull << 40, false},
        {"directory offset that wraps to 0", directory_at, 1ull << 55, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        vmdk_image damaged = image;
        damaged.put(c.at, c.value, c.at == 4 || c.at == 8 || c.at == table_entries_at ? 4 : 8);
        const extent_file file(damaged);
        EXPECT_EQ(file.result, c.ready);
        EXPECT_EQ(file.extent.ready, c.ready);
        std::uint64_t position = 0;
        for (const std::uint64_t offset : {0ull, 1ull << 40, ~0ull}) {
            if (!c.ready) {
                EXPECT_FALSE(file.extent.find_grain(offset, position));
            }
            EXPECT_LE(file.extent.grain_left(offset), file.extent.grain_bytes);
        }
    }
}

TEST(VmdkDamage, FirstDirectoryEntry) {
    const vmdk_image image = valid_image();
    const std::uint64_t at = image.directory_sector() * 512;
    const std::uint64_t overhead = image.build().get(overhead_at, 8);
    const struct {
        const char* name;
        std::uint64_t value;
        bool ready;
    } cases[] = {
        {"0", 0, false},
        {"in front of the directory", image.directory_sector() - 1, false},
        {"at the directory", image.directory_sector(), false},
        {"at the end of the metadata", overhead, true},
        {"behind the metadata", overhead + 1, false},
        {"far behind", 0x800000, false},
        {"farther than 32 bits of bytes", 0x800000 + image.directory_sector() + 1, false},
        {"all ones", 0xFFFFFFFF, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        vmdk_image damaged = image;
        const extent_file file(damaged.put(at, c.value, 4));
        EXPECT_EQ(file.result, c.ready);
    }
}

TEST(VmdkDamage, DirectoryExtendsToItsFirstTable) {
    // One sector between the directory and the first table: 128 entries, of which 2 are tables. All
    // others mean the one at the start of the file.
    const extent_file file(valid_image());
    EXPECT_EQ(file.extent.grains.num_tables(), 128u);
    EXPECT_EQ(file.extent.grains.num_held_tables(), 3u);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(127 * table_span, position));
    EXPECT_FALSE(file.extent.find_grain(128 * table_span, position));
}

TEST(VmdkDamage, DirectoryEntryOfZeroReadsTheStartOfTheFile) {
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

TEST(VmdkDamage, TableOutsideOfTheMetadataIsReadFromTheFile) {
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

TEST(VmdkDamage, DirectoryThatTheFileEndsInIsPaddedWithZeros) {
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

TEST(VmdkDamage, LastDirectoryEntryMayBeTruncated) {
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

TEST(VmdkDamage, TablePastTheFileIsEmpty) {
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

TEST(VmdkDamage, TableTruncatedByTheEndOfTheFileEndsInHoles) {
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

TEST(VmdkDamage, HugeTablesNeedNoMoreMemoryThanTheFileHasBytes) {
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

TEST(VmdkDamage, TablesThatOverlapAreBoundedInAll) {
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

TEST(VmdkDamage, TablesInMemoryMayTakeTheSizeOfTheFileAndAMebibyte) {
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
