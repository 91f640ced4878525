#include "convert/summary/odd_names.h"

#include <algorithm>
#include <array>

#include "convert/listing/name_text.h"
#include "foundation/text/ql_string.h"

namespace convert {

namespace {

struct oddness {
    bool invalid = false;
    bool control = false;
    bool direction = false;
    bool invisible = false;
    bool refused = false;
};

bool is_refused_by_windows(char32_t value) {
    constexpr std::u32string_view refused = U"<>:\"/\\|?*";
    return refused.find(value) != std::u32string_view::npos;
}

// Returns true if no character of the name is odd, which is quickly decided for most names.
bool is_plain(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char c) {
        return c >= 0x20 && c < 0x7F && !is_refused_by_windows(static_cast<unsigned char>(c));
    });
}

oddness characters_of(std::string_view name) {
    oddness found;
    if (is_plain(name)) return found;
    while (!name.empty()) {
        const character next = decode_character(name);
        name.remove_prefix(next.length);
        if (next.what != character::kind::valid) {
            found.invalid = true;
            continue;
        }
        found.control |= is_control(next.value);
        found.direction |= is_direction_mark(next.value);
        found.invisible |= is_invisible(next.value);
        found.refused |= is_refused_by_windows(next.value);
    }
    return found;
}

// A device name stays one if a dot and more follow it.
bool is_device_name(std::string_view name) {
    std::string stem(name.substr(0, name.find('.')));
    stem.erase(stem.find_last_not_of(' ') + 1);
    ql::lower(stem);
    if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul") return true;
    if (stem.size() != 4 || stem[3] < '1' || stem[3] > '9') return false;
    return stem.starts_with("com") || stem.starts_with("lpt");
}

bool is_padded(std::string_view name) {
    return name.starts_with(' ') || name.ends_with(' ') || name.ends_with('.');
}

}  // namespace

std::string describe_odd_name(std::string_view name) {
    const oddness found = characters_of(name);
    const struct {
        bool applies;
        const char* text;
    } kinds[] = {
        {found.invalid, "not valid Unicode"},
        {found.control, "control character"},
        {found.direction, "changes the direction of text"},
        {found.invisible, "invisible character"},
        {found.refused, "character that Windows refuses"},
        {is_padded(name), "begins with a blank, or ends in a blank or dot"},
        {is_device_name(name), "name of a device"},
    };
    std::string text;
    for (const auto& kind : kinds) {
        if (kind.applies) text += (text.empty() ? "" : ", ") + std::string(kind.text);
    }
    return text;
}

}  // namespace convert
