// Finds the partitions of a disk.
#pragma once

#include <cstdint>

#include "storage/tables/ql_disk_structs.h"

class CRawDisk;

// Scans the partition tables (MBR, extended boot records, GPT) of `disk`, or the volume that starts
// at its first byte. `forced` means that the first sector may be damaged: the first MiB is then
// searched for a lost extended boot record. `list_all` has no effect. Returns false if nothing was
// found or a required read failed.
bool scan_partitions(CRawDisk& disk, partition_list& list, bool forced, bool list_all);
bool scan_partitions(CRawDisk& disk, partition_list& list, scan_mode mode);

// Returns true if the eight bytes at `offset` + 3 are "NTFS    "; false also if they cannot be
// read.
bool has_ntfs_boot_sector(CRawDisk& disk, std::uint64_t offset);
