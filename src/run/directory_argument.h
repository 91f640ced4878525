// From the directory argument to the paths of a run.
#pragma once

#include <string>

// The directory argument as a path inside the volume. The first ":\", at position p, costs p + 1
// characters from the one before it on, which is the drive of "c:\windows"; slashes become
// backslashes; one closing backslash goes from a path of more than three characters.
//
// A path that begins with ":\" has no character before it: std::string refuses that by an exception
// that nobody catches.
std::string normalise_directory(std::string path);

// What stands before the paths of an MFT entry: `directory` up to the character behind its first
// ":", or all of it when there is no such character.
std::wstring entry_path_prefix(const std::wstring& directory);
