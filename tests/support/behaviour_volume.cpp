#include "support/behaviour_volume.h"

#include <string>
#include <string_view>
#include <vector>

#include "support/filetime.h"

namespace support {

namespace {

using namespace behaviour;

constexpr std::uint64_t root = 5;
constexpr file_times usual = file_times::all(filetime(2024, 2, 29, 12, 34, 56, 7890123));

standard_information_options information(std::uint32_t attributes = flag::archive,
                                         const file_times& times = usual) {
    return {.times = times, .attributes = attributes};
}

file_name_options name_options(name_space space = win32) {
    return {.space = space, .times = usual};
}

record_builder& add_file(ntfs_image& volume, std::uint64_t parent, std::u16string_view name,
                         std::uint64_t entry, const file_times& times = usual) {
    return volume.file(parent, name, entry, name_options(), information(flag::archive, times));
}

void add_directory(ntfs_image& volume, std::uint64_t parent, std::u16string_view name,
                   std::uint64_t entry) {
    volume.directory(parent, name, entry, name_options(), information());
}

void add_sizes(ntfs_image& volume) {
    add_directory(volume, root, u"sizes", sizes);
    add_file(volume, sizes, u"100 bytes.txt", sizes + 1).data(pattern(100));
    const bytes content = pattern(4097);
    add_file(volume, sizes, u"4097 bytes.bin", sizes + 2)
        .data_runs(volume.store(content), {.real = content.size()});
    // One cluster of content and a hole, one MiB in total.
    const cluster_runs sparse = {{volume.store(pattern(4096))[0].lcn, 1}, {hole, 255}};
    volume
        .file(sizes, u"sparse.bin", sizes + 3, name_options(),
              information(flag::archive | flag::sparse))
        .data_runs(sparse, {.real = 1048576, .unit = 4, .flags = 0x8000});
}

void add_stamps(ntfs_image& volume) {
    constexpr unsigned last_tick = 9999999;
    const auto add = [&volume](std::u16string_view name, std::uint64_t entry, std::uint64_t stamp) {
        add_file(volume, stamps, name, entry, file_times::all(stamp)).data("");
    };
    add_directory(volume, root, u"stamps", stamps);
    add(u"1969.txt", stamps + 1, filetime(1969, 12, 31, 23, 59, 59, last_tick));
    add(u"1970 first second.txt", stamps + 2, filetime(1970, 1, 1, 0, 0, 0, last_tick));
    add(u"1970 second second.txt", stamps + 3, filetime(1970, 1, 1, 0, 0, 1));
    add(u"3000.txt", stamps + 4, filetime(3000, 12, 30, 23, 59, 59, last_tick));
    add(u"3001.txt", stamps + 5, filetime(3001, 1, 2));
    add(u"zero.txt", stamps + 6, 0);
}

void add_deleted(ntfs_image& volume) {
    add_directory(volume, root, u"deleted", deleted);
    add_directory(volume, root, u"elsewhere", elsewhere);
    volume.entry(elsewhere).stream(u"note", "a stream of a directory");
    // Freeing a record increments its sequence number; these names are still in the index or its
    // slack.
    const auto add_freed = [&volume](std::u16string_view name, std::uint64_t entry) {
        volume.entry(entry)
            .flags(0)
            .sequence(2)
            .standard_information(information())
            .file_name(deleted, name, name_options())
            .data("gone");
    };
    add_freed(u"gone.txt", gone);
    add_freed(u"slack.txt", in_slack);
    volume.index(deleted).add_stale(
        {.reference = file_reference(in_slack, 1),
         .key = file_name_value(deleted, u"slack.txt", name_options())});
    const auto add_stale_name = [&volume](std::u16string_view name, std::uint64_t entry) {
        volume.index(deleted).add(file_reference(entry, 1),
                                  file_name_value(deleted, name, name_options()));
    };
    add_stale_name(u"gone.txt", gone);
    add_file(volume, elsewhere, u"newcomer.txt", reused).sequence(2).data("new");
    add_stale_name(u"reused.txt", reused);
}

void add_names(ntfs_image& volume) {
    add_directory(volume, root, u"names", names);
    add_file(volume, names, u"long name.txt", names + 1).data("one");
    volume.link(names + 1, names, u"LONGNA~1.TXT", name_options(dos));
    add_file(volume, names, u"second link.txt", names + 2).data("two");
    volume.link(names + 2, names, u"first link.txt", name_options());
    add_file(volume, names, u"a,b.txt", names + 3).data("three");
    add_file(volume, names, u"say \"hi\".txt", names + 4).data("four");
    volume.file(names, u"pipe|d.txt", names + 5, name_options(posix), information()).data("five");
    add_file(volume, names, u"\u00C4pfel.txt", names + 6).data("six");
}

void add_ampersand(ntfs_image& volume) {
    add_directory(volume, root, u"R&D", ampersand);
    add_file(volume, ampersand, u"1 & 2.txt", ampersand + 1).data("one");
    add_file(volume, ampersand, u"caf\u00E9.txt", ampersand + 2).data("two");
    add_directory(volume, ampersand, u"lab", ampersand + 3);
}

// Adds a directory that is a link. Lookup uses the print name.
void add_link(ntfs_image& volume, std::u16string_view name, std::uint64_t entry, std::uint32_t tag,
              std::u16string_view substitute, const reparse_options& options) {
    file_name_options in_name = name_options();
    in_name.flags = flag::reparse;
    in_name.reparse_tag = tag;
    volume.directory(links, name, entry, in_name, information(flag::reparse))
        .reparse(tag, substitute, options);
}

void add_links(ntfs_image& volume) {
    add_directory(volume, root, u"links", links);
    add_directory(volume, links, u"target", links + 1);
    add_file(volume, links + 1, u"inside.txt", links + 2).data("inside");
    add_link(volume, u"absolute", links + 3, mount_point_tag, u"\\??\\C:\\links\\target",
             {.print = u"C:\\links\\target"});
    add_link(volume, u"relative", links + 4, symbolic_link_tag, u"target",
             {.print = u"target", .relative = true});
    add_link(volume, u"ping", links + 5, mount_point_tag, u"\\??\\C:\\links\\pong",
             {.print = u"C:\\links\\pong"});
    add_link(volume, u"pong", links + 6, mount_point_tag, u"\\??\\C:\\links\\ping",
             {.print = u"C:\\links\\ping"});
}

void add_parent_loop(ntfs_image& volume) {
    constexpr std::uint16_t in_use_directory = 3;
    volume.entry(loop_left)
        .flags(in_use_directory)
        .standard_information(information())
        .file_name(loop_right, u"left", name_options());
    volume.entry(loop_right)
        .flags(in_use_directory)
        .standard_information(information())
        .file_name(loop_left, u"right", name_options());
}

// Adds names that another system has written: Windows allows no control characters. One is a name
// followed by a line that looks like a row of the table, for a file that does not exist.
void add_terminal(ntfs_image& volume) {
    const file_name_options in_name = name_options(posix);
    std::uint64_t entry = terminal;
    add_directory(volume, root, u"terminal", terminal);
    for (const std::u16string_view name : {u"a.txt\n2024-02-29 12:34:56.789         999    1       "
                                           u"   512        \\terminal\\forged.txt",
                                           u"hidden.exe\r2024-02-29 12:34:56.789         106    1  "
                                           u"          4        \\terminal\\harmless.txt",
                                           u"red\x1B[31m.txt"})
        volume.file(terminal, name, ++entry, in_name, information()).data("name");
}

// Adds files whose names have the usual timestamps, with others in $STANDARD_INFORMATION.
void add_timestomping(ntfs_image& volume) {
    const file_times set_back = file_times::all(filetime(2019, 3, 1, 8, 0, 0));
    const auto add = [&volume](std::u16string_view name, std::uint64_t entry,
                               const file_times& times, const file_times& of_name = usual) {
        volume
            .file(timestomping, name, entry, {.space = win32, .times = of_name},
                  information(flag::archive, times))
            .data("MZ");
    };
    file_times by_program = set_back;
    by_program.mft_changed = usual.mft_changed;
    add_directory(volume, root, u"timestomping", timestomping);
    add(u"all four.exe", timestomping + 1, set_back);
    add(u"all but changed.exe", timestomping + 2, by_program);
    add(u"renamed.exe", timestomping + 3, set_back, set_back);
    add(u"half a day.exe", timestomping + 4,
        file_times::all(filetime(2024, 2, 29, 1, 23, 45, 6789012)));
    add(u"from a backup.doc", timestomping + 5,
        file_times::all(filetime(2019, 3, 1, 8, 15, 42, 1357911)));
    add(u"usual.txt", timestomping + 6, usual);
}

// More clusters than any source holds.
constexpr std::uint64_t longest_run = 0xFFFFFFFF;

// Adds four files to a directory, as entries from `entry` on, and returns the index block that
// names them. `letter` is the first file's name.
bytes add_block_of_files(ntfs_image& volume, std::uint64_t directory, std::uint64_t entry,
                         char letter, std::uint64_t vcn) {
    std::vector<index_entry> entries;
    for (const std::uint64_t end = entry + 4; entry < end; ++entry) {
        const std::u16string name = {static_cast<char16_t>(letter++), u'.', u't', u'x', u't'};
        volume.entry(entry)
            .standard_information(information())
            .file_name(directory, name, name_options())
            .data("");
        entries.push_back({.reference = volume.reference(entry),
                           .key = file_name_value(directory, name, name_options())});
    }
    bytes content = index_entries(entries);
    const bytes end = index_end_entry();
    content.insert(content.end(), end.begin(), end.end());
    return index_block(content, {.vcn = vcn});
}

// Adds \index with the files a.txt to l.txt. Their blocks are the three clusters before `end_lcn`.
void add_endless_index(ntfs_image& volume, std::uint64_t end_lcn) {
    constexpr std::uint64_t directory = 40;
    const std::uint64_t lcn = end_lcn - 3;
    add_directory(volume, root, u"index", directory);
    volume.reserve(lcn, 3);
    volume.write_clusters(lcn, add_block_of_files(volume, directory, 41, 'a', 0));
    volume.write_clusters(lcn + 1, add_block_of_files(volume, directory, 45, 'e', 1));
    volume.write_clusters(lcn + 2, add_block_of_files(volume, directory, 49, 'i', 2));
    volume.entry(directory).nonresident(type::index_allocation, u"$I30",
                                        cluster_runs{{lcn, longest_run}});
}

// Adds \list with a.txt to c.txt. b.txt has an attribute list, which names a stream in entry 64.
void add_endless_list(ntfs_image& volume) {
    constexpr std::uint64_t directory = 60, extension = 64;
    add_directory(volume, root, u"list", directory);
    add_file(volume, directory, u"a.txt", directory + 1).data("");
    record_builder& with_list = add_file(volume, directory, u"b.txt", directory + 2);
    add_file(volume, directory, u"c.txt", directory + 3).data("");
    volume.entry(extension)
        .base(volume.reference(directory + 2))
        .stream(u"far", "in another record")
        .id(9);
    const bytes list = attribute_list_value(
        {{.type = type::data, .name = u"far", .record = volume.reference(extension), .id = 9}});
    with_list.attribute_list_runs({{volume.store(list)[0].lcn, longest_run}},
                                  {.real = list.size()});
}

}  // namespace

ntfs_image behaviour_volume() {
    ntfs_image volume{{.mft_records = 128}};
    add_sizes(volume);
    add_stamps(volume);
    add_deleted(volume);
    add_names(volume);
    add_ampersand(volume);
    add_links(volume);
    add_parent_loop(volume);
    add_terminal(volume);
    add_timestomping(volume);
    return volume;
}

ntfs_image damaged_volume() {
    constexpr std::uint64_t clusters = 256;  // and one sector, the copy of the boot sector
    ntfs_image volume{{.clusters = clusters}};
    add_endless_index(volume, clusters);
    add_endless_list(volume);
    return volume;
}

}  // namespace support
