// A byte-addressed image that a test fills in pieces: a disk, a volume, a record, a file.
//
// Only the 64 KiB pages that have been written are stored, so an image of terabytes with little
// content is small. All other bytes read as zeros. Numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace support {

using bytes = std::vector<std::uint8_t>;

class byte_image {
public:
    byte_image() = default;
    explicit byte_image(std::uint64_t size) : m_size(size) {}
    explicit byte_image(std::span<const std::uint8_t> content) { put_bytes(0, content); }

    // Each put overwrites bytes from `at` on, and extends the image if it ends before the last of
    // them.

    // Writes the low `width` bytes (0 to 8) of `value`, little-endian.
    byte_image& put(std::uint64_t at, std::uint64_t value, std::size_t width);
    // Like put, but big-endian, as in HFS+.
    byte_image& put_big_endian(std::uint64_t at, std::uint64_t value, std::size_t width);
    byte_image& put_bytes(std::uint64_t at, std::span<const std::uint8_t> content);
    // Writes the characters of `text`, without a terminator.
    byte_image& put_text(std::uint64_t at, std::string_view text);
    // Writes the units of `text`, two bytes each, without a terminator.
    byte_image& put_utf16(std::uint64_t at, std::u16string_view text);
    // Writes `count` bytes of `value`.
    byte_image& fill(std::uint64_t at, std::uint64_t count, std::uint8_t value);
    // Writes all of `other`, including zeros for its unwritten pages.
    byte_image& put_image(std::uint64_t at, const byte_image& other);

    // Bytes past the end read as zeros.
    std::uint64_t get(std::uint64_t at, std::size_t width) const;
    support::bytes get_bytes(std::uint64_t at, std::size_t count) const;

    // Truncates the image or extends it with zeros.
    byte_image& resize(std::uint64_t size);
    std::uint64_t size() const { return m_size; }

    // Returns a copy of the whole content. For images that fit in memory.
    support::bytes bytes() const;

    // Writes the image to `path`, replacing an existing file; blocks of zeros become holes. Returns
    // `path`. Throws std::runtime_error if the file cannot be written.
    std::string save(const std::string& path) const;
    // Reads the whole file. Throws std::runtime_error if it cannot be read.
    static byte_image load(const std::string& path);

private:
    static constexpr std::size_t page_size = 65536;

    std::uint8_t* page_for_writing(std::uint64_t at);
    const std::uint8_t* page_for_reading(std::uint64_t at) const;
    void grow_to(std::uint64_t end);

    std::map<std::uint64_t, support::bytes> m_pages;  // by page number, page_size bytes each
    std::uint64_t m_size = 0;
};

// Returns the bytes of `text`.
bytes as_bytes(std::string_view text);
// Returns the units of `text` as little-endian bytes.
bytes as_bytes(std::u16string_view text);
// Returns `count` varying bytes, which depend only on `seed`.
bytes pattern(std::size_t count, std::uint32_t seed = 1);

}  // namespace support
