// The result of a scan of a disk or of bytes in memory, in a form that tests compare.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "storage/tables/partition_buffer_scan.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/partition_scan.h"
#include "support/byte_image.h"
#include "support/partition_image.h"
#include "unit/storage/disk_file.h"

// The fields of a record that a table defines.
struct entry {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    int type = 0;
    std::uint32_t sector_size = 512;

    bool operator==(const entry&) const = default;
    friend void PrintTo(const entry& e, std::ostream* out) {
        *out << "{" << e.first << ", " << e.count << ", type " << e.type << ", " << e.sector_size
             << "}";
    }
};
using entries = std::vector<entry>;

inline entries entries_of(const partition_list& list) {
    entries found;
    for (const partition_record& record : list) {
        found.push_back({record.m_LBA_first_sector, record.m_num_sectors, record.m_partition_type,
                         record.m_sector_size});
    }
    return found;
}

struct scan {
    bool result = false;
    partition_list list;
    entries found;
};

inline scan scan_image(const support::byte_image& image, bool forced = false) {
    disk_file source(image);
    scan s;
    s.list.resize(3);  // a scan clears the list
    s.result = scan_partitions(source.disk, s.list, forced, false);
    s.found = entries_of(s.list);
    return s;
}

inline scan scan_bytes(const support::byte_image& image, bool forced = false) {
    scan s;
    s.list.resize(3);
    const support::bytes data = image.bytes();
    s.result = scan_partitions_in_buffer(data, s.list, forced, false);
    s.found = entries_of(s.list);
    return s;
}

// A disk with a partition table.
inline support::byte_image disk_with(const std::vector<support::mbr_slot>& slots,
                                     std::uint64_t size = 0x200000) {
    support::byte_image disk(size);
    support::put_boot_record(disk, 0, slots);
    return disk;
}

// Byte offset of a sector of 512 bytes.
constexpr std::uint64_t sector(std::uint64_t lba) { return lba * 512; }
