#include "support/directory_writer.h"

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::u16string_view index_name = u"$I30";
// Size of an $INDEX_ROOT's attribute header, name and two value headers.
constexpr std::size_t root_overhead = 24 + 8 + 32;

// Returns the name in a file name key with ASCII letters folded.
std::u16string folded_name(const bytes& key) {
    std::u16string name;
    for (std::size_t at = 66; at + 1 < key.size(); at += 2) {
        auto unit = static_cast<char16_t>(key[at] | key[at + 1] << 8);
        if (unit >= u'a' && unit <= u'z') {
            unit = static_cast<char16_t>(unit - 32);
        }
        name.push_back(unit);
    }
    return name;
}

}  // namespace

directory_writer::directory_writer(ntfs_image& volume, std::uint64_t number)
    : m_volume(volume), m_number(number), m_index(volume.m_indexes.at(number)) {}

std::vector<index_entry> directory_writer::final_entries() const {
    std::vector<index_entry> entries = m_index.m_entries;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (m_index.m_live[i]) {
            entries[i].reference = m_volume.reference(entries[i].reference);
        }
    }
    if (!m_index.m_keep_order) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const index_entry& a, const index_entry& b) {
                             return folded_name(a.key) < folded_name(b.key);
                         });
    }
    return entries;
}

bytes directory_writer::stale_entries(std::optional<std::size_t> block) const {
    bytes result;
    for (const auto& stale : m_index.m_stale) {
        if (stale.block == block) {
            append(result, stale.entry.build());
        }
    }
    return result;
}

std::uint64_t directory_writer::vcn_step() const {
    const ntfs_geometry& g = m_volume.m_geometry;
    return g.index_block >= g.cluster ? g.index_block / g.cluster : g.index_block / 512;
}

std::size_t directory_writer::root_space(std::size_t blocks) const {
    const auto& extension = m_index.m_root_extension;
    const auto record = m_volume.m_entries.find(extension.value_or(m_number));
    std::size_t used = root_overhead + stale_entries({}).size();
    if (blocks != 0 && extension == m_index.m_blocks_extension) {
        const std::size_t runs = m_index.m_fragmented ? 5 * blocks : 16;
        used += 64 + 8 + runs + 32 + round_up(blocks, 64) / 8;
    }
    if (!extension && m_index.m_blocks_extension) {  // the list is in the base record
        used += 24 + 40 * (record->second.list_entries().size() + 4);
    }
    const std::size_t space = record->second.space_left();
    return space > used ? space - used : 0;
}

index_tree directory_writer::grow_tree() const {
    const ntfs_geometry& g = m_volume.m_geometry;
    const bool stale_in_blocks = std::any_of(m_index.m_stale.begin(), m_index.m_stale.end(),
                                             [](const auto& stale) { return !!stale.block; });
    return {final_entries(),
            {.root_space =
                 [this](std::size_t blocks) { return root_space(blocks + m_index.m_spare_blocks); },
             .slack = [this](std::size_t block) { return stale_entries(block).size(); },
             .block_size = g.index_block,
             .fixup_stride = g.fixup_stride,
             .vcn_step = vcn_step(),
             .entries_per_block = m_index.m_entries_per_block,
             .in_blocks = m_index.m_in_blocks || m_index.m_blocks_extension || stale_in_blocks ||
                          m_index.m_spare_blocks != 0 || m_index.m_entries_per_block != 0}};
}

record_builder& directory_writer::record_for(const std::optional<std::uint64_t>& extension) {
    if (!extension) {
        return m_volume.entry(m_number);
    }
    return m_volume.entry(*extension).base(m_volume.reference(m_number));
}

void directory_writer::add_root(const index_tree& tree) {
    const ntfs_geometry& g = m_volume.m_geometry;
    bytes entries = tree.root.build();
    const auto used = static_cast<std::uint32_t>(16 + entries.size());
    append(entries, stale_entries({}));
    bytes value =
        index_root_value(entries, {.block_size = g.index_block,
                                   .clusters_per_block = static_cast<std::uint8_t>(vcn_step()),
                                   .header_flags = tree.root.end_sub_node ? 1u : 0u,
                                   .used = used});
    for (const auto& change : m_index.m_in_root) {
        put_le(value, change.at, change.value, change.width);
    }
    record_for(m_index.m_root_extension).resident(type::index_root, index_name, value);
}

bytes directory_writer::finished_block(const index_tree& tree, std::size_t block) const {
    const ntfs_geometry& g = m_volume.m_geometry;
    bytes result(g.index_block);
    if (block < tree.blocks.size()) {
        const index_node& node = tree.blocks[block];
        result = index_block(node.build(), {.block_size = g.index_block,
                                            .fixup_stride = g.fixup_stride,
                                            .vcn = block * vcn_step(),
                                            .header_flags = node.end_sub_node ? 1u : 0u,
                                            .fixups = false,
                                            .slack = stale_entries(block)});
    }
    const auto apply = [&](const auto& changes) {
        for (const auto& change : changes) {
            if (change.block == block) {
                put_le(result, change.at, change.value, change.width);
            }
        }
    };
    apply(m_index.m_before_fixup);
    if (block < tree.blocks.size()) {
        const std::size_t words = 1 + std::max<std::size_t>(1, g.index_block / g.fixup_stride);
        apply_fixups(result, g.fixup_stride, 40, words, 1);
    }
    if (std::count(m_index.m_zeroed.begin(), m_index.m_zeroed.end(), block) != 0) {
        std::fill(result.begin(), result.end(), std::uint8_t{0});
    }
    apply(m_index.m_after_fixup);
    return result;
}

cluster_runs directory_writer::allocate(std::size_t blocks) {
    const ntfs_geometry& g = m_volume.m_geometry;
    const std::uint64_t total = m_volume.clusters_for(std::uint64_t{blocks} * g.index_block);
    const std::uint64_t piece =
        !m_index.m_fragmented ? total : std::max<std::uint64_t>(1, g.index_block / g.cluster);
    cluster_runs runs;
    for (std::uint64_t left = total; left > 0; left -= std::min(left, piece)) {
        const std::uint64_t count = std::min(left, piece);
        if (!runs.empty()) {
            m_volume.leave_gap(1);
        }
        runs.push_back({m_volume.alloc(count), count});
    }
    return runs;
}

void directory_writer::add_blocks(const index_tree& tree) {
    const std::size_t count = tree.blocks.size() + m_index.m_spare_blocks;
    bytes content;
    for (std::size_t block = 0; block < count; ++block) {
        append(content, finished_block(tree, block));
    }
    const cluster_runs runs = allocate(count);
    m_volume.write_runs(runs, content);
    record_builder& record = record_for(m_index.m_blocks_extension);
    record.nonresident(type::index_allocation, index_name, runs, {.real = content.size()});
    if (m_index.m_without_bitmap) {
        return;
    }
    bytes bitmap(round_up(count, 64) / 8);
    for (std::size_t block = 0; block < tree.blocks.size(); ++block) {
        bitmap[block / 8] = static_cast<std::uint8_t>(bitmap[block / 8] | 1u << block % 8);
    }
    record.resident(type::bitmap, index_name, m_index.m_bitmap.value_or(bitmap));
}

void directory_writer::write() {
    record_for(m_index.m_root_extension);
    record_for(m_index.m_blocks_extension);
    const index_tree tree = grow_tree();
    add_root(tree);
    if (!tree.blocks.empty()) {
        add_blocks(tree);
    }
    const bool in_extension = m_index.m_root_extension || m_index.m_blocks_extension;
    if (in_extension && !m_volume.entry(m_number).has_attribute(type::attribute_list)) {
        m_volume.make_attribute_list(m_number);
    }
}

}  // namespace support
