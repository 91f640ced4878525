// Turns a resolved path into rows and walks subdirectories down to the level limit.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/ql_bytes.h"
#include "report/dir_entry.h"

class CNtfs;
class quorvel_opts;

// Lists the entry opts.dir_entry_num under the name opts.directory, with everything below it down
// to opts.levels. Called once per path. False, without output, when its record can't be read.
bool report_directory(quorvel_opts& opts, CNtfs& ntfs);

// Prints opts.entries, the rows of the directory `path` with the entry `dir_entry_num`, then each
// subdirectory in turn. `levels` of 1 prints this directory alone; 0 prints nothing.
void walk_directory(quorvel_opts& opts, CNtfs& ntfs, const std::wstring& path,
                    std::uint64_t dir_entry_num, std::uint32_t levels);

// Adds the rows of a directory and of its children to `entries`. False when the volume is not
// valid or neither its own rows nor its children could be read.
bool read_directory_entries(CNtfs& ntfs, const std::wstring& path, std::uint64_t dir_entry_num,
                            dir_entry_set& entries, bool show_indx, quorvel_opts& opts);

// Adds the rows of one entry: itself and its streams. An entry without a name under this parent,
// without $STANDARD_INFORMATION or stopped by a filter adds none. Always true.
//
// record       the entry's FILE record, update sequence applied
// parent_num   MFT entry that the names must have as parent
// append_name  the sort key of a directory is path and name; otherwise the path alone
bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts);
