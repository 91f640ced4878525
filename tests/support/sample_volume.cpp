#include "support/sample_volume.h"

#include <string>

#include "support/partition_image.h"

namespace support {

namespace {

using namespace sample;

constexpr std::uint64_t second = 10000000, minute = 60 * second;
constexpr std::uint64_t installed = filetime(2020, 6, 15, 9, 30, 0);
constexpr std::uint64_t administrators = 0x100, everyone = 0x101;  // security ids

// Returns timestamps that differ between entries and from each other.
file_times times_of(std::uint64_t entry) {
    const std::uint64_t start = installed + entry * minute;
    return {start, start + 3 * second + 1234567, start + 5 * second + 2345678,
            start + 86400 * second + 3456789};
}

standard_information_options information(std::uint64_t entry,
                                         std::uint32_t attributes = flag::archive) {
    return {.times = times_of(entry),
            .attributes = attributes,
            .security_id = static_cast<std::uint32_t>(administrators)};
}

file_name_options name_options(std::uint64_t entry, std::uint64_t size = 0,
                               name_space space = win32) {
    // NTFS updates the timestamps of a name when it creates it and rarely later, so all are equal.
    return {.space = space,
            .times = file_times::all(times_of(entry).created),
            .allocated = (size + 7) / 8 * 8,
            .real = size};
}

record_builder& add_file(ntfs_image& volume, std::uint64_t parent, std::u16string_view name,
                         std::uint64_t entry, std::string_view content = "") {
    record_builder& made =
        volume.file(parent, name, entry, name_options(entry, content.size()), information(entry));
    return made.data(content);
}

record_builder& add_directory(ntfs_image& volume, std::uint64_t parent, std::u16string_view name,
                              std::uint64_t entry) {
    return volume.directory(parent, name, entry, name_options(entry), information(entry));
}

// Returns `number` with leading zeros.
std::u16string digits(std::uint64_t number, std::size_t width) {
    std::u16string text(width, u'0');
    for (std::size_t i = width; i > 0; --i, number /= 10) {
        text[i - 1] = static_cast<char16_t>(u'0' + number % 10);
    }
    return text;
}

bytes object_id_of(std::uint8_t seed) {
    bytes id(16);
    for (std::size_t i = 0; i < id.size(); ++i) {
        id[i] = static_cast<std::uint8_t>(seed + 17 * i);
    }
    return id;
}

void add_security(ntfs_image& volume) {
    const bytes system = sid("S-1-5-18"), admins = sid("S-1-5-32-544");
    volume.security().add(administrators,
                          security_descriptor{.owner = system,
                                              .group = admins,
                                              .dacl = acl({ace(0, 0, 0x1F01FF, admins),
                                                           ace(0, 0, 0x1200A9, sid("S-1-1-0"))})}
                              .build());
    volume.security().add(
        everyone, security_descriptor{.owner = sid("S-1-5-21-1004336348-1177238915-682003330-1001"),
                                      .group = sid("S-1-5-32-545"),
                                      .dacl = acl({ace(0, 3, 0x10000000, sid("S-1-1-0"))})}
                      .build());
    volume.entry(6)
        .remove(type::standard_information)
        .standard_information({.attributes = flag::hidden | flag::system,
                               .security_id = static_cast<std::uint32_t>(administrators)});
}

void add_windows(ntfs_image& volume) {
    add_directory(volume, 5, u"windows", windows);
    add_directory(volume, windows, u"system32", system32);
    const bytes program = pattern(50000);
    volume
        .file(windows, u"notepad.exe", notepad,
              name_options(notepad, program.size(), win32_and_dos), information(notepad))
        .data_runs(volume.store(program, 2), {.real = program.size()});
    add_directory(volume, system32, u"config", config).stream(u"note", "backed up on Sunday");

    // One cluster of content, then a hole.
    const cluster_runs sparse_runs = {{volume.store(pattern(4096, 2))[0].lcn, 1}, {hole, 31}};
    volume
        .file(config, u"SAM", sam, name_options(sam, 131072),
              information(sam, flag::archive | flag::sparse))
        .data_runs(sparse_runs, {.real = 131072, .unit = 4, .flags = 0x8000});

    add_directory(volume, system32, u"drivers", drivers);
    volume.index(drivers).root_in_extension(drivers_extension);
    for (std::uint64_t i = 0; i < driver_count; ++i) {
        add_file(volume, drivers, u"driver" + digits(i, 1) + u".sys", driver_first + i, "MZ");
    }
    add_file(volume, system32, u"hal.dll", hal, "MZ hardware abstraction");
    volume.link(hal, windows, u"hal link.dll", name_options(hal, 23));

    std::string text;
    for (int line = 0; line < 4000; ++line) {
        text += "setup step " + std::to_string(line) + " done\r\n";
    }
    record_builder& made = volume.file(windows, u"setup.log", log, name_options(log, text.size()),
                                       information(log, flag::archive | flag::compressed));
    volume.compressed_stream(made, u"", as_bytes(text));
}

void add_report(ntfs_image& volume) {
    const bytes content = pattern(20000, 3), attachment = pattern(9000, 4);
    record_builder& made = volume.file(kim, u"quarterly report.docx", report,
                                       name_options(report, content.size()), information(report));
    volume.link(report, kim, u"QUARTE~1.DOC", name_options(report, content.size(), dos));
    made.object_id(object_id_of(0x20))
        .data_runs(volume.store(content), {.real = content.size()})
        .stream(u"Zone.Identifier", "[ZoneTransfer]\r\nZoneId=3\r\n")
        .stream_runs(u"big", volume.store(attachment), {.real = attachment.size()});
}

void add_odd_stamps(ntfs_image& volume) {
    standard_information_options older = information(set_back);
    older.times = file_times::all(filetime(2008, 4, 14, 12, 0, 0));
    volume.file(kim, u"setback.exe", set_back, name_options(set_back, 2), older).data("MZ");

    standard_information_options none = information(zero_times);
    none.times = file_times::all(0);
    file_name_options none_in_name = name_options(zero_times);
    none_in_name.times = none.times;
    volume.file(kim, u"zero.dat", zero_times, none_in_name, none).data("");

    standard_information_options far = information(far_times);
    far.times = {filetime(1603, 1, 1), 0x7FFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF,
                 filetime(9999, 12, 31, 23, 59, 59)};
    volume.file(kim, u"far.dat", far_times, name_options(far_times), far).data("");
}

void add_odd_names(ntfs_image& volume) {
    add_file(volume, kim, u"a,b|c&d<e\"f.txt", comma, "separators");
    add_file(volume, kim, u"tab\tbell\a.txt", control, "control characters");
    add_file(volume, kim, u"Gr\u00F6\u00DFe \u00F6\u00E4\u00FC.txt", umlaut, "umlauts");
    add_file(volume, kim, u"\U0001F600.txt", emoji, "a surrogate pair");
    const std::u16string broken = {static_cast<char16_t>(0xD800), u'x', u'.', u't', u'x', u't'};
    add_file(volume, kim, broken, lone, "a broken pair");
}

// Adds a directory that is a link.
void add_link(ntfs_image& volume, std::u16string_view name, std::uint64_t entry, std::uint32_t tag,
              std::u16string_view substitute, const reparse_options& options) {
    file_name_options in_name = name_options(entry);
    in_name.flags = flag::reparse;
    in_name.reparse_tag = tag;
    volume.directory(kim, name, entry, in_name, information(entry, flag::reparse))
        .reparse(tag, substitute, options);
}

void add_users(ntfs_image& volume) {
    add_directory(volume, 5, u"users", users);
    add_directory(volume, users, u"kim", kim).object_id(object_id_of(0x10));
    add_report(volume);
    add_odd_stamps(volume);
    add_odd_names(volume);
    add_directory(volume, kim, u"documents", documents);
    volume
        .file(documents, u"letter.txt", letter, name_options(letter, 10),
              information(letter, flag::archive | flag::read_only | flag::hidden))
        .data("Dear all,\n");
    add_file(volume, documents, u"empty.txt", empty);
    add_link(volume, u"my documents", junction, mount_point_tag, u"\\??\\C:\\users\\kim\\documents",
             {.print = u"C:\\users\\kim\\documents"});
    add_link(volume, u"docs", symlink, symbolic_link_tag, u"documents",
             {.print = u"documents", .relative = true});

    // The record was freed, which incremented its sequence number; the index was not updated.
    const file_name_options in_name = name_options(deleted, 4);
    volume.entry(deleted)
        .flags(0)
        .sequence(2)
        .standard_information(information(deleted))
        .file_name(kim, u"gone.txt", in_name)
        .data("gone");
    volume.index(kim).add(file_reference(deleted, 1), file_name_value(kim, u"gone.txt", in_name));
}

void add_many(ntfs_image& volume) {
    add_directory(volume, 5, u"many", many);
    for (std::uint64_t i = 0; i < many_count; ++i) {
        add_file(volume, many, u"file " + digits(i, 3) + u".txt", many_first + i, "one of many");
    }
}

}  // namespace

ntfs_image sample_volume() {
    ntfs_image volume{{.mft_records = 512,
                       .hidden_sectors = static_cast<std::uint32_t>(sample_volume_offset / 512),
                       .list_system_files = true}};
    add_security(volume);
    add_windows(volume);
    add_users(volume);
    add_many(volume);
    return volume;
}

byte_image sample_disk() { return disk_around(sample_volume()); }

byte_image disk_around(const ntfs_image& ntfs_volume) {
    const byte_image volume = ntfs_volume.build();
    constexpr std::uint32_t fat_first = 63;
    constexpr auto ntfs_first = static_cast<std::uint32_t>(sample_volume_offset / 512);
    const auto ntfs_count = static_cast<std::uint32_t>(volume.size() / 512);
    constexpr std::uint32_t fat_count = ntfs_first - fat_first;

    byte_image disk;
    put_boot_record(disk, 0,
                    {{.type = 6, .first = fat_first, .count = fat_count},
                     {.type = 7, .first = ntfs_first, .count = ntfs_count, .state = 0x80}});
    disk.put_image(fat_first * 512, fat16_boot_sector({.sectors_per_cluster = 1,
                                                       .hidden_sectors = fat_first,
                                                       .small_total_sectors = fat_count}));
    embed(disk, sample_volume_offset, volume);
    return disk;
}

byte_image disk_with_recovery_volume() {
    constexpr std::uint32_t first = sample_volume_offset / 512, alignment = 2048;
    const byte_image volume = sample_volume().build();
    const auto count = static_cast<std::uint32_t>(volume.size() / 512);
    const std::uint32_t recovery_first = (first + count + alignment - 1) / alignment * alignment;

    ntfs_image recovery{{.hidden_sectors = recovery_first}};
    recovery.directory(5, u"Recovery", 40);
    recovery.directory(40, u"WindowsRE", 41);
    recovery.file(41, u"Winre.wim", 42).data("MSWIM");
    const byte_image recovery_volume = recovery.build();
    const auto recovery_count = static_cast<std::uint32_t>(recovery_volume.size() / 512);

    byte_image disk;
    put_boot_record(disk, 0,
                    {{.type = 7, .first = first, .count = count, .state = 0x80},
                     {.type = 0x27, .first = recovery_first, .count = recovery_count}});
    embed(disk, sample_volume_offset, volume);
    embed(disk, std::uint64_t{recovery_first} * 512, recovery_volume);
    return disk;
}

byte_image disk_with_extended_partition() {
    constexpr std::uint32_t ntfs_first = 63, extended_first = 4096, extended_count = 2048;
    ntfs_image volume{{.hidden_sectors = ntfs_first}};
    volume.file(5, u"letter.txt", 64).data("Dear all,\n");

    byte_image disk((extended_first + extended_count) * 512);
    put_boot_record(
        disk, 0,
        {{.type = 7, .first = ntfs_first, .count = extended_first - ntfs_first, .state = 0x80},
         {.type = 5, .first = extended_first, .count = extended_count}});
    put_extended_chain(
        disk, extended_first,
        {{.type = 0x83, .record = extended_first, .first = extended_first + 63, .count = 1024}});
    embed(disk, ntfs_first * 512, volume.build());
    return disk;
}

}  // namespace support
