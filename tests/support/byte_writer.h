// Appends little-endian numbers to a byte vector. Shared by the builders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "support/byte_image.h"

namespace support {

constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t to) {
    return (value + to - 1) / to * to;
}

inline void append(bytes& out, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        out.push_back(i < 8 ? static_cast<std::uint8_t>(value >> (8 * i)) : std::uint8_t{0});
    }
}

inline void append(bytes& out, std::span<const std::uint8_t> more) {
    out.insert(out.end(), more.begin(), more.end());
}

// Appends zeros up to a multiple of `to`.
inline void pad(bytes& out, std::size_t to) { out.resize(round_up(out.size(), to)); }

// Overwrites existing bytes. Throws std::out_of_range if they are not all inside `in`.
inline void put_le(std::span<std::uint8_t> in, std::size_t at, std::uint64_t value,
                   std::size_t width) {
    if (at > in.size() || width > in.size() - at) {
        throw std::out_of_range("support: a change past the end of its structure");
    }
    for (std::size_t i = 0; i < width; ++i) {
        in[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

}  // namespace support
