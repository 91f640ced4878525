// The run from command line to exit status.
#pragma once

// Runs the program; the result is the exit status: 0 after the help and after a run that reached
// its end, -1 otherwise. An argument that the standard library refuses ends the process.
int run(int argc, const char* const* argv);
