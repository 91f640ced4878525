#include "convert/command/user_options.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "convert/listing/listing_form.h"
#include "foundation/text/ql_string.h"

namespace convert {

namespace {

constexpr std::array<std::string_view, 26> refused = {
    // other forms of a report
    "-bodyfile",
    "-csvgen",
    "-csvl2t",
    "-filepath_only",
    "-multiline",
    "-sqlite",
    "-sqlite_log",
    "-xml",
    // other columns, numbers, times or separators
    "-alldates",
    "-base10",
    "-base16",
    "-csv",
    "-csv_separator",
    "-dateformat",
    "-no_whitespace",
    "-pair_datetime",
    "-quiet",
    "-split_pathfile",
    "-timeformat",
    // another destination
    "-append",
    "-out",
    "-outfile",
    // help instead of a listing
    "-h",
    "-help",
    "--help",
    "/?",
};

bool is_refused(const std::string& word) {
    std::string lowered = word;
    ql::lower(lowered);
    return std::find(refused.begin(), refused.end(), lowered) != refused.end();
}

bool is_plain(const std::string& word) {
    constexpr std::string_view plain =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-./:@%+,";
    return !word.empty() && word.find_first_not_of(plain) == std::string::npos;
}

}  // namespace

std::vector<std::string> refused_words(const std::vector<std::string>& user_words) {
    std::vector<std::string> result;
    std::copy_if(user_words.begin(), user_words.end(), std::back_inserter(result), is_refused);
    return result;
}

std::vector<std::string> quorvel_command(const std::vector<std::string>& user_words) {
    std::vector<std::string> words = listing_words(make_separator());
    words.insert(words.begin(), "quorvel");
    words.insert(words.end(), user_words.begin(), user_words.end());
    return words;
}

std::string shell_command(const std::vector<std::string>& words) {
    std::string command;
    for (const std::string& word : words) {
        if (!command.empty()) command += ' ';
        if (is_plain(word)) {
            command += word;
            continue;
        }
        std::string quoted;
        command +=
            "'" + (word.empty() ? quoted : ql::replace_all(quoted, word, "'", "'\\''")) + "'";
    }
    return command;
}

}  // namespace convert
