#include "foundation/text/ql_number.h"

#include <cstdlib>
#include <locale>
#include <optional>
#include <sstream>

#include "foundation/text/ql_string.h"

namespace ql {

namespace {

std::string lowered_and_trimmed(const std::string& text) {
    std::string copy = text;
    lower(copy);
    trim(copy);
    return copy;
}

bool begins_decimal(const std::string& text) {
    const char first = text[0];  // NUL if the text is empty
    return (first >= '0' && first <= '9') || first == '+' || first == '-';
}

// Parses the digits of `text` from `at` up to the first character that is not a digit of the base.
// A text without digits is 0.
std::uint64_t digits_from(const std::string& text, std::size_t at, int base) {
    return std::strtoull(text.c_str() + at, nullptr, base);
}

// Parses hexadecimal after the first "x", or else octal after the first "o", of a lowered text.
// Returns nullopt if the text has neither.
std::optional<std::uint64_t> read_marked(const std::string& lowered) {
    if (const auto x = lowered.find('x'); x != std::string::npos)
        return digits_from(lowered, x + 1, 16);
    if (const auto o = lowered.find('o'); o != std::string::npos)
        return digits_from(lowered, o + 1, 8);
    return std::nullopt;
}

// Removes the blanks before a number. Returns false if a blank follows a digit.
bool drop_leading_blanks(std::string& text) {
    bool digit_before = false;
    for (const char c : text) {
        if (c == ' ' && digit_before) return false;
        if (c != ' ') digit_before = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    }
    remove_char(text, ' ');
    return true;
}

// Parses one number at the start of `text` with a stream. Returns false if there is no number or if
// it does not fit.
bool read_by_stream(const std::string& text, std::ios_base& (*base)(std::ios_base&),
                    std::uint64_t& out) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::uint64_t value = 0;
    if (!(stream >> base >> value)) return false;
    out = value;
    return true;
}

}  // namespace

bool parse_number(const std::string& text, std::uint64_t& out) {
    const std::string copy = lowered_and_trimmed(text);
    const std::optional<std::uint64_t> marked = read_marked(copy);
    if (!marked && !begins_decimal(copy)) return false;
    out = marked ? *marked : digits_from(copy, 0, 10);
    return true;
}

bool parse_u32(const std::string& text, std::uint32_t& out) {
    out = 0;
    const std::string copy = lowered_and_trimmed(text);
    if (copy.find('x', 1) == 1) {  // the first character may be any
        out = static_cast<std::uint32_t>(digits_from(text, 2, 16));
    } else if (copy.starts_with('x')) {
        out = static_cast<std::uint32_t>(digits_from(text, 1, 16));
    } else if (copy.starts_with('o')) {
        out = static_cast<std::uint32_t>(digits_from(text, 1, 8));
    } else if (begins_decimal(copy)) {
        out = static_cast<std::uint32_t>(digits_from(copy, 0, 10));
    } else if (copy.size() == 3 && copy[0] == '\'' && copy[2] == '\'') {
        out = static_cast<std::uint8_t>(copy[1]);
    } else {
        return false;
    }
    return true;
}

bool parse_count(const std::string& text, std::uint32_t& out) {
    const std::string copy = lowered_and_trimmed(text);
    if (const std::optional<std::uint64_t> marked = read_marked(copy)) {
        out = static_cast<std::uint32_t>(*marked);
        return true;
    }
    if (!begins_decimal(copy)) return false;
    out = static_cast<std::uint32_t>(std::strtol(copy.c_str(), nullptr, 10));
    return true;
}

bool parse_u32_any(const std::string& text, std::uint32_t& out) {
    std::uint64_t value = 0;
    if (!parse_number(text, value)) return false;
    out = static_cast<std::uint32_t>(value);
    return true;
}

bool parse_u64(const std::string& text, std::uint64_t& out) {
    constexpr std::size_t max_text = 31, max_hex = 16, max_octal = 23, max_decimal = 20;
    std::string copy = lowered_and_trimmed(text);
    if (copy.size() > max_text || !drop_leading_blanks(copy)) return false;

    if (copy.size() > 2 && copy[1] == 'x')
        return copy.size() - 2 <= max_hex && read_by_stream(copy.substr(2), std::hex, out);
    if (copy[0] == 'x') return read_by_stream(copy.substr(1), std::hex, out);
    if (copy[0] == 'o')
        return copy.size() <= max_octal && read_by_stream(copy.substr(1), std::oct, out);
    return copy.size() <= max_decimal && read_by_stream(copy, std::dec, out);
}

}  // namespace ql
