#include "convert/page/html_text.h"

#include <array>

#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

// Code points that are never characters; HTML does not allow them.
bool is_noncharacter(char32_t value) {
    return (value >= 0xFDD0 && value <= 0xFDEF) || (value & 0xFFFEu) == 0xFFFE;
}

bool is_shown_as_escape(char32_t value) {
    return is_control(value) || is_direction_mark(value) || is_invisible(value) ||
           is_noncharacter(value);
}

// Returns the reference of a character of HTML, or an empty text.
std::string_view reference_of(char32_t value) {
    switch (value) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return {};
    }
}

void append_escape(std::string& out, char32_t value) {
    out += value < 0x100 ? "\\x" : "\\u";
    ql::append_hex(out, value, value < 0x100 ? 2 : 4);
}

// What the escapes of a text, and its backslashes, get.
struct escape_marks {
    std::string_view before, after, after_backslash;
};

void append_escaped(std::string& out, std::string_view text, const escape_marks& marks) {
    while (!text.empty()) {
        const character next = decode_character(text);
        const std::string_view bytes = text.substr(0, next.length);
        text.remove_prefix(next.length);
        if (next.what != character::kind::valid) {
            out += replacement_character;
        } else if (is_shown_as_escape(next.value)) {
            out += marks.before;
            append_escape(out, next.value);
            out += marks.after;
        } else {
            const std::string_view reference = reference_of(next.value);
            out += reference.empty() ? bytes : reference;
            if (next.value == '\\') out += marks.after_backslash;
        }
    }
}

}  // namespace

void append_html_text(std::string& out, std::string_view text) { append_escaped(out, text, {}); }

void append_html_name(std::string& out, std::string_view text) {
    out += "<bdi>";
    append_escaped(out, text, {"<span class=\"esc\">", "</span>", "<wbr>"});
    out += "</bdi>";
}

void append_count(std::string& out, std::uint64_t value) {
    const std::size_t start = out.size();
    ql::append_decimal(out, value);
    for (std::size_t at = out.size(); at > start + 3;)
        out.insert(at -= 3, 1, ',');
}

void append_bytes(std::string& out, std::uint64_t value) {
    if (value == UINT64_MAX) out += "at least ";
    append_count(out, value);
    constexpr std::array<const char*, 6> units = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    std::uint64_t divisor = 1024;
    for (; unit + 1 < units.size() && value / divisor >= 1024; ++unit)
        divisor *= 1024;
    if (value < divisor) return;
    const std::uint64_t tenth = value % divisor / (divisor / 10);
    out += " (";
    append_count(out, value / divisor);
    out += '.';
    ql::append_decimal(out, tenth < 10 ? tenth : 9);
    out += "&nbsp;";
    out += units.at(unit);
    out += ')';
}

void append_html_time(std::string& out, utc_time time) {
    const std::size_t start = out.size();
    append_iso_time(out, time);
    out[start + date_length] = ' ';
    out.pop_back();
}

}  // namespace convert
