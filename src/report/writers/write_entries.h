// The loop that all reports share: the rows of one directory, in report order.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

#include "foundation/text/ql_string.h"
#include "foundation/text/text_buffer.h"
#include "report/format/listing_paths.h"
#include "report/format/row_text.h"
#include "report/rows/dir_entry.h"
#include "run/settings/quorvel_opts.h"

// The common parameters of all reports; see write_text_listing.
struct listing_request {
    std::ostream& out;
    dir_entry_set& recurse_list;
    quorvel_opts& settings;
    const std::wstring& parent_path;
    std::uint64_t dir_entry_num;
};

// The base of all reports: what a report without a header does, and one that prints names and paths
// unchanged. A report also has
//
//   void append_row(ql::text_buffer& row, const dir_entry& entry, listing_paths& paths);
//
// which appends the row of `entry`, without a line end. `paths` contains its name and its path.
struct report_base {
    // Appends the header, or nothing if it was printed before or the report has none.
    void append_pending_header(ql::text_buffer&) const {}
    // Converts a name, or the path of the listing, to the form that the report prints.
    void convert(std::string&) const {}
};

// Clears `pending` and the header guard of the settings. Returns true if `pending` was set.
inline bool take_pending_header(bool& pending, quorvel_opts& settings) {
    if (!pending) return false;
    pending = false;
    settings.header_pending = 0;
    return true;
}

// Writes the header of `report`, if it is pending, and the rows of settings.entries. Subdirectories
// that have listings of their own are moved to `recurse_list`, which is cleared first. If there are
// no entries, writes only the line "no items in directory".
template <typename report_type>
void write_entries(const listing_request& request, report_type report) {
    dir_entry_set& entries = request.settings.entries;
    if (!start_listing(request.out, request.recurse_list, entries)) return;
    ql::text_buffer row;
    report.append_pending_header(row);
    if (!row.empty()) write_row(request.out, row);

    std::string dir_path = ql::to_utf8(request.parent_path);
    report.convert(dir_path);
    listing_paths paths(std::move(dir_path), request.dir_entry_num,
                        request.settings.last_level != 0);
    for (auto next = entries.begin(); next != entries.end();) {
        const auto current = next++;
        paths.name = current->name;
        report.convert(paths.name);
        if (paths.take(*current)) {
            report.append_row(row, *current, paths);
            write_row(request.out, row);
        } else {
            move_to_recurse_list(request.recurse_list, entries.extract(current));
        }
    }
}
