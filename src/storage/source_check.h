// The validating stage: opens a source briefly while the command line is read, settles the volume
// offset by select_volume, and closes the source again.
//
// All three write their messages to `out`, may change `offset`, and give false when the source
// can't be opened or no volume is settled; `found_ntfs` may be set even then.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

// `image_utf8`: the name as it was typed.
bool check_image(std::ostream& out, const std::string& image_utf8, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size);

bool check_drive(std::ostream& out, std::uint32_t drive_number, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size);

// An empty list is false without a message.
bool check_vmdk_list(std::ostream& out, const std::vector<std::wstring>& files,
                     std::uint64_t& offset, bool& found_ntfs, bool ignore_image_size);
