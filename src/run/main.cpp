#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "run/run_driver.h"

namespace {

// A standard stream that the caller has closed would lend its descriptor to the next file that is
// opened: what is printed would go into the trace or the report.
void keep_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) == -1) ::open("/dev/null", O_RDWR);
    }
}

}  // namespace

// No locale is set: what is printed does not depend on the user's.
int main(int argc, char** argv) {
    keep_standard_descriptors();
    std::ios::sync_with_stdio(false);
    return run(argc, argv);
}
