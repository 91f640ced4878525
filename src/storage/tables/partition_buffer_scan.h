// Finds the partitions of a disk whose first bytes are in memory.
#pragma once

#include "foundation/bytes/ql_bytes.h"
#include "storage/tables/ql_disk_structs.h"

// Scans the first bytes of a disk for partition tables (MBR, extended boot records), or for the
// volume that starts at the first byte. A GPT is not read. `forced` means that the first sector may
// be damaged: the bytes are then searched for a lost extended boot record. `list_all` has no
// effect. Returns false if nothing was found.
bool scan_partitions_in_buffer(ql::bytes data, partition_list& list, bool forced, bool list_all);

// Returns the list of a scan; empty if nothing was found.
partition_list scan_partitions_in_buffer(ql::bytes data, scan_mode mode);
