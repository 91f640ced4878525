#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "storage/tables/partition_types.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/gpt_scan.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/broken_off_disk.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::gpt_options;
using support::gpt_slot;
using support::ntfs_boot_sector;

constexpr std::uint64_t header_at = 512;  // with sectors of 512 bytes
constexpr std::uint64_t entries_at = 1024;

constexpr std::uint64_t sector(std::uint64_t lba) { return lba * 512; }

byte_image gpt_disk(const std::vector<gpt_slot>& slots, const gpt_options& options = {},
                    std::uint64_t size = 0x200000) {
    byte_image disk(size);
    support::put_gpt(disk, slots, options);
    return disk;
}

struct scan {
    bool result = false;
    partition_list list;
};

scan scan_image(const byte_image& image) {
    disk_file source(image);
    scan s;
    s.list.resize(2);  // a scan clears the list
    s.result = scan_gpt(source.disk, s.list, false);
    return s;
}

std::vector<std::uint64_t> starts_of(const scan& s) {
    std::vector<std::uint64_t> starts;
    for (const partition_record& record : s.list)
        starts.push_back(record.m_LBA_first_sector);
    return starts;
}

TEST(GptScan, EntriesBecomeRecords) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199, .name = u"Größe 😀"},
                                {support::efi_system_guid, 300, 300, u"EFI system partition"}});
    disk.put_image(sector(100), ntfs_boot_sector({.total_sectors = 0x55}));
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    ASSERT_EQ(s.list.size(), 2u);

    const partition_record& ntfs = s.list[0];
    EXPECT_TRUE(ntfs.is_gpt);
    EXPECT_EQ(ntfs.type_guid, support::parse_guid(support::basic_data_guid));
    support::guid unique{};
    unique.fill(0xA0);
    unique[15] = 1;
    EXPECT_EQ(ntfs.unique_guid, unique);
    EXPECT_EQ(ntfs.m_LBA_first_sector, 100u);
    EXPECT_EQ(ntfs.m_num_sectors, 100u);
    EXPECT_EQ(ntfs.m_sector_size, 512u);
    EXPECT_EQ(ntfs.description,
              "Gr\xC3\xB6\xC3\x9F"
              "e \xF0\x9F\x98\x80");
    EXPECT_EQ(ntfs.m_partition_type, 7);
    EXPECT_TRUE(ntfs.is_volume);
    EXPECT_EQ(ntfs.fs_name, "ntfs");

    const partition_record& other = s.list[1];
    EXPECT_TRUE(other.is_gpt);
    EXPECT_EQ(other.m_num_sectors, 1u);
    EXPECT_EQ(other.description, "EFI system partition");
    EXPECT_EQ(other.m_partition_type, 238);
    EXPECT_FALSE(other.is_volume);
    EXPECT_EQ(partition_type_name(other.m_partition_type), "gpt");
}

TEST(GptScan, UnusedEntriesAreSkipped) {
    const support::guid zero_type{};
    byte_image disk = gpt_disk(
        {{.first = 100, .last = 199}, {.first = 200, .last = 299}, {.first = 300, .last = 399}});
    disk.put_bytes(entries_at + 128, zero_type);
    EXPECT_EQ(starts_of(scan_image(disk)), (std::vector<std::uint64_t>{100, 300}));
    // An entry with any non-zero byte in its type is used.
    for (std::uint64_t i = 0; i < 16; ++i) {
        SCOPED_TRACE(i);
        disk.put_bytes(entries_at + 128, zero_type).put(entries_at + 128 + i, 1, 1);
        EXPECT_EQ(starts_of(scan_image(disk)), (std::vector<std::uint64_t>{100, 200, 300}));
    }
}

TEST(GptScan, SignatureAndChecksumsAreNotChecked) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}}, {.signature = "DAMAGED!"});
    disk.put(header_at + 16, 0, 4).put(header_at + 88, 0, 4);
    EXPECT_TRUE(scan_image(disk).result);
}

TEST(GptScan, HeaderMustNameItsOwnSector) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}});
    for (const std::uint64_t lba : {0ull, 2ull, 0x100000001ull}) {
        SCOPED_TRACE(lba);
        const scan s = scan_image(disk.put(header_at + 24, lba, 8));
        EXPECT_FALSE(s.result);
        EXPECT_TRUE(s.list.empty());
    }
}

TEST(GptScan, FirstSignatureDefinesTheSectorSize) {
    for (const std::uint32_t size : {512u, 1024u, 2048u, 4096u, 8192u, 16384u}) {
        SCOPED_TRACE(size);
        byte_image disk =
            gpt_disk({{.first = 40, .last = 79}}, {.sector = size, .protective = false}, 0x400000);
        disk.put_image(40 * size,
                       ntfs_boot_sector({.bytes_per_sector = static_cast<std::uint16_t>(size)}));
        EXPECT_FALSE(scan_image(disk).result);
        disk.put(size - 2, 0xAA55, 2);
        const scan s = scan_image(disk);
        EXPECT_TRUE(s.result);
        ASSERT_EQ(s.list.size(), 1u);
        EXPECT_EQ(s.list[0].m_LBA_first_sector, 40u);
        EXPECT_EQ(s.list[0].m_sector_size, size);
        EXPECT_EQ(s.list[0].m_partition_type, 7);
    }
}

TEST(GptScan, SuperblocksAreDetectedInPartitionsOfMoreThanFourSectors) {
    const struct {
        const char* name;
        std::uint64_t last;
        int type;
    } cases[] = {{"one sector", 100, 238}, {"four sectors", 103, 238}, {"five sectors", 104, 131}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        byte_image disk = gpt_disk({{support::linux_data_guid, 100, c.last}});
        disk.put_image(sector(100), support::ext_start());
        const scan s = scan_image(disk);
        ASSERT_EQ(s.list.size(), 1u);
        EXPECT_EQ(s.list[0].m_partition_type, c.type);
    }
    byte_image disk = gpt_disk({{.first = 100, .last = 104}});
    disk.put_image(sector(100), support::hfs_plus_start());
    EXPECT_EQ(scan_image(disk).list.at(0).fs_name, "hfs+");
}

TEST(GptScan, ZeroLastSectorDoesNotChangeTheCount) {
    byte_image disk = gpt_disk({{.first = 100, .last = 0}});
    EXPECT_EQ(scan_image(disk).list.at(0).m_num_sectors, 0u);
    disk.put_image(sector(100), ntfs_boot_sector({.total_sectors = 0x55}));
    EXPECT_EQ(scan_image(disk).list.at(0).m_num_sectors, 0x55u);
}

TEST(GptScan, LastSectorBeforeTheFirstWraps) {
    // If last is first - 1, the size is 0; if it is lower, the size is huge. One sector, or 2048
    // bytes, is read.
    byte_image disk = gpt_disk({{.first = 100, .last = 99}, {.first = 200, .last = 150}});
    disk.put_image(sector(100), support::ext_start()).put_image(sector(200), support::ext_start());
    const scan s = scan_image(disk);
    ASSERT_EQ(s.list.size(), 2u);
    EXPECT_EQ(s.list[0].m_num_sectors, 0u);
    EXPECT_EQ(s.list[0].m_partition_type, 238);
    EXPECT_EQ(s.list[1].m_num_sectors, 0u - std::uint64_t{49});
    EXPECT_EQ(s.list[1].m_partition_type, 131);
}

TEST(GptScan, WholeLargeSectorIsReadOfAPartitionWithoutSectors) {
    byte_image disk = gpt_disk({{.first = 40, .last = 39}}, {.sector = 16384, .protective = false});
    disk.put(16382, 0xAA55, 2).put_image(40 * 16384, support::ext_start());
    const scan s = scan_image(disk);
    EXPECT_EQ(s.list.at(0).m_partition_type, 131);
    EXPECT_EQ(s.list.at(0).m_sector_size, 16384u);
}

TEST(GptScan, PartitionAtTheVeryEndOfTheImageIsNamedEmpty) {
    byte_image disk = gpt_disk({{.first = 1000, .last = 1999}}, {.backup = false});
    disk.put_image(sector(1000), ntfs_boot_sector());
    disk.resize(sector(1000) + 511);
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.list.at(0).m_partition_type, 0);
    EXPECT_FALSE(s.list.at(0).is_volume);
    EXPECT_EQ(scan_image(disk.resize(sector(1001))).list.at(0).m_partition_type, 7);
}

TEST(GptScan, PartitionPastTheImageFailsTheScan) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}, {.first = 5000, .last = 5999}});
    EXPECT_FALSE(scan_image(disk).result);
    disk = gpt_disk({{.first = 100, .last = 199}, {.first = 1ull << 54, .last = 1ull << 56}});
    EXPECT_FALSE(scan_image(disk).result);
}

TEST(GptScan, EntriesPastTheImageFailTheScan) {
    byte_image disk = gpt_disk({{.first = 4, .last = 5}}, {.backup = false});
    EXPECT_TRUE(scan_image(disk.resize(entries_at + 127 * 128 + 1)).result);
    EXPECT_FALSE(scan_image(disk.resize(entries_at + 127 * 128)).result);
    EXPECT_FALSE(scan_image(disk.put(header_at + 72, 1ull << 40, 8)).result);
    EXPECT_FALSE(scan_image(disk.put(header_at + 72, 1ull << 54, 8)).result);
}

TEST(GptScan, BillionsOfEntriesEndAtOnce) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}});
    disk.put(header_at + 80, 0xFFFFFFFF, 4).put(header_at + 84, 1, 4);
    EXPECT_FALSE(scan_image(disk).result);
}

TEST(GptScan, TableOneEntryTooLongFailsThoughItsFirstEntriesCanBeRead) {
    // Entries of two bytes, the rest of which are bytes of the header: all are used.
    constexpr std::uint64_t size = 0x200000;
    for (const std::uint64_t at : {std::uint64_t{0}, entries_at}) {
        SCOPED_TRACE(at);
        byte_image disk = gpt_disk({}, {.entry_count = 1, .backup = false}, size);
        disk.put(header_at + 32, 100, 8).put(header_at + 40, 150, 8);
        disk.put(header_at + 72, at / 512, 8).put(header_at + 84, 2, 4);
        const std::uint64_t room = (size - at) / 2;
        EXPECT_TRUE(scan_image(disk.put(header_at + 80, room, 4)).result);
        EXPECT_FALSE(scan_image(disk.put(header_at + 80, room + 1, 4)).result);
    }
}

TEST(GptScan, EntriesAtANegativePositionOfAChainAreRead) {
    // A chain uses the index of a grain table modulo 2^32: byte 2^63 is the first byte again.
    byte_image disk = gpt_disk({{.first = 100, .last = 199}}, {.backup = false});
    disk.put(header_at + 72, (1ull << 54) + 2, 8);
    const support::temp_dir dir;
    const std::string path = support::vmdk_image({.grain_size = 8, .table_entries = 128})
                                 .content(disk)
                                 .save(dir.file("disk.vmdk"));
    CRawDisk chain({widened(path)}, false, false);
    partition_list list;
    EXPECT_TRUE(scan_gpt(chain, list, false));
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_LBA_first_sector, 100u);
}

TEST(GptScan, StartThatCannotBeReadFails) {
    // The header could be read, with sectors of 512 bytes and with sectors of one byte.
    byte_image disk = gpt_disk({{.first = 4, .last = 4}}, {.entry_count = 4, .backup = false});
    disk.put(1 + 24, 1, 8).put(1 + 72, entries_at, 8).put(1 + 80, 1, 4).put(1 + 84, 128, 4);
    const broken_off_disk source(disk);
    partition_list list;
    EXPECT_FALSE(scan_gpt(*source.disk, list, false));
    EXPECT_TRUE(list.empty());
}

TEST(GptScan, NoEntriesFail) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}});
    EXPECT_FALSE(scan_image(disk.put(header_at + 80, 0, 4)).result);
    EXPECT_FALSE(scan_image(gpt_disk({})).result);
}

TEST(GptScan, EntryOfNoSizeCannotBeRead) {
    byte_image disk = gpt_disk({{.first = 100, .last = 199}});
    EXPECT_FALSE(scan_image(disk.put(header_at + 84, 0, 4)).result);
}

TEST(GptScan, EntriesMayBeLargerThanTheirFields) {
    byte_image disk = gpt_disk(
        {{.first = 100, .last = 199, .name = u"one"}, {.first = 200, .last = 299, .name = u"two"}},
        {.entry_count = 4, .entry_size = 1000});
    const scan s = scan_image(disk);
    EXPECT_EQ(starts_of(s), (std::vector<std::uint64_t>{100, 200}));
    EXPECT_EQ(s.list[1].description, "two");
}

TEST(GptScan, HugeEntriesAreReadNoFurtherThanTheImage) {
    for (const std::uint32_t size : {32769u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(size);
        byte_image disk = gpt_disk({{.first = 100, .last = 199}}, {.entry_count = 1});
        disk.put(header_at + 84, size, 4);
        EXPECT_EQ(starts_of(scan_image(disk)), (std::vector<std::uint64_t>{100}));
    }
}

TEST(GptScan, ShortEntryIsReadWithTheBytesAfterIt) {
    // Entries of 40 bytes contain no last sector. For the first one, bytes 40 to 47 of the header
    // are used, the first usable sector; for the second one, those of the first entry's read.
    byte_image disk = gpt_disk({}, {.entry_count = 2, .backup = false});
    disk.put(header_at + 84, 40, 4).put(header_at + 40, 150, 8);
    for (const std::uint64_t at : {entries_at, entries_at + 40}) {
        disk.put_bytes(at, support::parse_guid(support::basic_data_guid));
    }
    disk.put(entries_at + 32, 100, 8).put(entries_at + 40 + 32, 120, 8);
    const scan s = scan_image(disk);
    ASSERT_EQ(s.list.size(), 2u);
    EXPECT_EQ(s.list[0].m_LBA_first_sector, 100u);
    EXPECT_EQ(s.list[0].m_num_sectors, 51u);
    EXPECT_EQ(s.list[1].m_LBA_first_sector, 120u);
    EXPECT_EQ(s.list[1].m_num_sectors, 31u);
}

TEST(GptScan, ShortEntriesInAHoleDoNotFillTheMemory) {
    // Entries of one byte: the rest of each is that of the header, whose backup sector is read as
    // the first sector of a partition.
    byte_image disk = gpt_disk({}, {.entry_count = 1, .backup = false}, 0x200000);
    disk.put(header_at + 32, 100, 8).put(header_at + 40, 150, 8);
    disk.put(header_at + 80, 0x100000, 4).put(header_at + 84, 1, 4);
    const scan s = scan_image(disk);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.list.size(), 0x10000u);
    EXPECT_EQ(s.list.back().m_LBA_first_sector, 100u);
}

TEST(GptScan, EntriesAfter65536AreNotRead) {
    byte_image disk = gpt_disk({}, {.entry_count = 1, .backup = false}, 0x1000000);
    disk.put(header_at + 80, 0x10001, 4);
    std::uint64_t first = 100;
    for (const std::uint64_t index : {0xFFFFull, 0x10000ull}) {
        const std::uint64_t at = entries_at + index * 128;
        disk.put_bytes(at, support::parse_guid(support::basic_data_guid));
        disk.put(at + 32, first, 8).put(at + 40, first + 9, 8);
        first += 100;
    }
    EXPECT_EQ(starts_of(scan_image(disk)), (std::vector<std::uint64_t>{100}));
}

TEST(GptScan, EntryTruncatedByTheEndOfTheImageKeepsBytesOfThePreviousOne) {
    for (const std::uint32_t entry_size : {128u, 1000u, 40000u}) {
        SCOPED_TRACE(entry_size);
        byte_image disk = gpt_disk(
            {{.first = 1, .last = 1, .name = u"before"}, {.first = 2, .last = 2, .name = u"after"}},
            {.entry_count = 2, .entry_size = entry_size, .backup = false}, 2048);
        EXPECT_EQ(scan_image(disk).list.at(1).description, "after");
        disk.resize(entries_at + entry_size + 56 + 4);
        scan s = scan_image(disk);
        ASSERT_EQ(s.list.size(), 2u);
        EXPECT_EQ(s.list[0].description, "before");
        EXPECT_EQ(s.list[1].description, "affore");
        EXPECT_EQ(s.list[1].m_LBA_first_sector, 2u);
        s = scan_image(disk.resize(entries_at + entry_size + 1));  // a byte of the type
        ASSERT_EQ(s.list.size(), 2u);
        EXPECT_EQ(s.list[1].type_guid, s.list[0].type_guid);
        EXPECT_EQ(s.list[1].m_LBA_first_sector, 1u);
    }
}

TEST(GptScan, FirstEntryTruncatedByTheEndOfTheImageKeepsBytesOfTheHeader) {
    byte_image disk = gpt_disk({{.first = 1, .last = 1}}, {.entry_count = 1, .backup = false});
    disk.put(header_at + 32, 0x100000000, 8).put(header_at + 40, 0x100000009, 8);
    // Four bytes of the first sector; the other bytes are the header's backup sector and first
    // usable sector.
    const scan s = scan_image(disk.resize(entries_at + 36));
    EXPECT_FALSE(s.result);  // sector 0x100000001 is not in the image
    disk.put(header_at + 32, 2, 8).put(header_at + 40, 9, 8);
    const scan inside = scan_image(disk.resize(entries_at + 32));
    ASSERT_EQ(inside.list.size(), 1u);
    EXPECT_EQ(inside.list[0].m_LBA_first_sector, 2u);
    EXPECT_EQ(inside.list[0].m_num_sectors, 8u);
}

TEST(GptScan, HeaderTruncatedByTheEndOfTheImageKeepsBytesOfTheStart) {
    // The header has its first 82 bytes. The table is at sector 0, and its one entry of 128 bytes
    // is the start of the disk.
    byte_image disk = gpt_disk({}, {.entry_count = 1, .backup = false});
    disk.put(header_at + 72, 0, 8).resize(header_at + 82);
    disk.put_bytes(0, support::parse_guid(support::basic_data_guid));
    disk.put(32, 0, 8).put(40, 1, 8).put(82, 0, 2).put(84, 128, 4);
    const scan s = scan_image(disk);
    ASSERT_EQ(s.list.size(), 1u);
    EXPECT_EQ(s.list[0].m_num_sectors, 2u);
    EXPECT_FALSE(scan_image(disk.put(82, 1, 2)).result);
}

TEST(GptScan, NameOf36UnitsIsComplete) {
    const std::u16string name(36, u'n');
    const scan s = scan_image(gpt_disk(
        {{.first = 100, .last = 199, .name = name}, {.first = 200, .last = 299, .name = u"x"}}));
    EXPECT_EQ(s.list.at(0).description, std::string(36, 'n'));
}

TEST(GptScan, ClosedEmptyOrTablelessDiskFails) {
    CRawDisk closed(L"", false, false, 0);
    partition_list list(2);
    EXPECT_FALSE(scan_gpt(closed, list, false));
    EXPECT_TRUE(list.empty());
    EXPECT_FALSE(scan_image(byte_image()).result);
    EXPECT_FALSE(scan_image(byte_image(512).put(510, 0xAA55, 2)).result);
    EXPECT_FALSE(scan_image(byte_image(0x10000)).result);
}

TEST(GptScan, EveryPrefixIsScanned) {
    byte_image disk = gpt_disk({{.first = 6, .last = 7}}, {.entry_count = 8, .backup = false});
    disk.put_image(sector(6), ntfs_boot_sector()).resize(sector(8));
    const disk_file whole(disk);
    for (std::uint64_t size = disk.size(); size-- > 0;) {
        ASSERT_EQ(::truncate(whole.path.c_str(), static_cast<off_t>(size)), 0);
        CRawDisk cut(widened(whole.path), false, false, 0);
        partition_list list;
        EXPECT_EQ(scan_gpt(cut, list, false), size > sector(6)) << size;
    }
}

}  // namespace
