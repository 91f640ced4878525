// Lists in one text, cut at their delimiters.
#pragma once

#include <string>
#include <vector>

// Cuts `text` at `delimiter`. With `trim` each piece loses blanks, tabs and line ends at both ends.
// Empty pieces are dropped unless `keep_empty`; `out` is cleared first unless `append`. False for
// an empty text, which has no pieces.
bool split_list(const std::string& text, char delimiter, std::vector<std::string>& out, bool trim,
                bool keep_empty, bool append);

// The same for wide text and a set of delimiter characters; `out` is cleared first.
bool split_any(const std::wstring& text, std::vector<std::wstring>& out, bool trim, bool keep_empty,
               const wchar_t* delimiters);
