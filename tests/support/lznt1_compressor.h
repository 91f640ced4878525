// A small LZNT1 compressor. ntfs_image stores its output in compression units.
#pragma once

#include <cstdint>
#include <span>

#include "support/byte_image.h"

namespace support {

// Compresses `content` into chunks of 4096 bytes each: two bytes of header (bit 15 compressed, bits
// 12 to 14 0b011, bits 0 to 11 the size of the chunk with its header, minus 3), then groups of a
// flag byte and 8 tokens. A chunk that would not shrink is stored. There is no terminating zero
// header.
bytes lznt1_compress(std::span<const std::uint8_t> content);
// Like lznt1_compress with literals only: each chunk is flagged compressed although it is larger.
bytes lznt1_literals(std::span<const std::uint8_t> content);
// Like lznt1_compress with stored chunks only (header 0x3fff for a full one).
bytes lznt1_stored(std::span<const std::uint8_t> content);

}  // namespace support
