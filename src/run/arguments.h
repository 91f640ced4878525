// The argument vector: scans that remove what they recognise, and the pieces that the options need.
//
// Every scan compares whole words without regard to ASCII case.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Fills `args_out` from the process entry's arguments; a null entry becomes an empty string.
void collect_args(std::vector<std::string>& args_out, int argc, const char* const* argv);

// True if a word equals `option`; the first hit is removed unless `keep` is set.
bool has_option(const char* option, std::vector<std::string>& args, bool keep = false);

// True if a word equals `option` and a word follows it: `value_out` takes that word and both are
// removed. The first hit decides: on the last word the result is false and nothing is removed.
bool option_value(const char* option, std::string& value_out, std::vector<std::string>& args);

// has_option and option_value from index `from` on, with nothing removed.
bool peek_option(const char* option, const std::vector<std::string>& args, std::size_t from);
bool peek_option_value(const char* option, std::string& value_out,
                       const std::vector<std::string>& args, std::size_t from);

// Removes one entry; an index past the end is ignored.
void remove_arg(std::size_t index, std::vector<std::string>& args);

// The words joined by one blank, a word that contains a blank enclosed in `quote`.
void join_args(std::string& text_out, const std::vector<std::string>& args, char quote);
