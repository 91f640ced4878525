// What a filter selects.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
