// Finds names that can mislead a reader or that Windows does not let a user create.
#pragma once

#include <string>
#include <string_view>

namespace convert {

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

// Returns what is odd about a name, as a list for the user, or an empty text.
std::string describe_odd_name(std::string_view name);

}  // namespace convert
