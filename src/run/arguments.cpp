#include "run/arguments.h"

#include <algorithm>

#include "foundation/ql_string.h"

namespace {

constexpr std::size_t no_index = static_cast<std::size_t>(-1);

bool is_word(const std::string& word, const char* option) {
    std::string left = word;
    std::string right = option;
    return ql::equal_nocase(left, right);
}

// The index of the first entry from `from` on that equals `option`, or no_index.
std::size_t find_option(const char* option, const std::vector<std::string>& args,
                        std::size_t from) {
    for (std::size_t i = from; i < args.size(); ++i) {
        if (is_word(args[i], option)) return i;
    }
    return no_index;
}

// The index of the value behind the first `option`; no_index when there is no hit or when the hit
// is the last word.
std::size_t find_value(const char* option, const std::vector<std::string>& args, std::size_t from) {
    const std::size_t index = find_option(option, args, from);
    if (index == no_index || index + 1 >= args.size()) return no_index;
    return index + 1;
}

// Cuts `text` at each character of `delimiters` and hands every piece to `take`. True if a
// delimiter or any text was there.
template <typename Char, typename Take>
bool cut(const std::basic_string<Char>& text, std::basic_string_view<Char> delimiters, Take take) {
    if (text.empty()) return false;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
        take(text.substr(start, end - start));
        if (end == text.size()) return true;
        start = end + 1;
    }
}

// Removes blanks, tabs and line ends at both ends.
void trim_piece(std::string& piece) { ql::trim(piece); }

void trim_piece(std::wstring& piece) {
    constexpr const wchar_t* white = L" \t\r\n";
    piece.erase(piece.find_last_not_of(white) + 1);
    piece.erase(0, piece.find_first_not_of(white));
}

template <typename Char>
bool split_into(const std::basic_string<Char>& text, std::basic_string_view<Char> delimiters,
                std::vector<std::basic_string<Char>>& out, bool trim, bool keep_empty) {
    return cut(text, delimiters, [&](std::basic_string<Char> piece) {
        if (trim) trim_piece(piece);
        if (keep_empty || !piece.empty()) out.push_back(std::move(piece));
    });
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

bool split_list(const std::string& text, char delimiter, std::vector<std::string>& out, bool trim,
                bool keep_empty, bool append) {
    if (!append) out.clear();
    return split_into(text, std::string_view(&delimiter, 1), out, trim, keep_empty);
}

bool split_any(const std::wstring& text, std::vector<std::wstring>& out, bool trim, bool keep_empty,
               const wchar_t* delimiters) {
    out.clear();
    return split_into(text, std::wstring_view(delimiters), out, trim, keep_empty);
}
