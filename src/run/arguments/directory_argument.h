// Converts the directory argument to the paths of a run.
#pragma once

#include <string>

// Converts the directory argument to a path inside the volume. For the first ":\", at position p, p
// + 1 characters are removed starting with the one before it, which is the drive of "c:\windows".
// Slashes become backslashes. One trailing backslash is removed from a path of more than three
// characters.
//
// In a path that begins with ":\" no character precedes it: std::string throws an exception that is
// not caught.
std::string normalise_directory(std::string path);

// Returns the prefix of an MFT entry's paths: `directory` up to the character after its first ":",
// or all of it if there is no ":".
std::wstring entry_path_prefix(const std::wstring& directory);
