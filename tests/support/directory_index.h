// The $I30 index of a directory: $INDEX_ROOT, and "INDX" blocks if it is large.
//
// An index entry:              A block:
//    0  u64  file reference       0  "INDX"
//    8  u16  length               4  u16  update sequence offset (40), words
//   10  u16  key length           8  u64  log sequence number
//   12  u16  flags: 1 sub-node,  16  u64  own VCN
//            2 last              24  u32  entries offset, from here; bytes used; bytes allocated;
//   16  the $FILE_NAME value              flags (1 = has sub-nodes)
//   end - 8  u64  sub-node VCN   40  the update sequence array, then the entries
//
// The entries are sorted, regardless of ASCII case, and laid out as a balanced tree: full leaves,
// separators one level up, the last level in the root.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "support/record_builder.h"
#include "support/run_list.h"

namespace support {

struct index_entry {
    std::uint64_t reference = 0;
    bytes key = {};  // a file_name_value, or any bytes
    std::uint16_t flags = 0;
    std::optional<std::uint16_t> length = {};      // as stored; default 16 + key, rounded up to 8
    std::optional<std::uint16_t> key_length = {};  // as stored; default the size of the key
    std::optional<std::uint64_t> sub_node = {};    // adds the VCN and flag 1

    bytes build() const;
};

// Returns the entries one after the other, without an end entry.
bytes index_entries(const std::vector<index_entry>& entries);
// Returns an end entry: flag 2, and a sub-node VCN if there is one.
bytes index_end_entry(std::optional<std::uint64_t> sub_node = {});

// A value of $INDEX_ROOT: type 0x30, collation 1, block size, block size in clusters (or 512-byte
// units), then the header with offset 16 and the entries.
struct index_root_options {
    std::uint32_t type_code = type::file_name;
    std::uint32_t collation = 1;
    std::uint32_t block_size = 4096;
    std::uint8_t clusters_per_block = 1;
    std::uint32_t header_flags = 0;  // 1: there is an $INDEX_ALLOCATION
    std::optional<std::uint32_t> entries_offset = {}, used = {}, allocated = {};
};
bytes index_root_value(const bytes& entries, const index_root_options& options = {});

struct index_block_options {
    std::uint32_t block_size = 4096;
    std::uint32_t fixup_stride = 512;
    std::uint64_t vcn = 0;
    std::uint32_t header_flags = 0;
    std::uint16_t check_value = 1;
    std::string keyword = "INDX";
    std::optional<std::uint32_t> entries_offset = {}, used = {}, allocated = {};
    std::optional<std::uint16_t> usa_offset = {}, usa_count = {};
    bool fixups = true;
    bytes slack = {};  // bytes after the used ones: remains of older entries
};
// Returns a block with fixups applied. Throws std::length_error if the entries do not fit.
bytes index_block(const bytes& entries, const index_block_options& options = {});

// The index of one directory of an ntfs_image. It is laid out when the volume is built.
class directory_index {
public:
    // --- content ---
    directory_index& add(const index_entry& entry);
    directory_index& add(std::uint64_t reference, const bytes& file_name);
    // Adds an entry to the slack after the end entry of the root (or of block `block`), as a
    // deletion leaves it.
    directory_index& add_stale(const index_entry& entry, std::optional<std::size_t> block = {});
    directory_index& clear();
    // Keeps the entries in the order of the calls.
    directory_index& keep_order();

    // --- layout ---
    // Uses blocks even if the index is small.
    directory_index& in_blocks();
    // Limits leaf blocks to `count` entries.
    directory_index& entries_per_block(std::size_t count);
    // Inserts free clusters between the blocks, so that each one is a run of its own.
    directory_index& fragmented();
    // Stores $INDEX_ROOT, or the other two attributes, in extension record `entry`, with an
    // $ATTRIBUTE_LIST in the base record.
    directory_index& root_in_extension(std::uint64_t entry);
    directory_index& blocks_in_extension(std::uint64_t entry);
    // Omits or replaces the $BITMAP.
    directory_index& without_bitmap();
    directory_index& bitmap(const bytes& value);
    // Adds blocks that are allocated but were never used (zeros), after the others.
    directory_index& spare_blocks(std::size_t count);

    // --- damage ---
    // Overwrite bytes of block `block`, before or after the fixups are applied.
    directory_index& put_in_block_before_fixup(std::size_t block, std::size_t at,
                                               std::uint64_t value, std::size_t width);
    directory_index& put_in_block(std::size_t block, std::size_t at, std::uint64_t value,
                                  std::size_t width);
    directory_index& zero_block(std::size_t block);
    // Overwrites bytes of the $INDEX_ROOT value.
    directory_index& put_in_root(std::size_t at, std::uint64_t value, std::size_t width);

private:
    friend class directory_writer;
    friend class ntfs_image;

    struct change {
        std::size_t block, at;
        std::uint64_t value;
        std::size_t width;
    };
    struct stale_entry {
        index_entry entry;
        std::optional<std::size_t> block;
    };

    // Adds an entry whose reference gets the final sequence number of entry `number`.
    void add_live(std::uint64_t number, const bytes& file_name);

    std::vector<index_entry> m_entries;
    std::vector<bool> m_live;  // parallel to m_entries
    std::vector<stale_entry> m_stale;
    std::vector<change> m_before_fixup, m_after_fixup, m_in_root;
    std::vector<std::size_t> m_zeroed;
    std::optional<std::uint64_t> m_root_extension, m_blocks_extension;
    std::optional<bytes> m_bitmap;
    std::size_t m_entries_per_block = 0, m_spare_blocks = 0;
    bool m_in_blocks = false, m_fragmented = false, m_keep_order = false, m_without_bitmap = false;
};

}  // namespace support
