// Shared by all reports: selects the rows of a directory's listing and composes their paths.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "foundation/text/text_buffer.h"
#include "report/rows/dir_entry.h"

// Clears `recurse_list`. Returns false if there is nothing to list, after writing the line "no
// items in directory" to `out`.
bool start_listing(std::ostream& out, dir_entry_set& recurse_list, const dir_entry_set& entries);

// The paths of one directory's listing, in UTF-8 and joined by backslashes.
class listing_paths {
public:
    // dir_path       path of the listed directory; a backslash is added unless it ends in a
    //                backslash or a slash
    // dir_entry_num  its MFT entry
    // last_level     subdirectories get rows; otherwise they have listings of their own later
    listing_paths(std::string dir_path, std::uint64_t dir_entry_num, bool last_level);

    // Returns true if `entry`, shown under `name`, gets a row. For a directory, sets `row_path` to
    // the listed directory, or to a subdirectory with a trailing backslash. Returns false for a
    // subdirectory that has a listing of its own later. Streams of directories are treated like
    // their directory.
    bool take(const dir_entry& entry);

    // Appends the path of the row of `entry`, or nothing for an unknown type.
    void append_path(ql::text_buffer& row, const dir_entry& entry) const;

    std::string dir_path;  // the listed directory, with a trailing separator
    std::string name;      // of the current entry; set by the caller
    // The path of the latest directory row, empty before the first. It is kept from row to row.
    std::string row_path;

private:
    void append_stream_path(ql::text_buffer& row, const dir_entry& entry) const;

    std::uint64_t m_dir_entry_num;
    bool m_last_level;
};

// Moves the row of a subdirectory to the end of `recurse_list`, with the path of the subdirectory's
// own listing.
void move_to_recurse_list(dir_entry_set& recurse_list, dir_entry_set::node_type row);
