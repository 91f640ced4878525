// LZNT1: the compression of NTFS data, in units of 16 clusters and chunks of 4096 bytes.
#pragma once

#include <cstdint>
#include <ostream>
#include <span>

#include "foundation/ql_bytes.h"

// Bits of the read status that data reading and decompression share.
namespace read_status {
constexpr std::uint64_t skip_sparse = 1u << 0;  // in: leave sparse runs out
constexpr std::uint64_t sparse_seen = 1u << 1;  // out: a sparse cluster was filled with zeros
constexpr std::uint64_t always = 1u << 3;       // out
constexpr std::uint64_t aligned = 1u << 4;      // out: first VCN is a multiple of 65536
constexpr std::uint64_t whole_unit = 1u << 5;   // out: aligned and exactly 16 clusters
constexpr std::uint64_t to_stream = 1u << 12;   // set by the compressed reader
}  // namespace read_status

// Expands one chunk: the `source_size` bytes at the start of `source`, which goes on to the end of
// the unit, so that a token in the chunk's last byte takes its second byte from what follows.
//
// target_size  in: room in `target`; out: `plain_size`, however many bytes came out, or 0 on a
//              token that points in front of the chunk
// False for a null source, an empty target, a `plain_size` above 16384 or such a token. What the
// chunk does not produce stays in `target` as it was, unless the source has fewer than 9 bytes:
// then the first `plain_size` bytes are cleared ahead.
bool lznt1_chunk(ql::bytes source, std::int32_t source_size, std::span<std::uint8_t> target,
                 std::int32_t& target_size, std::int32_t plain_size);

// Writes the plain bytes of one compression unit to `out`, at most `remaining`. A unit that neither
// starts with 0xFF 0x3F nor had sparse clusters goes out unchanged. `written` is the number of
// bytes written. False for an empty unit, without read_status::to_stream, and for a damaged unit
// that ends in 4096 zero bytes.
bool decompress_unit(std::ostream& out, std::uint32_t& written, ql::bytes unit,
                     std::uint64_t remaining, std::uint64_t status);
