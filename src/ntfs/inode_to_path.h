// From an MFT entry number to its paths, on a source that is opened for the question.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Which volume: an image with the byte offset of the volume in it.
struct volume_source {
    std::wstring image_path;
    std::uint64_t volume_offset = 0;
};

// Appends each path of the entry `inode` to `paths`: `prefix` (a backslash when empty), then the
// path without trailing backslashes. False when the source can't be opened, or when the entry has
// no readable record or no name; true with nothing appended when no chain of parents reaches the
// root.
bool paths_for_entry(const volume_source& source, std::uint64_t inode, const std::wstring& prefix,
                     std::vector<std::wstring>& paths);

// True when the entry's record can be read and is a directory.
bool entry_is_directory(const volume_source& source, std::uint64_t inode);
