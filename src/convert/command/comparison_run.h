// A run of quorvel-convert that compares two listings.
#pragma once

#include "convert/command/command_line.h"

namespace convert {

// Compares the listings of "--diff" and returns the exit status. Messages go to standard error.
//
// A failure leaves no file under the name of the output. A malformed row is reported and left out;
// the output is written, and the status is 1.
int compare_listings(const command_line& line);

}  // namespace convert
