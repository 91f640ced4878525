#include "convert/summary/page_summary.h"

#include <algorithm>
#include <utility>

#include "convert/summary/odd_names.h"

namespace convert {

void row_table::add(const listing_row& row, std::string note) {
    ++total;
    if (rows.size() < most_rows) rows.push_back({row, std::move(note)});
}

void page_summary::add(const listing_row& row) {
    if (m_entries.insert(row.entry, row.sequence)) {
        m_times.add(row.standard);
        if (row.standard.blank()) ++m_without_time;
    }
    if (row.is_entry())
        add_entry(row);
    else
        add_stream(row);
}

// Counts the row. `path` is that of the entry, without a backslash at its end; the bytes of a
// repeated entry have been counted. Returns the directory that contains the entry, or null.
directory_totals::item* page_summary::add_bytes(const listing_row& row, std::string_view path,
                                                bool repeated) {
    kind_total& total = m_kinds.at(static_cast<std::size_t>(row.type));
    ++total.rows;
    if (row.is_deleted()) ++total.deleted;
    if (!repeated) total.bytes = capped_sum(total.bytes, row.allocated_size);
    directory_totals::item* above = m_directories.find(path);
    if (above != nullptr) above->second.bytes = capped_sum(above->second.bytes, row.allocated_size);
    return above;
}

void page_summary::check_name(const listing_row& row, std::string_view name) {
    std::string odd = describe_odd_name(name);
    if (!odd.empty()) m_odd_names.add(row, std::move(odd));
}

void page_summary::add_entry(const listing_row& row) {
    if (!m_owner.set(row)) {  // the own data of a directory
        add_bytes(row, m_owner.path(), false);
        return;
    }
    const bool is_directory = row.type == row_type::directory;
    m_owner_repeated = !m_files.insert(row.entry, row.sequence) && !is_directory;
    if (m_owner_repeated) ++m_more_paths;
    const std::string_view path = m_owner.path();
    directory_totals::item* above = add_bytes(row, path, m_owner_repeated);
    if (above != nullptr) ++above->second.entries;
    check_name(row,
               path.substr(above != nullptr ? above->first.size() : directory_of(path).size()));
    if (is_directory) m_directories.list(row.path);
    if (row.set_back) m_set_back.add(row);
    if (row.is_deleted()) m_deleted.add(row);
    if (!row.object_id.empty()) m_object_ids.add(row);
}

void page_summary::add_stream(const listing_row& row) {
    const std::string_view path = row.path;
    const std::size_t colon = m_owner.length_in(row);
    add_bytes(row, path.substr(0, colon), m_owner_repeated && m_owner.is_of(row));
    check_name(row, path.substr(std::min(colon + 1, path.size())));
    if (row.type == row_type::stream) m_streams.add(row);
}

}  // namespace convert
