// Turns a resolved path into rows and walks the subdirectories down to the level limit.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/bytes/ql_bytes.h"
#include "report/rows/dir_entry.h"

class CNtfs;
class quorvel_opts;

// Lists the entry opts.dir_entry_num under the name opts.directory, with everything below it down
// to opts.levels. Called once per path. Returns false, without output, if the entry's record cannot
// be read, and false after the line "no items" if the entry has no name.
bool report_directory(quorvel_opts& opts, CNtfs& ntfs);

// Prints opts.entries, the rows of the directory `path` with entry number `dir_entry_num`, then
// each subdirectory in turn. `levels` of 1 prints this directory alone; 0 prints nothing.
void walk_directory(quorvel_opts& opts, CNtfs& ntfs, const std::wstring& path,
                    std::uint64_t dir_entry_num, std::uint32_t levels);

// Adds the rows of a directory and of its children to `entries`. Returns false if the volume is not
// valid, or if neither the directory's own rows nor its children can be read.
bool read_directory_entries(CNtfs& ntfs, const std::wstring& path, std::uint64_t dir_entry_num,
                            dir_entry_set& entries, bool show_indx, quorvel_opts& opts);
