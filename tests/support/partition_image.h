// Partition tables and the boot sectors of file systems, written into a byte_image.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "support/byte_image.h"

namespace support {

// One slot of a table: state byte, three bytes CHS, type, three bytes CHS, first sector, count.
struct mbr_slot {
    std::uint8_t type = 0;
    std::uint32_t first = 0;  // sectors
    std::uint32_t count = 0;
    std::uint8_t state = 0;  // 0x80: active
};

// Writes up to four slots at 446 + 16 * i of the sector at byte `at`, and 0xAA55 at `signature_at`,
// which a test can set to the last two bytes of a larger sector.
void put_boot_record(byte_image& disk, std::uint64_t at, const std::vector<mbr_slot>& slots,
                     std::uint64_t signature_at = 510);

// A partition of an extended chain, in sectors of the disk.
struct logical_volume {
    std::uint8_t type = 7;
    std::uint32_t record = 0;  // position of its boot record, absolute
    std::uint32_t first = 0;   // of the volume, absolute
    std::uint32_t count = 0;
};

// Writes the boot records of an extended partition that begins at sector `base`. The first is at
// `base` (the `record` of the first volume must equal it). Each has its volume, relative to the
// record itself, and a link (type 5) to the next, relative to `base`.
void put_extended_chain(byte_image& disk, std::uint32_t base,
                        const std::vector<logical_volume>& volumes, std::uint32_t sector = 512,
                        std::uint8_t link_type = 5);

// A GUID in on-disk form.
using guid = std::array<std::uint8_t, 16>;
// Parses "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7". The first three fields are little-endian.
guid parse_guid(std::string_view text);
inline constexpr std::string_view basic_data_guid = "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7",
                                  efi_system_guid = "C12A7328-F81F-11D2-BA4B-00A0C93EC93B",
                                  microsoft_reserved_guid = "E3C9E316-0B5C-4DB8-817D-F92DF00215AE",
                                  linux_data_guid = "0FC63DAF-8483-4772-8E79-3D69D8477DE4";

struct gpt_slot {
    std::string_view type = basic_data_guid;
    std::uint64_t first = 0;  // sectors
    std::uint64_t last = 0;   // inclusive
    std::u16string_view name = u"";
    std::uint64_t attributes = 0;
};

struct gpt_options {
    std::uint32_t sector = 512;
    std::uint64_t header_lba = 1;
    std::uint64_t entries_lba = 2;
    std::uint32_t entry_count = 128;  // as stored
    std::uint32_t entry_size = 128;   // as stored, and the stride
    std::string_view signature = "EFI PART";
    bool protective = true;  // writes the protective boot record
    bool backup = true;      // writes the second copy at the current end of the disk
};

// Writes a GUID partition table with valid checksums. Resize the disk first for a valid backup.
void put_gpt(byte_image& disk, const std::vector<gpt_slot>& slots, const gpt_options& options = {});
// Returns the checksum of the table's header and entries.
std::uint32_t crc32(std::span<const std::uint8_t> content);

// Puts a volume at byte `at` of the disk.
void embed(byte_image& disk, std::uint64_t at, const byte_image& volume);

// An NTFS boot sector alone. See ntfs_image.h for a whole volume.
struct ntfs_boot_options {
    std::uint16_t bytes_per_sector = 512;
    std::uint8_t sectors_per_cluster = 8;  // as stored
    std::uint32_t hidden_sectors = 0;
    std::uint64_t total_sectors = 0x1000;
    std::uint64_t mft_lcn = 4;
    std::uint64_t mirror_lcn = 2;
    std::uint8_t record_size = 0xF6;    // as stored: 2^(256 - x) bytes for x from 0x80
    std::uint8_t index_block_size = 1;  // likewise
    std::uint64_t serial = 0x1122334455667788;
};
byte_image ntfs_boot_sector(const ntfs_boot_options& options = {});

// Boot sectors of other file systems, only the fields that identify them.
struct other_boot_options {
    std::uint16_t bytes_per_sector = 512;
    std::uint8_t sectors_per_cluster = 8;
    std::uint32_t hidden_sectors = 0;
    std::uint32_t total_sectors = 0x1000;
    std::uint16_t small_total_sectors = 0;   // FAT: the 16-bit count at 19
    std::string_view oem_name = "MSDOS5.0";  // eight characters at byte 3
};
byte_image fat12_boot_sector(const other_boot_options& options = {});
byte_image fat16_boot_sector(const other_boot_options& options = {});
byte_image fat32_boot_sector(const other_boot_options& options = {});
// "EXFAT   "; shifts at 108 (bytes per sector) and 109 (sectors per cluster).
struct exfat_boot_options {
    std::uint64_t partition_offset = 0;    // sectors, at 64
    std::uint64_t total_sectors = 0x1000;  // at 72
    std::uint8_t sector_shift = 9;
    std::uint8_t cluster_shift = 3;
};
byte_image exfat_boot_sector(const exfat_boot_options& options = {});
// "-FVE-FS-" at byte 3.
byte_image bitlocker_boot_sector(const other_boot_options& options = {});
// Two empty sectors, then the superblock at byte 1024 with 0xEF53 at its byte 56.
struct ext_options {
    std::uint32_t blocks = 0x1000;
    std::uint32_t log_block_size = 2;  // 1024 << n
    std::uint16_t magic = 0xEF53;
};
byte_image ext_start(const ext_options& options = {});
// The volume header at byte 1024: "H+" (or "HX"), version, block size and counts, big-endian.
struct hfs_plus_options {
    std::string_view signature = "H+";
    std::uint16_t version = 4;
    std::uint32_t block_size = 4096;
    std::uint32_t total_blocks = 0x1000;
};
byte_image hfs_plus_start(const hfs_plus_options& options = {});

}  // namespace support
