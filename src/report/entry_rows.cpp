// The rows of one MFT entry.
#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/ql_string.h"
#include "ntfs/ntfs.h"
#include "report/enumerator.h"
#include "run/quorvel_opts.h"

namespace {

constexpr std::size_t namespace_at = 65;  // in a $FILE_NAME value
constexpr std::uint8_t first_bad_namespace = 5;

// A $FILE_NAME of an unknown namespace keeps its name and shows no stamps.
fn_entry make_fn_entry(const NTFS_NAME_ENTRY& name) {
    fn_entry made;
    const ql::bytes value = name.file_name_body;
    if (ql::le8(value, namespace_at) < first_bad_namespace) {
        made.parent_ref = ql::le64(value, 0);
        made.created = ql::le64(value, 8);
        made.modified = ql::le64(value, 16);
        made.mft_changed = ql::le64(value, 24);
        made.accessed = ql::le64(value, 32);
        if (made.created == 0 || made.modified == 0 || made.mft_changed == 0 ||
            made.accessed == 0) {
            made.time_null = 1;
            made.comment = "fn:time null";
        }
    }
    made.name = name.name;
    made.is_short = name.is_dos_name;
    return made;
}

// The only name, or the first that is no DOS name; empty when there are DOS names alone.
std::wstring display_name(const name_entry_map& names) {
    if (names.size() == 1) return names.begin()->second.name;
    for (const auto& [key, name] : names) {
        if (name.is_dos_name == 0) return name.name;
    }
    return {};
}

// Stamps and attributes. False without $STANDARD_INFORMATION.
bool read_standard_information(dir_entry& entry, ql::bytes record, std::uint32_t record_size) {
    record_attrib attribute;
    if (!find_attrib(record, attrib_type::standard_information, attribute, record_size)) {
        return false;
    }
    const ql::bytes value = attribute.value_to_record_end();
    entry.si_created = ql::le64(value, 0);
    entry.si_modified = ql::le64(value, 8);
    entry.si_mft_changed = ql::le64(value, 16);
    entry.si_accessed = ql::le64(value, 24);
    entry.attributes = ql::le32(value, 32);
    return true;
}

// The last object id, and the first link target, which ends the search. The rows of the volume
// reader carry no text for reparse points, so that link fields stay empty in all reports.
void find_id_and_link(const std::vector<NTFS_ATTRIB_ROW>& rows,
                      std::array<std::uint8_t, 16>& object_id, std::wstring& link_target) {
    for (const NTFS_ATTRIB_ROW& row : rows) {
        if (row.type == attrib_type::object_id) {
            std::copy_n(row.body.begin(), object_id.size(), object_id.begin());
        } else if (row.type == attrib_type::reparse_point && !row.file_name.empty()) {
            link_target = ql::to_wide(row.file_name);
            return;
        }
    }
}

// What the reports show as size: the allocated size, or the length of a resident value.
std::uint64_t shown_size(const NTFS_ATTRIB_ROW& row) {
    return row.nonresident != 0 ? ql::le64(row.body, 8) : ql::le32(row.body, 0);
}

bool is_unnamed_data(const NTFS_ATTRIB_ROW& row) {
    return row.type == attrib_type::data && row.name.empty();
}

// Adds the rows of one entry to the set. All of them share what `common` holds.
class row_adder {
public:
    row_adder(dir_entry common, std::wstring key, dir_entry_set& entries)
        : m_common(std::move(common)), m_key(std::move(key)), m_entries(entries) {}

    void add_all(const std::vector<NTFS_ATTRIB_ROW>& rows, bool show_indx) {
        const bool is_directory = (m_common.flags & record_flag_directory) != 0;
        const auto shows = [show_indx](const NTFS_ATTRIB_ROW& row) {
            return row.type == attrib_type::data ||
                   (row.type == attrib_type::index_allocation && show_indx && !row.name.empty());
        };
        find_id_and_link(rows, m_object_id, m_common.link_target);
        const bool has_unnamed_data = std::any_of(rows.begin(), rows.end(), is_unnamed_data);
        const bool has_base_row = is_directory || !has_unnamed_data;
        m_rows_left = std::count_if(rows.begin(), rows.end(), shows) + (has_base_row ? 1 : 0);

        m_base_type = is_directory ? entry_type::directory : entry_type::file;
        if (is_directory) add_base();
        for (const NTFS_ATTRIB_ROW& row : rows) {
            if (shows(row)) add_stream(row, is_directory);
        }
        if (!is_directory && !has_unnamed_data) add_base();
    }

private:
    // The row of an entry that has no unnamed $DATA, and of each directory.
    void add_base() {
        dir_entry made = take_common();
        made.type = m_base_type;
        made.full_path = m_key;
        made.object_id = m_object_id;
        m_entries.insert(std::move(made));
    }

    void add_stream(const NTFS_ATTRIB_ROW& row, bool is_directory) {
        dir_entry made = take_common();
        made.size = shown_size(row);
        if (is_unnamed_data(row)) {
            if (is_directory) made.name += L"<dir data entry>";
            made.type = m_base_type;
            made.full_path = m_key;
            made.object_id = m_object_id;
        } else {
            const bool is_index = row.type == attrib_type::index_allocation;
            made.type = is_index ? entry_type::index_stream : entry_type::data_stream;
            name_stream(made, ql::to_wide(row.name), is_index);
        }
        m_entries.insert(std::move(made));
    }

    // An index of the root directory, whose name is ".", goes by the stream's name alone.
    void name_stream(dir_entry& made, const std::wstring& stream, bool is_index) const {
        made.full_path = m_key + L':' + stream;
        ql::lower_wide(made.full_path);
        if (is_index && made.name == L".") {
            made.name = stream;
        } else {
            made.name += L':';
            made.name += stream;
        }
    }

    // A copy of what the rows share; the last row takes it over.
    dir_entry take_common() {
        if (--m_rows_left == 0) return std::move(m_common);
        return m_common;
    }

    dir_entry m_common;
    std::wstring m_key;
    dir_entry_set& m_entries;
    std::array<std::uint8_t, 16> m_object_id{};
    std::uint32_t m_base_type = 0;
    std::ptrdiff_t m_rows_left = 0;
};

// The lower-cased path of an entry, which orders the rows and which the filters look at.
std::wstring make_key(const std::wstring& path, const std::wstring& name, bool append_name) {
    std::wstring key = path;
    if (append_name) {
        key += L'\\';
        key += name;
    }
    ql::lower_wide(key);
    return key;
}

bool file_passes(const quorvel_opts& opts, const dir_entry& entry, const std::wstring& key) {
    file_time_bounds bounds;
    bounds.modified = entry.si_modified;
    bounds.created = entry.si_created;
    return path_passes_filters(opts, key, opts.filters, bounds, false);
}

}  // namespace

bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts) {
    name_entry_map names;
    if (!ntfs.get_file_names(names, entry_num, record, true, parent_num)) return true;

    dir_entry entry;
    for (const auto& [key, name] : names)
        entry.fn_list.push_back(make_fn_entry(name));
    entry.name = display_name(names);
    if (!read_standard_information(entry, record, ntfs.get_mft_record_size())) return true;
    const file_record header{record};
    entry.flags = header.flags();
    entry.seq_num = header.sequence_number();
    entry.parent_path = path;
    entry.parent_entry = parent_num;
    entry.mft_entry = entry_num;

    std::vector<NTFS_ATTRIB_ROW> rows;
    if (!ntfs.get_listing_rows(entry_num, rows)) return true;

    const bool is_directory = header.is_directory();
    std::wstring key = make_key(path, entry.name, append_name || !is_directory);
    if (!is_directory && !file_passes(opts, entry, key)) return true;
    row_adder(std::move(entry), std::move(key), entries).add_all(rows, show_indx);
    return true;
}
