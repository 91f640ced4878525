#include "run/results_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "foundation/posix_file.h"
#include "foundation/ql_string.h"
#include "run/expand_env.h"

namespace {

constexpr int create_flags = O_RDWR | O_CREAT | O_TRUNC;

int open_results_file(const std::string& name, bool append) {
    const int fd = append ? ql::open_file(name, O_RDWR) : -1;
    return fd != -1 ? fd : ql::open_file(name, create_flags);
}

}  // namespace

std::string results_file_name(const std::string& value) {
    std::string name = expand_env(value, false);
    ql::replace_char(name, '\\', '/');
    return name;
}

bool test_results_file(const std::string& name, bool append) {
    const int fd = open_results_file(name, append);
    if (fd == -1) {
        std::cerr << "prob opening file " << name << " for output, aborting\n";
        return false;
    }
    ::close(fd);
    static_cast<void>(std::remove(name.c_str()));  // one that stays is emptied later
    return true;
}
