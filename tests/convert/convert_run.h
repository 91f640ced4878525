// Runs of quorvel-convert, with quorvel or with a script in its place.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/run_program.h"
#include "support/temp_dir.h"
#include "unit/convert/listing_text.h"

namespace convert_run {

using words = std::vector<std::string>;

inline support::program_result convert(const words& arguments,
                                       const support::program_options& options = {}) {
    return support::run_built_program(QUORVEL_CONVERT_PROGRAM, arguments, options);
}

// Runs a script of /bin/sh; quorvel-convert is $0, and the arguments are $1 and so on.
inline support::program_result shell(const std::string& script, const words& arguments) {
    words all = {"-c", script, QUORVEL_CONVERT_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return support::run_program("/bin/sh", all);
}

// A folder with a copy of quorvel-convert, and beside it, if set, a script named quorvel.
class other_quorvel {
public:
    other_quorvel() {
        std::filesystem::copy_file(QUORVEL_CONVERT_PROGRAM, m_dir.file("quorvel-convert"));
    }

    void set_script(const std::string& text, const std::string& name = "quorvel") {
        ::chmod(m_dir.write(name, "#!/bin/sh\n" + text + "\n").c_str(), 0755);
    }
    support::program_result run(const words& arguments, const std::string& path = "/none") const {
        support::program_options options;
        options.environment = {{"PATH", path}};
        return support::run_program(program(), arguments, options);
    }
    std::string program() const { return m_dir.file("quorvel-convert"); }
    std::string file(const std::string& name) const { return m_dir.file(name); }
    const std::string& folder() const { return m_dir.path(); }

private:
    support::temp_dir m_dir;
};

// A script that prints a listing whose separator is that of its own command line.
inline std::string printing(const std::string& listing) {
    std::string text = listing;
    for (std::size_t at = text.find(listing_text::separator); at != std::string::npos;
         at = text.find(listing_text::separator, at + 1))
        text.replace(at, listing_text::separator.size(), "'\"${11}\"'");
    return "printf %s '" + text + "'";
}

}  // namespace convert_run
