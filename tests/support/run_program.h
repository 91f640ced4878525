// Runs a program, without a shell, and collects its output.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace support {

struct program_result {
    int status = 0;  // exit status 0 to 255, or minus the number of the terminating signal
    std::string standard_output;
    std::string standard_error;
    // Peak resident memory in bytes. It includes the caller's, because the new process starts as a
    // copy of the caller.
    std::uint64_t peak_memory = 0;
};

struct program_options {
    std::string working_directory = {};  // empty: that of the caller
    // Added to the caller's environment, or to an empty one with `clear_environment`.
    std::map<std::string, std::string> environment = {};
    bool clear_environment = false;
    std::string argument_zero = {};   // empty: the path of the program
    std::string standard_input = {};  // passed in a file
    unsigned time_limit = 0;          // seconds until SIGALRM ends the process; 0: none
    std::uint64_t address_space = 0;  // maximum bytes of mapped memory; 0: no limit
};

// Runs `program` (a path) with `arguments` and waits for its end. Returns both outputs in full.
// Throws std::runtime_error if the program cannot be started.
program_result run_program(const std::string& program, const std::vector<std::string>& arguments,
                           const program_options& options = {});

// Returns $QUORVEL_RUNNER split at blanks: a command through which programs of this build are
// started, such as valgrind or an emulator of another processor. Empty if it is not set. A first
// word without a slash is resolved by find_program().
constexpr const char* runner_variable = "QUORVEL_RUNNER";
std::vector<std::string> runner();

// Returns the command that starts a program of this build: the runner, if any, then its path.
std::vector<std::string> built_program(const std::string& program);

// Like run_program(), through the runner if there is one. A runner passes the program's path as its
// name: throws std::runtime_error if the options set a different one.
program_result run_built_program(const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 const program_options& options = {});

// Returns the path of a program in $PATH, /usr/sbin or /sbin, or an empty text.
std::string find_program(const std::string& name);

}  // namespace support
