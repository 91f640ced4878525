// Cluster run lists: the on-disk encoding, its decoded forms and the mapping of VCNs to LCNs.
//
// A run element is a header byte (low nibble L: width of the length field, high nibble F: width of
// the offset field), L bytes of length in clusters and F bytes of signed offset from the LCN of the
// previous element. F = 0 is a sparse run. A header byte of 0 ends the list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_record.h"

// One decoded run element, or a resident value.
struct NTFS_DATA {
    std::uint64_t lcn = 0;        // first cluster; all ones for a sparse run of decode_mft_runs
    std::uint64_t lcn_delta = 0;  // magnitude of the offset field; all ones from decode_mft_runs
    std::uint32_t num_clusters = 0;
    std::uint64_t vcn = 0;  // first virtual cluster
    std::uint8_t negative_delta = 0;
    std::uint8_t resident = 0;  // 1 for a resident value
    std::vector<std::uint8_t> resident_data;
    std::uint32_t resident_size = 0;  // bytes
    std::uint32_t attrib_type = 0;
    std::string name;
    std::uint64_t run_offset = 0;        // bytes from the start of the attribute
    std::vector<std::uint8_t> raw;       // the element's bytes, header first
    std::vector<std::uint8_t> raw_next;  // the next three bytes; empty if the attribute has fewer
};

// The compact form of one run.
struct data_run {
    std::uint64_t lcn = 0;
    std::uint64_t vcn = 0;
    std::uint8_t sparse = 0;
    std::uint32_t num_clusters = 0;
};

// Ordered by vcn.
using data_run_list = std::vector<data_run>;

// Decodes the run list of a non-resident attribute, up to the first element that extends past the
// attribute's length. Returns false, with `out` empty, if the attribute's length is 0.
bool decode_attrib_runs(const record_attrib& attribute, std::vector<NTFS_DATA>& out);

// Decodes a run list of the metadata files $MFT and $Bitmap, and appends its runs to `out`. Stops
// at a zero header byte, at the end of `list` or after `most_runs`. The `lcn` of a sparse run is
// all ones; `vcn` is not set. With `clear_first`, `out` is cleared first. Returns false if `list`
// is empty or starts with a zero header byte.
bool decode_mft_runs(ql::bytes list, std::vector<NTFS_DATA>& out, std::uint32_t attrib_type,
                     bool clear_first, std::size_t most_runs = SIZE_MAX);

// Converts the result of decode_attrib_runs to the compact form. After the first element, a run
// with an offset of 0 is sparse, even if the element has an offset field.
void to_data_run_list(const std::vector<NTFS_DATA>& decoded, data_run_list& out);

// Decodes the run list of a non-resident attribute to the compact form, as decode_attrib_runs and
// to_data_run_list do. Returns at most the first `most_runs` runs.
data_run_list attribute_runs(const record_attrib& attribute, std::size_t most_runs = SIZE_MAX);

// Returns the number of bytes that the runs cover, without sparse runs if `skip_sparse`. Returns
// 2^64 - 1 if the number does not fit.
std::uint64_t run_bytes(const data_run_list& runs, std::uint32_t cluster_size, bool skip_sparse);

// Finds the first run that contains `vcn`. Sets its index, and the LCN, which is 0 for a sparse
// run. Returns false, with both set to 0, if no run contains it.
bool vcn_to_lcn(const data_run_list& runs, std::uint64_t vcn, std::uint32_t& run_index,
                std::uint64_t& lcn);

// Joins `added`, the list of a continuation attribute, to `stored` in VCN order. If two runs have
// the same VCN, the stored one is kept. The VCNs of the result are renumbered from 0, which closes
// gaps.
void merge_runs(const data_run_list& added, data_run_list& stored);

// Where a cluster of an attribute is.
struct run_place {
    std::uint32_t run_index;
    std::uint64_t lcn;  // 0 in a sparse run
};

// Looks up many clusters of one list. Finds the same runs as vcn_to_lcn, but by binary search: in
// the lists of a valid volume the runs are in VCN order without overlaps, so at most one run
// contains a cluster. Any other list is scanned for the first run that contains the cluster.
class run_lookup {
public:
    // `runs` must outlive this object and must not change.
    explicit run_lookup(const data_run_list& runs);

    // Finds the same run as vcn_to_lcn. Returns nullopt if no run contains `vcn`.
    std::optional<run_place> find(std::uint64_t vcn) const;

    const data_run_list& runs() const { return m_runs; }
    // True if the runs are in VCN order without overlaps.
    bool is_in_order() const { return m_in_order; }

private:
    const data_run_list& m_runs;
    bool m_in_order;
};
