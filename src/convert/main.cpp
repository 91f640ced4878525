#include <csignal>

#include "convert/command/command_line.h"
#include "convert/command/conversion.h"
#include "foundation/streams/posix_file.h"

// A closed pipe and a file that grows too large are errors of the output, not signals: the run then
// deletes its temporary file.
int main(int argc, char** argv) {
    ql::keep_standard_descriptors();
    static_cast<void>(::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
    int status = convert::status_done;
    const auto line = convert::parse_command_line(argc, argv, status);
    return line ? convert::convert_listing(*line) : status;
}
