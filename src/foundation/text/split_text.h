// Splits delimited lists.
#pragma once

#include <string>
#include <vector>

// Splits `text` at `delimiter`. With `trim`, strips blanks, tabs and line ends from both ends of
// each piece. Drops empty pieces unless `keep_empty`, and clears `out` first unless `append`.
// Returns false for an empty text, which has no pieces.
bool split_list(const std::string& text, char delimiter, std::vector<std::string>& out, bool trim,
                bool keep_empty, bool append);

// Like split_list for wide text and any of several delimiters. Always clears `out` first.
bool split_any(const std::wstring& text, std::vector<std::wstring>& out, bool trim, bool keep_empty,
               const wchar_t* delimiters);
