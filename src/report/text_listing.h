// The default report: a table of fixed columns, one row per listed thing.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/dir_entry.h"

class quorvel_opts;

// The header is still to be printed. It goes out once per process.
extern bool text_header_pending;

// Prints settings.entries, the rows of the directory `parent_path` with the MFT entry
// `dir_entry_num`. Subdirectories with levels to go are not printed but put into `recurse_list`,
// which is emptied first. Without entries the one line "no items in directory" is printed, and the
// header stays pending.
void write_text_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num,
                        bool show_objid);
