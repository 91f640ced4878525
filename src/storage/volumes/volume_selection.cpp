#include "storage/volumes/volume_selection.h"

#include <string>

#include "storage/disk/raw_disk.h"
#include "storage/tables/partition_types.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/partition_scan.h"

namespace {

// Compares the name of the record's type, which also covers exFAT, BitLocker and hidden NTFS.
bool is_named_ntfs(const std::string& name) { return name.find("ntfs") != std::string::npos; }

void write_out_of_bounds(std::ostream& out, std::uint64_t offset) {
    out << "volume offset 0x" << std::hex << offset << " is not within image bounds" << std::endl;
}

// Fills `list`, from a damaged first sector if necessary. Sets `is_bare`, which is initially false,
// if there is no list but an NTFS volume at the start. Returns false, after a message, if nothing
// is found.
bool list_volumes(std::ostream& out, CRawDisk& disk, partition_list& list, bool& is_bare) {
    if (!scan_partitions(disk, list, false, false)) {
        is_bare = has_ntfs_boot_sector(disk, 0);
        if (is_bare) return true;
        if (!scan_partitions(disk, list, true, false)) {
            out << "couldn't find any partitions on disk" << std::endl;
            return false;
        }
        out << "disk is corrupted, partition info questionable" << std::endl;
    }
    if (list.empty()) out << "couldn't find any partitions on disk." << std::endl;
    return !list.empty();
}

// Returns the first record that starts at `offset`, or null. NTFS volumes before it set
// `found_ntfs`, and the last of them is the `candidate` for a suggestion.
const partition_record* find_match(std::ostream& out, const partition_list& list,
                                   std::uint64_t offset, std::uint64_t size, bool& found_ntfs,
                                   std::uint64_t& candidate) {
    for (const partition_record& record : list) {
        const std::uint64_t start = record.byte_offset();
        if (start == offset) return &record;
        if (!is_named_ntfs(partition_type_name(record.m_partition_type))) continue;
        found_ntfs = true;
        candidate = start;
        if (start > size) write_out_of_bounds(out, start);
    }
    return nullptr;
}

// Writes all volumes and the suggestion; sets `offset` to that of the candidate, or of the last
// volume.
void write_listing(std::ostream& out, const partition_list& list, std::uint64_t candidate,
                   std::uint64_t& offset) {
    out << std::endl;
    for (const partition_record& record : list) {
        offset = record.byte_offset();
        out << "volume offset [ 0x" << std::hex << offset
            << " ] : " << partition_type_name(record.m_partition_type) << std::endl;
    }
    out << std::endl;
    if (candidate != 0) {
        offset = candidate;
        out << "use option [-offset 0x" << std::hex << candidate << "]";
    } else {
        out << "prob detecting ntfs partition";
    }
    out << std::endl;
}

}  // namespace

bool select_volume(std::ostream& out, bool& found_ntfs, std::uint64_t& offset, CRawDisk& disk,
                   bool ignore_image_size) {
    found_ntfs = false;
    if (!disk.ok) return false;
    const std::uint64_t size = disk.size_in_bytes();
    if (offset > size) {
        write_out_of_bounds(out, offset);
        return false;
    }

    partition_list list;
    bool is_bare = false;
    if (!list_volumes(out, disk, list, is_bare)) return false;
    if (is_bare) {
        found_ntfs = true;
        offset = 0;
        return true;
    }

    std::uint64_t candidate = 0;
    const partition_record* match = find_match(out, list, offset, size, found_ntfs, candidate);
    if (match != nullptr) {
        const std::string name = partition_type_name(match->m_partition_type);
        if (is_named_ntfs(name)) {
            found_ntfs = true;
            const std::uint64_t end_sector = match->m_LBA_first_sector + match->m_num_sectors;
            if (size >= match->m_sector_size * end_sector || ignore_image_size) return true;
            out << "volume offset 0x" << std::hex << offset
                << " is a NTFS partition, however image size does not encapsulate entire volume"
                << std::endl;
            return false;
        }
        out << "volume offset selected 0x" << std::hex << offset
            << " is not a NTFS partition, but [" << name << "]" << std::endl;
    }
    write_listing(out, list, candidate, offset);
    return false;
}
