// Single rows of an MFT entry.
#pragma once

#include <cstdint>
#include <string>

#include "ntfs/attrib_store.h"

class CNtfs;

// Reads the first row of `type` and `name` that get_attrib_rows returns for an entry, without
// copying the values of the other rows. Returns false, with `row` unchanged, if there is no such
// row, if the record cannot be used or if the volume is not open.
bool find_attrib_row(CNtfs& ntfs, std::uint64_t inode, std::uint32_t type, const std::string& name,
                     NTFS_ATTRIB_ROW& row);
