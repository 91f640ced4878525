#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <vector>

#include "storage/partition_table.h"
#include "storage/ql_disk_structs.h"
#include "storage/raw_disk.h"

namespace {

constexpr std::uint32_t default_sector_size = 512;
constexpr std::uint32_t largest_sector_size = 16384;
constexpr std::uint64_t lost_record_limit = 0x100000;  // bytes; one sector behind it is looked at
constexpr std::uint64_t classic_first_sector = 63;
constexpr std::uint16_t ext_magic = 0xef53;

using record_bytes = std::array<std::uint8_t, boot_record_size>;

enum class start_form {
    table,           // a partition table
    volume,          // the first sector of a volume
    ext_superblock,  // two sectors of anything, then an ext superblock
    unknown,
};

struct disk_start {
    start_form form = start_form::unknown;
    std::uint32_t sector_size = default_sector_size;
};

// What stands at the start of a disk. A table of larger sectors keeps its entries at byte 446 and
// has the signature at the end of the sector; sizes up to `largest` are tried.
disk_start classify_start(ql::bytes data, std::uint64_t largest) {
    if (is_boot_record(data)) return {start_form::table, default_sector_size};
    if (has_fs_name(data)) return {start_form::volume, default_sector_size};
    const std::uint64_t limit = std::min<std::uint64_t>(largest, largest_sector_size);
    for (std::uint32_t size = 2 * default_sector_size; size <= limit; size *= 2) {
        if (ql::le16(data, size - 2) == boot_signature) return {start_form::table, size};
    }
    return {};
}

void append_entry(partition_list& list, const boot_record_entry& entry, std::uint64_t first_sector,
                  std::uint32_t sector_size) {
    partition_record& record = list.emplace_back();
    record.m_LBA_first_sector = first_sector;
    record.m_num_sectors = entry.num_sectors;
    record.m_partition_type = entry.type;
    record.m_sector_size = sector_size;
}

struct primary_walk {
    bool leads_to_gpt = false;
    std::uint64_t extended_base = 0;  // sector of the first extended boot record; 0 for none
};

// Appends the primary partitions. Nothing behind an extended one is read, and nothing behind the
// entry that protects a GUID partition table.
primary_walk walk_primaries(ql::bytes record, std::uint32_t sector_size, partition_list& list,
                            bool stop_at_gap) {
    for (std::size_t i = 0; i < boot_record_entries; ++i) {
        const boot_record_entry entry = boot_entry(record, i);
        if (entry.type == gpt_protective_type) return {.leads_to_gpt = true};
        if (!is_partition(entry)) {
            if (stop_at_gap) break;
            continue;
        }
        append_entry(list, entry, entry.first_sector, sector_size);
        if (entry.is_link()) return {.extended_base = entry.first_sector};
    }
    return {};
}

// The extended boot records of a disk. All links count from the first record; volumes count from
// the record that names them.
class extended_chain {
public:
    extended_chain(partition_list& list, std::uint32_t sector_size, std::uint64_t base)
        : m_list(list), m_sector_size(sector_size), m_base(base) {}

    // Appends what the records of the chain name. `read_record(lba, record)` fills `record` or
    // gives false. The chain ends where a record can't be read or is none, and where it comes back
    // to a sector that it has read. False when its first record can't be read.
    template <typename ReadRecord>
    bool follow(ReadRecord read_record) {
        record_bytes record{};
        if (!read_record(m_base, record)) return false;
        std::set<std::uint64_t> visited{m_base};
        std::optional<std::uint64_t> link = take_first(record);
        while (link && visited.insert(*link).second && read_record(*link, record) &&
               is_boot_record(record)) {
            link = take_next(record, *link);
        }
        return true;
    }

    // Type of the last volume in the first record; 0 for none.
    std::uint16_t last_type() const { return m_last_type; }

private:
    // The first record is taken without a look at its signature, and all of its entries count from
    // the base. The result is the sector of the next record.
    std::optional<std::uint64_t> take_first(ql::bytes record) {
        for (std::size_t i = 0; i < boot_record_entries; ++i) {
            const boot_record_entry entry = boot_entry(record, i);
            if (!is_partition(entry)) break;
            append_entry(m_list, entry, m_base + entry.first_sector, m_sector_size);
            if (entry.is_link()) return m_base + entry.first_sector;
            m_last_type = entry.type;
        }
        return std::nullopt;
    }

    std::optional<std::uint64_t> take_next(ql::bytes record, std::uint64_t record_lba) {
        for (std::size_t i = 0; i < boot_record_entries; ++i) {
            const boot_record_entry entry = boot_entry(record, i);
            if (!is_partition(entry)) break;
            const std::uint64_t base = entry.is_link() ? m_base : record_lba;
            append_entry(m_list, entry, base + entry.first_sector, m_sector_size);
            if (entry.is_link()) return base + entry.first_sector;
        }
        return std::nullopt;
    }

    partition_list& m_list;
    std::uint32_t m_sector_size;
    std::uint64_t m_base;
    std::uint16_t m_last_type = 0;
};

bool read_record_at(CRawDisk& disk, std::uint64_t position, record_bytes& record) {
    record.fill(0);  // the sector at the end of a cut image may come short
    std::uint32_t count = boot_record_size;
    return disk.read_bytes(record.data(), count, position);
}

// Searches the start of a disk without a partition table for an extended boot record. False when
// there is none or a read fails; `base` is its sector.
bool find_lost_record(CRawDisk& disk, std::uint64_t& base) {
    record_bytes record{};
    for (std::uint64_t position = boot_record_size;
         position <= lost_record_limit + boot_record_size; position += boot_record_size) {
        if (!read_record_at(disk, position, record)) return false;
        if (is_boot_record(record)) {
            base = position / boot_record_size;
            return true;
        }
    }
    return false;
}

// A first partition that the table no longer names is recovered at the classic start: every disk
// with an extended partition gets the guess if an NTFS volume is there.
void guess_first_partition(CRawDisk& disk, partition_list& list, const extended_chain& chain,
                           std::uint64_t extended_base, std::uint32_t sector_size) {
    if (!has_ntfs_boot_sector(disk, classic_first_sector * sector_size)) return;
    partition_record& record = list.emplace_front();
    record.m_LBA_first_sector = classic_first_sector;
    record.m_num_sectors = extended_base - classic_first_sector;
    record.m_partition_type = static_cast<std::uint16_t>(chain.last_type() | partition_guess);
    record.m_sector_size = sector_size;
}

bool scan_extended(CRawDisk& disk, partition_list& list, std::uint64_t base,
                   std::uint32_t sector_size) {
    extended_chain chain(list, sector_size, base);
    const auto read_record = [&](std::uint64_t lba, record_bytes& record) {
        return read_record_at(disk, lba * sector_size, record);
    };
    if (!chain.follow(read_record)) return false;
    guess_first_partition(disk, list, chain, base, sector_size);
    return true;
}

// Looks into the first sector of each partition. One that can't be read keeps what the table says.
void detect_file_systems(CRawDisk& disk, partition_list& list, std::uint32_t sector_size) {
    std::vector<std::uint8_t> sector(sector_size);
    for (partition_record& record : list) {
        std::uint32_t count = sector_size;
        if (!disk.read_bytes(sector.data(), count, record.byte_offset())) continue;
        detect_file_system(record, ql::clip(sector, 0, count));
    }
}

// The list of a disk that is one volume.
void list_only_volume(partition_list& list, ql::bytes data, std::uint64_t first_sector) {
    list.clear();
    partition_record& record = list.emplace_back();
    record.m_LBA_first_sector = first_sector;
    record.is_volume = true;
    detect_file_system(record, data);
}

bool find_record_in_buffer(ql::bytes data, std::uint64_t& base) {
    for (std::size_t position = boot_record_size; position < data.size();
         position += boot_record_size) {
        if (is_boot_record(ql::clip(data, position, boot_record_size))) {
            base = position / boot_record_size;
            return true;
        }
    }
    return false;
}

// Follows the chain while its sector numbers are below the length of the buffer in bytes; what
// lies behind the buffer is zero. A base behind that leaves the partitions found so far.
void scan_extended_in_buffer(ql::bytes data, partition_list& list, std::uint64_t base,
                             std::uint32_t sector_size) {
    extended_chain chain(list, sector_size, base);
    chain.follow([&](std::uint64_t lba, record_bytes& record) {
        if (lba >= data.size()) return false;
        record.fill(0);
        const ql::bytes stored = ql::clip(data, lba * sector_size, boot_record_size);
        std::copy(stored.begin(), stored.end(), record.begin());
        return true;
    });
}

void detect_file_systems_in_buffer(ql::bytes data, partition_list& list) {
    constexpr std::uint64_t least_start = 76;  // bytes of a first sector that must be there
    for (partition_record& record : list) {
        const std::uint64_t offset = record.byte_offset();
        if (offset + least_start < data.size()) detect_file_system(record, ql::clip(data, offset));
    }
}

}  // namespace

bool scan_partitions(CRawDisk& disk, partition_list& list, bool forced, bool list_all) {
    list.clear();
    if (!disk.ok) return false;
    std::vector<std::uint8_t> data(largest_sector_size);
    std::uint32_t count = largest_sector_size;
    if (!disk.read_bytes(data.data(), count, 0)) return false;

    disk_start start = classify_start(data, data.size());
    if (start.form == start_form::unknown && ql::le16(data, 1080) == ext_magic) {
        start.form = start_form::ext_superblock;
    }
    if (start.form == start_form::unknown && !forced) return false;

    std::uint64_t extended_base = 0;
    if (start.form == start_form::table) {
        const primary_walk walk = walk_primaries(data, start.sector_size, list, false);
        if (walk.leads_to_gpt) return scan_gpt(disk, list, list_all);
        extended_base = walk.extended_base;
    } else if (start.form != start_form::volume && forced) {
        if (!find_lost_record(disk, extended_base)) return false;
    }
    if (extended_base != 0 && !scan_extended(disk, list, extended_base, start.sector_size)) {
        return false;
    }

    const ql::bytes bytes = data;
    if (start.form == start_form::table) detect_file_systems(disk, list, start.sector_size);
    if (start.form == start_form::volume) list_only_volume(list, bytes.first(512), 0);
    if (start.form == start_form::ext_superblock) {
        list_only_volume(list, bytes.subspan(1024, 1024), 1024);
    }
    return !list.empty();
}

bool scan_partitions_in_buffer(ql::bytes data, partition_list& list, bool forced,
                               bool /*list_all*/) {
    list.clear();
    if (data.size() < boot_record_size) return false;
    const disk_start start = classify_start(data, data.size() - 1);
    if (start.form != start_form::table && !forced) return false;
    if (start.form == start_form::volume) {
        list_only_volume(list, data.first(boot_record_size), 0);
        return true;
    }

    std::uint64_t extended_base = 0;
    if (start.form == start_form::table) {
        extended_base = walk_primaries(data, start.sector_size, list, true).extended_base;
    } else if (!find_record_in_buffer(data, extended_base)) {
        return false;
    }
    if (extended_base != 0) scan_extended_in_buffer(data, list, extended_base, start.sector_size);
    if (start.form == start_form::table) detect_file_systems_in_buffer(data, list);
    return !list.empty();
}
