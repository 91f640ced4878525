#include "convert/listing/name_text.h"

#include <algorithm>
#include <array>

namespace convert {

namespace {

std::uint32_t byte_at(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

void append_digits(std::string& out, std::uint32_t byte, std::string_view digits) {
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

// Returns the length of the character that begins with `lead`, or 0 if none does.
std::size_t length_from_lead(std::uint32_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

bool is_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

character decode_character(std::string_view text) {
    const std::uint32_t lead = byte_at(text, 0);
    const character invalid{lead, 1, character::kind::invalid};
    const std::size_t length = length_from_lead(lead);
    if (length == 1) return {lead, 1, character::kind::valid};
    if (length == 0 || text.size() < length) return invalid;
    char32_t value = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte_at(text, i) & 0xC0u) != 0x80) return invalid;
        value = value << 6 | (byte_at(text, i) & 0x3Fu);
    }
    constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    if (value < least.at(length) || value > 0x10FFFF) return invalid;
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return {value, length, surrogate ? character::kind::surrogate : character::kind::valid};
}

bool is_valid_unicode(std::string_view text) {
    if (is_ascii(text)) return true;
    while (!text.empty()) {
        const character next = decode_character(text);
        if (next.what != character::kind::valid) return false;
        text.remove_prefix(next.length);
    }
    return true;
}

void append_valid(std::string& out, std::string_view text) {
    if (is_valid_unicode(text)) {
        out += text;
        return;
    }
    while (!text.empty()) {
        const character next = decode_character(text);
        const bool valid = next.what == character::kind::valid;
        out += valid ? text.substr(0, next.length) : replacement_character;
        text.remove_prefix(next.length);
    }
}

void append_hex_bytes(std::string& out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        append_digits(out, byte_at(bytes, i), "0123456789abcdef");
}

void append_percent_escape(std::string& out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out += '%';
        append_digits(out, byte_at(bytes, i), "0123456789ABCDEF");
    }
}

}  // namespace convert
