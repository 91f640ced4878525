// Runs a program the way a shell-less parent does and collects what it writes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace support {

struct program_result {
    int status = 0;  // exit status 0 to 255, or minus the number of the signal that ended it
    std::string standard_output;
    std::string standard_error;
    // Bytes of memory that were resident at most. What the caller has resident counts as well, for
    // the new process starts as its copy.
    std::uint64_t peak_memory = 0;
};

struct program_options {
    std::string working_directory = {};  // empty: that of the caller
    // Set on top of the caller's environment; `clear_environment` starts from nothing instead.
    std::map<std::string, std::string> environment = {};
    bool clear_environment = false;
    std::string argument_zero = {};   // empty: the path of the program
    std::string standard_input = {};  // given through a file
    unsigned time_limit = 0;          // seconds until SIGALRM ends the process; 0: none
    std::uint64_t address_space = 0;  // bytes that the process may map at most; 0: no limit
};

// Runs `program` (a path) with `arguments`, waits for its end. Both outputs are read whole, however
// long they are. Throws std::runtime_error when the program can't be started.
program_result run_program(const std::string& program, const std::vector<std::string>& arguments,
                           const program_options& options = {});

// The words of $QUORVEL_RUNNER, split at blanks: a command that programs of this build are started
// through, such as valgrind or the emulator of another processor. Empty when it's not set. A first
// word without a slash is looked for with find_program().
constexpr const char* runner_variable = "QUORVEL_RUNNER";
std::vector<std::string> runner();

// The command that starts a program of this build: its path, behind the words of the runner.
std::vector<std::string> built_program(const std::string& program);

// As run_program(), through the runner if there is one. A runner gives the program its path as
// name: throws std::runtime_error when the options ask for another one.
program_result run_built_program(const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 const program_options& options = {});

// The path of a program by its name, looked for in $PATH, /usr/sbin and /sbin; empty when there is
// none.
std::string find_program(const std::string& name);

}  // namespace support
