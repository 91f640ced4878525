// LZNT1: the compression of NTFS data, in units of 16 clusters and chunks of 4096 bytes.
#pragma once

#include <cstdint>
#include <ostream>
#include <span>

#include "foundation/bytes/ql_bytes.h"

// Bits of the read status that data reading and decompression share.
namespace read_status {
constexpr std::uint64_t skip_sparse = 1u << 0;  // in: skip sparse runs
constexpr std::uint64_t sparse_seen = 1u << 1;  // out: a sparse cluster was filled with zeros
constexpr std::uint64_t always = 1u << 3;       // out
constexpr std::uint64_t aligned = 1u << 4;      // out: first VCN is a multiple of 65536
constexpr std::uint64_t whole_unit = 1u << 5;   // out: aligned and exactly 16 clusters
constexpr std::uint64_t to_stream = 1u << 12;   // set by the compressed reader
}  // namespace read_status

// Expands one chunk: the `source_size` bytes at the start of `source`. `source` extends to the end
// of the unit, because a token that starts in the last byte of the chunk has its second byte after
// the chunk.
//
// target_size  in: usable bytes of `target`; out: `plain_size`, regardless of how many bytes were
//              written, or 0 after a token that points before the start of the chunk
//
// Returns false at such a token. Returns false, with nothing changed, if the source is null, the
// target empty, `target_size` below 1 or `plain_size` above 16384. Bytes of `target` that the chunk
// does not produce are unchanged, unless the source has fewer than 9 bytes: then the first
// `plain_size` bytes are cleared first.
bool lznt1_chunk(ql::bytes source, std::int32_t source_size, std::span<std::uint8_t> target,
                 std::int32_t& target_size, std::int32_t plain_size);

// Writes the plain bytes of one compression unit to `out`, at most `remaining`. A unit that neither
// starts with 0xFF 0x3F nor has sparse clusters is written unchanged. `written` is the number of
// bytes written, also on failure. Returns false if the unit is empty, if `remaining` is 0, if
// read_status::to_stream is not set, and for a damaged unit that ends in 4096 zero bytes.
bool decompress_unit(std::ostream& out, std::uint32_t& written, ql::bytes unit,
                     std::uint64_t remaining, std::uint64_t status);
