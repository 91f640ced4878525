// Text and numbers in HTML.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "convert/listing/utc_time.h"

namespace convert {

// Appends text of a listing without markup, for a title or an attribute. Characters of HTML become
// references; what is not valid Unicode becomes U+FFFD. A character that is not printed, that
// changes the direction of text, or that HTML does not allow becomes "\x0a" or "\u202e".
void append_html_text(std::string& out, std::string_view text);
// Appends the same with marked escapes, in an element that isolates its direction. A line can be
// broken after a backslash.
void append_html_name(std::string& out, std::string_view text);

// Appends "12,345".
void append_count(std::string& out, std::uint64_t value);
// Appends "12,345 (12.1 KiB)", without the parentheses below 1024. The greatest number is the sum
// of a volume that states impossible sizes, and has "at least" before it.
void append_bytes(std::string& out, std::uint64_t value);
// Appends "2021-03-05 06:07:08.2340000".
void append_html_time(std::string& out, utc_time time);

}  // namespace convert
