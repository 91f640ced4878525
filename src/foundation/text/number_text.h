// Appends numbers to text without streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ql {

// Appends `value` in decimal, padded with leading blanks to `width` characters. A value with more
// digits than that is not truncated.
void append_decimal(std::string& out, std::uint64_t value, std::size_t width = 0);

// Appends `value` in lower-case hexadecimal, padded with zeros to `width` digits. A value with more
// digits is not truncated.
void append_hex(std::string& out, std::uint64_t value, std::size_t width);

}  // namespace ql
