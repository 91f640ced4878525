// The form of the listings that are read: the words that make quorvel write it, and its header.
//
// The separator is a random token. A name on the volume cannot contain it, so a comma or a line
// feed of a name stays in its field. It contains neither "|" nor ",", so that quorvel replaces no
// character of a name, and no blank, which "-no_whitespace" would remove.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

// "@" and 11 letters or digits, which is 65 random bits. The mark occurs only at the start, so a
// separator never overlaps another one.
constexpr char separator_mark = '@';
constexpr std::size_t separator_length = 12;

// Returns a new separator from random bytes of the system. Returns an empty text if the system has
// none.
std::string make_separator();
bool is_separator(std::string_view text);

// Returns the words before those of the user, ending in "-csv_separator" and the separator.
std::vector<std::string> listing_words(std::string_view separator);

// Returns the separator on the command line in the head of a listing, or an empty text if the
// command line does not contain the words of listing_words() next to each other.
std::string_view find_separator(std::string_view head);

// Returns the header with its line end.
std::string listing_header(std::string_view separator, bool with_object_id);

}  // namespace convert
