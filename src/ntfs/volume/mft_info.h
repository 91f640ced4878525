// The attributes of the volume's own metadata files, $MFT and $Bitmap, as CNtfs::parse_inode reads
// them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ntfs/runs/data_run_list.h"

struct NTFS_INODE_INFO {
    std::string security_text;                      // owner SID of the record's security id
    std::string name;                               // not set
    std::wstring wide_name;                         // not set
    std::array<std::uint8_t, 68> file_name_body{};  // start of the $FILE_NAME value
    std::uint64_t data_size = 0;
    std::vector<NTFS_DATA> bitmap_runs;
    std::vector<NTFS_DATA> data_runs;
    std::vector<std::vector<NTFS_DATA>> index_alloc_runs;  // one for each $INDEX_ALLOCATION
    std::map<std::uint64_t, std::size_t> data_run_index;   // first VCN to index in data_runs
    std::uint64_t bitmap_size = 0;
    std::vector<std::string> index_alloc_names;
};
