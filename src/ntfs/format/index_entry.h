// One entry of a directory index.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_reference.h"

//    0  u64  file reference       10  u16  key size, bytes
//    8  u16  entry size, bytes    12  u16  flags: 1 has a subnode, 2 is the last entry
struct index_entry {
    ql::bytes node;
    std::size_t at;  // offset of the entry in `node`

    file_reference reference() const { return {ql::le64(node, at)}; }
    std::uint16_t size() const { return ql::le16(node, at + 8); }
    std::uint16_t key_size() const { return ql::le16(node, at + 10); }
    std::uint16_t flags() const { return ql::le16(node, at + 12); }
    // True if the flags are exactly those of a last entry.
    bool is_last() const { return flags() == 2 || flags() == 3; }
};
