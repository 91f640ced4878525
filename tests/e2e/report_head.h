// The output of every run except its listing.
#pragma once

#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string>
#include <vector>

#include "support/run_program.h"

namespace e2e {

// Written to standard error before each message and, unless "-quiet" is set, at the end of the run.
inline const std::string terminal_clearing = "\x1b[2K\r    \r";

// Returns a command line as the head shows it: arguments with a blank are in single quotes.
inline std::string joined_words(const std::vector<std::string>& words) {
    std::string line;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i != 0) line += ' ';
        const bool has_blank = words[i].find(' ') != std::string::npos;
        line += has_blank ? "'" + words[i] + "'" : words[i];
    }
    return line;
}

// Returns the second line of the head for a run at `moment`. `date_format` is that of strftime.
inline std::string run_line(std::time_t moment, const char* date_format) {
    std::tm utc{};
    gmtime_r(&moment, &utc);
    std::array<char, 64> stamp{};
    const std::string format = std::string(date_format) + " %H:%M:%S";
    std::strftime(stamp.data(), stamp.size(), format.c_str(), &utc);

    std::array<char, 1025> host{};
    gethostname(host.data(), host.size() - 1);
    utsname system{};
    uname(&system);
    std::string system_text;
    for (const char* field : {system.sysname, system.version, system.release}) {
        std::string part = field;
        std::replace(part.begin(), part.end(), ';', ' ');
        system_text += part + ";";
    }
    const bool is_64 = std::string(system.machine).find("64") != std::string::npos;
    return std::string("run time: ") + stamp.data() + " [UTC]; host: " + host.data() +
           "; system: " + system_text + (is_64 ? "64" : "32") + "\n";
}

// Returns the head and the empty line after it, for a run of `program` with `arguments` that has
// just written `output`. The time of the run is the one of the last minutes that is found in
// `output`.
inline std::string report_head(const std::string& output, const std::string& program,
                               const std::vector<std::string>& arguments,
                               const char* date_format = "%m/%d/%Y") {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::string first = "quorvel ver: 1.45\n";
    const std::string last = "\"command line: " + joined_words(words) + "\"\n\n";
    const std::time_t now = std::time(nullptr);
    // time() uses a coarser clock than the program and can be late when a second begins.
    for (std::time_t moment = now + 1; moment > now - 300; --moment) {
        const std::string line = run_line(moment, date_format);
        if (output.find(line) != std::string::npos) return first + line + last;
    }
    return first + run_line(now, date_format) + last;
}

// Returns `lines` with a line end after each.
inline std::string joined_lines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

// Runs the program and returns the output after the head. Expects status 0, only the clearing on
// standard error, and the head before everything else.
inline std::string list(const std::vector<std::string>& arguments,
                        const char* date_format = "%m/%d/%Y") {
    const support::program_result run = support::run_built_program(QUORVEL_PROGRAM, arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, terminal_clearing);
    const std::string head =
        report_head(run.standard_output, QUORVEL_PROGRAM, arguments, date_format);
    EXPECT_EQ(run.standard_output.substr(0, head.size()), head);
    return run.standard_output.substr(std::min(head.size(), run.standard_output.size()));
}

// Like list() for a run without a head: "-filepath_only".
inline std::string list_bare(const std::vector<std::string>& arguments) {
    const support::program_result run = support::run_built_program(QUORVEL_PROGRAM, arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, terminal_clearing);
    return run.standard_output;
}

}  // namespace e2e
