// Building blocks of rows. A row is composed in one buffer, which is reused for the next row, and
// written to the stream by one call: a listing can have millions of rows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "foundation/text/text_buffer.h"

// Append `text`, padded with blanks to `width` bytes on the right (append_left) or on the left
// (append_right). Longer text is not truncated.
void append_left(ql::text_buffer& row, std::string_view text, std::size_t width);
void append_right(ql::text_buffer& row, std::string_view text, std::size_t width);

// Pads the field that begins at `start` of the row with blanks to `width` bytes.
void fill_field(ql::text_buffer& row, std::size_t start, std::size_t width);

// Appends `value` in decimal, padded with leading blanks to `width`.
void append_right(ql::text_buffer& row, std::uint64_t value, std::size_t width);

// Appends a GUID in its text form.
void append_guid(ql::text_buffer& row, const std::array<std::uint8_t, 16>& guid);

// Writes `row` and a line end to `out`, flushes `out` and clears `row` for the next row.
void write_row(std::ostream& out, ql::text_buffer& row);
