// The head of a listing: when, where and with which words quorvel wrote it.
//
//   quorvel ver: 1.45
//   run time: 2026-01-02 03:04:05 [UTC]; host: lab; system: Linux;...
//   "command line: quorvel -csv ... -image disk.dd -offset 0x100000"
//
// A word with a blank is in apostrophes.
#pragma once

#include <string>
#include <string_view>

namespace convert {

// Each text is empty if the head does not contain it.
struct listing_head {
    std::string version;
    std::string time;
    std::string host;
    std::string system;
    std::string command_line;
    std::string source;  // of "-image" or "-vmdk"
    std::string offset;
    bool with_object_ids = false;
};

listing_head parse_listing_head(std::string_view head);

}  // namespace convert
