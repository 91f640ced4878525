// Cluster run lists: the on-disk encoding, its decoded forms and the mapping of cluster numbers.
//
// A run element is a header byte (low nibble L: width of the length field, high nibble F: width of
// the offset field), L bytes of length in clusters and F bytes of signed offset to the LCN of the
// element before; F = 0 is a sparse run. A header byte of 0 ends the list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/file_record.h"

// One decoded run element, or a resident value.
struct NTFS_DATA {
    std::uint64_t lcn = 0;        // first cluster; all ones for a sparse run of decode_mft_runs
    std::uint64_t lcn_delta = 0;  // magnitude of the offset field; all ones from decode_mft_runs
    std::uint32_t num_clusters = 0;
    std::uint64_t vcn = 0;  // first virtual cluster
    std::uint8_t negative_delta = 0;
    std::uint8_t resident = 0;  // a resident value and no clusters
    std::vector<std::uint8_t> resident_data;
    std::uint32_t resident_size = 0;  // bytes
    std::uint32_t attrib_type = 0;
    std::string name;
    std::uint64_t run_offset = 0;        // bytes from the start of the attribute
    std::vector<std::uint8_t> raw;       // the element's bytes, header first
    std::vector<std::uint8_t> raw_next;  // the three bytes behind it, when there are any
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

// Decodes the run list of a non-resident attribute, bounded by the attribute's length. False for an
// attribute length of 0; true otherwise, with what came before the first bad element.
bool decode_attrib_runs(const record_attrib& attribute, std::vector<NTFS_DATA>& out);

// The decoder for the metadata files $MFT and $Bitmap: ends only at a zero header byte, at the end
// of `list` or after `most_runs`. Sparse runs get an all-ones lcn; vcn is left 0. With
// `clear_first` the vector is emptied first. Returns true if the list has at least one element.
bool decode_mft_runs(ql::bytes list, std::vector<NTFS_DATA>& out, std::uint32_t attrib_type,
                     bool clear_first, std::size_t most_runs = SIZE_MAX);

// The compact list of what decode_attrib_runs gave. Behind the first element an offset of 0 counts
// as sparse, whether or not an offset field was there.
void to_data_run_list(const std::vector<NTFS_DATA>& decoded, data_run_list& out);

// decode_attrib_runs and to_data_run_list in one, at most the first `most_runs`.
data_run_list attribute_runs(const record_attrib& attribute, std::size_t most_runs = SIZE_MAX);

// Returns the bytes that the runs cover, without sparse runs if `skip_sparse`; 2^64 - 1 if there
// are more.
std::uint64_t run_bytes(const data_run_list& runs, std::uint32_t cluster_size, bool skip_sparse);

// The first run that holds `vcn`: its index and the LCN, which stays 0 for a sparse run. False,
// with both 0, when no run holds it.
bool vcn_to_lcn(const data_run_list& runs, std::uint64_t vcn, std::uint32_t& run_index,
                std::uint64_t& lcn);

// Joins `added`, the list of a continuation attribute, to `stored` in vcn order. Of two runs with
// one vcn the stored one stays. The result is renumbered from 0, so gaps close up.
void merge_runs(const data_run_list& added, data_run_list& stored);

// Looks many clusters of one list up: what vcn_to_lcn finds, but without a scan for each. Lists
// that a volume stores have their runs in order, one behind the other, so that at most one run
// holds a cluster; in a list of any other kind the first of several counts, and is scanned for.
class run_lookup {
public:
    // `runs` must outlive this object and stay as they are.
    explicit run_lookup(const data_run_list& runs);

    // As vcn_to_lcn.
    bool find(std::uint64_t vcn, std::uint32_t& run_index, std::uint64_t& lcn) const;

    const data_run_list& runs() const { return m_runs; }
    // True if at most one run holds a cluster.
    bool is_in_order() const { return m_in_order; }

private:
    const data_run_list& m_runs;
    bool m_in_order;
};
