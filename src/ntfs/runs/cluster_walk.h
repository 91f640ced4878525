// The clusters of an attribute in the order of its data.
#pragma once

#include <cstdint>
#include <optional>

#include "ntfs/runs/data_run_list.h"

// The location of one cluster of an attribute.
struct cluster_place {
    std::uint64_t lcn = 0;
    bool sparse = false;
};

// Walks the clusters that a read of `size` bytes at `offset` touches, in order, up to the first one
// that no run covers. If the range ends at a cluster boundary, the cluster after it is included.
// `lookup` must outlive the walk.
class cluster_walk {
public:
    cluster_walk(const run_lookup& lookup, std::uint64_t offset, std::uint64_t size,
                 std::uint32_t cluster_size, bool skip_sparse)
        : m_lookup(lookup),
          m_first_vcn(offset / cluster_size),
          m_end_vcn((offset + size) / cluster_size),
          m_head(offset % cluster_size),
          m_tail((offset + size) % cluster_size),
          m_vcn(m_first_vcn),
          m_skip_sparse(skip_sparse) {}

    // Returns the next cluster, or nullopt after the last one and at the first that no run covers.
    std::optional<cluster_place> next() {
        for (; m_vcn >= m_first_vcn && m_vcn <= m_end_vcn; ++m_vcn) {
            std::uint32_t run = 0;
            cluster_place place;
            if (!m_lookup.find(m_vcn, run, place.lcn)) break;
            place.sparse = m_lookup.runs()[run].sparse != 0;
            if (place.sparse && m_skip_sparse) {
                leave_out();
                continue;
            }
            ++m_vcn;
            return place;
        }
        return std::nullopt;
    }

    std::uint64_t first_vcn() const { return m_first_vcn; }
    // Bytes of the first cluster before `offset`; 0 once that cluster is skipped as sparse.
    std::uint64_t head() const { return m_head; }
    // Bytes of the last cluster before the end of the range; 0 once it is skipped as sparse.
    std::uint64_t tail() const { return m_tail; }

private:
    void leave_out() {
        if (m_vcn == m_first_vcn) m_head = 0;
        if (m_vcn == m_end_vcn) m_tail = 0;
    }

    const run_lookup& m_lookup;
    std::uint64_t m_first_vcn;
    std::uint64_t m_end_vcn;
    std::uint64_t m_head;
    std::uint64_t m_tail;
    std::uint64_t m_vcn;
    bool m_skip_sparse;
};
