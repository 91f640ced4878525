// The attributes that a listing shows, for many MFT entries in turn.
#pragma once

#include <cstdint>
#include <vector>

#include "ntfs/attrib_pass.h"
#include "ntfs/attrib_store.h"

class CNtfs;

// Reads the rows of many entries in turn, reusing its buffers.
class listing_rows {
public:
    // `ntfs` must outlive this object.
    explicit listing_rows(CNtfs& ntfs);

    // Reads the rows of get_attrib_rows that a listing shows: those of $OBJECT_ID, $DATA and
    // $INDEX_ALLOCATION, without runs and values. Returns false, with no rows, if the volume is not
    // open or the record cannot be used.
    bool read(std::uint64_t inode);

    // The rows of the entry that was read last, by attribute id.
    const std::vector<NTFS_ATTRIB_ROW>& rows() const { return m_rows; }

private:
    CNtfs& m_ntfs;
    attrib_pass m_pass;
    std::vector<NTFS_ATTRIB_ROW> m_rows;
};
