// Partition tables: MBR, extended boot records, GPT, the file systems in partitions, and the
// selection of the volume, on a disk in memory.
//
// Input: u8 options, u64 volume offset, then the start of the disk. Bits 0 and 1 of the options
// select the hole after it, bit 2 accepts volumes that end past the disk, bits 3 to 5 select the
// action: only one per input, because a scan may need 65,536 reads.
#include <sstream>

#include "fuzz_support.h"
#include "storage/disk/raw_disk.h"
#include "storage/tables/fs_detection.h"
#include "storage/tables/partition_buffer_scan.h"
#include "storage/tables/partition_types.h"
#include "storage/tables/ql_disk_structs.h"
#include "storage/volumes/gpt_scan.h"
#include "storage/volumes/partition_scan.h"
#include "storage/volumes/volume_selection.h"

namespace {

// Size in bytes of the disk that starts with the input.
std::uint64_t disk_size(std::uint8_t choice) {
    constexpr std::uint64_t sizes[] = {0, 1 << 20, 16 << 20, 1ull << 40};
    return sizes[choice & 3];
}

void look_at(const partition_list& list) {
    for (const partition_record& record : list) {
        static_cast<void>(partition_type_name(record.m_partition_type));
        fuzz::require(record.byte_offset() == record.m_LBA_first_sector * record.m_sector_size,
                      "sectors give the offset");
    }
}

void scan(CRawDisk& disk, fuzz::bytes start, bool forced) {
    partition_list list;
    scan_partitions(disk, list, forced, partitions_only);
    look_at(list);
    list.clear();
    scan_partitions_in_buffer(start, list, forced, partitions_only);
    look_at(list);
    partition_record record;
    detect_file_system(record, start);
}

void scan_gpt_alone(CRawDisk& disk, std::uint64_t offset) {
    partition_list list;
    scan_gpt(disk, list, partitions_only);
    look_at(list);
    has_ntfs_boot_sector(disk, offset);
}

void choose_volume(CRawDisk& disk, std::uint64_t offset, bool ignore_image_size) {
    std::ostringstream messages;
    bool found_ntfs = false;
    select_volume(messages, found_ntfs, offset, disk, ignore_image_size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::memory_file source;
    fuzz::input in(data, size);
    const std::uint8_t options = in.u8();
    const std::uint64_t offset = in.u64();
    const fuzz::bytes start = in.rest();
    source.set(start, disk_size(options));

    CRawDisk disk(source.wide_path());
    fuzz::require(disk.ok, "the source opens");
    const bool ignore_image_size = (options & 4) != 0;
    switch (options >> 3 & 7) {
        case 0:
        case 1:
            scan(disk, start, (options & 8) != 0);
            break;
        case 2:
            scan_gpt_alone(disk, offset);
            break;
        case 3:
            choose_volume(disk, offset % 64 * 512, ignore_image_size);
            break;
        case 4:
            choose_volume(disk, offset, ignore_image_size);
            break;
        default:
            choose_volume(disk, 0, ignore_image_size);
    }
    return 0;
}
