// What all reports share: which rows a directory's listing has, and what path each of them shows.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "report/dir_entry.h"

// Empties `recurse_list`. False when there is nothing to list: the line "no items in directory" has
// then gone to `out`.
bool start_listing(std::ostream& out, dir_entry_set& recurse_list, const dir_entry_set& entries);

// The paths of one directory's listing, in UTF-8 and joined by backslashes.
class listing_paths {
public:
    // dir_path       path of the listed directory; a backslash is added unless it ends in a
    //                backslash or a slash
    // dir_entry_num  its MFT entry
    // last_level     subdirectories get rows; otherwise they go to `recurse_list`, which must
    //                outlive this object
    listing_paths(std::string dir_path, std::uint64_t dir_entry_num, bool last_level,
                  dir_entry_set& recurse_list);

    // True when `entry`, shown under the name `name`, gets a row. For a directory `row_path` is
    // set: to the listed directory, or to a subdirectory with a closing backslash. False for a
    // subdirectory with levels to go: a copy with its own path went to `recurse_list`, and it leads
    // its own listing later. Streams of directories are treated like their directory.
    bool take(const dir_entry& entry, std::string_view name);

    // Appends the path that a row shows; nothing for an unknown type.
    void append_path(std::string& row, const dir_entry& entry, std::string_view name) const;

    std::string dir_path;  // the listed directory, with a closing separator
    // The latest directory row. Keeps its text from row to row, and starts empty.
    std::string row_path;

private:
    void append_stream_path(std::string& row, const dir_entry& entry, std::string_view name) const;

    std::uint64_t m_dir_entry_num;
    bool m_last_level;
    dir_entry_set& m_recurse_list;
};
