// Encoder of cluster run lists (mapping pairs).
//
// An element: one header byte, low nibble the size of the length field, high nibble the size of
// the offset field; the length; the signed difference to the LCN of the element before. An offset
// field of size 0 marks a hole. A header byte of 0 ends the list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "support/byte_image.h"

namespace support {

// `lcn` of a hole.
inline constexpr std::uint64_t hole = ~0ull;

struct cluster_run {
    std::uint64_t lcn = 0;  // or `hole`
    std::uint64_t count = 0;
};

using cluster_runs = std::vector<cluster_run>;

// Clusters in all runs, holes included.
std::uint64_t clusters_in(const cluster_runs& runs);

class run_list {
public:
    run_list() = default;
    // The runs in their shortest encoding; more can follow.
    explicit run_list(const cluster_runs& runs);

    // One run in the shortest encoding, `lcn` absolute or `hole`.
    run_list& add(std::uint64_t lcn, std::uint64_t count);
    run_list& add_hole(std::uint64_t count);
    // One element with chosen field sizes (0 to 15), the offset relative as it stands on the disk.
    // Fields wider than 8 bytes are extended by sign (offset) or by zeros (length).
    run_list& add_fields(std::uint64_t count, std::size_t count_width, std::int64_t lcn_delta,
                         std::size_t delta_width);
    // Bytes that stand in the list as they are.
    run_list& add_raw(std::span<const std::uint8_t> content);

    // The list with its closing zero byte.
    bytes terminated() const;
    // The list without it.
    const bytes& unterminated() const { return m_bytes; }

private:
    bytes m_bytes;
    std::uint64_t m_lcn = 0;  // of the last run with a place
};

}  // namespace support
