#include "foundation/text/split_text.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "foundation/text/ql_string.h"

namespace {

// Splits `text` at each character of `delimiters` and passes every piece to `take`. Returns false
// for an empty text.
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

template <typename Char>
bool split_into(const std::basic_string<Char>& text, std::basic_string_view<Char> delimiters,
                std::vector<std::basic_string<Char>>& out, piece_rules rules) {
    return cut(text, delimiters, [&](std::basic_string<Char> piece) {
        if (rules.trim) ql::trim(piece);
        if (rules.keep_empty || !piece.empty()) out.push_back(std::move(piece));
    });
}

}  // namespace

bool split_list(const std::string& text, char delimiter, std::vector<std::string>& out, bool trim,
                bool keep_empty, bool append) {
    if (!append) out.clear();
    return split_into(text, std::string_view(&delimiter, 1), out, {trim, keep_empty});
}

bool split_any(const std::wstring& text, std::vector<std::wstring>& out, bool trim, bool keep_empty,
               const wchar_t* delimiters) {
    out.clear();
    return split_into(text, std::wstring_view(delimiters), out, {trim, keep_empty});
}

std::vector<std::string> split_list(const std::string& text, char delimiter, piece_rules rules) {
    constexpr bool append = false;
    std::vector<std::string> pieces;
    split_list(text, delimiter, pieces, rules.trim, rules.keep_empty, append);
    return pieces;
}

std::vector<std::wstring> split_any(const std::wstring& text, const wchar_t* delimiters,
                                    piece_rules rules) {
    std::vector<std::wstring> pieces;
    split_any(text, pieces, rules.trim, rules.keep_empty, delimiters);
    return pieces;
}
