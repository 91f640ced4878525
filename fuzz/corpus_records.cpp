#include "corpus.h"
#include "support/directory_index.h"
#include "support/lznt1_compressor.h"
#include "support/record_builder.h"
#include "support/run_list.h"

namespace corpus {

namespace {

using support::record_builder;

// First cluster of the index blocks in the targets' volume; see record_volume.cpp.
struct volume_facts {
    std::uint64_t choice;  // in bits 0 and 1 of the options
    std::uint32_t cluster;
};
constexpr volume_facts small_clusters{0, 512}, usual_clusters{3, 4096};
constexpr std::uint64_t directory = 24;
constexpr std::uint64_t made_here = 4;  // option of fuzz_file_record: add update sequences

record_builder plain_file(std::uint64_t number, std::u16string_view name) {
    record_builder record(number);
    record.standard_information().file_name(directory, name).data("content of a file");
    return record;
}

record_builder rich_record() {
    record_builder record(directory);
    record.standard_information({.security_id = 0x100})
        .file_name(5, u"quarterly report.docx")
        .file_name(5, u"QUARTE~1.DOC", {.space = support::dos})
        .object_id(support::pattern(16))
        .data_runs({{40, 4}, {support::hole, 12}}, {.unit = 4, .flags = 1})
        .stream(u"Zone.Identifier", "[ZoneTransfer]")
        .stream_runs(u"big", {{60, 2}, {50, 1}});
    return record;
}

// A directory within its record: an index root with entries for the files 25 to 27.
record_builder small_directory() {
    bytes entries;
    for (std::uint64_t number = 25; number < 28; ++number) {
        const std::u16string name{u'f', static_cast<char16_t>(u'0' + number % 10)};
        support::append(entries,
                        support::index_entry{.reference = support::file_reference(number, 1),
                                             .key = support::file_name_value(directory, name)}
                            .build());
    }
    support::append(entries, support::index_end_entry());
    record_builder record(directory);
    record.flags(3).standard_information().file_name(5, u"dir");
    record.resident(support::type::index_root, u"$I30", support::index_root_value(entries));
    return record;
}

record_builder listed_record() {
    record_builder record(directory);
    record.standard_information().file_name(5, u"listed.txt");
    record.attribute_list({{support::type::standard_information, u"", 0, directory, 0},
                           {support::type::file_name, u"", 0, directory, 1},
                           {support::type::data, u"", 0, 25, 0},
                           {support::type::data, u"", 4, 26, 0}});
    return record;
}

record_builder extension(std::uint64_t number, std::uint64_t start_vcn) {
    record_builder record(number);
    record.base(support::file_reference(directory, 1));
    record.data_runs({{40 + number, 4}}, {.start_vcn = start_vcn});
    return record;
}

void write_records(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_file_record");
    const auto add = [&](const std::string& name, const bytes& records, std::uint64_t form) {
        folder.add(name, input({{usual_clusters.choice, 1}, {form, 1}, {512, 2}}, records));
    };
    const auto add_plain = [&](const std::string& name, const bytes& records, std::uint64_t form) {
        folder.add(name + "_guarded",
                   input({{usual_clusters.choice | made_here, 1}, {form, 1}, {512, 2}}, records));
    };
    add("rich", rich_record().build(), 0);
    add_plain("rich", rich_record().build_before_fixup(), 0x1F);
    bytes folder_and_files = small_directory().build();
    support::append(folder_and_files, plain_file(25, u"f5").build());
    support::append(folder_and_files, rich_record().build());
    add("directory", folder_and_files, 4);
    add_plain("directory", small_directory().build_before_fixup(), 0x28);
    bytes listed = listed_record().build();
    support::append(listed, extension(25, 0).build());
    support::append(listed, extension(26, 4).build());
    add("listed", listed, 0xC);
    add("link",
        record_builder(directory)
            .standard_information({.attributes = support::flag::reparse})
            .file_name(5, u"docs")
            .reparse(support::symbolic_link_tag, u"\\??\\C:\\users", {.print = u"C:\\users"})
            .build(),
        0);
    add("not_in_use", rich_record().flags(0).build(), 0);
    add("bad", rich_record().keyword("BAAD").build(), 0);
    add("index", rich_record().keyword("INDX").build(), 0);
    add("torn", rich_record().put(510, 0xDEAD, 2).build(), 0);
    add("early_attribute", rich_record().put_before_fixup(20, 42, 2).build(), 0);
    add("no_length", rich_record().put_before_fixup(60, 0, 4).build(), 0);
    add("no_end", rich_record().without_end_marker().build(), 0);
}

// The attributes of a record, between its header and its end marker.
bytes attributes_of(const record_builder& record) {
    constexpr std::size_t header_size = 56;
    const bytes content = record.build_before_fixup();
    std::size_t end = header_size;
    while (end + 8 <= content.size()) {
        const auto number = [&](std::size_t at) {
            return std::uint32_t{content[at]} | std::uint32_t{content[at + 1]} << 8 |
                   std::uint32_t{content[at + 2]} << 16 | std::uint32_t{content[at + 3]} << 24;
        };
        if (number(end) == support::type::end || number(end + 4) == 0) break;
        end += number(end + 4);
    }
    return {content.begin() + header_size,
            content.begin() + static_cast<std::ptrdiff_t>(std::min(end, content.size()))};
}

void write_attributes(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_attributes");
    const auto add = [&](const std::string& name, const record_builder& base,
                         const bytes& extension_attributes = {}, const bytes& clusters = {}) {
        const bytes attributes = attributes_of(base);
        for (const volume_facts& facts : {small_clusters, usual_clusters}) {
            bytes content = input({{facts.choice, 1},
                                   {0x15, 1},
                                   {attributes.size(), 2},
                                   {extension_attributes.size(), 2}},
                                  attributes);
            support::append(content, extension_attributes);
            support::append(content, clusters);
            folder.add(name + "_" + std::to_string(facts.cluster), content);
        }
    };
    add("rich", rich_record());
    add("file", plain_file(directory, u"a.txt"));
    add("directory", small_directory());
    add("listed", listed_record(), attributes_of(extension(25, 0)));
    const bytes list = support::attribute_list_value(
        {{support::type::data, u"", 0, 25, 0}, {support::type::data, u"zone", 0, 25, 1}});
    add("list_in_clusters",
        record_builder(directory).standard_information().attribute_list_runs(
            {{40, 1}}, {.real = list.size(), .cluster = 512}),
        attributes_of(extension(25, 0)), list);
    add("junction", record_builder(directory)
                        .standard_information()
                        .file_name(5, u"docs")
                        .reparse(support::mount_point_tag, u"\\??\\C:\\users", {.print = u""}));
    add("link", record_builder(directory)
                    .standard_information()
                    .file_name(5, u"docs")
                    .reparse(support::symbolic_link_tag, u"users",
                             {.print = u"users", .relative = true, .print_first = true}));
    const bytes text(8192, 'a');
    add("compressed",
        record_builder(directory).standard_information().file_name(5, u"c").data_runs(
            {{40, 2}, {support::hole, 14}}, {.unit = 4, .flags = 1, .cluster = 512}),
        {}, support::lznt1_compress(text));
    add("short_times", record_builder(directory)
                           .standard_information({.length = 48})
                           .file_name(5, u"x", {.times = support::file_times::all(0)}));
    add("volume_name", record_builder(directory).standard_information().resident(
                           support::type::volume_name, u"", support::as_bytes(u"sample")));
    add("many_types", record_builder(directory)
                          .standard_information()
                          .file_name(5, u"x")
                          .resident(support::type::ea_information, u"", bytes(8))
                          .resident(support::type::ea, u"", bytes(20))
                          .resident(support::type::logged_utility_stream, u"$EFS", bytes(40))
                          .resident(support::type::security_descriptor, u"", bytes(24))
                          .resident(support::type::bitmap, u"$I30", bytes(8)));
}

bytes entries_for(std::uint64_t first, std::uint64_t last) {
    bytes entries;
    for (std::uint64_t number = first; number <= last; ++number) {
        const std::u16string name{u'f', static_cast<char16_t>(u'0' + number % 10)};
        support::append(entries,
                        support::index_entry{.reference = support::file_reference(number, 1),
                                             .key = support::file_name_value(directory, name)}
                            .build());
    }
    return entries;
}

void write_indexes(const std::filesystem::path& all) {
    constexpr std::uint64_t no_blocks = 4, made = 8;
    const seed_folder folder(all, "fuzz_index");
    const auto add = [&](const std::string& name, std::uint64_t options, const bytes& root,
                         const bytes& blocks = {}) {
        bytes content = input({{options, 1}, {0x05, 1}, {root.size(), 2}}, root);
        support::append(content, blocks);
        folder.add(name, content);
    };
    bytes root = entries_for(25, 28);
    support::append(root, support::index_end_entry());
    add("root", no_blocks | usual_clusters.choice, support::index_root_value(root));

    bytes leaf = entries_for(25, 31);
    support::append(leaf, support::index_end_entry());
    const bytes empty_root =
        support::index_root_value(support::index_end_entry(0), {.header_flags = 1});
    const bytes slack = entries_for(25, 26);
    for (const volume_facts& facts : {small_clusters, usual_clusters}) {
        const std::string suffix = "_" + std::to_string(facts.cluster);
        const bytes block = support::index_block(leaf);
        add("block" + suffix, facts.choice, empty_root, block);
        bytes two = block;
        support::append(two, support::index_block(support::index_end_entry(),
                                                  {.vcn = 4096 / facts.cluster, .slack = slack}));
        add("two_blocks" + suffix, facts.choice, empty_root, two);
        add("no_fixups" + suffix, facts.choice | made, empty_root,
            support::index_block(leaf, {.fixups = false}));
        bytes gap(4096);
        support::append(gap, block);
        add("gap" + suffix, facts.choice, empty_root, gap);
    }
    bytes odd = support::index_entry{.reference = 25, .key = {1, 2, 3}, .length = 800}.build();
    support::append(odd, root);
    add("long_entry", no_blocks, support::index_root_value(odd));
    add("large_size", no_blocks, support::index_root_value(root, {.used = 0xFFFFFFFF}));
    add("far_entries", no_blocks, support::index_root_value(root, {.entries_offset = 0xFFFFFFF0}));
}

}  // namespace

void write_record_seeds(const std::filesystem::path& all) {
    write_records(all);
    write_attributes(all);
    write_indexes(all);
}

}  // namespace corpus
