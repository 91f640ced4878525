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

// Returns true for a control character: U+0000 to U+001F and U+007F to U+009F.
constexpr bool is_control(char32_t value) {
    return value < 0x20 || (value >= 0x7F && value < 0xA0);
}

// Returns true for a character that changes the direction of the text after it.
constexpr bool is_direction_mark(char32_t value) {
    return value == 0x061C || value == 0x200E || value == 0x200F ||
           (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

// Returns true for a character that takes no space, or that ends a line of text.
constexpr bool is_invisible(char32_t value) {
    return value == 0x00AD || value == 0x115F || value == 0x1160 || value == 0x17B4 ||
           value == 0x17B5 || value == 0x180E || (value >= 0x200B && value <= 0x200D) ||
           value == 0x2028 || value == 0x2029 || (value >= 0x2060 && value <= 0x2064) ||
           value == 0x3164 || value == 0xFEFF || value == 0xFFA0 ||
           (value >= 0xE0000 && value <= 0xE007F);
}

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

// Appends each byte as "%" and two upper-case hexadecimal digits.
void append_percent_escape(std::string& out, std::string_view bytes);

}  // namespace convert
