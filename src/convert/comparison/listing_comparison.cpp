#include "convert/comparison/listing_comparison.h"

#include <utility>

namespace convert {

listing_comparison::listing_comparison(std::string folder, const sort_limits& limits)
    : m_sorter(std::move(folder), limits) {}

bool listing_comparison::add(const listing_row& row, listing_side side) {
    compared_row added;
    added.row = row;
    added.side = side;
    m_locators.at(static_cast<std::size_t>(side)).locate(added);
    m_record.clear();
    append_record(m_record, added);
    return m_sorter.add(m_record);
}

bool listing_comparison::visit_changes(const change_visitor& visit) {
    const bool visited = m_sorter.visit_sorted([&](std::string_view record) {
        compared_row row = parse_record(record);
        if (!m_entry.empty() && m_entry.back().row.entry != row.row.entry) {
            if (!compare_entry(m_entry, visit)) return false;
            m_entry.clear();
        }
        m_entry.push_back(std::move(row));
        return true;
    });
    return visited && compare_entry(m_entry, visit);
}

}  // namespace convert
