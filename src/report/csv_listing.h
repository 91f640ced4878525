// Delimited rows without quoting, and the list of bare paths.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/dir_entry.h"

class quorvel_opts;

// The header is still to be printed. It goes out once per process.
extern bool csv_header_pending;

// Prints settings.entries as delimited rows; arguments as for write_text_listing.
//
// A row has a separator behind every field, its last one included, unless it ends in an object id;
// the header has none at its end. Nothing is quoted: settings.path_sep_from is replaced in names
// and paths by settings.path_sep_to. With `alldates`, a row without any name leaves all of the name
// columns out.
void write_csv_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num);

// Prints one path a row and nothing else. Index allocation streams leave an empty line, and an
// entry with a link target shows that in place of its own path.
void write_path_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num);
