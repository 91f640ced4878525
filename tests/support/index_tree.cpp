#include "support/index_tree.h"

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::size_t end_entry_size = 16, sub_node_size = 8;

std::size_t size_of(const index_entry& entry) {
    return round_up(16 + entry.key.size(), 8) + (entry.sub_node ? sub_node_size : 0);
}

// Returns the bytes of a block available for entries before the end entry.
std::size_t capacity(std::size_t block, bool is_leaf, const index_tree_options& options) {
    const std::size_t words =
        1 + std::max<std::size_t>(1, options.block_size / options.fixup_stride);
    const std::size_t used = round_up(40 + 2 * words, 8) + end_entry_size +
                             (is_leaf ? 0 : sub_node_size) + options.slack(block);
    return used > options.block_size ? 0 : options.block_size - used;
}

std::size_t size_of(const index_node& node) {
    std::size_t sum = end_entry_size + (node.end_sub_node ? sub_node_size : 0);
    for (const index_entry& entry : node.entries) {
        sum += size_of(entry);
    }
    return sum;
}

}  // namespace

bytes index_node::build() const {
    bytes result = index_entries(entries);
    append(result, index_end_entry(end_sub_node));
    return result;
}

index_tree::index_tree(std::vector<index_entry> entries, const index_tree_options& options) {
    index_node top{.entries = std::move(entries)};
    bool needs_blocks = options.in_blocks;
    while (needs_blocks || size_of(top) > options.root_space(blocks.size())) {
        if (!blocks.empty() && top.entries.empty()) {
            throw std::length_error("support: no space for an index root");
        }
        top = split_level(top, options);
        needs_blocks = false;
    }
    root = std::move(top);
}

// Fills blocks with the entries of a level. The first entry that does not fit moves up as the
// separator between its block and the next. Returns the level above.
index_node index_tree::split_level(const index_node& level, const index_tree_options& options) {
    const bool is_leaf = !level.end_sub_node;
    index_node above, current;
    std::size_t left = capacity(blocks.size(), is_leaf, options);
    const auto close_block = [&](index_entry separator) {
        current.end_sub_node = separator.sub_node;
        separator.sub_node = blocks.size() * options.vcn_step;
        above.entries.push_back(std::move(separator));
        blocks.push_back(std::move(current));
        current = {};
        left = capacity(blocks.size(), is_leaf, options);
    };
    for (std::size_t i = 0; i < level.entries.size(); ++i) {
        const index_entry& entry = level.entries[i];
        const std::size_t size = size_of(entry);
        const bool full = is_leaf && options.entries_per_block != 0 &&
                          current.entries.size() >= options.entries_per_block;
        if (size <= left && !full) {
            current.entries.push_back(entry);
            left -= size;
        } else if (i + 1 < level.entries.size() || current.entries.size() < 2) {
            close_block(entry);
        } else {  // otherwise the last entry would be followed by an empty block
            index_entry separator = current.entries.back();
            current.entries.pop_back();
            close_block(std::move(separator));
            current.entries.push_back(entry);
        }
    }
    current.end_sub_node = level.end_sub_node;
    above.end_sub_node = blocks.size() * options.vcn_step;
    blocks.push_back(std::move(current));
    return above;
}

}  // namespace support
