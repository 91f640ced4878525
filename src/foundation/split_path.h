// Directory part and name of a path.
#pragma once

#include <string>

// Splits at the last backslash, or at the last slash of a path without a backslash. A separator at
// position 0 does not count: the whole path is the name then and the directory is ".". A name of
// ".." becomes "." with ".." moved to the directory. False for an empty path.
bool split_path(const std::wstring& path, std::wstring& dir_out, std::wstring& name_out);
