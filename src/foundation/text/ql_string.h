// Text encodings and conversions between them.
//
// Names and paths are wide strings inside the program, one code point per element. Strings on disk
// are UTF-16LE; printed text is UTF-8. Nothing depends on a locale: only ASCII letters are
// case-folded. No function prints an error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/bytes/ql_bytes.h"

namespace ql {

// Converts wide text to UTF-8. Surrogates are encoded as three bytes like any other code point. An
// element above 0x10FFFF ends the conversion; the text before it is returned.
std::string to_utf8(std::wstring_view wide);

// Appends the UTF-8 form of `wide` to `out`, converted as by to_utf8.
void append_utf8(std::string& out, std::wstring_view wide);

// Converts UTF-8 to wide text. Overlong forms and surrogates are accepted. Returns an empty text if
// a lead byte or a continuation byte is invalid or if a sequence is truncated, anywhere in `utf8`.
std::wstring to_wide(std::string_view utf8);

// Converts UTF-16LE to wide text, up to the first zero unit or to `byte_length` / 2 units. A
// `byte_length` of -1 means at most 500 units. Units past the end of `units` are zero.
//
// A surrogate pair becomes one element. If any high surrogate lacks its low surrogate, every unit
// of the text becomes an element of its own, so that no name is lost. Returns the number of bytes
// converted: 2 per unit, 0 for an empty buffer.
std::uint32_t utf16_to_wide(bytes units, std::int64_t byte_length, std::wstring& out_wide);
// Returns the text alone.
std::wstring utf16_to_wide(bytes units, std::int64_t byte_length);

// Converts UTF-16LE to UTF-8, as utf16_to_wide and to_utf8 do. With `count_terminator` the result
// is 2 more if the text ended before `byte_length`.
std::uint32_t utf16_to_utf8(bytes units, std::int64_t byte_length, std::string& out_narrow,
                            bool count_terminator);
// Returns the text alone.
std::string utf16_to_utf8(bytes units, std::int64_t byte_length);

// Widens each byte to one element without decoding: byte 0xC3 becomes element 0xC3.
void bytes_to_wide(std::string_view narrow, std::wstring& out_wide);

// Sets `out` to the text of the 16-byte GUID, with dashes and in lower-case hexadecimal. The first
// three fields are little-endian; the others are in file order. `out` is empty for a null pointer.
void format_guid(std::string& out, const std::uint8_t* bytes16);

// Escapes UTF-8 text for the XML report: "&lt;", "&gt;", "&amp;". Any other byte outside 0x20 to
// 0x7E, except CR and LF, becomes "%" and two lower-case hexadecimal digits. Quotes are not
// escaped.
void xml_escape(std::string& out, std::string_view text);

// Returns true if xml_escape would not change the text.
bool is_xml_text(std::string_view text);

// A value of the parameter `ignore_case` below.
constexpr bool any_case = true;

// Replaces each `from` by `to`, in place. With `ignore_case` both cases of `from` are replaced.
void replace_char(std::string& text, char from, char to, bool ignore_case = false);
void replace_char(std::wstring& text, wchar_t from, wchar_t to, bool ignore_case = false);

// Removes each `c`, in place, and returns the number of characters removed.
std::uint32_t remove_char(std::string& text, char c);
std::uint32_t remove_char(std::wstring& text, wchar_t c);

// Fold ASCII letters to one case, in place. Characters before `from` are unchanged.
void lower(std::string& text, std::size_t from = 0);
void upper(std::string& text);
void lower_wide(std::wstring& text);

// Returns true if both texts are equal regardless of ASCII case. Lowers both arguments.
bool equal_nocase(std::string& a, std::string& b);

// Compares like wcscmp, or like wcscasecmp with `ignore_case`; elements are unsigned and only ASCII
// is case-folded. Two null pointers are equal; null sorts first.
std::int32_t compare_wide(const wchar_t* a, const wchar_t* b, bool ignore_case);

// Strips blanks, tabs, CRs and LFs from both ends. Returns false if nothing is left.
bool trim(std::string& text);
bool trim(std::wstring& text);

// Strips blanks from both ends, then tabs from both ends, then trailing CRs, then trailing LFs, in
// one pass each. Returns false if nothing is left after the blanks or after the tabs.
bool trim_wide(std::wstring& text);

// Removes trailing zero bytes.
void strip_trailing_nuls(std::string& text);

// Removes every trailing slash and backslash.
void strip_trailing_separators(std::wstring& text);

// Sets `out` to `text` with every `find` replaced by `with`, and returns it. The result is empty if
// `text` or `find` is empty.
std::string& replace_all(std::string& out, const std::string& text, const std::string& find,
                         const std::string& with);

}  // namespace ql
