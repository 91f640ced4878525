// What the page says about a listing, without its form.
//
// The memory depends on the number of directories and entries, not on the number of rows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "convert/listing/listing_row.h"
#include "convert/listing/row_owner.h"
#include "convert/summary/directory_totals.h"
#include "convert/summary/entry_set.h"
#include "convert/summary/time_counts.h"

namespace convert {

struct kind_total {
    std::uint64_t rows = 0;
    std::uint64_t deleted = 0;  // rows whose entry is not in use
    std::uint64_t bytes = 0;    // allocated; those of a file with several paths once
};

struct noted_row {
    listing_row row;
    std::string note;
};

// The first rows of a table, and the number of all.
struct row_table {
    static constexpr std::size_t most_rows = 200;

    std::uint64_t total = 0;
    std::vector<noted_row> rows;

    void add(const listing_row& row, std::string note = {});
};

class page_summary {
public:
    void add(const listing_row& row);
    // Call it after the last row.
    void finish() { m_directories.finish(); }

    const kind_total& kind(row_type type) const {
        return m_kinds.at(static_cast<std::size_t>(type));
    }
    std::uint64_t entries() const { return m_entries.size(); }
    // Entries without a time of $STANDARD_INFORMATION.
    std::uint64_t without_time() const { return m_without_time; }
    // Rows of files that another row with another path already shows.
    std::uint64_t more_paths() const { return m_more_paths; }
    // Of $STANDARD_INFORMATION, once for each entry.
    const time_counts& times() const { return m_times; }
    const directory_totals& directories() const { return m_directories; }

    const row_table& set_back() const { return m_set_back; }
    const row_table& deleted() const { return m_deleted; }
    const row_table& streams() const { return m_streams; }
    const row_table& object_ids() const { return m_object_ids; }
    // The note says what is odd.
    const row_table& odd_names() const { return m_odd_names; }

private:
    void add_entry(const listing_row& row);
    void add_stream(const listing_row& row);
    directory_totals::item* add_bytes(const listing_row& row, std::string_view path, bool repeated);
    void check_name(const listing_row& row, std::string_view name);

    std::array<kind_total, 4> m_kinds{};
    entry_set m_entries;
    entry_set m_files;  // those with a row of their own, not only one of a stream
    std::uint64_t m_without_time = 0;
    std::uint64_t m_more_paths = 0;
    time_counts m_times;
    directory_totals m_directories;
    row_table m_set_back, m_deleted, m_streams, m_object_ids, m_odd_names;

    row_owner m_owner;              // of the streams that follow
    bool m_owner_repeated = false;  // it has been counted with another path
};

}  // namespace convert
