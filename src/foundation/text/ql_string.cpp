#include "foundation/text/ql_string.h"

#include <algorithm>
#include <array>
#include <cwchar>

#include "foundation/text/number_text.h"

namespace ql {

namespace {

constexpr std::uint32_t last_code_point = 0x10FFFF;
constexpr std::size_t units_of_unknown_length = 500;

// Converts an element to an unsigned number for comparisons and shifts: wchar_t is signed on
// x86-64.
constexpr std::uint32_t code_of(wchar_t element) { return static_cast<std::uint32_t>(element); }

template <typename Char>
constexpr Char lowered(Char c) {
    return c >= Char{'A'} && c <= Char{'Z'} ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <typename Char>
constexpr Char uppered(Char c) {
    return c >= Char{'a'} && c <= Char{'z'} ? static_cast<Char>(c - ('a' - 'A')) : c;
}

template <typename Text, typename Char>
void replace_in(Text& text, Char from, Char to, bool ignore_case) {
    if (from == to) return;
    if (!ignore_case) {
        std::replace(text.begin(), text.end(), from, to);
        return;
    }
    const Char low = lowered(from);
    const Char high = uppered(from);
    for (auto& c : text)
        if (c == low || c == high) c = to;
}

template <typename Text, typename Char>
std::uint32_t remove_from(Text& text, Char c) {
    return static_cast<std::uint32_t>(std::erase(text, c));
}

// Strips the characters of `set` from both ends. Returns false if nothing is left.
template <typename Text>
bool strip_both(Text& text, const typename Text::value_type* set) {
    const std::size_t last = text.find_last_not_of(set);
    if (last == Text::npos) {
        text.clear();
        return false;
    }
    text.erase(last + 1);
    text.erase(0, text.find_first_not_of(set));
    return true;
}

template <typename Text>
void strip_end(Text& text, const typename Text::value_type* set) {
    text.erase(text.find_last_not_of(set) + 1);  // npos + 1 is 0
}

// Appends the two, three or four bytes of a code point from 0x80 to 0x10FFFF.
void append_multibyte(std::string& out, std::uint32_t code) {
    const auto tail = [&](unsigned shift) {
        out.push_back(static_cast<char>(0x80 | (code >> shift & 0x3F)));
    };
    if (code < 0x800) {
        out.push_back(static_cast<char>(0xC0 | code >> 6));
    } else if (code < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | code >> 12));
        tail(6);
    } else {
        out.push_back(static_cast<char>(0xF0 | code >> 18));
        tail(12);
        tail(6);
    }
    tail(0);
}

// Counts the elements below 0x80 at the start of `wide`.
std::size_t ascii_run(std::wstring_view wide) {
    std::size_t count = 0;
    while (count < wide.size() && code_of(wide[count]) < 0x80)
        ++count;
    return count;
}

// Returns the number of bytes that follow the lead byte `lead`, or -1 if it is not a lead byte.
int following_bytes(std::uint8_t lead) {
    if (lead < 0x80) return 0;
    if ((lead & 0xE0) == 0xC0) return 1;
    if ((lead & 0xF0) == 0xE0) return 2;
    if ((lead & 0xF8) == 0xF0) return 3;
    return -1;
}

// Returns true for a character that the XML report contains unescaped.
bool is_xml_char(char c) {
    // A table, because the report checks each character of each path.
    static constexpr std::array<bool, 256> is_plain = [] {
        std::array<bool, 256> plain{};
        std::fill(plain.begin() + 0x20, plain.begin() + 0x7F, true);
        plain['<'] = plain['>'] = plain['&'] = false;
        plain['\r'] = plain['\n'] = true;
        return plain;
    }();
    return is_plain[static_cast<std::uint8_t>(c)];
}

// Returns the unit with this index. If the buffer ends in the middle of the unit, its high byte is
// 0.
wchar_t unit_at(bytes units, std::size_t index) {
    return static_cast<wchar_t>(le16(units, index * 2));
}

// Returns the number of units, up to `limit`, that are at least partly inside the buffer.
std::size_t stored_units(bytes units, std::size_t limit) {
    return std::min(limit, units.size() / 2 + units.size() % 2);
}

// Returns the maximum number of units in a text of `byte_length` bytes.
std::size_t unit_limit(std::int64_t byte_length) {
    if (byte_length == -1) return units_of_unknown_length;
    return static_cast<std::size_t>(std::max(byte_length / 2, std::int64_t{0}));
}

constexpr bool is_high_surrogate(wchar_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool is_low_surrogate(wchar_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Joins the surrogate pairs of a text that has one element per unit. If a high surrogate lacks its
// low surrogate, the text is unchanged.
void join_pairs(std::wstring& text) {
    std::wstring joined;
    joined.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!is_high_surrogate(text[i])) {
            joined.push_back(text[i]);
            continue;
        }
        const wchar_t high = text[i++];
        if (i == text.size() || !is_low_surrogate(text[i])) return;
        joined.push_back(0x10000 + ((high & 0x3FF) << 10 | (text[i] & 0x3FF)));
    }
    text = std::move(joined);
}

}  // namespace

std::string to_utf8(std::wstring_view wide) {
    std::string out;
    append_utf8(out, wide);
    return out;
}

void append_utf8(std::string& out, std::wstring_view wide) {
    while (!wide.empty()) {
        const std::size_t run = ascii_run(wide);
        const std::size_t start = out.size();
        out.resize(start + run);
        std::transform(wide.begin(), wide.begin() + static_cast<std::ptrdiff_t>(run),
                       out.begin() + static_cast<std::ptrdiff_t>(start),
                       [](wchar_t c) { return static_cast<char>(c); });
        wide.remove_prefix(run);
        if (wide.empty() || code_of(wide.front()) > last_code_point) return;
        append_multibyte(out, code_of(wide.front()));
        wide.remove_prefix(1);
    }
}

std::wstring to_wide(std::string_view utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<std::uint8_t>(utf8[i++]);
        const int tail = following_bytes(lead);
        if (tail < 0 || static_cast<std::size_t>(tail) > utf8.size() - i) return {};
        std::uint32_t code = tail == 0 ? lead : lead & (0x3Fu >> tail);
        for (int k = 0; k < tail; ++k) {
            const auto next = static_cast<std::uint8_t>(utf8[i++]);
            if ((next & 0xC0) != 0x80) return {};
            code = code << 6 | (next & 0x3Fu);
        }
        wide.push_back(static_cast<wchar_t>(code));
    }
    return wide;
}

std::uint32_t utf16_to_wide(bytes units, std::int64_t byte_length, std::wstring& out_wide) {
    const std::size_t most = stored_units(units, unit_limit(byte_length));
    out_wide.resize(most);
    wchar_t* const out = out_wide.data();
    std::size_t count = 0;
    bool has_pairs = false;
    for (; count < most; ++count) {
        const wchar_t unit = unit_at(units, count);
        if (unit == 0) break;
        out[count] = unit;
        has_pairs |= is_high_surrogate(unit);
    }
    out_wide.resize(count);
    if (has_pairs) join_pairs(out_wide);
    return static_cast<std::uint32_t>(count * 2);
}

std::wstring utf16_to_wide(bytes units, std::int64_t byte_length) {
    std::wstring wide;
    utf16_to_wide(units, byte_length, wide);
    return wide;
}

std::uint32_t utf16_to_utf8(bytes units, std::int64_t byte_length, std::string& out_narrow,
                            bool count_terminator) {
    std::wstring wide;
    const std::uint32_t taken = utf16_to_wide(units, byte_length, wide);
    out_narrow.clear();
    append_utf8(out_narrow, wide);
    const bool room_left = !units.empty() && taken / 2 < unit_limit(byte_length);
    return count_terminator && room_left ? taken + 2 : taken;
}

std::string utf16_to_utf8(bytes units, std::int64_t byte_length) {
    return to_utf8(utf16_to_wide(units, byte_length));
}

void bytes_to_wide(std::string_view narrow, std::wstring& out_wide) {
    out_wide.resize(narrow.size());
    std::transform(narrow.begin(), narrow.end(), out_wide.begin(),
                   [](char c) { return static_cast<wchar_t>(static_cast<std::uint8_t>(c)); });
}

void format_guid(std::string& out, const std::uint8_t* bytes16) {
    out.clear();
    if (bytes16 == nullptr) return;
    const bytes guid(bytes16, 16);
    append_hex(out, le32(guid, 0), 8);
    out.push_back('-');
    append_hex(out, le16(guid, 4), 4);
    out.push_back('-');
    append_hex(out, le16(guid, 6), 4);
    out.push_back('-');
    for (std::size_t i = 8; i < 16; ++i) {
        if (i == 10) out.push_back('-');
        append_hex(out, guid[i], 2);
    }
}

bool is_xml_text(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return is_xml_char(c); });
}

void xml_escape(std::string& out, std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (is_xml_char(c)) {
            escaped.push_back(c);
        } else if (c == '<') {
            escaped += "&lt;";
        } else if (c == '>') {
            escaped += "&gt;";
        } else if (c == '&') {
            escaped += "&amp;";
        } else {
            escaped.push_back('%');
            append_hex(escaped, static_cast<std::uint8_t>(c), 2);
        }
    }
    out = std::move(escaped);  // last: `text` may be `out` itself
}

void replace_char(std::string& text, char from, char to, bool ignore_case) {
    replace_in(text, from, to, ignore_case);
}

void replace_char(std::wstring& text, wchar_t from, wchar_t to, bool ignore_case) {
    replace_in(text, from, to, ignore_case);
}

std::uint32_t remove_char(std::string& text, char c) { return remove_from(text, c); }
std::uint32_t remove_char(std::wstring& text, wchar_t c) { return remove_from(text, c); }

void lower(std::string& text, std::size_t from) {
    for (; from < text.size(); ++from)
        text[from] = lowered(text[from]);
}

void upper(std::string& text) {
    for (auto& c : text)
        c = uppered(c);
}

void lower_wide(std::wstring& text) {
    for (auto& c : text)
        c = lowered(c);
}

bool equal_nocase(std::string& a, std::string& b) {
    lower(a);
    lower(b);
    return a == b;
}

std::int32_t compare_wide(const wchar_t* a, const wchar_t* b, bool ignore_case) {
    if (a == nullptr || b == nullptr) return (a != nullptr) - (b != nullptr);
    for (;; ++a, ++b) {
        const std::uint32_t left = code_of(ignore_case ? lowered(*a) : *a);
        const std::uint32_t right = code_of(ignore_case ? lowered(*b) : *b);
        if (left != right) return left < right ? -1 : 1;
        if (left == 0) return 0;
    }
}

bool trim(std::string& text) { return strip_both(text, " \t\r\n"); }
bool trim(std::wstring& text) { return strip_both(text, L" \t\r\n"); }

bool trim_wide(std::wstring& text) {
    if (!strip_both(text, L" ") || !strip_both(text, L"\t")) return false;
    strip_end(text, L"\r");
    strip_end(text, L"\n");
    return true;
}

void strip_trailing_nuls(std::string& text) {
    while (!text.empty() && text.back() == '\0')
        text.pop_back();
}

void strip_trailing_separators(std::wstring& text) { strip_end(text, L"/\\"); }

std::string& replace_all(std::string& out, const std::string& text, const std::string& find,
                         const std::string& with) {
    std::string replaced;
    std::size_t from = 0;
    while (!find.empty() && from < text.size()) {
        const std::size_t hit = std::min(text.find(find, from), text.size());
        replaced.append(text, from, hit - from);
        if (hit < text.size()) replaced += with;
        from = hit + find.size();
    }
    out = std::move(replaced);  // last: `out` may be one of the arguments
    return out;
}

}  // namespace ql
