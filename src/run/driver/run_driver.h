// A run, from the command line to the exit status.
#pragma once

// Runs the program. Returns the exit status: 0 after the help or a completed run, otherwise -1. An
// argument for which the standard library throws ends the process.
int run_program(int argc, const char* const* argv);
