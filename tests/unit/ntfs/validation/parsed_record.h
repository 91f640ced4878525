// Records that are parsed without a volume.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/record_builder.h"

namespace parsed_record {

using byte_list = std::vector<std::uint8_t>;

// LCN and number of clusters of each run.
using plain_runs = std::vector<std::pair<std::uint64_t, std::uint32_t>>;

inline plain_runs plain(const std::vector<NTFS_DATA>& runs) {
    plain_runs out;
    for (const NTFS_DATA& run : runs)
        out.emplace_back(run.lcn, run.num_clusters);
    return out;
}

// Returns the VCN of each run.
inline std::vector<std::uint64_t> vcns(const std::vector<NTFS_DATA>& runs) {
    std::vector<std::uint64_t> out;
    for (const NTFS_DATA& run : runs)
        out.push_back(run.vcn);
    return out;
}

// A reader without a source, for single records.
struct record_parser {
    CNtfs ntfs{nullptr, 0, source_kind::file};

    explicit record_parser(std::uint32_t bytes_per_file_record = 1024) {
        ntfs.m_bytes_per_file_record = bytes_per_file_record;
        ntfs.m_cluster_size = 4096;
    }
    NTFS_INODE_INFO parse(const byte_list& record, std::uint64_t inode = 6) {
        NTFS_INODE_INFO info;
        EXPECT_TRUE(ntfs.parse_inode(record, info, inode, false));
        return info;
    }
};

// Returns what the parser finds in a record.
inline NTFS_INODE_INFO parsed(const support::record_builder& record) {
    return record_parser().parse(record.build_before_fixup());
}

}  // namespace parsed_record
