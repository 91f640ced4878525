// Numbers from on-disk bytes: bounded little-endian reads by offset.
//
// Everything that comes from a disk is held as bytes and read through these functions, never by
// casting a pointer. Bytes behind the end of a buffer count as 0, so that a cut or damaged
// structure gives zeros and never a neighbour's bytes.
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

// The `width` bytes at offset `at`, lowest first, as a number; width is 0 to 8.
// Bytes behind the end of `b` count as 0: a field that straddles the end has zero high bytes.
constexpr std::uint64_t le_uint(bytes b, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        const bool inside = at < b.size() && i < b.size() - at;  // at + i could wrap
        value = value << 8 | (inside ? b[at + i] : 0u);
    }
    return value;
}

// The number that fills a `Number` at offset `at`, as le_uint gives it. One that lies inside `b`
// is one load: both machines that this program runs on store the lowest byte first.
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

// One byte; 0 behind the end.
constexpr std::uint8_t le8(bytes b, std::size_t at) {
    return at < b.size() ? b[at] : std::uint8_t{0};
}

// Two bytes, lowest first.
inline std::uint16_t le16(bytes b, std::size_t at) { return le_number<std::uint16_t>(b, at); }

// Four bytes, lowest first.
inline std::uint32_t le32(bytes b, std::size_t at) { return le_number<std::uint32_t>(b, at); }

// The six bytes of an MFT entry number in a file reference.
inline std::uint64_t le48(bytes b, std::size_t at) {
    return le_number<std::uint64_t>(b, at) & 0xFFFFFFFFFFFF;
}

// Eight bytes, lowest first.
inline std::uint64_t le64(bytes b, std::size_t at) { return le_number<std::uint64_t>(b, at); }

// What stands from `at` on, at most `count` bytes; shorter or empty where `b` ends first.
constexpr bytes clip(bytes b, std::size_t at, std::size_t count = SIZE_MAX) {
    if (at >= b.size()) return {};
    const std::size_t left = b.size() - at;
    return b.subspan(at, std::min(count, left));
}

// The first bytes of `from`, as many as `out` holds; what `from` lacks stays as it is.
template <std::size_t size>
void copy_start(bytes from, std::array<std::uint8_t, size>& out) {
    const bytes start = clip(from, 0, size);
    std::copy(start.begin(), start.end(), out.begin());
}

// The same, with zeros for what `from` lacks.
template <std::size_t size>
void copy_with_zeros(bytes from, std::array<std::uint8_t, size>& out) {
    copy_start(from, out);
    if (from.size() < size) {
        std::fill(out.begin() + static_cast<std::ptrdiff_t>(from.size()), out.end(),
                  std::uint8_t{0});
    }
}

// `dividend` / `divisor`; 0 for a divisor of 0, which a size from a disk may be.
constexpr std::uint64_t quotient(std::uint64_t dividend, std::uint64_t divisor) {
    return divisor == 0 ? 0 : dividend / divisor;
}

// True when the bytes at `at` are those of `text`; false when they run past the end of `b`.
inline bool has_text(bytes b, std::size_t at, const char* text) {
    const std::size_t length = std::strlen(text);
    const bytes part = clip(b, at, length);
    return part.size() == length && std::memcmp(part.data(), text, length) == 0;
}

}  // namespace ql
