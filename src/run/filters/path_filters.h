// The filter list, which selects the files that get rows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "run/settings/path_filter.h"

class cmd_params;

// The timestamps of a file for the date window.
struct file_time_bounds {
    std::uint64_t modified = 0;  // FILETIME
    std::uint64_t created = 0;   // FILETIME
    std::uint32_t kind = 0;      // kinds 1 and 8 pass the window; rows have kind 0
};

// Appends the items of `text` ("a|b", "a,b" or one item) to `out`. An item "*" replaces the whole
// list. Returns true if there is at least one item.
bool parse_filter_list(std::vector<path_filter>& out, const std::string& text);

// Appends an item with a signature. `text` is "<hexadecimal digits>", optionally followed by "|" or
// "," and the offset in the file. Returns false, with nothing appended, for a text without fields.
bool parse_filter_signature(std::vector<path_filter>& out, const std::string& text);

// Sets the root of every item of `filters` to the lowered `path`.
void set_filter_root(std::vector<path_filter>& filters, const std::string& path);

// Returns true if a file at `path` (lower-cased) gets rows. An empty list passes all files. If the
// date window is on, only `bounds` of kind 1 or 8 pass, so no file of a listing gets rows whatever
// its timestamps. `with_stream` is ignored.
bool path_passes_filters(const cmd_params& params, const std::wstring& path,
                         const std::vector<path_filter>& filters, const file_time_bounds& bounds,
                         bool with_stream);
