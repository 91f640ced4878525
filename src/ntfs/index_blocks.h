// The blocks of an $INDEX_ALLOCATION in the order in which its runs store them.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/data_run_list.h"

class CNtfs;

// Bytes of an index block, regardless of what the boot sector states.
constexpr std::uint32_t index_block_size = 4096;

// Reads the blocks of an index one after the other, with their update sequences applied.
//
// Holes are left out. A cluster that cannot be read ends its run, and the next run follows at once.
// Clusters are put together to blocks, or blocks are cut out of larger clusters. Blocks of which
// the source stores nothing, in holes of a sparse file or of a VMDK chain, are passed over without
// a read.
class index_block_stream {
public:
    // `first_block`: number of blocks that are skipped. `ntfs` and `runs` must outlive the stream.
    index_block_stream(CNtfs& ntfs, const data_run_list& runs, std::uint32_t first_block);

    // Blocks from the first one wanted on, as the runs state them; 2^32 - 1 if there are more.
    // 0 if the runs hold no block there.
    std::uint32_t num_blocks() const { return m_num_blocks; }

    // Reads the next block that is not known to be zero. Returns false after the last one.
    bool next();

    // The block that was read last. The last one of an index may lack its end, which is zero then,
    // and has its update sequence not applied.
    ql::bytes block() const { return m_block; }
    // Number of that block, counted from the first one wanted.
    std::uint32_t number() const { return m_number; }

private:
    bool find_cluster();
    void pass_unheld_blocks();
    bool read_cluster();
    bool next_of_cluster();
    void add_part();
    void finish_block();

    CNtfs& m_ntfs;
    const data_run_list& m_runs;
    std::uint32_t m_cluster_size;
    std::uint32_t m_parts_per_block = 0;     // clusters smaller than a block
    std::uint32_t m_blocks_per_cluster = 0;  // clusters of a block or more
    std::uint32_t m_num_blocks = 0;
    std::uint32_t m_done = 0;             // blocks finished or passed over
    std::size_t m_run = 0;                // run of the next cluster
    std::uint64_t m_next = 0;             // number of that cluster in its run
    std::uint64_t m_skip = 0;             // clusters left out before the first block
    std::size_t m_cluster_at = 0;         // bytes of the cluster that are used up
    std::uint32_t m_parts = 0;            // clusters in the block that is being put together
    std::vector<std::uint8_t> m_cluster;  // as far as it was read
    std::uint64_t m_left_to_read = 0;     // bytes
    std::array<std::uint8_t, index_block_size> m_block{};
    std::uint32_t m_number = 0;
};

// Shows each block of a stream together with the blocks that follow it: a damaged node may have its
// entries in one of them.
class index_block_window {
public:
    explicit index_block_window(index_block_stream& stream) : m_stream(stream) {}

    // Moves to the next block that is not known to be zero. Returns false after the last one.
    bool next();
    std::uint32_t number() const { return m_blocks.front().number; }
    ql::bytes block() const { return m_blocks.front().content; }
    // The block and the two after it; valid until the next call.
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
