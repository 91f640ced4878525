// The options of quorvel that the user adds.
#pragma once

#include <string>
#include <vector>

namespace convert {

// Returns the words that change the form of the listing, its destination, or that end the run with
// the help. quorvel recognises an option wherever it is, in any case of its letters.
std::vector<std::string> refused_words(const std::vector<std::string>& user_words);

// Returns the command that lists with these options, with a new separator.
std::vector<std::string> quorvel_command(const std::vector<std::string>& user_words);

// Returns a command for a POSIX shell: the words joined by blanks, each quoted if it must be.
std::string shell_command(const std::vector<std::string>& words);

}  // namespace convert
