#include "report/enumerator.h"

#include <set>
#include <utility>
#include <vector>

#include "foundation/ql_string.h"
#include "foundation/split_path.h"
#include "ntfs/ntfs.h"
#include "report/csv_listing.h"
#include "report/text_listing.h"
#include "report/xml_listing.h"
#include "run/quorvel_opts.h"

namespace {

// A colon in front of this position belongs to a drive prefix, not to a stream.
constexpr std::size_t first_stream_colon = 4;

// The buffer that all records of a listing are read into, one after the other.
class record_reader {
public:
    explicit record_reader(CNtfs& ntfs) : m_ntfs(ntfs) {
        const std::uint32_t size = ntfs.get_mft_record_size();
        if (ntfs.fits_source(size)) m_buffer.resize(size);
    }

    // False when the record can't be read, or when records are too large for memory.
    bool read(std::uint64_t entry_num) {
        if (m_buffer.empty()) return false;
        std::uint64_t position = 0;
        std::int64_t size = static_cast<std::int64_t>(m_buffer.size());
        return m_ntfs.read_file_record(entry_num, m_buffer, position, size, false);
    }

    ql::bytes record() const { return m_buffer; }

private:
    CNtfs& m_ntfs;
    std::vector<std::uint8_t> m_buffer;
};

// The stream that a path asks for, "zone" in "\a\file.txt:zone"; empty for none.
std::wstring stream_of_path(const std::wstring& path) {
    const std::size_t colon = path.rfind(L':');
    if (colon == std::wstring::npos || colon < first_stream_colon) return {};
    return path.substr(colon + 1);
}

// True when a row stands for this stream, without regard to ASCII case.
bool is_stream_row(const dir_entry& entry, const std::wstring& stream) {
    const std::size_t colon = entry.name.rfind(L':');
    return colon != std::wstring::npos &&
           ql::compare_wide(entry.name.c_str() + colon + 1, stream.c_str(), true) == 0;
}

// Leaves only the row of the stream that was asked for; everything stays when there is none. The
// name of a directory loses its stream and, with it, its last letter: "\dir:zone" is listed as
// "\di:zone". A file's name is no part of `directory` any more.
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

// Adds the rows of all children, in ascending order of their entries, so that the MFT is read
// forward. A child that can't be read is left out. False when the index can't be read.
bool add_children(CNtfs& ntfs, record_reader& reader, const std::wstring& path,
                  std::uint64_t dir_entry_num, dir_entry_set& entries, bool show_indx,
                  quorvel_opts& opts) {
    std::set<std::uint64_t> children;
    if (!ntfs.get_children(dir_entry_num, children, false)) return false;
    for (const std::uint64_t child : children) {
        if (child == dir_entry_num || !reader.read(child)) continue;
        if (!add_entry_rows(ntfs, reader.record(), child, dir_entry_num, path, entries, show_indx,
                            true, opts)) {
            break;
        }
    }
    return true;
}

// Adds the rows of the entry that was asked for. Its own rows stand under its first parent; those
// of its children follow unless a stream was asked for. False when the entry has no name.
bool add_asked_rows(quorvel_opts& opts, CNtfs& ntfs, record_reader& reader) {
    const std::wstring stream = stream_of_path(opts.directory);
    name_entry_map names;
    if (!ntfs.get_file_names(names, opts.dir_entry_num, reader.record())) return false;

    std::wstring parent_path;
    std::wstring name;
    if (!file_record{reader.record()}.is_directory() &&
        split_path(opts.directory, parent_path, name)) {
        opts.directory = parent_path;
    }
    // Stays set for the paths that follow.
    if (!stream.empty()) opts.show_indx = 1;
    const std::uint64_t parent = entry_of(names.begin()->second.parent_ref);
    const bool added =
        add_entry_rows(ntfs, reader.record(), opts.dir_entry_num, parent, opts.directory,
                       opts.entries, opts.show_indx != 0, false, opts);
    if (!stream.empty()) {
        keep_stream_row(opts, stream);
    } else if (added) {
        add_children(ntfs, reader, opts.directory, opts.dir_entry_num, opts.entries,
                     opts.show_indx != 0, opts);
    }
    return added;
}

// Prints one listing with the writer that the options chose. "-bodyfile" and "-csvl2t" have none.
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

// Prints opts.entries and gives the subdirectories that are to be listed next.
dir_entry_set list_level(quorvel_opts& opts, const std::wstring& path, std::uint64_t dir_entry_num,
                         std::uint32_t levels) {
    dir_entry_set subdirectories;
    opts.last_level = levels == 1 ? 1 : 0;
    write_listing(opts, path, dir_entry_num, subdirectories);
    return subdirectories;
}

// The streams of a subdirectory are on the list as well, and are passed over.
bool is_directory_row(const dir_entry& entry) {
    return (entry.flags & record_flag_directory) != 0 && entry.type == entry_type::directory;
}

}  // namespace

bool report_directory(quorvel_opts& opts, CNtfs& ntfs) {
    record_reader reader(ntfs);
    if (!reader.read(opts.dir_entry_num)) return false;
    const bool added = add_asked_rows(opts, ntfs, reader);
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

// Depth first: the listing of a directory is followed by those of its subdirectories, each with all
// that is below it. The lists of all open levels are kept here and not on the call stack, so that
// its depth is no limit.
void walk_directory(quorvel_opts& opts, CNtfs& ntfs, const std::wstring& path,
                    std::uint64_t dir_entry_num, std::uint32_t levels) {
    if (opts.entries.empty() || levels == 0) return;
    std::vector<dir_entry_set> open_lists;
    open_lists.push_back(list_level(opts, path, dir_entry_num, levels));
    while (!open_lists.empty()) {
        dir_entry_set& list = open_lists.back();
        if (list.empty()) {
            open_lists.pop_back();
            continue;
        }
        const auto next = list.extract(list.begin());
        const dir_entry& directory = next.value();
        if (!is_directory_row(directory)) continue;
        opts.entries.clear();
        if (read_directory_entries(ntfs, directory.parent_path, directory.mft_entry, opts.entries,
                                   opts.show_indx != 0, opts) &&
            !opts.entries.empty()) {
            // A list has subdirectories only while there are levels to go.
            const auto depth = static_cast<std::uint32_t>(open_lists.size());
            open_lists.push_back(
                list_level(opts, directory.parent_path, directory.mft_entry, levels - depth));
        }
    }
}

bool read_directory_entries(CNtfs& ntfs, const std::wstring& path, std::uint64_t dir_entry_num,
                            dir_entry_set& entries, bool show_indx, quorvel_opts& opts) {
    std::uint64_t mft_file_pos = 0;
    if (!ntfs.validate(mft_file_pos)) return false;
    record_reader reader(ntfs);
    bool added = false;
    name_entry_map names;
    if (reader.read(dir_entry_num) && ntfs.get_file_names(names, dir_entry_num, reader.record())) {
        // A directory with two names has a row for each.
        for (const auto& [key, name] : names) {
            added = add_entry_rows(ntfs, reader.record(), dir_entry_num, entry_of(name.parent_ref),
                                   path, entries, show_indx, false, opts);
        }
    }
    return add_children(ntfs, reader, path, dir_entry_num, entries, show_indx, opts) || added;
}
