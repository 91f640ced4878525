// Splits a path into its directory and its name.
#pragma once

#include <string>

// Splits at the last backslash, or at the last slash of a path without a backslash. A separator at
// position 0 does not split: the whole path is the name, and the directory is ".". A name of ".."
// is replaced by ".", and ".." is appended to the directory. Returns false for an empty path.
bool split_path(const std::wstring& path, std::wstring& dir_out, std::wstring& name_out);

struct path_parts {
    std::wstring dir;
    std::wstring name;
};

// Returns the parts of a path that is not empty.
path_parts split_path(const std::wstring& path);
