#include "report/walk/entry_rows.h"

#include <algorithm>
#include <utility>

#include "foundation/text/ql_string.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/volume/ntfs.h"
#include "run/filters/path_filters.h"
#include "run/settings/quorvel_opts.h"

namespace {

constexpr std::uint8_t first_bad_namespace = 5;

// Reads the timestamps of a $FILE_NAME. They are 0 for an unknown namespace.
void read_name_stamps(const file_name_value& value, fn_entry& out) {
    if (value.name_space() >= first_bad_namespace) {
        out.parent_ref = out.created = out.modified = out.mft_changed = out.accessed = 0;
        return;
    }
    out.parent_ref = value.parent_ref().raw;
    out.created = value.created();
    out.modified = value.modified();
    out.mft_changed = value.mft_changed();
    out.accessed = value.accessed();
    if (out.created == 0 || out.modified == 0 || out.mft_changed == 0 || out.accessed == 0) {
        out.time_null = 1;
        out.comment = "fn:time null";
    }
}

void read_name(const NTFS_NAME_ENTRY& name, fn_entry& out) {
    out.time_null = 0;
    out.comment = {};
    read_name_stamps({name.file_name_body}, out);
    out.name = name.name;
    out.is_short = name.is_dos_name;
}

// Chooses the only name, or the first that is not a DOS name; empty if there are several DOS names
// and no others.
void choose_display_name(const name_entry_list& names, std::wstring& out) {
    out.clear();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].is_dos_name != 0 && names.size() != 1) continue;
        out = names[i].name;
        return;
    }
}

// Reads timestamps and attributes. Returns false if there is no $STANDARD_INFORMATION.
bool read_standard_information(dir_entry& entry, ql::bytes record, std::uint32_t record_size) {
    record_attrib attribute;
    if (!find_attrib(record, attrib_type::standard_information, attribute, record_size)) {
        return false;
    }
    const standard_information_value info{attribute.value_to_record_end()};
    entry.si_created = info.created();
    entry.si_modified = info.modified();
    entry.si_mft_changed = info.mft_changed();
    entry.si_accessed = info.accessed();
    entry.attributes = info.attributes();
    return true;
}

// Finds the last object id before the first link target, which ends the search. The volume reader
// returns no text for reparse points, so the link fields of all reports are empty.
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

// Returns the size that the reports show: the allocated size, or the length of a resident value.
std::uint64_t shown_size(const NTFS_ATTRIB_ROW& row) {
    return row.nonresident != 0 ? ql::le64(row.body, row_body::allocated_size)
                                : ql::le32(row.body, row_body::value_length);
}

bool is_unnamed_data(const NTFS_ATTRIB_ROW& row) {
    return row.type == attrib_type::data && row.name.empty();
}

bool is_stream(const NTFS_ATTRIB_ROW& row, bool show_indx) {
    return row.type == attrib_type::data ||
           (row.type == attrib_type::index_allocation && show_indx && !row.name.empty());
}

// Inserts a row after those with the same key. Files are read in the order of their entries, which
// is often the order of their names, so the end is tried before a search for the position.
void insert_row(dir_entry_set& entries, dir_entry_set::node_type row) {
    entries.insert(entries.end(), std::move(row));
}

// Names the row of a stream. An index of the root directory, whose name is ".", is shown under the
// name of the stream alone.
void name_stream(dir_entry& row, const std::wstring& key, const std::wstring& stream) {
    row.full_path = key;
    row.full_path += L':';
    row.full_path += stream;
    ql::lower_wide(row.full_path);
    if (row.type == entry_type::index_stream && row.name == L".") {
        row.name = stream;
    } else {
        row.name += L':';
        row.name += stream;
    }
}

}  // namespace

dir_entry_set::node_type spare_rows::take() {
    if (m_rows.empty()) {
        dir_entry_set one;
        one.emplace();
        return one.extract(one.begin());
    }
    dir_entry_set::node_type row = std::move(m_rows.back());
    m_rows.pop_back();
    return row;
}

void spare_rows::add(dir_entry_set& entries) {
    while (!entries.empty())
        m_rows.push_back(entries.extract(entries.begin()));
}

void entry_rows::add(ql::bytes record, std::uint64_t entry_num, std::uint64_t parent_num,
                     const std::wstring& path, dir_entry_set& entries, bool show_indx,
                     bool append_name) {
    if (!read_entry(record, entry_num, parent_num, path)) return;
    const bool is_directory = is_of_directory(m_common);
    make_key(path, append_name || !is_directory);
    if (!is_directory && !passes_filters()) return;
    add_rows(entries, show_indx);
}

// Reads the fields that all rows of the entry share, and the attributes that get rows. Returns
// false if the entry has no rows.
bool entry_rows::read_entry(ql::bytes record, std::uint64_t entry_num, std::uint64_t parent_num,
                            const std::wstring& path) {
    const name_filter filter{.all_namespaces = true, .parent = parent_num};
    if (!m_ntfs.get_file_names(m_names, entry_num, record, filter)) return false;
    m_common.fn_list.resize(m_names.size());
    for (std::size_t i = 0; i < m_names.size(); ++i)
        read_name(m_names[i], m_common.fn_list[i]);
    choose_display_name(m_names, m_common.name);
    if (!read_standard_information(m_common, record, m_ntfs.get_mft_record_size())) return false;
    const file_record header{record};
    m_common.flags = header.flags();
    m_common.seq_num = header.sequence_number();
    m_common.parent_path = path;
    m_common.parent_entry = parent_num;
    m_common.mft_entry = entry_num;
    return m_rows.read(entry_num);
}

// Sets the sort key of an entry, its lower-cased path. The filters match against it, too.
void entry_rows::make_key(const std::wstring& path, bool append_name) {
    m_key = path;
    if (append_name) {
        m_key += L'\\';
        m_key += m_common.name;
    }
    ql::lower_wide(m_key);
}

bool entry_rows::passes_filters() const {
    file_time_bounds bounds;
    bounds.modified = m_common.si_modified;
    bounds.created = m_common.si_created;
    return path_passes_filters(m_opts, m_key, m_opts.filters, bounds, false);
}

void entry_rows::add_rows(dir_entry_set& entries, bool show_indx) {
    const std::vector<NTFS_ATTRIB_ROW>& rows = m_rows.rows();
    m_object_id = {};
    m_common.link_target.clear();
    find_id_and_link(rows, m_object_id, m_common.link_target);

    const bool is_directory = is_of_directory(m_common);
    if (is_directory) add_base(entries);
    for (const NTFS_ATTRIB_ROW& row : rows) {
        if (is_stream(row, show_indx)) add_stream(row, entries);
    }
    if (!is_directory && std::none_of(rows.begin(), rows.end(), is_unnamed_data)) add_base(entries);
}

// Adds the row of a directory or of an entry that has no unnamed $DATA.
void entry_rows::add_base(dir_entry_set& entries) {
    const bool is_directory = is_of_directory(m_common);
    dir_entry_set::node_type made =
        make_row(is_directory ? entry_type::directory : entry_type::file);
    made.value().full_path = m_key;
    made.value().object_id = m_object_id;
    insert_row(entries, std::move(made));
}

void entry_rows::add_stream(const NTFS_ATTRIB_ROW& row, dir_entry_set& entries) {
    const bool is_directory = is_of_directory(m_common);
    dir_entry_set::node_type node;
    if (is_unnamed_data(row)) {
        node = make_row(is_directory ? entry_type::directory : entry_type::file);
        dir_entry& made = node.value();
        if (is_directory) made.name += L"<dir data entry>";
        made.full_path = m_key;
        made.object_id = m_object_id;
    } else {
        const bool is_index = row.type == attrib_type::index_allocation;
        node = make_row(is_index ? entry_type::index_stream : entry_type::data_stream);
        name_stream(node.value(), m_key, ql::to_wide(row.name));
    }
    node.value().size = shown_size(row);
    insert_row(entries, std::move(node));
}

// Returns a row with the fields that all rows share, size 0 and no object id.
dir_entry_set::node_type entry_rows::make_row(std::uint32_t type) {
    dir_entry_set::node_type made = m_spare.take();
    made.value() = m_common;
    made.value().type = type;
    return made;
}

bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts) {
    entry_rows(ntfs, opts)
        .add(record, entry_num, parent_num, path, entries, show_indx, append_name);
    return true;
}
