// The body of an $ATTRIBUTE_LIST and the walk over its entries.
//
// The body of a resident list is a part of its record. That of a non-resident one is read cluster
// by cluster as the walk goes on: its size and the lengths of its runs are claims of the disk.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/data_run_list.h"
#include "ntfs/file_record.h"

class CNtfs;

// The clusters of a non-resident list, one after the other.
class list_clusters {
public:
    virtual ~list_clusters() = default;
    list_clusters(const list_clusters&) = delete;
    list_clusters& operator=(const list_clusters&) = delete;

    // Appends the bytes of the next cluster to `window`. Returns false, with `window` unchanged,
    // after the last one.
    virtual bool append_next(std::vector<std::uint8_t>& window) = 0;

protected:
    list_clusters() = default;
};

// A position in a list, from its start onwards.
class list_cursor {
public:
    // A list in a record, which must outlive the cursor. `size`: bytes of entries, as stated.
    list_cursor(ql::bytes entries, std::int64_t size) : m_resident(entries), m_left(size) {}
    // A list in clusters.
    list_cursor(std::unique_ptr<list_clusters> clusters, std::int64_t size);

    // The entry at the cursor, valid until the cursor is moved. Bytes past the end of the list are
    // zero.
    list_entry entry() const { return {window(), m_at}; }
    // Bytes of entries from the cursor on, as the list states them; below 1 at its end.
    std::int64_t left() const { return m_left; }
    // Moves on by `length` bytes.
    void advance(std::uint16_t length);
    // Ends the list: nothing is left of it.
    void end() { m_left = 0; }
    // Bytes from the start of the list to the cursor.
    std::uint64_t position() const { return m_dropped + m_at; }
    // True if nothing was read for a list in clusters.
    bool is_empty() const { return window().empty(); }

private:
    ql::bytes window() const { return m_clusters != nullptr ? ql::bytes(m_window) : m_resident; }
    void fill();

    ql::bytes m_resident;
    std::unique_ptr<list_clusters> m_clusters;
    std::vector<std::uint8_t> m_window;  // clusters around the cursor
    std::size_t m_at = 0;                // in the window or in the resident list
    std::uint64_t m_dropped = 0;         // bytes of the list before the window
    std::int64_t m_left;
};

// What a list that the end of the source cuts off does to the cluster size of its volume.
enum class cluster_size_rule { keep, lower };

// Opens the clusters of a non-resident list in the order of its runs; holes are read at LCN 0 and
// up. A cluster that cannot be read ends its run, and the bytes of the next run follow at once.
//
// With cluster_size_rule::lower a cluster of which the source has less than the whole sets the
// cluster size of the volume to what it has, for the rest of that run and for all reads that
// follow. The volume has its final cluster size when this function returns, as if the whole list
// had been read.
//
// Returns null if the runs have no clusters.
std::unique_ptr<list_clusters> open_list_runs(CNtfs& ntfs, const record_attrib& attribute,
                                              cluster_size_rule rule);

// Opens the clusters of a non-resident list in the order of their virtual cluster numbers; holes
// are zeros. The data ends at the first cluster that cannot be read or that no run covers. Returns
// null if the runs have no clusters.
std::unique_ptr<list_clusters> open_list_data(CNtfs& ntfs, const record_attrib& attribute);

// Opens the list that categorising and the search for names use: the value of a resident list,
// clipped to its record, or the runs of a non-resident one under cluster_size_rule::lower.
// `attribute` must outlive the cursor. Returns nullopt without a value or without clusters.
std::optional<list_cursor> open_attribute_list(CNtfs& ntfs, const record_attrib& attribute);

// Calls `visit` with each entry of the list, up to its size or the first entry of length 0.
template <class Visitor>
void for_each_list_entry(list_cursor& list, Visitor visit) {
    while (list.left() > 0 && list.entry().length() != 0) {
        visit(list.entry());
        list.advance(list.entry().length());
    }
}

// Moves `list` to the first entry of `type` and `name` (UTF-16LE bytes, exact) from the cursor on,
// which is tested first. Returns false at the end of the list: after an entry of length 0, at the
// end of its size, or at a type of 0xFFFFFFFF after the first entry.
bool find_list_entry(list_cursor& list, std::uint32_t type, ql::bytes name);

// The same from `entry` on in a list that is held whole; `entry` is unchanged if none is found.
// `bytes_left` counts down by each entry passed and is 0 after an entry of length 0.
bool find_list_entry(list_entry& entry, std::int64_t& bytes_left, std::uint32_t type,
                     ql::bytes name);
