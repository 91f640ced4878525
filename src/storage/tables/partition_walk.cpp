#include "storage/tables/partition_walk.h"

#include <algorithm>

#include "storage/tables/fs_detection.h"

namespace {

void append_entry(partition_list& list, const boot_record_entry& entry, std::uint64_t first_sector,
                  std::uint32_t sector_size) {
    partition_record& record = list.emplace_back();
    record.m_LBA_first_sector = first_sector;
    record.m_num_sectors = entry.num_sectors;
    record.m_partition_type = entry.type;
    record.m_sector_size = sector_size;
}

}  // namespace

std::uint32_t signed_sector_size(ql::bytes data, std::uint32_t smallest, std::uint64_t largest) {
    for (std::uint32_t size = smallest; size <= largest; size *= 2) {
        if (ql::le16(data, size - 2) == boot_signature) return size;
    }
    return 0;
}

disk_start classify_start(ql::bytes data, std::uint64_t largest) {
    if (is_boot_record(data)) return {start_form::table, default_sector_size};
    if (has_fs_name(data)) return {start_form::volume, default_sector_size};
    const std::uint64_t limit = std::min<std::uint64_t>(largest, largest_sector_size);
    const std::uint32_t size = signed_sector_size(data, 2 * default_sector_size, limit);
    return size != 0 ? disk_start{start_form::table, size} : disk_start{};
}

primary_walk walk_primaries(ql::bytes record, std::uint32_t sector_size, partition_list& list,
                            gap_rule at_gap) {
    for (std::size_t i = 0; i < boot_record_entries; ++i) {
        const boot_record_entry entry = boot_entry(record, i);
        if (entry.type == gpt_protective_type) return {.leads_to_gpt = true};
        if (!is_partition(entry)) {
            if (at_gap == gap_rule::stop) break;
            continue;
        }
        append_entry(list, entry, entry.first_sector, sector_size);
        if (entry.is_link()) return {.extended_base = entry.first_sector};
    }
    return {};
}

void list_only_volume(partition_list& list, ql::bytes data, std::uint64_t first_sector) {
    list.clear();
    partition_record& record = list.emplace_back();
    record.m_LBA_first_sector = first_sector;
    record.is_volume = true;
    detect_file_system(record, data);
}

std::optional<std::uint64_t> extended_chain::take(ql::bytes record, std::uint64_t record_lba) {
    for (std::size_t i = 0; i < boot_record_entries; ++i) {
        const boot_record_entry entry = boot_entry(record, i);
        if (!is_partition(entry)) break;
        const std::uint64_t lba = (entry.is_link() ? m_base : record_lba) + entry.first_sector;
        append_entry(m_list, entry, lba, m_sector_size);
        if (entry.is_link()) return lba;
        if (record_lba == m_base) m_last_type = entry.type;
    }
    return std::nullopt;
}
