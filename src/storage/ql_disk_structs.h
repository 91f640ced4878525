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

// In the order in which the tables give them.
using partition_list = std::deque<partition_record>;

// Bit of m_partition_type: the record was guessed, no table names it.
constexpr std::uint16_t partition_guess = 0x8000;

// Scans the partition tables (MBR, extended boot records, GPT) of `disk`, or the volume that starts
// at its first byte. `forced` means that the first sector may be damaged: a lost extended boot
// record is then searched for in the first MiB. `list_all` has no effect.
// False when nothing was found or a read failed that the scan can't do without.
bool scan_partitions(CRawDisk& disk, partition_list& list, bool forced, bool list_all);

// The same on the first bytes of a disk in memory. GPT is not looked at.
bool scan_partitions_in_buffer(ql::bytes data, partition_list& list, bool forced, bool list_all);

// Scans a GUID partition table. Neither its signature nor a CRC is checked. `list_all` has no
// effect. False when no sector size or no header is found, when an entry or the start of its
// partition can't be read, and when no entry is used.
bool scan_gpt(CRawDisk& disk, partition_list& list, bool list_all);

// True when a superblock of an ext file system starts at `at`: its magic number is the u16 at 56.
inline bool has_ext_superblock(ql::bytes data, std::size_t at) {
    return ql::le16(data, at + 56) == 0xef53;
}

// True when the eight bytes at `offset` + 3 are "NTFS    ". False also when they can't be read.
bool has_ntfs_boot_sector(CRawDisk& disk, std::uint64_t offset);

// Looks at the first sector of a partition and writes the file system that it shows into `record`:
// type, name, cluster and sector size, serial number, a missing number of sectors. `data` is its
// start, at least 512 bytes; fewer give false. False when no known file system is there.
bool detect_file_system(partition_record& record, ql::bytes data);

// The name of a partition type for the list of volumes, "unk" if there is none. " [guess]" is
// appended with bit 0x8000.
std::string partition_type_name(std::uint16_t type);
