// The help text.
#pragma once

// Prints the usage text on standard error.
void usage();
