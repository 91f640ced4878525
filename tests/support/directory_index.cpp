#include "support/directory_index.h"

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::size_t entry_header = 16;
constexpr std::size_t node_header_at = 24;  // in a block
constexpr std::size_t block_array_at = 40;
constexpr std::uint16_t has_sub_node = 1, is_last = 2;

void append_node_header(bytes& out, std::uint64_t entries_offset, std::uint64_t used,
                        std::uint64_t allocated, std::uint32_t flags) {
    append(out, entries_offset, 4);
    append(out, used, 4);
    append(out, allocated, 4);
    append(out, flags, 4);
}

}  // namespace

bytes index_entry::build() const {
    bytes result;
    const std::size_t tail = sub_node ? 8 : 0;
    const std::uint64_t space = round_up(entry_header + key.size(), 8) + tail;
    append(result, reference, 8);
    append(result, length.value_or(static_cast<std::uint16_t>(space)), 2);
    append(result, key_length.value_or(static_cast<std::uint16_t>(key.size())), 2);
    append(result, flags | (sub_node ? has_sub_node : 0), 2);
    append(result, 0, 2);
    append(result, key);
    pad(result, 8);
    if (sub_node) {
        append(result, *sub_node, 8);
    }
    return result;
}

bytes index_entries(const std::vector<index_entry>& entries) {
    bytes result;
    for (const index_entry& entry : entries) {
        append(result, entry.build());
    }
    return result;
}

bytes index_end_entry(std::optional<std::uint64_t> sub_node) {
    return index_entry{.flags = is_last, .sub_node = sub_node}.build();
}

bytes index_root_value(const bytes& entries, const index_root_options& options) {
    bytes value;
    append(value, options.type_code, 4);
    append(value, options.collation, 4);
    append(value, options.block_size, 4);
    append(value, options.clusters_per_block, 1);
    append(value, 0, 3);
    const auto used = static_cast<std::uint32_t>(16 + entries.size());
    append_node_header(value, options.entries_offset.value_or(16), options.used.value_or(used),
                       options.allocated.value_or(used), options.header_flags);
    append(value, entries);
    return value;
}

bytes index_block(const bytes& entries, const index_block_options& options) {
    const std::size_t words =
        1 + std::max<std::size_t>(1, options.block_size / options.fixup_stride);
    const std::uint64_t entries_at = round_up(block_array_at + 2 * words, 8);
    const auto from_header = static_cast<std::uint32_t>(entries_at - node_header_at);
    if (entries_at + entries.size() + options.slack.size() > options.block_size) {
        throw std::length_error("support: an index block is overfull");
    }
    bytes block = as_bytes(options.keyword.substr(0, 4));
    block.resize(4);
    const std::uint16_t array_at = options.usa_offset.value_or(block_array_at);
    const std::uint16_t count = options.usa_count.value_or(static_cast<std::uint16_t>(words));
    append(block, array_at, 2);
    append(block, count, 2);
    append(block, 0, 8);
    append(block, options.vcn, 8);
    append_node_header(
        block, options.entries_offset.value_or(from_header),
        options.used.value_or(from_header + static_cast<std::uint32_t>(entries.size())),
        options.allocated.value_or(options.block_size - static_cast<std::uint32_t>(node_header_at)),
        options.header_flags);
    block.resize(entries_at);
    append(block, entries);
    append(block, options.slack);
    block.resize(options.block_size);
    if (options.fixups) {
        apply_fixups(block, options.fixup_stride, array_at, count, options.check_value);
    }
    return block;
}

directory_index& directory_index::add(const index_entry& entry) {
    m_entries.push_back(entry);
    m_live.push_back(false);
    return *this;
}
void directory_index::add_live(std::uint64_t number, const bytes& file_name) {
    m_entries.push_back({.reference = number, .key = file_name});
    m_live.push_back(true);
}
directory_index& directory_index::add(std::uint64_t reference, const bytes& file_name) {
    return add({.reference = reference, .key = file_name});
}
directory_index& directory_index::add_stale(const index_entry& entry,
                                            std::optional<std::size_t> block) {
    m_stale.push_back({entry, block});
    return *this;
}
directory_index& directory_index::clear() {
    m_entries.clear();
    m_live.clear();
    m_stale.clear();
    return *this;
}
directory_index& directory_index::keep_order() {
    m_keep_order = true;
    return *this;
}
directory_index& directory_index::in_blocks() {
    m_in_blocks = true;
    return *this;
}
directory_index& directory_index::entries_per_block(std::size_t count) {
    m_entries_per_block = count;
    return *this;
}
directory_index& directory_index::fragmented() {
    m_fragmented = true;
    return *this;
}
directory_index& directory_index::root_in_extension(std::uint64_t entry) {
    m_root_extension = entry;
    return *this;
}
directory_index& directory_index::blocks_in_extension(std::uint64_t entry) {
    m_blocks_extension = entry;
    return *this;
}
directory_index& directory_index::without_bitmap() {
    m_without_bitmap = true;
    return *this;
}
directory_index& directory_index::bitmap(const bytes& value) {
    m_bitmap = value;
    return *this;
}
directory_index& directory_index::spare_blocks(std::size_t count) {
    m_spare_blocks = count;
    return *this;
}
directory_index& directory_index::put_in_block_before_fixup(std::size_t block, std::size_t at,
                                                            std::uint64_t value,
                                                            std::size_t width) {
    m_before_fixup.push_back({block, at, value, width});
    return *this;
}
directory_index& directory_index::put_in_block(std::size_t block, std::size_t at,
                                               std::uint64_t value, std::size_t width) {
    m_after_fixup.push_back({block, at, value, width});
    return *this;
}
directory_index& directory_index::zero_block(std::size_t block) {
    m_zeroed.push_back(block);
    return *this;
}
directory_index& directory_index::put_in_root(std::size_t at, std::uint64_t value,
                                              std::size_t width) {
    m_in_root.push_back({0, at, value, width});
    return *this;
}

}  // namespace support
