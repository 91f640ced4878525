// The argument vector: functions that find and remove options, and helpers for their values.
//
// Options match whole arguments, regardless of ASCII case.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Copies the arguments of main() to `args_out`. A null entry becomes an empty string.
void collect_args(std::vector<std::string>& args_out, int argc, const char* const* argv);

// Returns true if an argument equals `option`, and removes the first such argument unless `keep` is
// set.
bool has_option(const char* option, std::vector<std::string>& args, bool keep = false);

// Finds the first argument that equals `option`, sets `value_out` to the next argument and removes
// both. Returns false, with nothing removed, if there is no such argument or if it is the last one.
bool option_value(const char* option, std::string& value_out, std::vector<std::string>& args);

// Like has_option and option_value from index `from` on, but remove nothing.
bool peek_option(const char* option, const std::vector<std::string>& args, std::size_t from);
bool peek_option_value(const char* option, std::string& value_out,
                       const std::vector<std::string>& args, std::size_t from);

// Removes one entry. An index past the end is ignored.
void remove_arg(std::size_t index, std::vector<std::string>& args);

// Joins the arguments with blanks. An argument that contains a blank is enclosed in `quote`.
void join_args(std::string& text_out, const std::vector<std::string>& args, char quote);
