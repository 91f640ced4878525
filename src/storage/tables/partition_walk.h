// The steps of a scan for partitions: the start of the disk, the primary partitions, and the chain
// of extended boot records. The scan of a disk and that of bytes in memory share them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>

#include "foundation/bytes/ql_bytes.h"
#include "storage/tables/partition_table.h"
#include "storage/tables/ql_disk_structs.h"

constexpr std::uint32_t default_sector_size = 512;
constexpr std::uint32_t largest_sector_size = 16384;

// What is at the start of a disk.
enum class start_form {
    table,           // a partition table
    volume,          // the first sector of a volume
    ext_superblock,  // two sectors of anything, then an ext superblock; set by the scan of a disk
    unknown,
};

struct disk_start {
    start_form form = start_form::unknown;
    std::uint32_t sector_size = default_sector_size;
};

// Returns the sector size at whose end the signature of a boot record is: `smallest`, or twice
// that, and so on up to `largest`. Returns 0 if there is no signature.
std::uint32_t signed_sector_size(ql::bytes data, std::uint32_t smallest, std::uint64_t largest);

// Returns what is at the start of a disk: a table, a volume or neither. A table of larger sectors
// also has its entries at byte 446, but the signature at the end of the sector; sizes up to
// `largest` are tried.
disk_start classify_start(ql::bytes data, std::uint64_t largest);

struct primary_walk {
    bool leads_to_gpt = false;
    std::uint64_t extended_base = 0;  // sector of the first extended boot record, or 0
};

// What a walk does at an entry that is not a partition.
enum class gap_rule { skip, stop };

// Appends the primary partitions. Entries after an extended partition, or after the entry that
// protects a GUID partition table, are not read.
primary_walk walk_primaries(ql::bytes record, std::uint32_t sector_size, partition_list& list,
                            gap_rule at_gap);

// Fills the list of a disk that is one volume. `data` is its first sector or superblock.
void list_only_volume(partition_list& list, ql::bytes data, std::uint64_t first_sector);

using record_bytes = std::array<std::uint8_t, boot_record_size>;

// The extended boot records of a disk. Links are relative to the first record, volumes to the
// record that names them.
class extended_chain {
public:
    extended_chain(partition_list& list, std::uint32_t sector_size, std::uint64_t base)
        : m_list(list), m_sector_size(sector_size), m_base(base) {}

    // Appends the volumes that the records of the chain name. `read_record(lba, record)` fills
    // `record` or returns false. The signature of the first record is not checked. The chain ends
    // at a record that cannot be read or is not a boot record, and at a sector that it has already
    // read. Returns false if its first record cannot be read.
    template <typename ReadRecord>
    bool follow(ReadRecord read_record) {
        record_bytes record{};
        if (!read_record(m_base, record)) return false;
        std::set<std::uint64_t> visited{m_base};
        std::optional<std::uint64_t> link = take(record, m_base);
        while (link && visited.insert(*link).second && read_record(*link, record) &&
               is_boot_record(record)) {
            link = take(record, *link);
        }
        return true;
    }

    std::uint64_t base() const { return m_base; }  // sector of the first record
    std::uint32_t sector_size() const { return m_sector_size; }
    // Type of the last volume in the first record; 0 if there is no volume.
    std::uint16_t last_type() const { return m_last_type; }

private:
    // Links are relative to the base, volumes to the record, which is at sector `record_lba`.
    // Returns the sector of the next record.
    std::optional<std::uint64_t> take(ql::bytes record, std::uint64_t record_lba);

    partition_list& m_list;
    std::uint32_t m_sector_size;
    std::uint64_t m_base;
    std::uint16_t m_last_type = 0;
};
