// The help.
#pragma once

// Prints the usage text on standard error.
void usage();
