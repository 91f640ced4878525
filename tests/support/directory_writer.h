// Lays out a directory_index when a volume is built. Internal to the builders.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "support/index_tree.h"
#include "support/ntfs_image.h"

namespace support {

class directory_writer {
public:
    // `volume` is the working copy that is being built.
    directory_writer(ntfs_image& volume, std::uint64_t number);
    // Adds the index attributes to the directory's record or to its extension records, and writes
    // the blocks to newly allocated clusters.
    void write();

private:
    std::vector<index_entry> final_entries() const;
    index_tree grow_tree() const;
    std::uint64_t vcn_step() const;
    bytes stale_entries(std::optional<std::size_t> block) const;
    std::size_t root_space(std::size_t blocks) const;
    record_builder& record_for(const std::optional<std::uint64_t>& extension);
    bytes finished_block(const index_tree& tree, std::size_t block) const;
    void add_root(const index_tree& tree);
    void add_blocks(const index_tree& tree);
    cluster_runs allocate(std::size_t blocks);

    ntfs_image& m_volume;
    std::uint64_t m_number;
    const directory_index& m_index;
};

}  // namespace support
