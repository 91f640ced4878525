#include "foundation/number_text.h"

#include <array>
#include <charconv>
#include <string_view>

namespace ql {

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

}  // namespace

void append_decimal(std::string& out, std::uint64_t value) { out += digits(value, 10).text(); }

void append_hex(std::string& out, std::uint64_t value, std::size_t width) {
    const digits number(value, 16);
    const std::size_t length = number.text().size();
    if (length < width) out.append(width - length, '0');
    out += number.text();
}

}  // namespace ql
