#include "foundation/text/number_text.h"

#include <array>
#include <charconv>
#include <string_view>

namespace ql {

namespace {

constexpr std::size_t max_digits = 20;  // of a 64-bit number in decimal

// The digits of one number, with their buffer.
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

// Appends a number, padded on the left to `width` characters.
template <typename Text>
void append_filled(Text& out, const digits& number, std::size_t width, char fill) {
    const std::string_view text = number.text();
    if (text.size() < width) out.append(width - text.size(), fill);
    out += text;
}

}  // namespace

void append_decimal(std::string& out, std::uint64_t value, std::size_t width) {
    append_filled(out, digits(value, 10), width, ' ');
}

void append_decimal(text_buffer& out, std::uint64_t value, std::size_t width) {
    append_filled(out, digits(value, 10), width, ' ');
}

void append_decimal(text_buffer& out, std::uint64_t value) {
    if (value < 10) {  // most sequence numbers and flags
        out += static_cast<char>('0' + value);
        return;
    }
    char* const first = out.reserve(max_digits);
    const char* const last = std::to_chars(first, first + max_digits, value).ptr;
    out.add_written(static_cast<std::size_t>(last - first));
}

void append_hex(std::string& out, std::uint64_t value, std::size_t width) {
    append_filled(out, digits(value, 16), width, '0');
}

void append_hex(text_buffer& out, std::uint64_t value, std::size_t width) {
    append_filled(out, digits(value, 16), width, '0');
}

}  // namespace ql
