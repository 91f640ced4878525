// The command line of quorvel-convert.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "convert/formats/format_list.h"

namespace convert {

constexpr int status_done = 0;
constexpr int status_failed = 1;  // no rows, a malformed row, or an error
constexpr int status_wrong_use = 2;

struct command_line {
    const format* wanted = nullptr;  // may be null with `print_command` or two listings
    std::string output;              // empty: standard output
    std::string input;               // a listing; empty: run quorvel
    std::string old_listing;         // two listings to compare, or empty
    std::string new_listing;
    bool force = false;
    bool summary = false;
    bool print_command = false;
    std::vector<std::string> user_words;  // options for quorvel, after "--"

    bool compares() const { return !old_listing.empty(); }
};

// Parses the command line. Returns nullopt, with the exit status in `status`, after printing the
// help or the version on standard output, or an error on standard error.
std::optional<command_line> parse_command_line(int argc, const char* const* argv, int& status);

}  // namespace convert
