#include "report/format/row_text.h"

#include <string>

#include "foundation/text/number_text.h"
#include "foundation/text/ql_string.h"

namespace {

void append_fill(ql::text_buffer& row, std::size_t length, std::size_t width) {
    if (length < width) row.append(width - length, ' ');
}

}  // namespace

void append_left(ql::text_buffer& row, std::string_view text, std::size_t width) {
    row += text;
    append_fill(row, text.size(), width);
}

void append_right(ql::text_buffer& row, std::string_view text, std::size_t width) {
    append_fill(row, text.size(), width);
    row += text;
}

void fill_field(ql::text_buffer& row, std::size_t start, std::size_t width) {
    append_fill(row, row.size() - start, width);
}

void append_right(ql::text_buffer& row, std::uint64_t value, std::size_t width) {
    ql::append_decimal(row, value, width);
}

void append_guid(ql::text_buffer& row, const std::array<std::uint8_t, 16>& guid) {
    std::string text;
    ql::format_guid(text, guid.data());
    row += text;
}

void write_row(std::ostream& out, ql::text_buffer& row) {
    row += '\n';
    const std::string_view text = row.view();
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.flush();
    row.clear();
}
