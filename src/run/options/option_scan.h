// The common option vocabulary: one table, in the order in which the options are read.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "run/options/option_words.h"

class cmd_params;

// One option of the vocabulary.
struct option_spec {
    const char* word;
    option_form form;
    // Applies the option; `value` is empty for a flag. Returns false if the run must end; the
    // reason is on standard error unless the option documents otherwise.
    bool (*apply)(cmd_params& params, const std::string& value, std::vector<std::string>& args);
    // The option without which this one is ignored, or null. Of several options that depend on the
    // same one, only the first that is present is read; the others remain in the arguments.
    const char* needs = nullptr;
};

// Returns the vocabulary in scan order.
std::span<const option_spec> common_options();

// Returns driver_words() and the common vocabulary, which is all options of the command line.
std::vector<option_word> all_words();

// Reads the common options from `args` into `params` and compiles the date style. First sets the
// command line and the program name unless they are set already. Returns false if `args` is empty
// or if an option ends the run.
bool scan_options(cmd_params& params, std::vector<std::string>& args);

// Sets the separator of the CSV report; "tab" and "\t" mean a tab character. If the separator
// contains a pipe or else a comma, that character is replaced in paths, by ";" or by a blank.
void set_separator(cmd_params& params, const std::string& text);

// Returns the file name of the program at `path`, without its extension.
std::string program_name_of(const std::string& path);
