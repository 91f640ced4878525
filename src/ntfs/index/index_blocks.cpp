#include "ntfs/index/index_blocks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ntfs/format/file_record.h"
#include "ntfs/volume/ntfs.h"
#include "storage/disk/announcement.h"

namespace {

constexpr std::uint32_t most_bytes_ahead = 0x100000;

// Returns how many clusters are announced before they are read.
std::uint32_t clusters_ahead(std::uint32_t cluster_size) {
    return cluster_size == 0 ? 2 : std::max(most_bytes_ahead / cluster_size, 2u);
}

}  // namespace

index_block_stream::index_block_stream(CNtfs& ntfs, const data_run_list& runs,
                                       std::uint32_t first_block)
    : m_ntfs(ntfs),
      m_runs(runs),
      m_cluster_size(ntfs.cluster_size()),
      m_budget(ntfs.disk()),
      m_look_ahead(clusters_ahead(ntfs.cluster_size())) {
    if (m_cluster_size == 0 || ntfs.disk() == nullptr) return;
    if (m_cluster_size < index_block_size) {
        m_parts_per_block = ntfs.clusters_per_4k();
    } else {
        m_blocks_per_cluster = ntfs.blocks_per_cluster();
    }
    const std::uint64_t clusters = run_bytes(runs, m_cluster_size, true) / m_cluster_size;
    const std::uint64_t total =
        m_parts_per_block != 0 ? clusters / m_parts_per_block : clusters * m_blocks_per_cluster;
    if (first_block >= total) return;
    m_num_blocks = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(total - first_block, std::numeric_limits<std::uint32_t>::max()));
    if (m_parts_per_block != 0) {
        m_skip = std::uint64_t{first_block} * m_parts_per_block;
    } else {
        m_skip = first_block / m_blocks_per_cluster;
        m_cluster_at = std::size_t{first_block} % m_blocks_per_cluster * index_block_size;
    }
}

bool index_block_stream::next() {
    while (m_done < m_num_blocks) {
        if (next_of_cluster()) return true;
        if (!find_cluster()) break;
        pass_unheld_blocks();
        if (m_done >= m_num_blocks || m_at.next >= m_runs[m_at.run].num_clusters) continue;
        if (!read_cluster()) {
            m_at.move_to_next_run(m_runs);
        } else if (m_parts_per_block != 0) {
            add_part();
            if (m_parts == 0) return true;
        }
    }
    // The runs ended inside a block: return the clusters of it that were read.
    if (m_done >= m_num_blocks || m_parts == 0) return false;
    m_parts = 0;
    m_number = m_done++;
    return true;
}

// Moves to the run of the next cluster. Returns false after the last run, and once many times the
// size of the source was read.
bool index_block_stream::find_cluster() {
    if (m_budget.is_used_up()) return false;
    for (; m_at.run < m_runs.size(); m_at.move_to_next_run(m_runs)) {
        const data_run& run = m_runs[m_at.run];
        if (run.sparse != 0) continue;
        if (m_skip >= run.num_clusters) {
            m_skip -= run.num_clusters;
            continue;
        }
        m_at.next += std::exchange(m_skip, 0);
        if (m_at.next < run.num_clusters) return true;
    }
    return false;
}

// Skips whole blocks of the run that the source does not store.
void index_block_stream::pass_unheld_blocks() {
    if (m_parts != 0 || m_cluster_at != 0) return;
    const std::uint64_t unheld = unheld_clusters(m_at);
    std::uint64_t blocks =
        m_parts_per_block != 0 ? unheld / m_parts_per_block : unheld * m_blocks_per_cluster;
    blocks = std::min<std::uint64_t>(blocks, m_num_blocks - m_done);
    m_done += static_cast<std::uint32_t>(blocks);
    m_at.next +=
        m_parts_per_block != 0 ? blocks * m_parts_per_block : blocks / m_blocks_per_cluster;
}

bool index_block_stream::read_cluster() {
    announce_clusters();
    const std::uint64_t position = (m_runs[m_at.run].lcn + m_at.next) * m_cluster_size;
    m_cluster.resize(m_ntfs.disk()->deliverable(m_cluster_size, source_pos(m_at)));
    std::uint32_t count = m_cluster_size;
    if (!CNtfs::read_at(m_ntfs.disk(), position, m_ntfs.m_volume_offset, m_cluster.data(), count)) {
        m_cluster.clear();
        return false;
    }
    m_cluster.resize(count);
    m_budget.use(count);
    ++m_at.next;
    return true;
}

// Returns the position of a cluster in bytes from the start of the source.
std::uint64_t index_block_stream::source_pos(const cluster_cursor& cluster) const {
    return (m_runs[cluster.run].lcn + cluster.next) * m_cluster_size + m_ntfs.m_volume_offset;
}

// Returns how many clusters of the run, from this one on, the source does not store.
std::uint64_t index_block_stream::unheld_clusters(const cluster_cursor& cluster) const {
    const std::uint64_t left = (m_runs[cluster.run].num_clusters - cluster.next) * m_cluster_size;
    return m_ntfs.disk()->unheld_bytes(source_pos(cluster), left) / m_cluster_size;
}

// Announces clusters from the current one on: 1 MiB, or two clusters if they are larger. Skips
// those that the source does not store.
void index_block_stream::announce_clusters() {
    CRawDisk& disk = *m_ntfs.disk();
    const look_ahead::range wanted = m_look_ahead.before_read(m_at.number(), disk.has_waited());
    if (wanted.begin == wanted.end) return;
    if (wanted.begin == m_at.number()) m_next_hint = m_at;  // nothing was announced before
    announcement batch(disk);
    for (; m_next_hint.run < m_runs.size(); m_next_hint.move_to_next_run(m_runs)) {
        const data_run& run = m_runs[m_next_hint.run];
        if (run.sparse != 0) continue;
        while (m_next_hint.next < run.num_clusters && m_next_hint.number() < wanted.end) {
            const std::uint64_t unheld = unheld_clusters(m_next_hint);
            if (unheld == 0) {
                batch.add(source_pos(m_next_hint), std::min(m_cluster_size, most_bytes_ahead));
            }
            m_next_hint.next += std::max<std::uint64_t>(unheld, 1);
        }
        if (m_next_hint.next < run.num_clusters) return;
    }
}

// Copies the next block from a cluster of at least one block. Returns false at the end of the
// cluster. If the source ends inside the block, its rest is zero.
bool index_block_stream::next_of_cluster() {
    if (m_blocks_per_cluster == 0) return false;
    const std::size_t whole = std::size_t{m_blocks_per_cluster} * index_block_size;
    if (m_cluster_at >= std::min(m_cluster.size(), whole)) {
        if (!m_cluster.empty()) m_cluster_at = 0;
        m_cluster.clear();
        return false;
    }
    const ql::bytes part = ql::clip(m_cluster, m_cluster_at, index_block_size);
    ql::copy_with_zeros(part, m_block);
    m_cluster_at += index_block_size;
    finish_block();
    return true;
}

// Adds a cluster that is smaller than a block to the current block. It occupies a whole cluster
// even if the source ended inside it.
void index_block_stream::add_part() {
    if (m_parts == 0) m_block.fill(0);
    const std::size_t at = std::size_t{m_parts} * m_cluster_size;
    std::copy(m_cluster.begin(), m_cluster.end(),
              m_block.begin() + static_cast<std::ptrdiff_t>(at));
    if (++m_parts == m_parts_per_block) finish_block();
}

void index_block_stream::finish_block() {
    const file_record head{m_block};
    if (head.has_index_keyword()) {
        apply_update_sequence(m_block, head.sequence_array_offset(), head.sequence_array_count(),
                              index_block_size, m_ntfs.get_bytes_per_sector());
    }
    m_number = m_done++;
    m_parts = 0;
}

bool index_block_window::next() {
    if (m_is_started && !m_blocks.empty()) m_blocks.pop_front();
    m_is_started = true;
    return !m_blocks.empty() || read_one();
}

bool index_block_window::read_one() {
    if (!m_stream.next()) return false;
    numbered_block& added = m_blocks.emplace_back();
    added.number = m_stream.number();
    const ql::bytes content = m_stream.block();
    std::copy(content.begin(), content.end(), added.content.begin());
    return true;
}

ql::bytes index_block_window::with_following() {
    const std::uint32_t first = number();
    while (m_blocks.back().number - first < num_shown - 1 && read_one()) {
    }
    auto end = m_shown.begin();  // of what is set
    for (const numbered_block& shown : m_blocks) {
        const std::size_t place = shown.number - first;
        if (place >= num_shown) break;
        const auto start = m_shown.begin() + static_cast<std::ptrdiff_t>(place * index_block_size);
        std::fill(end, start, std::uint8_t{0});  // blocks that are missing
        end = std::copy(shown.content.begin(), shown.content.end(), start);
    }
    std::fill(end, m_shown.end(), std::uint8_t{0});
    return m_shown;
}

bool CNtfs::read_index_blocks(std::vector<std::uint8_t>& out, std::uint32_t& block_count,
                              const data_run_list& runs, std::uint32_t first_block) {
    out.clear();
    index_block_stream stream(*this, runs, first_block);
    if (stream.num_blocks() == 0) return false;
    block_count = std::min(block_count, stream.num_blocks());
    const std::uint64_t size = std::uint64_t{block_count} * index_block_size;
    if (size > m_disk->held_bytes()) return false;
    out.assign(size, 0);
    while (stream.next() && stream.number() < block_count) {
        const ql::bytes block = stream.block();
        std::copy(block.begin(), block.end(),
                  out.begin() + std::ptrdiff_t{stream.number()} * index_block_size);
    }
    return true;
}
