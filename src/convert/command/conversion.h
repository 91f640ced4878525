// A run of quorvel-convert.
#pragma once

#include "convert/command/command_line.h"

namespace convert {

// Does what the command line says and returns the exit status. Messages go to standard error.
//
// A failure leaves no file under the name of the output: quorvel is missing, fails or is ended by a
// signal, the input is not a readable listing or ends within a row, no row comes, or a byte cannot
// be written. A malformed row is reported and left out; the output is written, and the status is 1.
int convert_listing(const command_line& line);

}  // namespace convert
