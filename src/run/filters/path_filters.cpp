#include "run/filters/path_filters.h"

#include <algorithm>

#include "foundation/streams/uni_streams.h"
#include "foundation/text/ql_number.h"
#include "foundation/text/ql_string.h"
#include "foundation/text/split_path.h"
#include "foundation/text/split_text.h"
#include "run/settings/cmd_params.h"

namespace {

constexpr wchar_t any = L'*';

// Removes every "*" from `pattern` and records whether the first or last character was one. A "*"
// elsewhere has no effect.
void take_wildcards(std::wstring& pattern, std::uint8_t& wild_start, std::uint8_t& wild_end) {
    wild_start = pattern.starts_with(any);
    wild_end = pattern.ends_with(any);
    ql::remove_char(pattern, any);
}

// Moves the text after the first ":" from the pattern to the stream pattern.
void take_stream(path_filter& item) {
    const std::size_t colon = item.pattern.find(L':');
    if (colon == std::wstring::npos) return;
    item.has_stream = 1;
    item.stream_pattern = item.pattern.substr(colon + 1);
    item.pattern.erase(colon);
    if (item.stream_pattern == L"*") {
        item.stream_any = 1;
    } else {
        take_wildcards(item.stream_pattern, item.stream_wild_start, item.stream_wild_end);
    }
}

path_filter make_item(const std::wstring& text) {
    path_filter item;
    item.text = text;
    item.pattern = text;
    take_stream(item);
    if (item.pattern == L"*") {
        item.match_all = 1;
        return item;
    }
    take_wildcards(item.pattern, item.wild_start, item.wild_end);
    item.in_path = item.pattern.starts_with(L'/');
    return item;
}

// Splits a list at its commas or, if it has none, at its pipes. A text with neither is one item,
// including its blanks.
std::vector<std::string> split_items(const std::string& text) {
    for (const char delimiter : {',', '|'}) {
        if (text.find(delimiter) != std::string::npos)
            return split_list(text, delimiter, {.trim = true});
    }
    return {text};
}

// Returns the value of a hexadecimal digit, or -1 for any other character.
int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// Parses two digits per byte, up to the first pair that is not hexadecimal.
std::vector<std::uint8_t> hex_bytes(const std::string& text) {
    std::vector<std::uint8_t> out;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = digit_value(text[i]);
        const int low = digit_value(text[i + 1]);
        if (high < 0 || low < 0) break;
        out.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return out;
}

// Returns true if the first occurrence of the pattern in the directory part is followed by a slash
// or by the end. If the pattern does not occur, replaces the backslashes of `dir` by slashes and
// tries again.
bool matches_directory(const std::wstring& pattern, std::wstring& dir) {
    std::size_t at = dir.find(pattern);
    if (at == std::wstring::npos) {
        ql::replace_char(dir, L'\\', L'/');
        at = dir.find(pattern);
    }
    if (at == std::wstring::npos) return false;
    const std::size_t end = at + pattern.size();
    return end == dir.size() || dir[end] == L'/';
}

// Returns true if the file at `path` on this host, not in the image, contains the item's signature.
bool matches_signature(const path_filter& item, const std::wstring& path) {
    uni::file_object file;
    if (!file.open(path, uni::file_use::read)) return false;
    std::vector<std::uint8_t> content;
    const auto length = static_cast<std::int64_t>(item.signature.size());
    return file.read_at(content, length, item.signature_offset) && content == item.signature;
}

bool matches_name(const path_filter& item, const std::wstring& path, const std::wstring& name) {
    const std::wstring& pattern = item.pattern;
    if (item.wild_start != 0 && item.wild_end != 0) return name.find(pattern) != std::wstring::npos;
    if (item.wild_start != 0) {
        // Only the first occurrence is used: "*.txt" does not match "a.txt.txt".
        const std::size_t at = name.find(pattern);
        return at != std::wstring::npos && at + pattern.size() == name.size();
    }
    if (item.wild_end != 0) return name.starts_with(pattern);
    if (!pattern.empty() && pattern == name) return true;
    return !item.signature.empty() && matches_signature(item, path);
}

// Returns true if the date window is off or if the timestamps are of a kind that it supports.
bool passes_window(const cmd_params& params, const file_time_bounds& bounds) {
    if (params.time_from_on == 0 && params.time_to_on == 0) return true;
    return bounds.kind == 1 || bounds.kind == 8;
}

}  // namespace

bool parse_filter_list(std::vector<path_filter>& out, const std::string& text) {
    std::string lowered = text;
    ql::lower(lowered);
    const std::vector<std::string> items = split_items(lowered);
    for (const std::string& item : items) {
        if (item == "*") {
            out.assign(1, make_item(L"*"));
            return true;
        }
        out.push_back(make_item(ql::to_wide(item)));
    }
    return !items.empty();
}

bool parse_filter_signature(std::vector<path_filter>& out, const std::string& text) {
    std::string lowered = text;
    ql::lower(lowered);
    const std::vector<std::string> fields = split_items(lowered);
    if (fields.empty()) return false;
    path_filter item;
    item.signature = hex_bytes(fields[0]);
    if (fields.size() > 1) ql::parse_number(fields[1], item.signature_offset);
    out.push_back(std::move(item));
    return true;
}

void set_filter_root(std::vector<path_filter>& filters, const std::string& path) {
    std::wstring root = ql::to_wide(path);
    ql::lower_wide(root);
    for (path_filter& item : filters) {
        item.root = root;
        item.root_len = static_cast<std::uint32_t>(root.size());
    }
}

bool path_passes_filters(const cmd_params& params, const std::wstring& path,
                         const std::vector<path_filter>& filters, const file_time_bounds& bounds,
                         bool) {
    if (path.empty()) return false;
    if (!passes_window(params, bounds)) return false;
    if (filters.empty() || (filters.size() == 1 && filters[0].match_all != 0)) return true;

    std::wstring dir;
    std::wstring name;
    split_path(path, dir, name);
    ql::lower_wide(name);
    ql::lower_wide(dir);
    return std::any_of(filters.begin(), filters.end(), [&](const path_filter& item) {
        if (item.in_path != 0) return matches_directory(item.pattern, dir);
        return item.match_all != 0 || matches_name(item, path, name);
    });
}
