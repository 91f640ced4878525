// A flat XML document: one <data_entry> per row, in a <logdata> per listed path.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "report/rows/dir_entry.h"

class quorvel_opts;

// Writes the XML declaration and the opening <logdata> with source, path, and the current date and
// time. opts.entries must not be empty.
void write_xml_opening(std::ostream& out, const quorvel_opts& opts);

// Writes the closing </logdata>.
void write_xml_closing(std::ostream& out);

// Prints settings.entries as elements. The parameters are those of write_text_listing.
void write_xml_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num);
