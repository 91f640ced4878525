// Runs quorvel and reads its standard output.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace convert {

// Returns the path of the program `name`: beside this program, else on the path. Returns an empty
// text if it is in neither.
std::string find_program(const std::string& name);

class child_process {
public:
    child_process() = default;
    // Closes the pipe, which ends the process at its next output, and waits for it.
    ~child_process();
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    // Starts `program` with `arguments`; its standard input is empty. Returns false, with errno
    // set, if it cannot be started.
    [[nodiscard]] bool start(const std::string& program, const std::vector<std::string>& arguments);

    // The read end of the pipe from its standard output.
    int output() const { return m_output; }

    // Closes the pipe and waits for the end of the process. Returns how it failed, "ended with
    // status 255" or "ended by signal 9 (Killed)", or an empty text if its status was 0.
    std::string wait();

private:
    void close_output();

    pid_t m_pid = -1;
    int m_output = -1;
};

}  // namespace convert
