// The limit of walks over the clusters of an attribute.
#pragma once

#include <algorithm>
#include <cstdint>

#include "storage/disk/raw_disk.h"

// Limits how many bytes a walk over the clusters of one attribute reads. The limit is many times
// the size of the source, so that only a crafted volume, whose runs name the same clusters again
// and again, reaches it.
class read_budget {
public:
    // disk  the source; if it is null, the budget is enough for one read, which fails
    explicit read_budget(const CRawDisk* disk)
        : m_left(disk != nullptr ? disk->most_walked_bytes() : least_counted) {}

    // Returns true once the walk has to end.
    bool is_used_up() const { return m_left == 0; }

    // Counts a read of `count` bytes. A smaller one than 4 KiB is counted as 4 KiB.
    void use(std::uint64_t count) { m_left -= std::min(m_left, std::max(count, least_counted)); }

private:
    static constexpr std::uint64_t least_counted = 4096;

    std::uint64_t m_left;  // bytes
};
