// Single rows of an MFT entry.
#pragma once

#include <cstdint>
#include <string>

#include "ntfs/attrib_store.h"

class CNtfs;

// Reads the first row of `type` and `name` that get_attrib_rows gives for an entry, without the
// values of all others. Returns false, with `row` unchanged, if there is none or if the record
// cannot be used.
bool find_attrib_row(CNtfs& ntfs, std::uint64_t inode, std::uint32_t type, const std::string& name,
                     NTFS_ATTRIB_ROW& row);
