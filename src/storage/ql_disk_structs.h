// Partitions of a disk: the record that a scan fills, and the scans.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>

#include "foundation/ql_bytes.h"

class CRawDisk;

// One partition or volume. Its byte offset is first sector times sector size.
struct partition_record {
    std::uint64_t m_LBA_first_sector = 0;  // in units of m_sector_size
    std::uint64_t m_num_sectors = 0;
    std::uint16_t m_partition_type = 0;  // low byte: MBR type code; bit 0x8000: a guess
    std::uint32_t m_sectors_per_cluster = 0;
    std::uint32_t m_sector_size = 512;
    std::uint32_t volume_serial = 0;
    bool is_volume = false;  // a known file system was found in its first sector
    bool is_gpt = false;
    std::array<std::uint8_t, 16> type_guid{};
    std::array<std::uint8_t, 16> unique_guid{};
    std::string description;  // name in the GPT entry, UTF-8
    std::string fs_name;      // "ntfs", "fat32" and so on, as found

    std::uint64_t byte_offset() const { return m_LBA_first_sector * m_sector_size; }
};

// In the order of the tables.
using partition_list = std::deque<partition_record>;

// Bit of m_partition_type: the record is a guess and is not in a table.
constexpr std::uint16_t partition_guess = 0x8000;

// Scans the partition tables (MBR, extended boot records, GPT) of `disk`, or the volume that starts
// at its first byte. `forced` means that the first sector may be damaged: the first MiB is then
// searched for a lost extended boot record. `list_all` has no effect. Returns false if nothing was
// found or a required read failed.
bool scan_partitions(CRawDisk& disk, partition_list& list, bool forced, bool list_all);

// The same for the first bytes of a disk in memory. A GPT is not read.
bool scan_partitions_in_buffer(ql::bytes data, partition_list& list, bool forced, bool list_all);

// Scans a GUID partition table. Neither its signature nor a CRC is checked. `list_all` has no
// effect. Returns false if no sector size or no header is found, if an entry or the start of its
// partition cannot be read, or if no entry is used.
bool scan_gpt(CRawDisk& disk, partition_list& list, bool list_all);

// Returns true if a superblock of an ext file system starts at `at`: its magic number is the u16 at
// 56.
inline bool has_ext_superblock(ql::bytes data, std::size_t at) {
    return ql::le16(data, at + 56) == 0xef53;
}

// Returns true if the eight bytes at `offset` + 3 are "NTFS    "; false also if they cannot be
// read.
bool has_ntfs_boot_sector(CRawDisk& disk, std::uint64_t offset);

// Detects the file system in the first sector of a partition and writes it to `record`: type, name,
// cluster and sector size, serial number, and the number of sectors if it is missing. `data` is the
// start of the partition, at least 512 bytes. Returns false if there are fewer bytes or no known
// file system.
bool detect_file_system(partition_record& record, ql::bytes data);

// Returns the name of a partition type in the list of volumes, or "unk". " [guess]" is appended
// with bit 0x8000.
std::string partition_type_name(std::uint16_t type);
