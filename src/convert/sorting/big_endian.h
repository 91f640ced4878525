// Numbers in records: big-endian, so that records are sorted by them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace convert {

// Appends the lowest `width` bytes of a number.
inline void append_big_endian(std::string& out, std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0;)
        out += static_cast<char>(value >> (8 * i) & 0xFFu);
}

// Returns the number in at most 8 bytes.
inline std::uint64_t big_endian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

}  // namespace convert
