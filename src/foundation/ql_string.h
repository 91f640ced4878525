// Text forms and their conversions.
//
// Names and paths are wide strings inside the program, one code point an element; strings on disk
// are UTF-16LE; what is printed is UTF-8. Nothing here depends on a locale: letters fold in ASCII
// only, and no function reports an error by message.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/ql_bytes.h"

namespace ql {

// Wide text to UTF-8. Surrogates are written as three bytes like any other code point. An element
// above 0x10FFFF ends the conversion: what came before it is the result.
std::string to_utf8(std::wstring_view wide);

// Appends the UTF-8 form of `wide` to `out`; otherwise as to_utf8.
void append_utf8(std::string& out, std::wstring_view wide);

// UTF-8 to wide text. Overlong forms and surrogates are taken. A wrong lead byte, a wrong
// continuation byte or a cut sequence anywhere makes the whole result empty.
std::wstring to_wide(std::string_view utf8);

// UTF-16LE text to wide text. Copying stops at the first zero unit or after `byte_length` / 2
// units; a `byte_length` of -1 means at most 500 units. Units behind the end of `units` are zero.
//
// Surrogate pairs become one element. One high surrogate without its low one makes the whole text
// fall back to an element per unit, so that no name is lost.
// The result is the number of bytes taken: 2 for each unit consumed, 0 for an empty buffer.
std::uint32_t utf16_to_wide(bytes units, std::int64_t byte_length, std::wstring& out_wide);

// utf16_to_wide and to_utf8 in one. With `count_terminator` the result is 2 more if there was room.
std::uint32_t utf16_to_utf8(bytes units, std::int64_t byte_length, std::string& out_narrow,
                            bool count_terminator);

// Each byte widened to one element without decoding: byte 0xC3 is element 0xC3.
void bytes_to_wide(std::string_view narrow, std::wstring& out_wide);

// The dashed text of a GUID: the first three fields little-endian, the rest in file order, in
// lower-case hexadecimal. A null pointer leaves `out` empty. Reads 16 bytes.
void format_guid(std::string& out, const std::uint8_t* bytes16);

// Escapes UTF-8 text for the XML report: "&lt;", "&gt;", "&amp;"; a byte outside 0x20..0x7E becomes
// "%" and two lower-case hexadecimal digits, but CR and LF stay as they are. Quotes are left alone.
void xml_escape(std::string& out, std::string_view text);

// True when xml_escape leaves the text as it is.
bool is_xml_text(std::string_view text);

// Replaces each `from` by `to`, in place. With `ignore_case` both cases of `from` are hit.
void replace_char(std::string& text, char from, char to, bool ignore_case = false);
void replace_char(std::wstring& text, wchar_t from, wchar_t to, bool ignore_case = false);

// Removes each `c`, in place; the result is how many went.
std::uint32_t remove_char(std::string& text, char c);
std::uint32_t remove_char(std::wstring& text, wchar_t c);

// ASCII case folding in place.
void lower(std::string& text);
void upper(std::string& text);
void lower_wide(std::wstring& text);

// True when both texts are equal without regard to ASCII case: lengths first, then the lowered
// texts. Both arguments are left in lower case.
bool equal_nocase(std::string& a, std::string& b);

// wcscmp, or wcscasecmp with `ignore_case`. Two null pointers are equal; null sorts first.
std::int32_t compare_wide(const wchar_t* a, const wchar_t* b, bool ignore_case);

// Strips blank, tab, CR and LF from both ends; false if nothing is left.
bool trim(std::string& text);
bool trim(std::wstring& text);

// Strips blanks from both ends, then tabs from both ends, then trailing CR, then trailing LF, one
// pass of each. False if nothing is left after the blanks or after the tabs.
bool trim_wide(std::wstring& text);

// Removes trailing zero bytes.
void strip_trailing_nuls(std::string& text);

// Removes every trailing slash and backslash.
void strip_trailing_separators(std::wstring& text);

// Every `find` in `text` replaced by `with`. An empty `text` or an empty `find` gives "".
std::string& replace_all(std::string& out, const std::string& text, const std::string& find,
                         const std::string& with);

}  // namespace ql
