#include "corpus.h"
#include "support/partition_image.h"
#include "support/vmdk_image.h"

namespace corpus {

namespace {

using support::byte_image;

constexpr std::size_t sector = 512;

byte_image mbr_disk() {
    byte_image disk(8 * sector);
    support::put_boot_record(disk, 0,
                             {{.type = 7, .first = 2, .count = 0x1000},
                              {.type = 0x0B, .first = 3, .count = 8},
                              {.type = 0x83, .first = 4, .count = 8}});
    support::embed(disk, 2 * sector, support::ntfs_boot_sector());
    support::embed(disk, 3 * sector, support::fat32_boot_sector());
    support::embed(disk, 4 * sector, support::ext_start());
    return disk;
}

byte_image extended_disk() {
    byte_image disk(12 * sector);
    support::put_boot_record(
        disk, 0, {{.type = 7, .first = 1, .count = 4}, {.type = 5, .first = 2, .count = 9}});
    support::put_extended_chain(disk, 2,
                                {{.record = 2, .first = 3, .count = 2},
                                 {.type = 0x0B, .record = 5, .first = 6, .count = 2},
                                 {.record = 8, .first = 9, .count = 2}});
    support::embed(disk, 1 * sector, support::ntfs_boot_sector({.hidden_sectors = 1}));
    support::embed(disk, 3 * sector, support::ntfs_boot_sector({.hidden_sectors = 3}));
    support::embed(disk, 6 * sector, support::fat32_boot_sector());
    support::embed(disk, 9 * sector, support::exfat_boot_sector());
    return disk;
}

byte_image gpt_disk(const support::gpt_options& options) {
    byte_image disk(16 * options.sector);
    support::put_gpt(disk,
                     {{.first = 8, .last = 9, .name = u"Basic data"},
                      {.type = support::efi_system_guid, .first = 10, .last = 11, .name = u"EFI"},
                      {.type = support::linux_data_guid, .first = 12, .last = 15}},
                     options);
    support::embed(disk, 8 * options.sector, support::ntfs_boot_sector());
    support::embed(disk, 10 * options.sector, support::fat16_boot_sector());
    support::embed(disk, 12 * options.sector, support::ext_start());
    return disk;
}

// A boot record with 4096-byte sectors: the signature is at the end of the sector.
byte_image large_sector_disk() {
    byte_image disk(3 * 4096);
    support::put_boot_record(disk, 0, {{.type = 7, .first = 1, .count = 16}}, 4094);
    support::embed(disk, 4096, support::ntfs_boot_sector({.bytes_per_sector = 4096}));
    return disk;
}

byte_image damaged_extended_disk() {
    byte_image disk = extended_disk();
    disk.put(2 * sector + 510, 0, 2);
    disk.put(446 + 16 + 8, 5, 4);  // the link points to a wrong sector
    return disk;
}

byte_image ring_of_records() {
    byte_image disk(6 * sector);
    support::put_boot_record(disk, 0, {{.type = 0x0F, .first = 1, .count = 5}});
    support::put_boot_record(
        disk, sector, {{.type = 7, .first = 1, .count = 1}, {.type = 5, .first = 2, .count = 1}});
    support::put_boot_record(
        disk, 3 * sector,
        {{.type = 7, .first = 1, .count = 1}, {.type = 5, .first = 0, .count = 1}});
    return disk;
}

void write_partition_tables(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_partition_table");
    const auto add = [&](const std::string& name, const byte_image& disk, std::uint64_t options = 0,
                         std::uint64_t offset = 0) {
        for (std::uint64_t what = 0; what < 6; ++what) {
            folder.add(name + "_" + std::to_string(what),
                       input({{options | what << 3, 1}, {offset, 8}}, disk.bytes()));
        }
    };
    const auto cut = [](byte_image disk, std::uint64_t size) { return disk.resize(size); };
    add("mbr", mbr_disk(), 0, 2 * sector);
    add("mbr_large", mbr_disk(), 2 | 4, 2 * sector);
    add("extended", extended_disk(), 1, 3 * sector);
    add("damaged", damaged_extended_disk());
    add("ring", ring_of_records(), 1);
    add("large_sectors", large_sector_disk(), 0, 4096);
    const support::gpt_options few{.entry_count = 4, .backup = false};
    add("gpt", gpt_disk(few), 0, 8 * sector);
    add("gpt_tight", gpt_disk({.entry_count = 3, .entry_size = 56, .backup = false}), 1);
    add("gpt_4096", cut(gpt_disk({.sector = 4096, .entry_count = 4, .backup = false}), 0x2200), 1);
    add("gpt_many", gpt_disk(few).put(sector + 80, 0xFFFFFFFF, 4), 3);
    add("ntfs", support::ntfs_boot_sector());
    add("fat12", support::fat12_boot_sector());
    add("fat16", support::fat16_boot_sector());
    add("fat32", support::fat32_boot_sector());
    add("exfat", support::exfat_boot_sector());
    add("bitlocker", support::bitlocker_boot_sector());
    add("ext", support::ext_start());
    add("hfs", support::hfs_plus_start());
    add("short", cut(mbr_disk(), 100));
}

// The start of a disk with an NTFS boot sector.
byte_image small_disk() {
    byte_image disk(16 * sector);
    support::put_boot_record(disk, 0, {{.type = 7, .first = 2, .count = 14}});
    support::embed(disk, 2 * sector, support::ntfs_boot_sector());
    return disk;
}

support::vmdk_image small_vmdk() {
    return support::vmdk_image({.grain_size = 4,
                                .table_entries = 8,
                                .descriptor_sectors = 1,
                                .redundant = false,
                                .first_grain_sector = 8})
        .content(small_disk());
}

support::vmdk_image delta(std::uint32_t cid, std::uint32_t parent_cid, std::string_view parent) {
    support::vmdk_image made({.capacity = 16,
                              .grain_size = 4,
                              .table_entries = 8,
                              .descriptor_sectors = 1,
                              .redundant = false,
                              .first_grain_sector = 8});
    made.cid(cid).parent(parent_cid, parent);
    made.grain(1, support::pattern(2048));
    return made;
}

bytes in_sectors(const support::vmdk_image& image) {
    bytes content = image.build().bytes();
    support::pad(content, sector);
    return content;
}

void write_vmdk(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_vmdk");
    const auto add = [&](const std::string& name, const std::vector<bytes>& files,
                         std::uint64_t left_out = 0) {
        bytes content = input({{(files.size() - 1) | left_out << 2, 1}});
        for (std::size_t i = 0; i + 1 < files.size(); ++i)
            support::append(content, files[i].size() / sector, 2);
        support::append(content, 2 * sector, 8);
        for (const bytes& file : files)
            support::append(content, file);
        folder.add(name, content);
    };
    const bytes base = in_sectors(small_vmdk().cid(0x10));
    const bytes child = in_sectors(delta(0x20, 0x10, "a.vmdk"));
    const bytes grandchild = in_sectors(delta(0x30, 0x20, "b.vmdk"));
    add("base", {base});
    add("child", {base, child});
    add("chain", {base, child, grandchild});
    add("parent_not_listed", {base, child}, 1);
    add("parents_not_listed", {base, child, grandchild}, 3);
    add("parent_missing", {in_sectors(delta(0x20, 0x10, "z.vmdk"))});
    add("ring", {in_sectors(delta(0x20, 0x30, "b.vmdk")), in_sectors(delta(0x30, 0x20, "a.vmdk"))});
    add("one_cid", {base, base, child});
    add("own_parent", {in_sectors(delta(0x20, 0x20, "a.vmdk"))});
    add("four", {base, child, grandchild, in_sectors(delta(0x40, 0x30, "c.vmdk"))});
    add("no_grain_size", {in_sectors(small_vmdk().put(20, 0, 8))});
    add("large_grains", {in_sectors(small_vmdk().put(20, ~0ull, 8))});
    add("large_tables", {in_sectors(small_vmdk().put(44, 0xFFFFFFFF, 4))});
    add("large_capacity", {in_sectors(small_vmdk().put(12, ~0ull, 8))});
    add("far_directory", {in_sectors(small_vmdk().put(56, 1ull << 54, 8))});
    add("holes", {in_sectors(small_vmdk().grain_entry(0, 0).grain_entry(1, 1))});
    bytes cut = base;
    cut.resize(3 * sector);
    add("cut", {cut});
}

}  // namespace

void write_disk_seeds(const std::filesystem::path& all) {
    write_partition_tables(all);
    write_vmdk(all);
}

}  // namespace corpus
