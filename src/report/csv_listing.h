// Delimited rows without quoting, and the list of bare paths.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/dir_entry.h"

class quorvel_opts;

// Prints settings.entries as delimited rows; arguments as for write_text_listing. The header goes
// out once per process.
void write_csv_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num);

// Prints one path a row and nothing else. Index allocation streams leave an empty line.
void write_path_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num);
