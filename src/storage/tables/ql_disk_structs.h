// A partition of a disk, and the list that a scan fills.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>

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

// Whether a scan accepts a disk whose first sector has no table and may be damaged.
enum class scan_mode { strict, forced };

// A value of the parameter `list_all` of the scans: the list contains partitions only, not the
// tables and the gaps between partitions.
constexpr bool partitions_only = false;

// Bit of m_partition_type: the record is a guess and is not in a table.
constexpr std::uint16_t partition_guess = 0x8000;
