#include "storage/tables/fs_detection.h"

#include "storage/tables/ql_disk_structs.h"

namespace {

constexpr std::size_t least_size = 512;              // bytes of a first sector
constexpr std::size_t superblock_least_size = 2048;  // with a superblock at byte 1024

constexpr std::uint16_t type_fat16 = 4;
constexpr std::uint16_t type_ntfs = 7;  // also exFAT and BitLocker
constexpr std::uint16_t type_fat32 = 12;
constexpr std::uint16_t type_linux = 131;
constexpr std::uint16_t type_hfs = 175;

// Returns `one` shifted by an amount from the disk, modulo 32.
std::uint32_t shifted(std::uint32_t one, std::uint32_t amount) { return one << (amount & 31); }

void set_volume(partition_record& record, std::uint16_t type, const char* fs_name) {
    record.m_partition_type = type;
    record.fs_name = fs_name;
    record.is_volume = true;
}

void set_count_if_missing(partition_record& record, std::uint64_t num_sectors) {
    if (record.m_num_sectors == 0) record.m_num_sectors = num_sectors;
}

// Cluster and sector size of the BIOS parameter block: byte 13 and 16 bits at byte 11.
void set_bpb_geometry(partition_record& record, ql::bytes data) {
    record.m_sectors_per_cluster = ql::le8(data, 13);
    record.m_sector_size = ql::le16(data, 11);
}

void fill_exfat(partition_record& record, ql::bytes data) {
    set_volume(record, type_ntfs, "exfat");
    record.m_sectors_per_cluster = shifted(1, ql::le8(data, 109));
    record.m_sector_size = shifted(1, ql::le8(data, 108));
    record.volume_serial = ql::le32(data, 100);
    set_count_if_missing(record, ql::le64(data, 72));
}

// NTFS, and BitLocker, which keeps the parameter block of the encrypted volume.
void fill_ntfs(partition_record& record, ql::bytes data, const char* fs_name) {
    set_volume(record, type_ntfs, fs_name);
    set_bpb_geometry(record, data);
    record.volume_serial = ql::le32(data, 72);
    set_count_if_missing(record, ql::le64(data, 40));
}

void fill_fat32(partition_record& record, ql::bytes data) {
    set_volume(record, type_fat32, "fat32");
    set_bpb_geometry(record, data);
    record.volume_serial = ql::le32(data, 67);
    record.m_num_sectors = ql::le32(data, 32);  // overrides the table
}

void fill_fat16(partition_record& record, ql::bytes data) {
    set_volume(record, type_fat16, "fat16");
    set_bpb_geometry(record, data);
    record.volume_serial = ql::le32(data, 39);
    set_count_if_missing(record, ql::le32(data, 32));
}

// A superblock at the start of `data`. Its volume is assumed to start at the disk's third sector.
void fill_ext(partition_record& record, ql::bytes data) {
    set_volume(record, type_linux, "ext2/3");
    const std::uint32_t block_size = shifted(1024, ql::le32(data, 24));
    record.m_sectors_per_cluster = block_size / 512;
    record.m_sector_size = 512;
    record.volume_serial = ql::le32(data, 104);
    record.m_num_sectors = std::uint64_t{block_size} * ql::le32(data, 4);
    record.m_LBA_first_sector = 2;
}

bool detect_by_first_sector(partition_record& record, ql::bytes data) {
    if (ql::has_text(data, 3, "EXFAT   ")) {
        fill_exfat(record, data);
    } else if (ql::has_text(data, 3, "-FVE-FS-")) {
        fill_ntfs(record, data, "bitlocker container");
    } else if (ql::has_text(data, 3, "NTFS    ")) {
        fill_ntfs(record, data, "ntfs");
    } else if (ql::has_text(data, 82, "FAT32")) {
        fill_fat32(record, data);
    } else if (ql::has_text(data, 54, "FAT16")) {
        fill_fat16(record, data);
    } else if (has_ext_superblock(data, 0)) {
        fill_ext(record, data);
    } else {
        return false;
    }
    return true;
}

// A first sector without a name: ext and HFS+ have their superblock at byte 1024. An "H" that is
// not followed by one of the two versions sets the type of HFS but is not a known file system.
bool detect_by_superblock(partition_record& record, ql::bytes data) {
    if (data.size() < superblock_least_size) return false;
    if (has_ext_superblock(data, 1024)) {
        record.m_partition_type = type_linux;
        return true;
    }
    if (ql::le8(data, 1024) != 'H') return false;
    record.m_partition_type = type_hfs;
    const std::uint16_t version = ql::le16(data, 1024);
    if (version == 0x2b48) record.fs_name = "hfs+";
    if (version == 0x5848) record.fs_name = "hfsx";
    return version == 0x2b48 || version == 0x5848;
}

}  // namespace

bool detect_file_system(partition_record& record, ql::bytes data) {
    if (data.size() < least_size) return false;
    const std::uint16_t table_type = record.m_partition_type;
    if (data[13] != 0) record.m_sectors_per_cluster = data[13];
    const bool named = ql::le64(data, 3) != 0;
    const bool found =
        named ? detect_by_first_sector(record, data) : detect_by_superblock(record, data);
    // A guess keeps its type: it is named after the chain from which it was derived.
    if ((table_type & partition_guess) != 0) record.m_partition_type = table_type;
    return found;
}
