// The list of bare paths.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/rows/dir_entry.h"

class quorvel_opts;

// Prints one path per row and nothing else. The parameters are those of
// write_text_listing. The row of an index allocation stream is an empty line,
// and an entry with a link target is printed as that target.
void write_path_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num);
