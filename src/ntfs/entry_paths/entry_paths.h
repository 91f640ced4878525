// Finds the paths of an MFT entry. Each call opens the source.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A volume: an image and the offset of the volume in it, in bytes.
struct volume_source {
    std::wstring image_path;
    std::uint64_t volume_offset = 0;
};

// Appends each path of the entry `inode` to `paths`: `prefix` (a backslash if empty), then the path
// without trailing backslashes. DOS names are ignored. Returns false, with `paths` unchanged, if
// the source cannot be opened, or if the entry has no readable record or no name. Returns true
// without appending anything if no chain of parents reaches the root.
bool paths_for_entry(const volume_source& source, std::uint64_t inode, const std::wstring& prefix,
                     std::vector<std::wstring>& paths);

// Returns true if the entry's record can be read and is a directory.
bool entry_is_directory(const volume_source& source, std::uint64_t inode);
