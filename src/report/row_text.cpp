#include "report/row_text.h"

#include <array>
#include <charconv>

namespace {

constexpr std::size_t max_digits = 20;  // of a 64-bit number in decimal

// The digits of one number, in a buffer of its own.
class digits {
public:
    digits(std::uint64_t value, int base)
        : m_end(std::to_chars(m_text.data(), m_text.data() + m_text.size(), value, base).ptr) {}
    std::string_view text() const {
        return {m_text.data(), static_cast<std::size_t>(m_end - m_text.data())};
    }

private:
    std::array<char, max_digits> m_text;
    const char* m_end;
};

void append_fill(std::string& row, char fill, std::size_t length, std::size_t width) {
    if (length < width) row.append(width - length, fill);
}

}  // namespace

void append_decimal(std::string& row, std::uint64_t value) { row += digits(value, 10).text(); }

void append_hex(std::string& row, std::uint64_t value, std::size_t width) {
    const digits number(value, 16);
    append_fill(row, '0', number.text().size(), width);
    row += number.text();
}

void append_left(std::string& row, std::string_view text, std::size_t width) {
    row += text;
    append_fill(row, ' ', text.size(), width);
}

void append_right(std::string& row, std::string_view text, std::size_t width) {
    append_fill(row, ' ', text.size(), width);
    row += text;
}

void append_right(std::string& row, std::uint64_t value, std::size_t width) {
    append_right(row, digits(value, 10).text(), width);
}

void write_row(std::ostream& out, std::string& row) {
    row += '\n';
    out.write(row.data(), static_cast<std::streamsize>(row.size()));
    out.flush();
    row.clear();
}
