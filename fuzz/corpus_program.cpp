#include "corpus.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/vmdk_image.h"

namespace corpus {

namespace {

using support::ntfs_image;

// Entries of the small volume.
constexpr std::uint64_t users = 24, kim = 25, documents = 26, letter = 27, docs = 28, report = 29,
                        far = 30, notes = 31, gone = 32, junction = 33, drivers = 34,
                        drivers_part = 35, driver = 36;

// A volume of about 80 KiB with the names that the target looks up.
ntfs_image little_volume(std::uint32_t cluster, std::uint32_t sector = 512) {
    ntfs_image volume({.sector = sector,
                       .cluster = cluster,
                       .fixup_stride = sector,
                       .clusters = (cluster < 4096 ? 0x14000 : 0x1C000) / cluster,
                       .mft_records = 40});
    volume.entry(4).data("");
    volume.entry(10).data("");
    volume.directory(5, u"users", users);
    volume.directory(users, u"kim", kim).object_id(support::pattern(16));
    volume.directory(kim, u"documents", documents);
    volume.file(documents, u"letter.txt", letter).data("Dear Kim");
    volume.file(kim, u"docs", docs)
        .reparse(support::symbolic_link_tag, u"\\users\\kim\\documents",
                 {.print = u"\\users\\kim\\documents"});
    volume.file(users, u"my documents", junction)
        .reparse(support::mount_point_tag, u"\\??\\C:\\users\\kim\\documents",
                 {.print = u"C:\\users\\kim\\documents"});
    volume.file(kim, u"report.txt", report)
        .stream(u"zone", "[ZoneTransfer]")
        .data_runs(volume.store(support::pattern(1000)), {.real = 1000});
    volume.link(report, users, u"REPORT~1.TXT", {.space = support::dos});
    volume.file(kim, u"far.dat", far, {.times = support::file_times::all(~0ull >> 1)},
                {.times = support::file_times::all(0)});
    support::record_builder& notes_record = volume.file(kim, u"notes.txt", notes).data("n");
    volume.compressed_stream(notes_record, u"big", bytes(20000, 'a'));
    volume.file(kim, u"gone.txt", gone).flags(0).data("gone");
    volume.directory(5, u"drivers", drivers);
    volume.file(drivers, u"driver.sys", driver).data("MZ");
    volume.index(drivers).root_in_extension(drivers_part);
    volume.index(kim).in_blocks();
    return volume;
}

// Without the copy of the boot sector and the zeros before it.
bytes cut_volume(ntfs_image volume) {
    const support::ntfs_geometry& geometry = volume.geometry();
    bytes content = volume.truncate(geometry.clusters * geometry.cluster).build().bytes();
    while (!content.empty() && content.back() == 0)
        content.pop_back();
    return content;
}

struct run_options {
    std::uint64_t form = 0, flags = 0, extra = 0, entry = 0, sectors = 0, place = 0;
};

bytes program_input(const run_options& run, const bytes& image) {
    return input({{run.form, 1},
                  {run.flags, 1},
                  {run.extra, 1},
                  {run.entry, 1},
                  {run.sectors, 1},
                  {run.place, 1}},
                 image);
}

// Every report form and every directory of the target, at least once each.
void write_forms(const seed_folder& folder) {
    const bytes small = cut_volume(little_volume(512));
    for (std::uint64_t form = 0; form < 8; ++form) {
        folder.add(
            "form_" + std::to_string(form),
            program_input({.form = form, .flags = form * 0x1F, .extra = 2, .place = 2}, small));
    }
    for (std::uint64_t place = 0; place < 16; ++place) {
        folder.add("place_" + std::to_string(place),
                   program_input({.form = place << 3,
                                  .flags = 1u << place % 8,
                                  .extra = place % 4 | (place % 4) << 2,
                                  .place = place},
                                 small));
    }
    for (const std::uint64_t entry : {std::uint64_t{5}, kim, letter, report, drivers, gone}) {
        folder.add("entry_" + std::to_string(entry),
                   program_input({.form = entry % 5, .extra = 0x21, .entry = entry}, small));
    }
    folder.add("clusters_4096",
               program_input({.flags = 3, .extra = 3}, cut_volume(little_volume(4096))));
    folder.add("sectors_1024",
               program_input({.form = 2, .extra = 3}, cut_volume(little_volume(1024, 1024))));
}

void write_places(const seed_folder& folder) {
    const support::byte_image volume = little_volume(512).build();
    support::byte_image disk(63 * 512);
    support::put_boot_record(disk, 0, {{.type = 7, .first = 63, .count = 0x180}});
    support::embed(disk, 63 * 512, volume);
    bytes content = disk.bytes();
    while (!content.empty() && content.back() == 0)
        content.pop_back();
    folder.add("partition", program_input({.extra = 0x10, .sectors = 63, .place = 2}, content));
    folder.add("partition_unnamed", program_input({}, content));
    const support::vmdk_image virtual_disk = support::vmdk_image({.grain_size = 8,
                                                                  .descriptor_sectors = 1,
                                                                  .redundant = false,
                                                                  .first_grain_sector = 16})
                                                 .content(volume);
    folder.add("vmdk",
               program_input({.form = 0x80, .extra = 2, .place = 3}, virtual_disk.build().bytes()));
}

void write_damage(const seed_folder& folder) {
    const auto add = [&](const std::string& name, const ntfs_image& volume,
                         const run_options& run = {.flags = 3, .extra = 2, .place = 2}) {
        folder.add(name, program_input(run, cut_volume(volume)));
    };
    ntfs_image torn = little_volume(512);
    torn.put(torn.record_pos(kim) + 510, 0xDEAD, 2);
    add("torn", torn);
    ntfs_image lost_root = little_volume(512);
    lost_root.put(lost_root.record_pos(5), 0, 4);
    add("lost_root", lost_root);
    ntfs_image no_cluster = little_volume(512);
    no_cluster.put(13, 0, 1);
    add("no_cluster_size", no_cluster);
    ntfs_image large_record = little_volume(512);
    large_record.put(64, 0xE1, 1);  // 2^31 bytes
    add("large_record", large_record);
    ntfs_image loop = little_volume(512);
    loop.file(5, u"loop", 37).reparse(support::symbolic_link_tag, u"\\loop", {.print = u"\\loop"});
    add("loop", loop, {.place = 9});
    ntfs_image own_parent = little_volume(512);
    own_parent.file(37, u"x", 37);
    add("own_parent", own_parent, {.extra = 0x20, .entry = 37});
    ntfs_image cut = little_volume(512);
    folder.add("cut", program_input({.extra = 2}, [&] {
                   bytes content = cut_volume(cut);
                   content.resize(20000);
                   return content;
               }()));
}

}  // namespace

void write_program_seeds(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_whole_program");
    write_forms(folder);
    write_places(folder);
    write_damage(folder);
}

}  // namespace corpus
