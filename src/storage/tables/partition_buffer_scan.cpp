#include "storage/tables/partition_buffer_scan.h"

#include <algorithm>

#include "storage/tables/fs_detection.h"
#include "storage/tables/partition_table.h"
#include "storage/tables/partition_walk.h"
#include "storage/tables/ql_disk_structs.h"

namespace {

// Returns the sector of the first boot record after the first sector, or 0.
std::uint64_t find_record_in_buffer(ql::bytes data) {
    for (std::size_t position = boot_record_size; position < data.size();
         position += boot_record_size) {
        if (is_boot_record(ql::clip(data, position, boot_record_size)))
            return position / boot_record_size;
    }
    return 0;
}

// Follows the chain while its sector numbers are below the length of the buffer in bytes. Bytes
// past the buffer are zero. If the base is not below that length, the partitions found so far are
// kept.
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
    constexpr std::uint64_t least_start = 76;  // bytes of a first sector that are required
    for (partition_record& record : list) {
        const std::uint64_t offset = record.byte_offset();
        if (offset + least_start < data.size()) detect_file_system(record, ql::clip(data, offset));
    }
}

}  // namespace

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

    const std::uint64_t extended_base =
        start.form == start_form::table
            ? walk_primaries(data, start.sector_size, list, gap_rule::stop).extended_base
            : find_record_in_buffer(data);
    if (extended_base != 0) scan_extended_in_buffer(data, list, extended_base, start.sector_size);
    if (start.form == start_form::table) detect_file_systems_in_buffer(data, list);
    return !list.empty();
}

partition_list scan_partitions_in_buffer(ql::bytes data, scan_mode mode) {
    partition_list list;
    scan_partitions_in_buffer(data, list, mode == scan_mode::forced, partitions_only);
    return list;
}
