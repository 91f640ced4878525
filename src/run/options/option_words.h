// The options that are read separately, one by one. The others are in the table of
// run/options/option_scan.
#pragma once

#include <span>
#include <string_view>

// What follows an option.
enum class option_form {
    flag,    // nothing
    value,   // one argument, whatever it is
    values,  // one argument; the option may be repeated
};

// An option and what follows it.
struct option_word {
    const char* text;
    option_form form;
};

inline constexpr option_word driver_options[] = {
    // Anywhere on the command line, these end the run and print the help.
    {"-h", option_form::flag},
    {"-help", option_form::flag},
    {"/?", option_form::flag},
    {"--help", option_form::flag},
    // Checked by "-out" and never removed from the arguments.
    {"-append", option_form::flag},

    {"-xml", option_form::value},
    {"-vmdk", option_form::values},
    {"-filepath_only", option_form::flag},
    {"-indx", option_form::flag},
    {"-offset", option_form::value},
    {"-mft", option_form::value},
    {"-objid", option_form::flag},
    {"-alldates", option_form::flag},
    {"-recurse", option_form::value},
    {"-level", option_form::value},
    {"-image", option_form::value},
    {"-ignore_image_size", option_form::flag},
    {"-drivenum", option_form::value},
};

// Returns the options above.
constexpr std::span<const option_word> driver_words() { return driver_options; }

// Returns the option `text` of the table above. A text that is not in the table does not compile.
consteval const char* driver_option(std::string_view text) {
    for (const option_word& known : driver_options) {
        if (text == known.text) return known.text;
    }
    throw "not an option of the driver";
}

// Common options that the report head reads as well, before the scan.
namespace common_option {
inline constexpr const char* date_format = "-dateformat";
inline constexpr const char* pipe = "-pipe";
}  // namespace common_option
