// The options that are read separately, one by one. The others are in the table of run/options/option_scan.
#pragma once

#include <span>

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

namespace word {

// Anywhere on the command line, these end the run and print the help.
inline constexpr option_word help_h{"-h", option_form::flag};
inline constexpr option_word help{"-help", option_form::flag};
inline constexpr option_word help_slash{"/?", option_form::flag};
inline constexpr option_word help_long{"--help", option_form::flag};

// Checked by "-out" and never removed from the arguments.
inline constexpr option_word append{"-append", option_form::flag};

inline constexpr option_word xml{"-xml", option_form::value};
inline constexpr option_word vmdk{"-vmdk", option_form::values};
inline constexpr option_word filepath_only{"-filepath_only", option_form::flag};
inline constexpr option_word indx{"-indx", option_form::flag};
inline constexpr option_word offset{"-offset", option_form::value};
inline constexpr option_word mft{"-mft", option_form::value};
inline constexpr option_word objid{"-objid", option_form::flag};
inline constexpr option_word alldates{"-alldates", option_form::flag};
inline constexpr option_word recurse{"-recurse", option_form::value};
inline constexpr option_word level{"-level", option_form::value};
inline constexpr option_word image{"-image", option_form::value};
inline constexpr option_word ignore_image_size{"-ignore_image_size", option_form::flag};
inline constexpr option_word drivenum{"-drivenum", option_form::value};

}  // namespace word

// Returns the options above.
std::span<const option_word> driver_words();
