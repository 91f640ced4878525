#include "run/options/results_file.h"

#include <cstdio>
#include <iostream>

#include "foundation/streams/uni_streams.h"
#include "foundation/text/ql_string.h"
#include "run/arguments/expand_env.h"

namespace {

constexpr bool for_writing = true;
constexpr bool unshared = false;
constexpr bool keeping_content = false;
constexpr bool truncating = true;

// Opening without truncation does not create the file, so a missing one needs the second call.
bool can_open(const std::string& name, bool append) {
    uni::file_object file;
    return (append && file.open_for_write(name, for_writing, unshared, keeping_content)) ||
           file.open_for_write(name, for_writing, unshared, truncating);
}

}  // namespace

std::string results_file_name(const std::string& value) {
    std::string name = expand_env(value, false);
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
