// Parsers for the numbers of the command line. Each parses a lowered and trimmed copy of the text.
#pragma once

#include <cstdint>
#include <string>

namespace ql {

// Parses hexadecimal after the first "x" anywhere in the text, else octal after the first "o"
// anywhere, else decimal if the text begins with a digit, "+" or "-". Digits are parsed as by
// strtoull: hexadecimal and octal texts are always accepted and may yield 0, and "-1" is 2^64 - 1.
// Returns false, with `out` unchanged, for an empty text or any other first character.
bool parse_number(const std::string& text, std::uint64_t& out);

// Parses a 32-bit number. The form depends on the trimmed copy:
//
//   "x" as the second character   hexadecimal from the third
//   "x" or "o" as the first       hexadecimal or octal from the second
//   a digit, "+" or "-" first     decimal
//   a character in single quotes  the code of that character, lowered
//
// The digits of hexadecimal and octal numbers are read from `text` itself. Returns false, with
// `out` set to 0, for any other text.
bool parse_u32(const std::string& text, std::uint32_t& out);

// Like parse_number, truncated to 32 bits, except that decimals are parsed as signed numbers.
// Returns false with `out` unchanged.
bool parse_count(const std::string& text, std::uint32_t& out);

// Like parse_number, truncated to 32 bits. Returns false with `out` unchanged.
bool parse_u32_any(const std::string& text, std::uint32_t& out);

// Parses at most 31 characters: hexadecimal of at most 16 digits if the second of more than two
// characters is "x"; hexadecimal if the first is "x"; octal, at most 23 characters, if the first is
// "o"; else decimal, at most 20 characters. Blanks are ignored unless one follows a digit. Returns
// false, with `out` unchanged, if the text has none of these forms or the number does not fit.
bool parse_u64(const std::string& text, std::uint64_t& out);

}  // namespace ql
