#include "run/options/results_file.h"

#include <cstdio>
#include <iostream>

#include "foundation/streams/uni_streams.h"
#include "foundation/text/ql_string.h"
#include "run/arguments/expand_env.h"

namespace {

constexpr bool without_vss = false;

// Opening a file to append does not create it, so a missing one needs the second call.
bool can_open(const std::string& name, bool append) {
    uni::file_object file;
    return (append && file.open(name, uni::file_use::append)) ||
           file.open(name, uni::file_use::rewrite);
}

}  // namespace

std::string results_file_name(const std::string& value) {
    std::string name = expand_env(value, without_vss);
    ql::replace_char(name, '\\', '/');
    return name;
}

bool test_results_file(const std::string& name, bool append) {
    if (!can_open(name, append)) {
        std::cerr << "prob opening file " << name << " for output, aborting\n";
        return false;
    }
    // A file that cannot be deleted is kept: the report empties it on opening.
    static_cast<void>(std::remove(name.c_str()));
    return true;
}
