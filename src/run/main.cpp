#include <iostream>

#include "foundation/streams/posix_file.h"
#include "run/driver/run_driver.h"

// The program sets no locale, so its output does not depend on that of the user.
int main(int argc, char** argv) {
    ql::keep_standard_descriptors();
    std::ios::sync_with_stdio(false);
    return run_program(argc, argv);
}
