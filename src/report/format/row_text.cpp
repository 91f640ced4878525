#include "report/format/row_text.h"

#include "foundation/text/number_text.h"
#include "foundation/text/ql_string.h"

namespace {

void append_fill(std::string& row, std::size_t length, std::size_t width) {
    if (length < width) row.append(width - length, ' ');
}

}  // namespace

void append_left(std::string& row, std::string_view text, std::size_t width) {
    row += text;
    append_fill(row, text.size(), width);
}

void append_right(std::string& row, std::string_view text, std::size_t width) {
    append_fill(row, text.size(), width);
    row += text;
}

void fill_field(std::string& row, std::size_t start, std::size_t width) {
    append_fill(row, row.size() - start, width);
}

void append_right(std::string& row, std::uint64_t value, std::size_t width) {
    ql::append_decimal(row, value, width);
}

void append_guid(std::string& row, const std::array<std::uint8_t, 16>& guid) {
    std::string text;
    ql::format_guid(text, guid.data());
    row += text;
}

void write_row(std::ostream& out, std::string& row) {
    row += '\n';
    out.write(row.data(), static_cast<std::streamsize>(row.size()));
    out.flush();
    row.clear();
}
