#include "convert/command/output_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "foundation/text/split_text.h"

namespace convert {

namespace {

// Returns the names of files on the command line. A value of "-vmdk" contains several.
std::vector<std::string> named_files(const command_line& line) {
    std::vector<std::string> names = line.user_words;
    for (const std::string& listing : {line.input, line.old_listing, line.new_listing})
        names.push_back(listing);
    for (const std::string& word : line.user_words) {
        std::string list = word;
        std::replace_if(
            list.begin(), list.end(), [](char c) { return c == ',' || c == ';'; }, '|');
        split_list(list, '|', names, true, false, true);
    }
    return names;
}

}  // namespace

std::string find_wrong_output(const command_line& line) {
    struct stat output {};
    if (line.output.empty() || ::lstat(line.output.c_str(), &output) != 0) return {};
    if (!S_ISREG(output.st_mode)) return line.output + " exists and is not a regular file";
    if (!line.force) return line.output + " exists; --force replaces it";
    for (const std::string& name : named_files(line)) {
        struct stat input {};
        if (::stat(name.c_str(), &input) != 0) continue;
        if (input.st_dev == output.st_dev && input.st_ino == output.st_ino)
            return line.output + " is also an input";
    }
    return {};
}

}  // namespace convert
