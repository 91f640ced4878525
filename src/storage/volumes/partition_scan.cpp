#include "storage/volumes/partition_scan.h"

#include <array>
#include <vector>

#include "storage/disk/raw_disk.h"
#include "storage/tables/fs_detection.h"
#include "storage/tables/partition_table.h"
#include "storage/tables/partition_walk.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/gpt_scan.h"

namespace {

constexpr std::uint64_t lost_record_limit = 0x100000;  // bytes; one more sector is read
constexpr std::uint64_t classic_first_sector = 63;

bool read_record_at(CRawDisk& disk, std::uint64_t position, record_bytes& record) {
    record.fill(0);  // the last sector of a truncated image may be short
    std::uint32_t count = boot_record_size;
    return disk.read_bytes(record.data(), count, position);
}

// Searches the start of a disk without a partition table for an extended boot record. Returns its
// sector, or 0 if no record is found or a read fails.
std::uint64_t find_lost_record(CRawDisk& disk) {
    record_bytes record{};
    for (std::uint64_t position = boot_record_size;
         position <= lost_record_limit + boot_record_size; position += boot_record_size) {
        if (!read_record_at(disk, position, record)) return 0;
        if (is_boot_record(record)) return position / boot_record_size;
    }
    return 0;
}

// Recovers a first partition that the table no longer contains, at the start of older disks: on
// every disk with an extended partition, an NTFS volume there is a guess.
void guess_first_partition(CRawDisk& disk, partition_list& list, const extended_chain& chain) {
    if (!has_ntfs_boot_sector(disk, classic_first_sector * chain.sector_size())) return;
    partition_record& record = list.emplace_front();
    record.m_LBA_first_sector = classic_first_sector;
    record.m_num_sectors = chain.base() - classic_first_sector;
    record.m_partition_type = static_cast<std::uint16_t>(chain.last_type() | partition_guess);
    record.m_sector_size = chain.sector_size();
}

bool scan_extended(CRawDisk& disk, partition_list& list, std::uint64_t base,
                   std::uint32_t sector_size) {
    extended_chain chain(list, sector_size, base);
    const auto read_record = [&](std::uint64_t lba, record_bytes& record) {
        return read_record_at(disk, lba * sector_size, record);
    };
    if (!chain.follow(read_record)) return false;
    guess_first_partition(disk, list, chain);
    return true;
}

// Detects the file system in the first sector of each partition. If a sector cannot be read, the
// values of the table are kept.
void detect_file_systems(CRawDisk& disk, partition_list& list, std::uint32_t sector_size) {
    std::vector<std::uint8_t> sector(sector_size);
    for (partition_record& record : list) {
        std::uint32_t count = sector_size;
        if (!disk.read_bytes(sector.data(), count, record.byte_offset())) continue;
        detect_file_system(record, ql::clip(sector, 0, count));
    }
}

}  // namespace

bool scan_partitions(CRawDisk& disk, partition_list& list, bool forced, bool list_all) {
    list.clear();
    std::vector<std::uint8_t> data(largest_sector_size);
    std::uint32_t count = largest_sector_size;
    if (!disk.read_bytes(data.data(), count, 0)) return false;

    disk_start start = classify_start(data, data.size());
    if (start.form == start_form::unknown && has_ext_superblock(data, 1024)) {
        start.form = start_form::ext_superblock;
    }
    if (start.form == start_form::unknown && !forced) return false;

    std::uint64_t extended_base = 0;
    if (start.form == start_form::table) {
        const primary_walk walk = walk_primaries(data, start.sector_size, list, gap_rule::skip);
        if (walk.leads_to_gpt) return scan_gpt(disk, list, list_all);
        extended_base = walk.extended_base;
    } else if (start.form != start_form::volume && forced) {
        extended_base = find_lost_record(disk);
        if (extended_base == 0) return false;
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

bool scan_partitions(CRawDisk& disk, partition_list& list, scan_mode mode) {
    return scan_partitions(disk, list, mode == scan_mode::forced, partitions_only);
}

bool has_ntfs_boot_sector(CRawDisk& disk, std::uint64_t offset) {
    std::array<std::uint8_t, 36> start{};
    std::uint32_t count = start.size();
    return disk.read_bytes(start.data(), count, offset) && ql::has_text(start, 3, "NTFS    ");
}
