// The default report: a table with fixed columns.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/rows/dir_entry.h"

class quorvel_opts;

// True until the header is printed, once per process.
extern bool text_header_pending;

// Prints settings.entries, the rows of the directory `parent_path` with MFT entry `dir_entry_num`.
// Clears `recurse_list` first and, except at the last level, moves the subdirectories there from
// settings.entries instead of printing them. If there are no entries, prints only the line "no
// items in directory"; the header is still pending then.
void write_text_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num,
                        bool show_objid);
