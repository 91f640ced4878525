// Appends numbers to text without streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/text/text_buffer.h"

namespace ql {

// Append `value` in decimal, padded with leading blanks to `width` characters. A value with more
// digits than that is not truncated.
void append_decimal(std::string& out, std::uint64_t value, std::size_t width = 0);
void append_decimal(text_buffer& out, std::uint64_t value, std::size_t width);
// Without padding.
void append_decimal(text_buffer& out, std::uint64_t value);

// Append `value` in lower-case hexadecimal, padded with zeros to `width` digits. A value with more
// digits is not truncated.
void append_hex(std::string& out, std::uint64_t value, std::size_t width);
void append_hex(text_buffer& out, std::uint64_t value, std::size_t width);

}  // namespace ql
