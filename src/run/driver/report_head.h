// The report head: the lines before the listing of every report.
#pragma once

#include <sys/utsname.h>

#include <string>
#include <vector>

// Returns the program's name and version, without a line end.
std::string identification_line();

// Returns the name of the operating system: system, version and release, each followed by ";", then
// "64" if the machine's name contains it, else "32".
std::string system_text(const utsname& system);

// Returns the three lines of the head, each with its line end: the program; time, host and system
// of the run; the command line. `args` is the whole command line. A "-dateformat" in it sets the
// format of the date, and a "-pipe" adds a prefix to the command line.
std::string report_head(const std::vector<std::string>& args);
