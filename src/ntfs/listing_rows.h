// The attributes of one MFT entry after the other as a listing takes them.
#pragma once

#include <cstdint>
#include <vector>

#include "ntfs/attrib_pass.h"
#include "ntfs/attrib_store.h"

class CNtfs;

// Reads the rows of many entries in turn and keeps its buffers from one to the next.
class listing_rows {
public:
    // `ntfs` must outlive this object.
    explicit listing_rows(CNtfs& ntfs);

    // Reads what a listing shows of get_attrib_rows: the rows of $OBJECT_ID, $DATA and
    // $INDEX_ALLOCATION, without runs and values. Returns false, with no rows, if the record cannot
    // be used.
    bool read(std::uint64_t inode);

    // Of the entry that was read last, by attribute id.
    const std::vector<NTFS_ATTRIB_ROW>& rows() const { return m_rows; }

private:
    CNtfs& m_ntfs;
    attrib_pass m_pass;
    std::vector<NTFS_ATTRIB_ROW> m_rows;
};
