// Encoder of cluster run lists (mapping pairs).
//
// An element: one header byte, low nibble the size of the length field, high nibble the size of the
// offset field; the length; the signed difference to the LCN of the previous element. An offset
// field of size 0 marks a hole. A header byte of 0 ends the list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "support/byte_image.h"

namespace support {

// The `lcn` of a hole.
inline constexpr std::uint64_t hole = ~0ull;

struct cluster_run {
    std::uint64_t lcn = 0;  // or `hole`
    std::uint64_t count = 0;
};

using cluster_runs = std::vector<cluster_run>;

// Returns the clusters in all runs, including holes.
std::uint64_t clusters_in(const cluster_runs& runs);

class run_list {
public:
    run_list() = default;
    // Starts with `runs` in their shortest encoding; more can be added.
    explicit run_list(const cluster_runs& runs);

    // Adds one run in the shortest encoding; `lcn` is absolute or `hole`.
    run_list& add(std::uint64_t lcn, std::uint64_t count);
    run_list& add_hole(std::uint64_t count);
    // Adds one element with the given field sizes (0 to 15) and a relative offset. Fields wider
    // than 8 bytes are sign-extended (offset) or zero-extended (length).
    run_list& add_fields(std::uint64_t count, std::size_t count_width, std::int64_t lcn_delta,
                         std::size_t delta_width);
    // Adds raw bytes.
    run_list& add_raw(std::span<const std::uint8_t> content);

    // Returns the list with its terminating zero byte.
    bytes terminated() const;
    // Returns the list without it.
    const bytes& unterminated() const { return m_bytes; }

private:
    bytes m_bytes;
    std::uint64_t m_lcn = 0;  // of the last run that is not a hole
};

}  // namespace support
