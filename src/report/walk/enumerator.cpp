#include "report/walk/enumerator.h"

#include <cstdint>
#include <vector>

#include "foundation/text/ql_string.h"
#include "foundation/text/split_path.h"
#include "ntfs/records/record_hints.h"
#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"
#include "report/walk/entry_rows.h"
#include "report/writers/csv_listing.h"
#include "report/writers/path_listing.h"
#include "report/writers/text_listing.h"
#include "report/writers/xml_listing.h"
#include "run/settings/quorvel_opts.h"

namespace {

// A colon before this position belongs to a drive prefix, not to a stream.
constexpr std::size_t first_stream_colon = 4;

// Returns the stream named in a path, "zone" in "\a\file.txt:zone", or an empty text.
std::wstring stream_of_path(const std::wstring& path) {
    const std::size_t colon = path.rfind(L':');
    if (colon == std::wstring::npos || colon < first_stream_colon) return {};
    return path.substr(colon + 1);
}

// Returns true if the row is that of the stream, regardless of ASCII case.
bool is_stream_row(const dir_entry& entry, const std::wstring& stream) {
    const std::wstring name = ql::to_wide(entry.name);
    const std::size_t colon = name.rfind(L':');
    return colon != std::wstring::npos &&
           ql::compare_wide(name.c_str() + colon + 1, stream.c_str(), ql::any_case) == 0;
}

// Keeps only the row of the requested stream, or all rows without a request. For a directory, the
// stream and the last letter of the name are removed from opts.directory: "\dir:zone" is listed as
// "\di:zone". For a file, `directory` no longer contains the name.
void keep_stream_row(quorvel_opts& opts, const std::wstring& stream) {
    for (auto hit = opts.entries.begin(); hit != opts.entries.end(); ++hit) {
        if (!is_stream_row(*hit, stream)) continue;
        dir_entry_set only;
        only.insert(opts.entries.extract(hit));
        opts.entries.swap(only);
        const std::size_t colon = opts.directory.rfind(L':');
        if (colon != std::wstring::npos && colon > 0) opts.directory.erase(colon - 1);
        return;
    }
}

// Reads the directories of a walk one at a time. The buffers are reused.
class directory_reader {
public:
    directory_reader(CNtfs& ntfs, quorvel_opts& opts)
        : m_ntfs(ntfs), m_opts(opts), m_rows(ntfs, opts) {}

    // Reads the record of an entry. Returns false if it cannot be read.
    bool read(std::uint64_t entry_num) { return m_ntfs.read_record(entry_num, m_record, m_whole); }

    // Adds the rows of the requested entry, whose record has been read. They are those of its first
    // parent. Unless a stream is requested, the rows of its children follow. Returns false if the
    // entry has no name.
    bool add_requested_rows();

    // Adds the rows of a directory and of its children; see read_directory_entries.
    bool add_directory(const shared_path& path, std::uint64_t dir_entry_num, dir_entry_set& entries,
                       bool show_indx);

    // Clears `entries` and keeps the memory of its rows.
    void recycle(dir_entry_set& entries) { m_rows.recycle(entries); }

private:
    bool add_children(const shared_path& path, std::uint64_t dir_entry_num, dir_entry_set& entries,
                      bool show_indx);

    CNtfs& m_ntfs;
    quorvel_opts& m_opts;
    entry_rows m_rows;
    std::vector<std::uint8_t> m_record;     // of the last entry read
    whole_record m_whole;                   // refers to it
    std::vector<std::uint64_t> m_children;  // entries of the last directory read
};

bool directory_reader::add_requested_rows() {
    const std::wstring stream = stream_of_path(m_opts.directory);
    name_entry_map names;
    if (!m_ntfs.get_file_names(names, m_opts.dir_entry_num, m_record)) return false;

    if (!file_record{m_record}.is_directory() && !m_opts.directory.empty()) {
        m_opts.directory = split_path(m_opts.directory).dir;
    }
    // Not reset: the option also applies to the paths after this one.
    if (!stream.empty()) m_opts.show_indx = 1;
    const bool show_indx = m_opts.show_indx != 0;
    const shared_path path{m_opts.directory};
    m_rows.add({.record = m_record,
                .entry_num = m_opts.dir_entry_num,
                .parent_num = names.begin()->second.parent_entry(),
                .path = path,
                .show_indx = show_indx,
                .whole = &m_whole},
               m_opts.entries);
    if (!stream.empty()) {
        keep_stream_row(m_opts, stream);
    } else {
        add_children(path, m_opts.dir_entry_num, m_opts.entries, show_indx);
    }
    return true;
}

bool directory_reader::add_directory(const shared_path& path, std::uint64_t dir_entry_num,
                                     dir_entry_set& entries, bool show_indx) {
    if (!m_ntfs.validate()) return false;
    bool added = false;
    name_entry_map names;
    if (read(dir_entry_num) && m_ntfs.get_file_names(names, dir_entry_num, m_record)) {
        // A directory with several names gets a row for each.
        for (const auto& [key, name] : names) {
            m_rows.add({.record = m_record,
                        .entry_num = dir_entry_num,
                        .parent_num = name.parent_entry(),
                        .path = path,
                        .show_indx = show_indx,
                        .whole = &m_whole},
                       entries);
        }
        added = true;
    }
    return add_children(path, dir_entry_num, entries, show_indx) || added;
}

// Adds the rows of all children in ascending order of their entries, so that the MFT is read
// forward. Skips a child that cannot be read. Returns false if the index cannot be read.
bool directory_reader::add_children(const shared_path& path, std::uint64_t dir_entry_num,
                                    dir_entry_set& entries, bool show_indx) {
    if (!m_ntfs.get_sorted_children(dir_entry_num, m_children)) return false;
    record_hints hints(m_ntfs, m_children.begin(), m_children.end(), dir_entry_num);
    for (const std::uint64_t child : m_children) {
        hints.before_read();
        if (child == dir_entry_num || !read(child)) continue;
        m_rows.add({.record = m_record,
                    .entry_num = child,
                    .parent_num = dir_entry_num,
                    .path = path,
                    .show_indx = show_indx,
                    .append_name = true,
                    .whole = &m_whole},
                   entries);
    }
    return true;
}

// Prints one listing in the selected format. "-bodyfile" and "-csvl2t" print none.
void write_listing(quorvel_opts& opts, const std::wstring& path, std::uint64_t dir_entry_num,
                   dir_entry_set& recurse_list) {
    if (opts.out == nullptr || opts.no_listing != 0) return;
    std::ostream& out = *opts.out;
    if (opts.csv != 0) {
        write_csv_listing(out, recurse_list, opts, path, dir_entry_num);
    } else if (opts.list_csvl2t != 0 || opts.list_bodyfile != 0) {
        return;
    } else if (opts.xml != 0) {
        write_xml_listing(out, recurse_list, opts, path, dir_entry_num);
    } else if (opts.filepath_only != 0) {
        opts.header_pending = 0;
        write_path_listing(out, recurse_list, opts, path, dir_entry_num);
    } else {
        write_text_listing(out, recurse_list, opts, path, dir_entry_num, opts.show_objid != 0);
    }
    out.flush();
}

// Prints opts.entries and returns the subdirectories to list next.
dir_entry_set list_level(quorvel_opts& opts, const std::wstring& path, std::uint64_t dir_entry_num,
                         std::uint32_t levels) {
    dir_entry_set subdirectories;
    opts.last_level = levels == 1 ? 1 : 0;
    write_listing(opts, path, dir_entry_num, subdirectories);
    return subdirectories;
}

}  // namespace

bool report_directory(quorvel_opts& opts, CNtfs& ntfs) {
    bool added = false;
    {
        directory_reader reader(ntfs, opts);
        if (!reader.read(opts.dir_entry_num)) return false;
        added = reader.add_requested_rows();
    }
    if (opts.entries.empty()) {
        if (opts.out != nullptr) *opts.out << "no items\n" << std::endl;
        return added;
    }
    const bool with_frame = opts.xml != 0 && opts.out != nullptr;
    if (with_frame) write_xml_opening(*opts.out, opts);
    walk_directory(opts, ntfs, opts.directory, opts.dir_entry_num, opts.levels);
    if (with_frame) write_xml_closing(*opts.out);
    return true;
}

// Walks depth first: the listing of a directory is followed by those of its subdirectories, each
// with everything below it. The pending lists of all levels are in a vector, not on the call stack,
// which would limit the depth.
void walk_directory(quorvel_opts& opts, CNtfs& ntfs, const std::wstring& path,
                    std::uint64_t dir_entry_num, std::uint32_t levels) {
    if (opts.entries.empty() || levels == 0) return;
    directory_reader reader(ntfs, opts);
    std::vector<dir_entry_set> pending_lists;
    pending_lists.push_back(list_level(opts, path, dir_entry_num, levels));
    while (!pending_lists.empty()) {
        dir_entry_set& list = pending_lists.back();
        if (list.empty()) {
            pending_lists.pop_back();
            continue;
        }
        const auto next = list.extract(list.begin());
        const dir_entry& directory = next.value();
        // The list also contains streams of subdirectories.
        if (directory.type != entry_type::directory) continue;
        reader.recycle(opts.entries);
        if (reader.add_directory(directory.parent_path, directory.mft_entry, opts.entries,
                                 opts.show_indx != 0) &&
            !opts.entries.empty()) {
            // The list has subdirectories only if it is not at the last level.
            const auto depth = static_cast<std::uint32_t>(pending_lists.size());
            pending_lists.push_back(list_level(opts, directory.parent_path.text(),
                                               directory.mft_entry, levels - depth));
        }
    }
}

bool read_directory_entries(CNtfs& ntfs, const std::wstring& path, std::uint64_t dir_entry_num,
                            dir_entry_set& entries, bool show_indx, quorvel_opts& opts) {
    return directory_reader(ntfs, opts)
        .add_directory(shared_path(path), dir_entry_num, entries, show_indx);
}
