// Number readers of the command line. All work on a lowered and trimmed copy of the text.
#pragma once

#include <cstdint>
#include <string>

namespace ql {

// Hexadecimal behind the first "x" anywhere, else octal behind the first "o" anywhere, else decimal
// if the text begins with a digit, "+" or "-". The digits are read as strtoull reads them, so
// hexadecimal and octal texts are always accepted and can be 0, and "-1" is 2^64 - 1.
// False, with `out` untouched, for an empty text or one that begins with anything else.
bool parse_number(const std::string& text, std::uint64_t& out);

// Second character "x": hexadecimal from the third; first "x" or "o": hexadecimal or octal from the
// second; a digit, "+" or "-" first: decimal; three characters in single quotes: the code of the
// middle one, lowered. The form is seen on the trimmed copy, the digits of hexadecimal and octal
// are taken from `text` as given. `out` is 0 when the result is false.
bool parse_u32(const std::string& text, std::uint32_t& out);

// As parse_number, cut to 32 bits; decimals are read as a signed number. False leaves `out` alone.
bool parse_count(const std::string& text, std::uint32_t& out);

// As parse_number, cut to 32 bits. False leaves `out` alone.
bool parse_u32_any(const std::string& text, std::uint32_t& out);

// Leading blanks are skipped, a blank behind a digit fails. At most 31 characters; "x" second (of
// more than two): hexadecimal of at most 16 digits; "x" first: hexadecimal; "o" first: octal, at
// most 23 characters; else decimal, at most 20 characters. False when the text is none of these or
// doesn't fit.
bool parse_u64(const std::string& text, std::uint64_t& out);

}  // namespace ql
