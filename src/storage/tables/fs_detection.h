// Detects file systems by their first sectors.
#pragma once

#include <cstddef>

#include "foundation/bytes/ql_bytes.h"
#include "storage/tables/ql_disk_structs.h"

// Returns true if a superblock of an ext file system, with its magic number at 56, starts at `at`.
inline bool has_ext_superblock(ql::bytes data, std::size_t at) {
    return ql::le16(data, at + 56) == 0xef53;
}

// Detects the file system in the first sector of a partition and writes it to `record`: type, name,
// cluster and sector size, serial number, and the number of sectors if it is missing. `data` is the
// start of the partition, at least 512 bytes. Returns false if there are fewer bytes or no known
// file system.
bool detect_file_system(partition_record& record, ql::bytes data);
