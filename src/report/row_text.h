// The pieces that rows are composed of. A row is built in one string, which the next row reuses,
// and goes to the stream in one write: a listing can have millions of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

// Appends `text` filled up with blanks to `width` bytes, at the end or at the front. Longer text is
// not cut.
void append_left(std::string& row, std::string_view text, std::size_t width);
void append_right(std::string& row, std::string_view text, std::size_t width);

// Fills the field that begins at `start` of the row up with blanks to `width`.
void fill_field(std::string& row, std::size_t start, std::size_t width);

// Appends `value` in decimal, filled up with blanks at the front to `width`.
void append_right(std::string& row, std::uint64_t value, std::size_t width);

// Writes `row` and a line end to `out`, flushes, and empties `row` for the next one.
void write_row(std::ostream& out, std::string& row);
