// Building blocks of rows. A row is composed in one string, which is reused for the next row, and
// written to the stream by one call: a listing can have millions of rows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

// Append `text`, padded with blanks to `width` bytes on the right (append_left) or on the left
// (append_right). Longer text is not truncated.
void append_left(std::string& row, std::string_view text, std::size_t width);
void append_right(std::string& row, std::string_view text, std::size_t width);

// Pads the field that begins at `start` of the row with blanks to `width` bytes.
void fill_field(std::string& row, std::size_t start, std::size_t width);

// Appends `value` in decimal, padded with leading blanks to `width`.
void append_right(std::string& row, std::uint64_t value, std::size_t width);

// Appends a GUID in its text form.
void append_guid(std::string& row, const std::array<std::uint8_t, 16>& guid);

// Writes `row` and a line end to `out`, flushes `out` and clears `row` for the next row.
void write_row(std::ostream& out, std::string& row);
