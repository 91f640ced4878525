// The common option vocabulary: one table, which is also the order in which the words are read.
#pragma once

#include <span>
#include <string>
#include <vector>

class cmd_params;

// What follows an option's word.
enum class option_form {
    flag,    // nothing
    value,   // one word, which is taken whatever it is
    values,  // one word; the option may be given again
};

// One word of the vocabulary.
struct option_spec {
    const char* word;
    option_form form;
    // Applies the option; `value` is empty for a flag. False ends the run, with the reason on
    // standard error unless the option says otherwise.
    bool (*apply)(cmd_params& params, const std::string& value, std::vector<std::string>& args);
    // The word without which this one is not looked for, or null. Of several words behind the same
    // one only the first that is there is read; the others stay in the arguments.
    const char* behind = nullptr;
};

// The vocabulary in the order of the scan.
std::span<const option_spec> common_options();

// Reads the common options out of `args` into `params` and compiles the date style. Notes the
// command line and the program's name first if they are not known yet. False when `args` is empty
// or an option ends the run.
bool scan_options(cmd_params& params, std::vector<std::string>& args);

// Makes `text` the separator of the CSV report; "tab" and "\t" stand for one tab character. A
// separator with a pipe or a comma in it is replaced by ";" or a blank where it occurs in paths.
void set_separator(cmd_params& params, const std::string& text);

// The file name of the program at `path`, without its extension.
std::string program_name_of(const std::string& path);
