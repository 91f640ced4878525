// The body of an $ATTRIBUTE_LIST and the walk over its entries.
//
// The body of a resident list is part of its record. The body of a non-resident list is read
// cluster by cluster during the walk, so that memory does not depend on the size that it states.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_record.h"
#include "ntfs/runs/data_run_list.h"

class CNtfs;

// Reads the clusters of a non-resident list one at a time.
class list_clusters {
public:
    virtual ~list_clusters() = default;
    list_clusters(const list_clusters&) = delete;
    list_clusters& operator=(const list_clusters&) = delete;

    // Appends the bytes of the next cluster to `window`. Returns false, with `window` unchanged,
    // after the last cluster.
    virtual bool append_next(std::vector<std::uint8_t>& window) = 0;

protected:
    list_clusters() = default;
};

// A position in a list, which only moves forward.
class list_cursor {
public:
    // Starts a resident list. The record must outlive the cursor. `size`: bytes of entries, as
    // stated in the attribute.
    list_cursor(ql::bytes entries, std::int64_t size) : m_resident(entries), m_left(size) {}
    // Starts a non-resident list.
    list_cursor(std::unique_ptr<list_clusters> clusters, std::int64_t size);

    // The entry at the cursor, valid until the cursor moves. Bytes past the end of the list are
    // zero.
    list_entry entry() const { return {window(), m_at}; }
    // The rest of the stated size in bytes; below 1 at the end of the list.
    std::int64_t left() const { return m_left; }
    // Moves the cursor forward by `length` bytes.
    void advance(std::uint16_t length);
    // Sets the rest of the stated size to 0, which ends the list.
    void end() { m_left = 0; }
    // Bytes from the start of the list to the cursor.
    std::uint64_t position() const { return m_dropped + m_at; }
    // True if there are no bytes: nothing was read of a non-resident list.
    bool is_empty() const { return window().empty(); }

private:
    ql::bytes window() const { return m_clusters != nullptr ? ql::bytes(m_window) : m_resident; }
    void fill();

    ql::bytes m_resident;
    std::unique_ptr<list_clusters> m_clusters;
    std::vector<std::uint8_t> m_window;  // clusters around the cursor
    std::size_t m_at = 0;                // cursor in the window or in the resident list
    std::uint64_t m_dropped = 0;         // bytes of the list that are before the window
    std::int64_t m_left;
};

// Whether a list that is truncated by the end of the source lowers the cluster size of its volume.
enum class cluster_size_rule { keep, lower };

// Opens the clusters of a non-resident list in the order of its runs. The clusters of a hole are
// read from LCN 0. A cluster that cannot be read ends its run, and the bytes of the next run follow
// directly.
//
// With cluster_size_rule::lower, a cluster that is truncated by the end of the source sets the
// cluster size of the volume to the bytes that were read, for the rest of that run and for all
// later reads. The cluster size of the volume is already final when this function returns, as if
// the whole list had been read.
//
// Returns null if the runs have no clusters or if the source is not open.
std::unique_ptr<list_clusters> open_list_runs(CNtfs& ntfs, const record_attrib& attribute,
                                              cluster_size_rule rule);

// Opens the clusters of a non-resident list in the order of their virtual cluster numbers; holes
// are zeros. The data ends at the first cluster that cannot be read or that no run covers. Returns
// null if the runs have no clusters or if the source is not open.
std::unique_ptr<list_clusters> open_list_data(CNtfs& ntfs, const record_attrib& attribute);

// Opens a list for categorising and for the search for names: the value of a resident list, clipped
// to its record, or the runs of a non-resident one with cluster_size_rule::lower. The record of
// `attribute` must outlive the cursor. Returns nullopt if there is no value or if open_list_runs
// returns null.
std::optional<list_cursor> open_attribute_list(CNtfs& ntfs, const record_attrib& attribute);

// Calls `visit` with each entry of the list, up to its size or the first entry of length 0.
template <class Visitor>
void for_each_list_entry(list_cursor& list, Visitor visit) {
    while (list.left() > 0 && list.entry().length() != 0) {
        visit(list.entry());
        list.advance(list.entry().length());
    }
}

// Moves `list` to the first entry of `type` and `name` (UTF-16LE bytes, exact), starting with the
// entry at the cursor. Returns false at the end of the list: at an entry of length 0, at the end of
// its stated size, or at a type of 0xFFFFFFFF after the first entry.
bool find_list_entry(list_cursor& list, std::uint32_t type, ql::bytes name);

// Does the same, starting at `entry`, in a list that is completely in memory. `entry` is unchanged
// if the result is false. `bytes_left` decreases by the length of each entry that is passed, and is
// 0 after an entry of length 0.
bool find_list_entry(list_entry& entry, std::int64_t& bytes_left, std::uint32_t type,
                     ql::bytes name);
