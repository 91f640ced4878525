// The validation stage: opens a source briefly while the command line is read, selects the volume
// offset with select_volume, and closes the source again.
//
// All three functions write their messages to `out`, may change `offset`, and return false if the
// source cannot be opened or no volume is selected; `found_ntfs` may be set even then.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// `image_utf8`: the name as on the command line.
bool check_image(std::ostream& out, const std::string& image_utf8, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size);

bool check_drive(std::ostream& out, std::uint32_t drive_number, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size);
bool check_drive(std::ostream& out, std::uint32_t drive_number, std::uint64_t& offset,
                 bool ignore_image_size);

// Returns false without a message for an empty list.
bool check_vmdk_list(std::ostream& out, const std::vector<std::wstring>& files,
                     std::uint64_t& offset, bool& found_ntfs, bool ignore_image_size);
