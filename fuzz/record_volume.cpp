#include "record_volume.h"

#include <array>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "report/walk/enumerator.h"
#include "storage/opening/source_opening.h"
#include "support/ntfs_image.h"

namespace fuzz {

namespace {

constexpr std::size_t block = 512;  // bytes protected by one word of the update sequence
constexpr std::size_t array_offset = 48;
constexpr std::uint8_t check_value = 1;

support::ntfs_image make_volume(std::uint32_t cluster_size, std::uint64_t& area_lcn) {
    support::ntfs_image volume{{.cluster = cluster_size, .mft_records = 32}};
    volume.entry(4).data("");
    volume.entry(10).data("");
    const std::uint64_t clusters = record_volume::area_size / cluster_size;
    area_lcn = volume.alloc(clusters);
    const support::cluster_runs area{{area_lcn, clusters}};
    volume.entry(9).stream_runs(u"$SDS", area);
    volume.directory(5, u"dir", record_volume::directory)
        .resident(support::type::index_root, u"$I30",
                  support::index_root_value(support::index_end_entry(0), {.header_flags = 1}))
        .nonresident(support::type::index_allocation, u"$I30", area);
    for (std::uint64_t entry = record_volume::first_file; entry <= record_volume::last_file;
         ++entry) {
        const std::u16string name{u'f', static_cast<char16_t>(u'0' + entry % 10)};
        volume.entry(entry)
            .standard_information()
            .file_name(record_volume::directory, name)
            .data("content");
    }
    return volume;
}

// Adds the update sequence to a record with its actual bytes.
void guard(std::vector<std::uint8_t>& record) {
    record.resize(std::max(record.size(), record_volume::record_size));
    record[4] = array_offset;
    record[5] = 0;
    record[6] = static_cast<std::uint8_t>(record.size() / block + 1);
    record[7] = 0;
    record[array_offset] = check_value;
    record[array_offset + 1] = 0;
    for (std::size_t i = 0; i < record.size() / block; ++i) {
        std::uint8_t* const last = &record[(i + 1) * block - 2];
        std::uint8_t* const word = &record[array_offset + 2 + 2 * i];
        word[0] = last[0];
        word[1] = last[1];
        last[0] = check_value;
        last[1] = 0;
    }
}

}  // namespace

record_volume::record_volume(std::uint32_t cluster_size) : m_cluster_size(cluster_size) {
    const support::ntfs_image volume = make_volume(cluster_size, m_area_lcn);
    for (std::uint64_t entry = 0; entry <= last_file; ++entry)
        m_record_positions.push_back(volume.record_pos(entry));
    m_sound = volume.build().bytes();
    m_file.set(m_sound);
}

void record_volume::reset() {
    for (const change& made : m_changes)
        m_file.put(made.at, bytes(m_sound).subspan(made.at, made.size));
    m_changes.clear();
}

void record_volume::put(std::uint64_t at, bytes content) {
    m_changes.push_back({at, content.size()});
    m_file.put(at, content);
}

void record_volume::put_record(std::uint64_t entry, bytes content, bool guarded) {
    const bytes part = content.first(std::min(content.size(), record_size));
    std::vector<std::uint8_t> record(part.begin(), part.end());
    if (guarded) guard(record);
    put(m_record_positions.at(entry), record);
}

void record_volume::put_area(bytes content) {
    put(m_area_lcn * m_cluster_size, content.first(std::min(content.size(), area_size)));
}

std::unique_ptr<CNtfs> record_volume::open() const {
    std::unique_ptr<CNtfs> ntfs;
    attach_image(ntfs, m_file.wide_path(), 0);
    return ntfs;
}

record_volume& valid_volume(std::uint8_t choice) {
    static std::array<std::unique_ptr<record_volume>, 4> volumes;
    std::unique_ptr<record_volume>& volume = volumes[choice & 3u];
    if (volume == nullptr) volume = std::make_unique<record_volume>(512u << (choice & 3u));
    volume->reset();
    return *volume;
}

void read_entry(CNtfs& ntfs, std::uint64_t entry) {
    std::vector<NTFS_ATTRIB_ROW> rows;
    ntfs.get_attrib_rows(entry, rows);
    for (const bool keep_values : {false, true}) {
        NTFS_ENTRY_STORE store;
        mft_entries_ctx ctx;
        ntfs.categorize_entry(store, ctx, entry, keep_values);
    }
    std::vector<std::uint8_t> record;
    if (ntfs.read_whole_record(entry, record)) {
        name_entry_map names;
        ntfs.get_file_names(names, entry, record, true);
        NTFS_INODE_INFO info;
        ntfs.parse_inode(record, info, entry, false);
    }
    std::uint64_t position = 0;
    std::uint32_t kind = 0;
    ntfs.read_record_vector(entry, record, position, kind);
    for (const bool include_slack : {false, true}) {
        std::set<std::uint64_t> children;
        ntfs.get_children(entry, children, include_slack);
    }
}

void list_entry(CNtfs& ntfs, std::uint64_t entry, std::uint8_t form) {
    quorvel_opts opts;
    opts.out = &uni::null_out;
    opts.directory = L"\\dir";
    opts.dir_entry_num = entry;
    opts.show_indx = (form & 1) != 0;
    opts.show_objid = (form & 2) != 0;
    opts.csv = (form & 12) == 4;
    opts.xml = (form & 12) == 8;
    opts.filepath_only = (form & 12) == 12;
    opts.alldates = (form & 16) != 0;
    opts.levels = (form & 32) != 0 ? 2 : 1;
    report_directory(opts, ntfs);
}

void stream_entry(CNtfs& ntfs, std::uint64_t entry) {
    constexpr std::uint64_t longest = 1 << 20;
    std::vector<NTFS_ATTRIB_ROW> rows;
    ntfs.get_attrib_rows(entry, rows);
    for (const NTFS_ATTRIB_ROW& row : rows) {
        if (run_bytes(row.runs, ntfs.cluster_size(), false) > longest) continue;
        mft_entries_ctx ctx;
        ntfs.stream_attribute(row, uni::null_out, uni::null_out, ctx);
    }
}

}  // namespace fuzz
