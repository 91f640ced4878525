// Numbers as text, appended without streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ql {

// Appends `value` in decimal, filled up with blanks at the front to `width`; a larger value has
// more digits.
void append_decimal(std::string& out, std::uint64_t value, std::size_t width = 0);

// Appends `value` in lower-case hexadecimal, zero-filled to `width` digits; a larger value has
// more.
void append_hex(std::string& out, std::uint64_t value, std::size_t width);

}  // namespace ql
