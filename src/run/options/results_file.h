// The file of "-out" and "-outfile".
#pragma once

#include <string>

// Returns the file name in the option's value: environment references are expanded, and backslashes
// become slashes.
std::string results_file_name(const std::string& value);

// Tests whether the file can be opened for writing, as uni::file_object does for the report, and
// deletes it. An existing file is deleted as well; `append` only keeps its content until then.
//
// Opening removes trailing separators from `name` and deleting does not: for "r1/" the file "r1" is
// created, and it remains.
//
// Returns false if the file cannot be opened, after writing the reason to standard error. Nothing
// is deleted then.
bool test_results_file(const std::string& name, bool append);
