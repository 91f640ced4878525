#include "run/arguments/arguments.h"

#include "foundation/text/ql_string.h"

namespace {

constexpr std::size_t no_index = static_cast<std::size_t>(-1);

bool is_word(const std::string& word, const char* option) {
    std::string left = word;
    std::string right = option;
    return ql::equal_nocase(left, right);
}

// Returns the index of the first entry from `from` that equals `option`, or no_index.
std::size_t find_option(const char* option, const std::vector<std::string>& args,
                        std::size_t from) {
    for (std::size_t i = from; i < args.size(); ++i) {
        if (is_word(args[i], option)) return i;
    }
    return no_index;
}

// Returns the index of the value after the first `option`. Returns no_index if the option is absent
// or the last argument.
std::size_t find_value(const char* option, const std::vector<std::string>& args, std::size_t from) {
    const std::size_t index = find_option(option, args, from);
    if (index == no_index || index + 1 >= args.size()) return no_index;
    return index + 1;
}

}  // namespace

void collect_args(std::vector<std::string>& args_out, int argc, const char* const* argv) {
    args_out.clear();
    for (int i = 0; i < argc; ++i)
        args_out.emplace_back(argv[i] != nullptr ? argv[i] : "");
}

bool has_option(const char* option, std::vector<std::string>& args, bool keep) {
    const std::size_t index = find_option(option, args, 0);
    if (index == no_index) return false;
    if (!keep) remove_arg(index, args);
    return true;
}

bool option_value(const char* option, std::string& value_out, std::vector<std::string>& args) {
    const std::size_t index = find_value(option, args, 0);
    if (index == no_index) return false;
    value_out = args[index];
    remove_arg(index, args);
    remove_arg(index - 1, args);
    return true;
}

bool peek_option(const char* option, const std::vector<std::string>& args, std::size_t from) {
    return find_option(option, args, from) != no_index;
}

bool peek_option_value(const char* option, std::string& value_out,
                       const std::vector<std::string>& args, std::size_t from) {
    const std::size_t index = find_value(option, args, from);
    if (index == no_index) return false;
    value_out = args[index];
    return true;
}

void remove_arg(std::size_t index, std::vector<std::string>& args) {
    if (index < args.size()) args.erase(args.begin() + static_cast<std::ptrdiff_t>(index));
}

void join_args(std::string& text_out, const std::vector<std::string>& args, char quote) {
    text_out.clear();
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (i != 0) text_out += ' ';
        const bool quoted = args[i].find(' ') != std::string::npos;
        if (quoted) text_out += quote;
        text_out += args[i];
        if (quoted) text_out += quote;
    }
}
