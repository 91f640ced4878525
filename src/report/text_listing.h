// The default report: a table of fixed columns, one row per listed thing.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/dir_entry.h"

class quorvel_opts;

// Prints settings.entries, the rows of the directory `parent_path` with the MFT entry
// `dir_entry_num`. Subdirectories with levels to go are not printed but put into `recurse_list`,
// which is emptied first. The header goes out once per process.
void write_text_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num,
                        bool show_objid);
