// From the directory argument to the paths of a run.
#pragma once

#include <string>

// The directory argument as a path inside the volume: the first ":\" goes with the character before
// it ("c:\windows" is "\windows") and with as many behind it as stand before it, less one; slashes
// become backslashes; one closing backslash goes if more than three characters are left.
//
// A path that begins with ":\" has no character to remove before it: std::string refuses that by an
// exception that nobody catches.
std::string normalise_directory(std::string path);

// What stands before the paths of an MFT entry: `directory` up to the character behind its first
// ":", or all of it when there is no such character.
std::wstring entry_path_prefix(const std::wstring& directory);
