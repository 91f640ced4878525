#include "report/walk/entry_rows.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "foundation/text/ql_string.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/volume/ntfs.h"
#include "run/filters/path_filters.h"
#include "run/settings/quorvel_opts.h"

namespace {

constexpr std::uint8_t first_unknown_namespace = 5;
constexpr bool with_stream = false;  // the filters ignore it
constexpr std::size_t most_spare_rows = 10'000;

// Reads the timestamps of a $FILE_NAME. They are 0 for an unknown namespace.
void read_name_stamps(const file_name_value& value, fn_entry& out) {
    if (value.name_space() >= first_unknown_namespace) {
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
    }
}

void set_utf8(std::string& text, std::wstring_view wide) {
    text.clear();
    ql::append_utf8(text, wide);
}

void read_name(const NTFS_NAME_ENTRY& name, fn_entry& out) {
    out.time_null = 0;
    read_name_stamps({name.file_name_body}, out);
    set_utf8(out.name, name.name);
    out.is_short = name.is_dos_name;
}

// Returns the index of the only name, or of the first that is not a DOS name; nullopt if there are
// several DOS names and no others.
std::optional<std::size_t> find_display_name(const name_entry_list& names) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].is_dos_name == 0 || names.size() == 1) return i;
    }
    return std::nullopt;
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

struct id_and_link {
    std::array<std::uint8_t, 16> object_id{};  // all zero without one
    std::string link_target;
};

// Finds the last object id before the first link target, which ends the search. The volume reader
// returns no text for reparse points, so the link fields of all reports are empty.
id_and_link find_id_and_link(const std::vector<NTFS_ATTRIB_ROW>& attribute_rows) {
    id_and_link found;
    for (const NTFS_ATTRIB_ROW& attribute : attribute_rows) {
        if (attribute.type == attrib_type::object_id) {
            std::copy_n(attribute.body.begin(), found.object_id.size(), found.object_id.begin());
        } else if (attribute.type == attrib_type::reparse_point && !attribute.file_name.empty()) {
            found.link_target = attribute.file_name;
            return found;
        }
    }
    return found;
}

// Returns the size that the reports show: the allocated size, or the length of a resident value.
std::uint64_t shown_size(const NTFS_ATTRIB_ROW& attribute) {
    return attribute.nonresident != 0 ? ql::le64(attribute.body, row_body::allocated_size)
                                      : ql::le32(attribute.body, row_body::value_length);
}

bool is_unnamed_data(const NTFS_ATTRIB_ROW& attribute) {
    return attribute.type == attrib_type::data && attribute.name.empty();
}

// Returns true if the attribute gets a row: $DATA, or a named index if indexes are shown.
bool is_stream(const NTFS_ATTRIB_ROW& attribute, bool show_indx) {
    return attribute.type == attrib_type::data ||
           (attribute.type == attrib_type::index_allocation && show_indx &&
            !attribute.name.empty());
}

// Inserts a row after those with the same key. Files are read in the order of their entries, which
// is often the order of their names, so the end is tried before a search for the position.
void insert_row(dir_entry_set& entries, dir_entry_set::node_type row) {
    entries.insert(entries.end(), std::move(row));
}

// Names the row of a stream. An index of the root directory, whose name is ".", is shown under the
// name of the stream alone.
void name_stream(dir_entry& row, const std::string& key, const std::string& stream) {
    row.full_path = key;
    row.full_path += ':';
    row.full_path += stream;
    ql::lower(row.full_path, key.size());
    if (row.type == entry_type::index_stream && row.name == ".") {
        row.name = stream;
    } else {
        row.name += ':';
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
    while (!entries.empty() && m_rows.size() < most_spare_rows)
        m_rows.push_back(entries.extract(entries.begin()));
    entries.clear();
}

void entry_rows::add(const entry_source& source, dir_entry_set& entries) {
    if (!read_entry(source)) return;
    const bool is_directory = is_of_directory(m_common);
    make_key(source.append_name || !is_directory);
    if (!is_directory && !passes_filters()) return;
    add_rows(entries, source.show_indx);
}

// Reads the fields that all rows of the entry share, and the attributes that get rows. Returns
// false if the entry has no rows.
bool entry_rows::read_entry(const entry_source& source) {
    const name_filter filter{.all_namespaces = true, .parent = source.parent_num};
    if (!m_ntfs.get_file_names(m_names, source.entry_num, source.record, filter)) return false;
    set_names();
    if (!read_standard_information(m_common, source.record, m_ntfs.get_mft_record_size())) {
        return false;
    }
    const file_record header{source.record};
    m_common.flags = header.flags();
    m_common.seq_num = header.sequence_number();
    set_directory(source.path);
    m_common.parent_entry = source.parent_num;
    m_common.mft_entry = source.entry_num;
    return m_attribute_rows.read(source.entry_num, source.whole);
}

// Sets the display name, or an empty one if the entry lacks it, and for reports with all dates the
// list of names.
void entry_rows::set_names() {
    const std::optional<std::size_t> display = find_display_name(m_names);
    if (m_opts.alldates == 0) {
        set_utf8(m_common.name, display ? m_names[*display].name : std::wstring_view());
        return;
    }
    m_common.fn_list.resize(m_names.size());
    for (std::size_t i = 0; i < m_names.size(); ++i)
        read_name(m_names[i], m_common.fn_list[i]);
    m_common.name = display ? m_common.fn_list[*display].name : std::string_view();
}

void entry_rows::set_directory(const shared_path& path) {
    if (path.is_shared_with(m_common.parent_path)) return;
    m_common.parent_path = path;
    set_utf8(m_path_key, path.text());
    ql::lower(m_path_key);
}

// Sets the sort key of an entry, its lower-cased path.
void entry_rows::make_key(bool append_name) {
    m_key = m_path_key;
    if (append_name) {
        m_key += '\\';
        const std::size_t name_at = m_key.size();
        m_key += m_common.name;
        ql::lower(m_key, name_at);
    }
}

// Returns true for a file that gets rows. The filters match against its lower-cased path.
bool entry_rows::passes_filters() const {
    std::wstring path = L"\\";  // without filters, any path passes
    if (!m_opts.filters.empty()) {
        path = m_common.parent_path.text() + L'\\' + ql::to_wide(m_common.name);
        ql::lower_wide(path);
    }
    file_time_bounds bounds;
    bounds.modified = m_common.si_modified;
    bounds.created = m_common.si_created;
    return path_passes_filters(m_opts, path, m_opts.filters, bounds, with_stream);
}

void entry_rows::add_rows(dir_entry_set& entries, bool show_indx) {
    const std::vector<NTFS_ATTRIB_ROW>& attribute_rows = m_attribute_rows.rows();
    id_and_link found = find_id_and_link(attribute_rows);
    m_object_id = found.object_id;
    m_common.link_target = std::move(found.link_target);

    const bool is_directory = is_of_directory(m_common);
    if (is_directory) insert_row(entries, make_base_row());
    for (const NTFS_ATTRIB_ROW& attribute : attribute_rows) {
        if (is_stream(attribute, show_indx)) add_stream(attribute, entries);
    }
    if (!is_directory &&
        std::none_of(attribute_rows.begin(), attribute_rows.end(), is_unnamed_data)) {
        insert_row(entries, make_base_row());
    }
}

void entry_rows::add_stream(const NTFS_ATTRIB_ROW& attribute, dir_entry_set& entries) {
    dir_entry_set::node_type row;
    if (is_unnamed_data(attribute)) {
        row = make_base_row();
        if (is_of_directory(m_common)) row.value().name += "<dir data entry>";
    } else {
        const bool is_index = attribute.type == attrib_type::index_allocation;
        row = make_row(is_index ? entry_type::index_stream : entry_type::data_stream);
        name_stream(row.value(), m_key, attribute.name);
    }
    row.value().size = shown_size(attribute);
    insert_row(entries, std::move(row));
}

// Returns the row of the file or directory itself, with size 0.
dir_entry_set::node_type entry_rows::make_base_row() {
    const bool is_directory = is_of_directory(m_common);
    dir_entry_set::node_type row =
        make_row(is_directory ? entry_type::directory : entry_type::file);
    row.value().full_path = m_key;
    row.value().object_id = m_object_id;
    return row;
}

// Returns a row with the fields that all rows share, size 0 and no object id.
dir_entry_set::node_type entry_rows::make_row(std::uint32_t type) {
    dir_entry_set::node_type row = m_spare.take();
    row.value() = m_common;
    row.value().type = type;
    return row;
}

bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts) {
    const shared_path directory{path};
    const entry_source source{.record = record,
                              .entry_num = entry_num,
                              .parent_num = parent_num,
                              .path = directory,
                              .show_indx = show_indx,
                              .append_name = append_name};
    entry_rows(ntfs, opts).add(source, entries);
    return true;
}
