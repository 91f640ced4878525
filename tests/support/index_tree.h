// The balanced tree of a directory index. Internal to the builders.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "support/directory_index.h"

namespace support {

// The entries of one node, and the VCN of the block below its end entry.
struct index_node {
    std::vector<index_entry> entries = {};
    std::optional<std::uint64_t> end_sub_node = {};

    // Returns the entries followed by the end entry.
    bytes build() const;
};

struct index_tree_options {
    // Returns the bytes available in the root for its entries, including the end entry, if there
    // are `blocks` blocks.
    std::function<std::size_t(std::size_t blocks)> root_space;
    // Returns the bytes of a block to keep free after its entries.
    std::function<std::size_t(std::size_t block)> slack = [](std::size_t) {
        return std::size_t{0};
    };
    std::size_t block_size = 4096;
    std::size_t fixup_stride = 512;
    std::uint64_t vcn_step = 1;         // from one block to the next
    std::size_t entries_per_block = 0;  // maximum, in a leaf; 0: as many as fit
    bool in_blocks = false;             // even if all entries fit into the root
};

struct index_tree {
    index_node root;
    std::vector<index_node> blocks;  // in file order: leaves first

    // Lays out `entries`, which are in their final order. Throws std::length_error if the root has
    // no space for an end entry.
    index_tree(std::vector<index_entry> entries, const index_tree_options& options);

private:
    index_node split_level(const index_node& level, const index_tree_options& options);
};

}  // namespace support
