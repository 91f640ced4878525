// First sectors of file systems, as declared in partition_image.h.
#include "support/partition_image.h"

namespace support {

namespace {

void put_jump_and_signature(byte_image& sector, std::uint64_t size) {
    sector.put(0, 0x9052EB, 3).put(510, 0xAA55, 2);
    if (sector.size() < size) {
        sector.resize(size);
    }
}

// Returns the parameter block from offset 11, which all kinds of FAT and NTFS share.
byte_image parameter_block(const other_boot_options& options) {
    byte_image sector(512);
    sector.put_text(3, options.oem_name.substr(0, 8));
    sector.put(11, options.bytes_per_sector, 2).put(13, options.sectors_per_cluster, 1);
    sector.put(21, 0xF8, 1).put(24, 63, 2).put(26, 255, 2);
    sector.put(28, options.hidden_sectors, 4);
    sector.put(19, options.small_total_sectors, 2);
    sector.put(32, options.small_total_sectors == 0 ? options.total_sectors : 0, 4);
    put_jump_and_signature(sector, options.bytes_per_sector);
    return sector;
}

byte_image small_fat_boot_sector(const other_boot_options& options, std::string_view kind) {
    byte_image sector = parameter_block(options);
    sector.put(14, 1, 2).put(16, 2, 1).put(17, 512, 2).put(22, 32, 2);
    sector.put(36, 0x80, 1).put(38, 0x29, 1).put(39, 0x12345678, 4);
    sector.put_text(43, "NO NAME    ").put_text(54, kind);
    return sector;
}

}  // namespace

byte_image ntfs_boot_sector(const ntfs_boot_options& options) {
    byte_image sector(512);
    sector.put_text(3, "NTFS    ");
    sector.put(11, options.bytes_per_sector, 2).put(13, options.sectors_per_cluster, 1);
    sector.put(21, 0xF8, 1).put(24, 63, 2).put(26, 255, 2);
    sector.put(28, options.hidden_sectors, 4).put(36, 0x00800080, 4);
    sector.put(40, options.total_sectors, 8);
    sector.put(48, options.mft_lcn, 8).put(56, options.mirror_lcn, 8);
    sector.put(64, options.record_size, 1).put(68, options.index_block_size, 1);
    sector.put(72, options.serial, 8);
    put_jump_and_signature(sector, options.bytes_per_sector);
    return sector;
}

byte_image fat12_boot_sector(const other_boot_options& options) {
    return small_fat_boot_sector(options, "FAT12   ");
}

byte_image fat16_boot_sector(const other_boot_options& options) {
    return small_fat_boot_sector(options, "FAT16   ");
}

byte_image fat32_boot_sector(const other_boot_options& options) {
    byte_image sector = parameter_block(options);
    sector.put(14, 32, 2).put(16, 2, 1).put(36, 1024, 4).put(44, 2, 4).put(48, 1, 2).put(50, 6, 2);
    sector.put(64, 0x80, 1).put(66, 0x29, 1).put(67, 0x12345678, 4);
    sector.put_text(71, "NO NAME    ").put_text(82, "FAT32   ");
    return sector;
}

byte_image exfat_boot_sector(const exfat_boot_options& options) {
    byte_image sector(512);
    sector.put_text(3, "EXFAT   ");
    sector.put(64, options.partition_offset, 8).put(72, options.total_sectors, 8);
    sector.put(80, 24, 4).put(84, 128, 4).put(88, 256, 4).put(96, 4, 4).put(100, 0x12345678, 4);
    sector.put(104, 0x100, 2);
    sector.put(108, options.sector_shift, 1).put(109, options.cluster_shift, 1).put(110, 1, 1);
    put_jump_and_signature(sector, 512);
    return sector;
}

byte_image bitlocker_boot_sector(const other_boot_options& options) {
    byte_image sector = parameter_block(options);
    sector.put_text(3, "-FVE-FS-");
    return sector;
}

byte_image ext_start(const ext_options& options) {
    byte_image start(2048);
    start.put(1024, options.blocks / 4, 4).put(1028, options.blocks, 4);
    start.put(1048, options.log_block_size, 4).put(1052, options.log_block_size, 4);
    start.put(1080, options.magic, 2).put(1082, 1, 2).put(1100, 1, 4);
    return start;
}

byte_image hfs_plus_start(const hfs_plus_options& options) {
    byte_image start(2048);
    start.put_text(1024, options.signature.substr(0, 2));
    start.put_big_endian(1026, options.version, 2);
    start.put_big_endian(1064, options.block_size, 4);
    start.put_big_endian(1068, options.total_blocks, 4);
    return start;
}

}  // namespace support
