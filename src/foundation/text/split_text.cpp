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
                std::vector<std::basic_string<Char>>& out, bool trim, bool keep_empty) {
    return cut(text, delimiters, [&](std::basic_string<Char> piece) {
        if (trim) ql::trim(piece);
        if (keep_empty || !piece.empty()) out.push_back(std::move(piece));
    });
}

}  // namespace

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
