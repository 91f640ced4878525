// The command line: the options with their values, the VMDK chain, and the parsers of single
// values.
//
// Input: the arguments of a command line, one per line.
//
// "-out", "-outfile", "-diags", "-xml" and "-vmdk" name files. If an input has one of them, the
// target replaces the characters with which a path could leave the scratch folder that it runs in.
#include <sstream>

#include "foundation/text/ql_number.h"
#include "foundation/text/ql_string.h"
#include "foundation/text/split_path.h"
#include "foundation/text/split_text.h"
#include "fuzz_support.h"
#include "run/arguments/arguments.h"
#include "run/arguments/directory_argument.h"
#include "run/arguments/expand_env.h"
#include "run/driver/report_head.h"
#include "run/filters/path_filters.h"
#include "run/options/common_options.h"
#include "run/options/option_scan.h"
#include "run/settings/quorvel_opts.h"

namespace {

const fuzz::scratch_folder& working_folder() {
    static const fuzz::scratch_folder made;
    static const bool entered = ::chdir(made.path().c_str()) == 0;
    fuzz::require(entered, "the scratch folder is entered");
    return made;
}

std::vector<std::string> words_of(fuzz::bytes text) {
    std::vector<std::string> words{"quorvel"};
    split_list(fuzz::as_text(text), '\n', words, false, true, true);
    return words;
}

bool names_files(const std::vector<std::string>& words) {
    for (std::string word : words) {
        ql::lower(word);
        for (const char* option : {"-out", "-outfile", "-diags", "-xml", "-vmdk"}) {
            if (word == option) return true;
        }
    }
    return false;
}

void keep_inside(std::vector<std::string>& words) {
    for (std::string& word : words) {
        for (const char c : {'/', '\\', '%'})
            ql::replace_char(word, c, '_');
    }
}

void read_numbers(const std::string& word) {
    std::uint64_t number = 0;
    std::uint32_t small = 0;
    ql::parse_number(word, number);
    ql::parse_u64(word, number);
    ql::parse_u32(word, small);
    ql::parse_u32_any(word, small);
    ql::parse_count(word, small);
}

// A path that begins with ":\" has no drive letter and ends the program by an exception of
// std::string; the target accepts all other paths.
void read_directory(const std::string& word) {
    const std::string expanded = expand_env(word, true);
    std::string path;
    try {
        path = normalise_directory(expanded);
    } catch (const std::out_of_range&) {
        fuzz::require(expanded.starts_with(":\\"), "only an empty drive ends the program");
        return;
    }
    const std::wstring wide = ql::to_wide(path);
    static_cast<void>(entry_path_prefix(wide));
    std::wstring folder;
    std::wstring name;
    split_path(wide, folder, name);
}

void match_filters(const cmd_params& params, const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        std::wstring path = ql::to_wide(word);
        ql::lower_wide(path);
        for (const std::uint32_t kind : {0u, 1u})
            path_passes_filters(params, path, params.filters, {1, 1, kind}, kind != 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::quiet silence;
    const fuzz::scratch_folder& folder = working_folder();
    std::vector<std::string> words = words_of({data, size});
    const bool with_files = names_files(words);
    if (with_files) keep_inside(words);

    static_cast<void>(report_head(words));
    for (const std::string& word : words) {
        read_numbers(word);
        read_directory(word);
    }
    {
        std::vector<std::string> left = words;
        quorvel_opts opts;
        if (parse_common_options(opts, left, "-vmdk")) match_filters(opts, words);
        fuzz::require(left.size() <= words.size(), "a scan adds no words");
    }
    if (with_files) folder.clear();
    return 0;
}
