// The filter list, which selects the files that get rows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class cmd_params;

// One item of a filter list.
struct path_filter {
    std::uint32_t root_len = 0;  // of "-filter_path"; stored, not used in matching
    std::wstring root;
    std::wstring text;            // the item, lowered
    std::wstring pattern;         // the item without "*" and without its stream part
    std::wstring stream_pattern;  // the text after the first ":", without "*"
    std::vector<std::uint8_t> signature;
    std::uint64_t signature_offset = 0;
    std::uint8_t in_path = 0;    // the pattern begins with "/": matched against the directory part
    std::uint8_t match_all = 0;  // the pattern is "*"
    std::uint8_t wild_start = 0;
    std::uint8_t wild_end = 0;
    std::uint8_t has_stream = 0;
    std::uint8_t stream_any = 0;
    std::uint8_t stream_wild_start = 0;
    std::uint8_t stream_wild_end = 0;
};

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
