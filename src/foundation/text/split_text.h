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

// The treatment of the pieces; the default drops empty pieces and changes no other.
struct piece_rules {
    bool trim = false;
    bool keep_empty = false;
};

// Return the pieces, none for an empty text.
std::vector<std::string> split_list(const std::string& text, char delimiter,
                                    piece_rules rules = {});
std::vector<std::wstring> split_any(const std::wstring& text, const wchar_t* delimiters,
                                    piece_rules rules = {});
