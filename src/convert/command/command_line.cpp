#include "convert/command/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <iterator>
#include <string_view>

#include "convert/command/messages.h"
#include "convert/command/user_options.h"

namespace convert {

namespace {

constexpr const char* description =
    "Writes listings of quorvel in other formats.\n\n"
    "  quorvel-convert --to FORMAT [--output FILE] [--force] -- QUORVEL OPTIONS...\n"
    "  quorvel-convert --to FORMAT [--output FILE] [--force] --input LISTING\n"
    "  quorvel-convert --diff OLD NEW [--to jsonl] [--output FILE] [--force]\n"
    "  quorvel-convert --print-command -- QUORVEL OPTIONS...\n";

std::vector<std::string> format_names() {
    std::vector<std::string> names;
    for (const format& known : formats())
        names.emplace_back(known.name);
    return names;
}

const format* find_format(const std::string& name) {
    for (const format& known : formats()) {
        if (name == known.name) return &known;
    }
    return nullptr;
}

// Parses the words before "--". Returns false, with the exit status, if the run ends here.
bool parse_own_words(std::vector<std::string> words, command_line& out, int& status) {
    CLI::App app(description, "quorvel-convert");
    std::string wanted;
    app.add_option("--to", wanted, "The format of the output")
        ->type_name("FORMAT")
        ->check(CLI::IsMember(format_names()));
    app.add_option("--output", out.output, "The file to create; without it, standard output")
        ->type_name("FILE");
    app.add_option("--input", out.input, "Read this listing instead of running quorvel")
        ->type_name("LISTING");
    std::vector<std::string> compared;
    app.add_option("--diff", compared, "Compare two listings")->type_name("OLD NEW")->expected(2);
    app.add_flag("--force", out.force, "Replace an existing file");
    app.add_flag("--summary", out.summary, "Print counts of the rows on standard error");
    app.add_flag("--print-command", out.print_command,
                 "Print the command that writes a listing for --input");
    app.set_version_flag("--version", std::string("quorvel-convert ") + QUORVEL_VERSION);
    std::reverse(words.begin(), words.end());  // the order that the parser pops them in
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? status_done : status_wrong_use;
        return false;
    }
    out.wanted = find_format(wanted);
    if (compared.size() == 2) {
        out.old_listing = compared[0];
        out.new_listing = compared[1];
    }
    return true;
}

// Returns the refused words, each by its name, or an empty text.
std::string find_refused(const std::vector<std::string>& user_words) {
    std::string names;
    for (const std::string& word : refused_words(user_words))
        names += (names.empty() ? "" : ", ") + word;
    return names.empty() ? names
                         : "cannot be used here, because the listing has a fixed form: " + names;
}

// Returns what is wrong with the options besides "--diff", or an empty text.
std::string find_wrong_comparison(const command_line& line, bool has_separator) {
    if (has_separator) return "--diff excludes options for quorvel: it compares two listings";
    if (!line.input.empty()) return "--diff excludes --input";
    if (line.print_command) return "--diff excludes --print-command";
    if (line.old_listing.empty() || line.new_listing.empty()) return "--diff needs two names";
    if (line.wanted != nullptr && std::string_view(line.wanted->name) != "jsonl")
        return "--diff writes a table, or jsonl";
    return {};
}

// Returns what is wrong with the combination of options, or an empty text.
std::string find_wrong_use(const command_line& line, bool has_separator) {
    if (line.compares() || !line.new_listing.empty())
        return find_wrong_comparison(line, has_separator);
    if (!line.input.empty() && has_separator)
        return "--input excludes options for quorvel: the listing has been written with its own";
    if (!line.input.empty() && line.print_command) return "--input excludes --print-command";
    std::string refused = find_refused(line.user_words);
    if (!refused.empty() || line.print_command) return refused;
    if (line.wanted == nullptr) return "--to is missing";
    if (line.wanted->needs_file && line.output.empty())
        return std::string(line.wanted->name) + " needs --output";
    if (line.input.empty() && line.user_words.empty())
        return "there is nothing to list: add \"-- -image FILE\" or \"--input LISTING\"";
    return {};
}

}  // namespace

std::optional<command_line> parse_command_line(int argc, const char* const* argv, int& status) {
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    const auto separator = std::find(words.begin(), words.end(), "--");
    command_line line;
    if (!parse_own_words({words.begin(), separator}, line, status)) return std::nullopt;
    const bool has_separator = separator != words.end();
    if (has_separator) line.user_words.assign(std::next(separator), words.end());
    const std::string wrong = find_wrong_use(line, has_separator);
    if (wrong.empty()) return line;
    print_message(wrong);
    status = status_wrong_use;
    return std::nullopt;
}

}  // namespace convert
