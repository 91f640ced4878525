#include "report/row_text.h"

#include "foundation/number_text.h"

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

void append_right(std::string& row, std::uint64_t value, std::size_t width) {
    const std::size_t start = row.size();
    ql::append_decimal(row, value);
    const std::size_t length = row.size() - start;
    if (length < width) row.insert(start, width - length, ' ');
}

void write_row(std::ostream& out, std::string& row) {
    row += '\n';
    out.write(row.data(), static_cast<std::streamsize>(row.size()));
    out.flush();
    row.clear();
}
