// $I30 directory indexes: node headers and their entries.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/bytes/ql_bytes.h"

// Appends the 48-bit entry numbers of one index node to `children`, in the order of the node.
//
// `node_header` starts at the node header and extends to the end of the buffer that contains it,
// which may be past the end of the node.
//
//   node header:  0 u32 offset of the first entry, from the node header;  4 u32 bytes in use
//   entry:        0 u64 file reference;  8 u16 entry size;  10 u16 key size;
//                 12 u16 flags: 2 or 3 for the last entry
//
// The walk ends at the first damaged entry; the entries before it are kept. With `include_slack`,
// it continues after an entry that is smaller than its key, has a file reference of 0, or is the
// last one. Returns false, with `children` unchanged, if the bytes in use are 0 or above 4096.
bool collect_entries(std::vector<std::uint64_t>& children, ql::bytes node_header,
                     bool include_slack);
