#include <iostream>

#include "run/run_driver.h"

// No locale is set: what is printed does not depend on the user's.
int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    return run(argc, argv);
}
