// Finds the partitions of a GUID partition table.
#pragma once

#include "storage/tables/ql_disk_structs.h"

class CRawDisk;

// Scans a GUID partition table. Neither its signature nor a CRC is checked. `list_all` has no
// effect. Returns false if no sector size or no header is found, if an entry or the start of its
// partition cannot be read, or if no entry is used.
bool scan_gpt(CRawDisk& disk, partition_list& list, bool list_all);
