// A byte-addressed image that a test fills piece by piece: a disk, a volume, a record, a file.
//
// Only the 64 KiB pages that were written to are kept, so an image of terabytes with a few
// written places costs little. Everything else reads as zeros. Numbers go lowest byte first.
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

    // Each put overwrites at byte `at` and grows the image when it reaches behind the end.

    // The low `width` bytes (0 to 8) of `value`, lowest byte first.
    byte_image& put(std::uint64_t at, std::uint64_t value, std::size_t width);
    // The same, highest byte first (HFS+ keeps its numbers so).
    byte_image& put_big_endian(std::uint64_t at, std::uint64_t value, std::size_t width);
    byte_image& put_bytes(std::uint64_t at, std::span<const std::uint8_t> content);
    // The characters of `text`, without a terminator.
    byte_image& put_text(std::uint64_t at, std::string_view text);
    // The units of `text`, two bytes each, without a terminator.
    byte_image& put_utf16(std::uint64_t at, std::u16string_view text);
    // `count` bytes of `value`.
    byte_image& fill(std::uint64_t at, std::uint64_t count, std::uint8_t value);
    // All of `other` at byte `at`; its unwritten pages become zeros.
    byte_image& put_image(std::uint64_t at, const byte_image& other);

    // Bytes behind the end read as zeros.
    std::uint64_t get(std::uint64_t at, std::size_t width) const;
    support::bytes get_bytes(std::uint64_t at, std::size_t count) const;

    // Cuts the image off, or grows it with zeros.
    byte_image& resize(std::uint64_t size);
    std::uint64_t size() const { return m_size; }

    // The whole content, copied. For images that fit in memory.
    support::bytes bytes() const;

    // Writes the image to `path`, replacing what is there; zero blocks become holes of the file.
    // Returns `path`. Throws std::runtime_error when the file can't be written.
    std::string save(const std::string& path) const;
    // Reads the whole file. Throws std::runtime_error when it can't be read.
    static byte_image load(const std::string& path);

private:
    static constexpr std::size_t page_size = 65536;

    std::uint8_t* page_for_writing(std::uint64_t at);
    const std::uint8_t* page_for_reading(std::uint64_t at) const;
    void grow_to(std::uint64_t end);

    std::map<std::uint64_t, support::bytes> m_pages;  // by page number, page_size bytes each
    std::uint64_t m_size = 0;
};

// The bytes of `text`, for places that take content.
bytes as_bytes(std::string_view text);
// The units of `text` as bytes, lowest byte first.
bytes as_bytes(std::u16string_view text);
// `count` bytes that differ from place to place and depend on `seed` alone.
bytes pattern(std::size_t count, std::uint32_t seed = 1);

}  // namespace support
