// Boot records: the sectors that contain a partition table of four entries.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/bytes/ql_bytes.h"
#include "storage/tables/partition_types.h"

constexpr std::size_t boot_record_size = 512;   // bytes of a boot record that are used
constexpr std::size_t boot_record_entries = 4;  // 16 bytes each, from byte 446 on
constexpr std::uint16_t boot_signature = 0xaa55;
constexpr std::uint8_t gpt_protective_type = 0xee;

// One entry of a partition table. Offsets are those in the entry.
//
//    4  u8   type code
//    8  u32  first sector, counted from a base that depends on the record
//   12  u32  number of sectors
struct boot_record_entry {
    std::uint8_t type = 0;
    std::uint32_t first_sector = 0;
    std::uint32_t num_sectors = 0;

    // Returns true if the entry links to the next record of an extended chain. Those of other
    // container types do not.
    bool is_link() const { return type == 0x05 || type == 0x0f; }
};

// Returns entry `index` (0 to 3) of a boot record.
inline boot_record_entry boot_entry(ql::bytes record, std::size_t index) {
    const std::size_t at = 446 + 16 * index;
    return {ql::le8(record, at + 4), ql::le32(record, at + 8), ql::le32(record, at + 12)};
}

// Returns true if the entry is a partition, even one at sector 0; other entries are gaps.
inline bool is_partition(const boot_record_entry& entry) {
    return is_known_type(entry.type) && entry.num_sectors != 0;
}

// Returns true if the name of a file system is where the first sector of a volume has it. Four
// bytes are compared.
inline bool has_fs_name(ql::bytes sector) {
    return ql::has_text(sector, 3, "EXFA") || ql::has_text(sector, 3, "MSDO") ||
           ql::has_text(sector, 3, "NTFS");
}

// Returns true if the sector has the signature and is not the first one of a volume.
inline bool is_boot_record(ql::bytes sector) {
    return ql::le16(sector, 510) == boot_signature && !has_fs_name(sector);
}
