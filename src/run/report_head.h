// The lines that stand above every report.
#pragma once

#include <sys/utsname.h>

#include <string>
#include <vector>

// The program's name and version, without a line end.
std::string identification_line();

// The name of the operating system: system, version and release, each followed by ";", then "64" or
// "32" by the machine's name.
std::string system_text(const utsname& system);

// The three lines of the head, each with its line end: the program, then time, host and system of
// the run, then the command line. `args` is the whole command line; "-dateformat" in it decides the
// form of the date, "-pipe" puts a mark in front of the command line.
std::string report_head(const std::vector<std::string>& args);
