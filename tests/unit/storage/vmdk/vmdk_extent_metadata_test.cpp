#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "storage/vmdk/vmdk_extent.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
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
        {"nothing after a zero byte",
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

    const char next_byte = static_cast<char>(image.build().get(1024, 1));
    ASSERT_NE(next_byte, 0);
    const extent_file longer(byte_image(image.build()).put(descriptor_size_at, 2, 8));
    EXPECT_EQ(longer.extent.cid, std::string("1") + next_byte);

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
        {"descriptor beyond the file", descriptor_at, size, true},
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
        {"directory beyond the overhead", directory_at, 1ull << 40, false},
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
        {"beyond the metadata", overhead + 1, false},
        {"far beyond", 0x800000, false},
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

}  // namespace
