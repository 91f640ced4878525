// $I30 directory indexes: node headers and their entries.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/ql_bytes.h"

// Appends the 48-bit entry numbers of one index node to `children`, in the order of the node.
//
// `node_header` begins at the node header and goes on to the end of the buffer that holds it, which
// may be more than the node:
//    0 u32 entries_offset, from the node header    4 u32 index_length, bytes in use
// An entry:
//    0 u64 file reference    8 u16 m_size_index_entry    10 u16 m_size_index_key    12 u16 m_flags
//
// False for an index_length of 0 or above 4096; true otherwise, with the entries in front of the
// first bad one. With `include_slack` the checks that end a walk early are left out.
bool collect_entries(std::vector<std::uint64_t>& children, ql::bytes node_header,
                     bool include_slack);
