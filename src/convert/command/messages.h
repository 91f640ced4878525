// Messages on standard error.
#pragma once

#include <string>

namespace convert {

// Prints "quorvel-convert: ", the text and a line end. Control characters of the text, which may
// contain file names, become "?".
void print_message(const std::string& text);

}  // namespace convert
