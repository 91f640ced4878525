// The CSV report, delimited rows without quoting.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/rows/dir_entry.h"

class quorvel_opts;

// True until the header is printed, once per process.
extern bool csv_header_pending;

// Prints settings.entries as delimited rows. The parameters are those of write_text_listing.
//
// A row has a separator after every field, including the last, unless it ends in an object id. The
// header does not end in one. Nothing is quoted; instead, settings.path_sep_from is replaced by
// settings.path_sep_to in names and paths. With `alldates`, a row that has no $FILE_NAME omits all
// name columns.
void write_csv_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num);
