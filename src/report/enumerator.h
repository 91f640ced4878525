// Turns a resolved path into rows and walks the subdirectories down to the level limit.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/ql_bytes.h"
#include "report/dir_entry.h"

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

// Adds the rows of one entry: itself and its streams. Adds none if the entry has no name under this
// parent, has no $STANDARD_INFORMATION, has attributes that cannot be read, or is a file that a
// filter rejects. Always returns true.
//
// record       the entry's FILE record, update sequence applied
// parent_num   MFT entry that must be the parent of the names
// append_name  the sort key of a directory is path and name, otherwise the path alone; the key of a
//              file is always path and name
bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts);
