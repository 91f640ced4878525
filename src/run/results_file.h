// The file of "-out" and "-outfile".
#pragma once

#include <string>

// The file name that a value stands for: environment references expanded, backslashes turned into
// slashes.
std::string results_file_name(const std::string& value);

// Tries whether the file can be opened for writing, and removes it again: a file that exists is
// gone afterwards, also with `append`, which only spares its content while it is being tried.
// False, with the reason on standard error, when it can't be opened.
bool test_results_file(const std::string& name, bool append);
