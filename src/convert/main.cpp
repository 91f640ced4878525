#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "convert/command/command_line.h"
#include "convert/command/conversion.h"

namespace {

// Opens closed standard descriptors. Otherwise the output or the pipe from quorvel would reuse one
// of them, and messages would end up in it.
void keep_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) == -1) ::open("/dev/null", O_RDWR);
    }
}

}  // namespace

// A closed pipe and a file that grows too large are errors of the output, not signals: the run then
// deletes its temporary file.
int main(int argc, char** argv) {
    keep_standard_descriptors();
    static_cast<void>(::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
    int status = convert::status_done;
    const auto line = convert::parse_command_line(argc, argv, status);
    return line ? convert::convert_listing(*line) : status;
}
