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

enum class disk_content {
    volumes,    // the list is filled
    bare_ntfs,  // no list, but an NTFS volume at the start
    nothing,
};

// Fills `list`, from a damaged first sector if necessary. Writes a message if nothing is found.
disk_content list_volumes(std::ostream& out, CRawDisk& disk, partition_list& list) {
    if (!scan_partitions(disk, list, scan_mode::strict)) {
        if (has_ntfs_boot_sector(disk, 0)) return disk_content::bare_ntfs;
        if (!scan_partitions(disk, list, scan_mode::forced)) {
            out << "couldn't find any partitions on disk" << std::endl;
            return disk_content::nothing;
        }
        out << "disk is corrupted, partition info questionable" << std::endl;
    }
    if (!list.empty()) return disk_content::volumes;
    out << "couldn't find any partitions on disk." << std::endl;
    return disk_content::nothing;
}

// The result of a search for the volume at an offset.
struct volume_search {
    const partition_record* match = nullptr;  // null if no volume starts there
    bool found_ntfs = false;                  // an NTFS volume is before it in the list
    std::uint64_t candidate = 0;              // offset of the last of these, to suggest
};

volume_search find_volume(std::ostream& out, const partition_list& list, std::uint64_t offset,
                          std::uint64_t size) {
    volume_search search;
    for (const partition_record& record : list) {
        const std::uint64_t start = record.byte_offset();
        if (start == offset) {
            search.match = &record;
            break;
        }
        if (!is_named_ntfs(partition_type_name(record.m_partition_type))) continue;
        search.found_ntfs = true;
        search.candidate = start;
        if (start > size) write_out_of_bounds(out, start);
    }
    return search;
}

// Returns true if the volume ends within the image; otherwise false, after a message.
bool fits(std::ostream& out, const partition_record& volume, std::uint64_t size) {
    const std::uint64_t end_sector = volume.m_LBA_first_sector + volume.m_num_sectors;
    if (size >= volume.m_sector_size * end_sector) return true;
    out << "volume offset 0x" << std::hex << volume.byte_offset()
        << " is a NTFS partition, however image size does not encapsulate entire volume"
        << std::endl;
    return false;
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
    const disk_content content = list_volumes(out, disk, list);
    if (content == disk_content::nothing) return false;
    if (content == disk_content::bare_ntfs) {
        found_ntfs = true;
        offset = 0;
        return true;
    }

    const volume_search search = find_volume(out, list, offset, size);
    found_ntfs = search.found_ntfs;
    if (search.match != nullptr) {
        const std::string name = partition_type_name(search.match->m_partition_type);
        if (is_named_ntfs(name)) {
            found_ntfs = true;
            return ignore_image_size || fits(out, *search.match, size);
        }
        out << "volume offset selected 0x" << std::hex << offset
            << " is not a NTFS partition, but [" << name << "]" << std::endl;
    }
    write_listing(out, list, search.candidate, offset);
    return false;
}
