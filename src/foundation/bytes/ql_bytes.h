// Bounded little-endian reads of numbers from on-disk bytes, by offset.
//
// All data from a disk is kept as bytes and read through these functions, never by casting a
// pointer. Bytes past the end of a buffer read as 0, so that a truncated or damaged structure
// yields zeros and never a neighbour's bytes.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace ql {

using bytes = std::span<const std::uint8_t>;

// Returns the little-endian number of `width` bytes (0 to 8) at offset `at`. Bytes past the end of
// `b` read as 0: a field that straddles the end has zero high bytes.
constexpr std::uint64_t le_uint(bytes b, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        const bool inside = at < b.size() && i < b.size() - at;  // at + i could wrap
        value = value << 8 | (inside ? b[at + i] : 0u);
    }
    return value;
}

// Returns the number of type `Number` at offset `at`, with the same result as le_uint. A number
// that is completely inside `b` is read by one load: every supported machine is little-endian.
template <typename Number>
inline Number le_number(bytes b, std::size_t at) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::size_t width = sizeof(Number);
    if (b.size() < width || at > b.size() - width) [[unlikely]]
        return static_cast<Number>(le_uint(b, at, width));
    Number value;
    std::memcpy(&value, b.data() + at, width);
    return value;
}

// Returns the byte at `at`, or 0 past the end.
constexpr std::uint8_t le8(bytes b, std::size_t at) {
    return at < b.size() ? b[at] : std::uint8_t{0};
}

// Returns the two-byte little-endian number at `at`.
inline std::uint16_t le16(bytes b, std::size_t at) { return le_number<std::uint16_t>(b, at); }

// Returns the four-byte little-endian number at `at`.
inline std::uint32_t le32(bytes b, std::size_t at) { return le_number<std::uint32_t>(b, at); }

// Returns the six-byte MFT entry number of the file reference at `at`.
inline std::uint64_t le48(bytes b, std::size_t at) {
    return le_number<std::uint64_t>(b, at) & 0xFFFFFFFFFFFF;
}

// Returns the eight-byte little-endian number at `at`.
inline std::uint64_t le64(bytes b, std::size_t at) { return le_number<std::uint64_t>(b, at); }

// Returns at most `count` bytes of `b` from offset `at`: fewer, or none, if `b` ends first.
constexpr bytes clip(bytes b, std::size_t at, std::size_t count = SIZE_MAX) {
    if (at >= b.size()) return {};
    const std::size_t left = b.size() - at;
    return b.subspan(at, std::min(count, left));
}

// Copies the first bytes of `from` to `out`. If `from` is shorter, the rest of `out` is unchanged.
template <std::size_t size>
void copy_start(bytes from, std::array<std::uint8_t, size>& out) {
    const bytes start = clip(from, 0, size);
    std::copy(start.begin(), start.end(), out.begin());
}

// Like copy_start, but fills the rest of `out` with zeros.
template <std::size_t size>
void copy_with_zeros(bytes from, std::array<std::uint8_t, size>& out) {
    copy_start(from, out);
    if (from.size() < size) {
        std::fill(out.begin() + static_cast<std::ptrdiff_t>(from.size()), out.end(),
                  std::uint8_t{0});
    }
}

// Returns `dividend` / `divisor`, or 0 if the divisor, which may be a size from a disk, is 0.
constexpr std::uint64_t quotient(std::uint64_t dividend, std::uint64_t divisor) {
    return divisor == 0 ? 0 : dividend / divisor;
}

// Returns true if the bytes at `at` equal `text`; false if `b` ends before them.
inline bool has_text(bytes b, std::size_t at, const char* text) {
    const std::size_t length = std::strlen(text);
    const bytes part = clip(b, at, length);
    return part.size() == length && std::memcmp(part.data(), text, length) == 0;
}

}  // namespace ql
