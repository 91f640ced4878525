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

// A part of an attribute, in bytes.
struct data_range {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;

    std::uint64_t end() const { return offset + size; }
};

// Walks the clusters that a read of `range` touches, in order, up to the first one that no run
// covers. If the range ends at a cluster boundary, the cluster after it is included. `lookup` must
// outlive the walk.
class cluster_walk {
public:
    cluster_walk(const run_lookup& lookup, const data_range& range, std::uint32_t cluster_size,
                 bool skip_sparse)
        : m_lookup(lookup),
          m_first_vcn(range.offset / cluster_size),
          m_end_vcn(range.end() / cluster_size),
          m_head(range.offset % cluster_size),
          m_tail(range.end() % cluster_size),
          m_vcn(m_first_vcn),
          m_skip_sparse(skip_sparse) {}

    // Returns the next cluster, or nullopt after the last one and at the first that no run covers.
    std::optional<cluster_place> next() {
        for (; m_vcn >= m_first_vcn && m_vcn <= m_end_vcn; ++m_vcn) {
            const auto found = m_lookup.find(m_vcn);
            if (!found) break;
            const bool sparse = m_lookup.runs()[found->run_index].sparse != 0;
            if (sparse && m_skip_sparse) {
                leave_out();
                continue;
            }
            ++m_vcn;
            return cluster_place{.lcn = found->lcn, .sparse = sparse};
        }
        return std::nullopt;
    }

    std::uint64_t first_vcn() const { return m_first_vcn; }
    // Bytes of the first cluster before the range; 0 once that cluster is skipped as sparse.
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
