// The blocks of an $INDEX_ALLOCATION in the order in which its runs store them.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/runs/data_run_list.h"
#include "ntfs/volume/read_budget.h"
#include "storage/disk/look_ahead.h"

class CNtfs;

// Bytes of an index block, regardless of what the boot sector states.
constexpr std::uint32_t index_block_size = 4096;

// A position in the clusters of a run list. Sparse runs have none.
struct cluster_cursor {
    std::size_t run = 0;
    std::uint64_t next = 0;    // number of the cluster in its run
    std::uint64_t passed = 0;  // clusters of the runs before

    // Number of the cluster among those of all runs.
    std::uint64_t number() const { return passed + next; }
    void move_to_next_run(const data_run_list& runs) {
        if (runs[run].sparse == 0) passed += runs[run].num_clusters;
        ++run;
        next = 0;
    }
};

// Reads the blocks of an index one at a time, with their update sequences applied.
//
// Sparse runs are skipped. A cluster that cannot be read ends its run, and the next run follows
// directly. A block consists of several clusters or is part of a larger one. Blocks that the source
// does not store, in holes of a sparse file or of a VMDK chain, are skipped without a read.
class index_block_stream {
public:
    // Skips the first `first_block` blocks. `ntfs` and `runs` must outlive the stream.
    index_block_stream(CNtfs& ntfs, const data_run_list& runs, std::uint32_t first_block);

    // Number of blocks after the skipped ones, as the runs state it, at most 2^32 - 1. 0 if the
    // source is not open.
    std::uint32_t num_blocks() const { return m_num_blocks; }

    // Reads the next block that is not known to be zero. Returns false after the last one.
    bool next();

    // The block that was read last. If the runs end inside a block of several clusters, the rest of
    // the block is zero and its update sequence is not applied.
    ql::bytes block() const { return m_block; }
    // Number of that block; the first one after the skipped ones is 0.
    std::uint32_t number() const { return m_number; }

private:
    bool find_cluster();
    void pass_unheld_blocks();
    bool read_cluster();
    std::uint64_t source_pos(const cluster_cursor& cluster) const;
    std::uint64_t unheld_clusters(const cluster_cursor& cluster) const;
    void announce_clusters();
    bool next_of_cluster();
    void add_part();
    void finish_block();

    CNtfs& m_ntfs;
    const data_run_list& m_runs;
    std::uint32_t m_cluster_size;
    read_budget m_budget;
    std::uint32_t m_parts_per_block = 0;     // if a cluster is smaller than a block, else 0
    std::uint32_t m_blocks_per_cluster = 0;  // if a cluster has at least one block, else 0
    std::uint32_t m_num_blocks = 0;
    std::uint32_t m_done = 0;             // blocks read or skipped
    cluster_cursor m_at;                  // the next cluster
    std::uint64_t m_skip = 0;             // clusters to skip before the first block
    std::size_t m_cluster_at = 0;         // offset of the next block in m_cluster
    std::uint32_t m_parts = 0;            // clusters in the block that is not yet complete
    std::vector<std::uint8_t> m_cluster;  // the bytes that were read
    std::array<std::uint8_t, index_block_size> m_block{};
    std::uint32_t m_number = 0;

    look_ahead m_look_ahead;
    cluster_cursor m_next_hint;  // the first cluster that is neither announced nor passed
};

// Returns each block of a stream together with the blocks after it, because the entries of a
// damaged node may be in one of those.
class index_block_window {
public:
    explicit index_block_window(index_block_stream& stream) : m_stream(stream) {}

    // Moves to the next block that is not known to be zero. Returns false after the last one.
    bool next();
    std::uint32_t number() const { return m_blocks.front().number; }
    ql::bytes block() const { return m_blocks.front().content; }
    // Returns the block and the two after it; valid until the next call. Blocks that the stream
    // skips are zero.
    ql::bytes with_following();

private:
    static constexpr std::uint32_t num_shown = 3;

    struct numbered_block {
        std::uint32_t number;
        std::array<std::uint8_t, index_block_size> content;
    };

    bool read_one();

    index_block_stream& m_stream;
    std::deque<numbered_block> m_blocks;  // the current one and those read after it
    bool m_is_started = false;
    std::array<std::uint8_t, std::size_t{num_shown} * index_block_size> m_shown{};
};
