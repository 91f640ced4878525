// Text of names. A listing prints names as UTF-8 in which a surrogate has three bytes: one without
// its partner is not valid Unicode, and neither is a pair of two such characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace convert {

struct character {
    enum class kind {
        valid,
        surrogate,  // U+D800 to U+DFFF, as three bytes
        invalid,    // one byte that is not part of a character
    };
    char32_t value = 0;  // of an invalid byte: the byte
    std::size_t length = 1;
    kind what = kind::valid;
};

// U+FFFD in UTF-8.
constexpr std::string_view replacement_character = "\xEF\xBF\xBD";

// Decodes the first character of `text`, which is not empty.
character decode_character(std::string_view text);

// Returns true if the text is valid UTF-8.
bool is_valid_unicode(std::string_view text);

// Appends the text, with U+FFFD for each surrogate and each invalid byte.
void append_valid(std::string& out, std::string_view text);

// Appends each byte as two lower-case hexadecimal digits.
void append_hex_bytes(std::string& out, std::string_view bytes);

}  // namespace convert
