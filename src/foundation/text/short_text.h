// A text of at most 32 bytes, such as a date, in an array instead of memory of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ql {

constexpr std::array<char, 200> make_digit_pairs() {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}

// The two digits of each number below 100, one pair after the other.
inline constexpr std::array<char, 200> digit_pairs = make_digit_pairs();

class short_text {
public:
    static constexpr std::size_t capacity = 32;  // bytes

    // The text. It is valid until this object changes.
    std::string_view view() const { return {m_text.data(), m_size}; }
    // All bytes of the array. Those past size() are unspecified.
    const std::array<char, capacity>& array() const { return m_text; }
    std::size_t size() const { return m_size; }
    void clear() { m_size = 0; }
    // Removes all but the first `size` bytes, of which there must be as many.
    void truncate(std::size_t size) { m_size = size; }

    // The following append to the text. The caller must not exceed the capacity.
    void put(char c) { m_text[m_size++] = c; }
    void put(std::string_view text) {
        for (const char c : text)
            put(c);
    }

    // Appends the low `digits` decimal digits of `value`, padded with zeros.
    void put_number(std::uint32_t value, unsigned digits) {
        unsigned left = digits;
        for (; left > 1; left -= 2, value /= 100)
            set_two(m_size + left - 2, value);
        if (left == 1) m_text[m_size] = static_cast<char>('0' + value % 10);
        m_size += digits;
    }

    // Like put_number for two digits, the width of most fields, without a loop.
    void put_two(std::uint32_t value) {
        set_two(m_size, value);
        m_size += 2;
    }

private:
    void set_two(std::size_t at, std::uint32_t value) {
        std::memcpy(m_text.data() + at, digit_pairs.data() + std::size_t{2} * (value % 100), 2);
    }

    std::array<char, capacity> m_text{};
    std::size_t m_size = 0;
};

}  // namespace ql
