#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "run/driver/run_driver.h"

namespace {

// Opens closed standard descriptors. Otherwise the next file to be opened would reuse one of them,
// and printed text would end up in the trace or the report.
void keep_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) == -1) ::open("/dev/null", O_RDWR);
    }
}

}  // namespace

// The program sets no locale, so its output does not depend on that of the user.
int main(int argc, char** argv) {
    keep_standard_descriptors();
    std::ios::sync_with_stdio(false);
    return run_program(argc, argv);
}
