// Checks the name of the output before anything is read.
#pragma once

#include <string>

#include "convert/command/command_line.h"

namespace convert {

// Returns why the output must not be written, or an empty text: the file exists and is not to be
// replaced, is not a regular file, or is the listing or a file that an option for quorvel names,
// such as the image.
std::string find_wrong_output(const command_line& line);

}  // namespace convert
