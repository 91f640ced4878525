// Lays a directory_index out when a volume is built: internal to the builders.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "support/ntfs_image.h"

namespace support {

class directory_writer {
public:
    // `volume` is the working copy that is being built.
    directory_writer(ntfs_image& volume, std::uint64_t number);
    // Adds the index attributes to the directory's record or to its extension records, and writes
    // the blocks to clusters that it takes.
    void write();

private:
    // A node of the tree: its entries, and the node below its end entry.
    struct node {
        std::vector<index_entry> entries;
        std::optional<std::uint64_t> end_sub_node;
    };

    std::vector<index_entry> settled_entries() const;
    void raise_tree(node top);
    node split_level(const node& level);
    std::size_t capacity(std::size_t block, bool is_leaf) const;
    std::uint64_t vcn_of(std::size_t block) const;
    bytes stale_entries(std::optional<std::size_t> block) const;
    std::size_t root_room(std::size_t blocks) const;
    bool all_fit_in_root(const node& top) const;
    record_builder& record_for(const std::optional<std::uint64_t>& extension);
    bytes finished_block(std::size_t block) const;
    void add_root();
    void add_blocks();
    cluster_runs allocate(std::size_t blocks);

    ntfs_image& m_volume;
    std::uint64_t m_number;
    const directory_index& m_index;
    node m_root;
    std::vector<node> m_blocks;
};

}  // namespace support
