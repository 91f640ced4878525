// The sample disk of sample_volume.h in a later state, for comparisons and for snapshots.
#pragma once

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/ntfs_image.h"

namespace support {

// \users\kim\documents\plan.txt, which exists only on the later volume.
inline constexpr std::uint64_t later_new_file = 67;

// Returns sample_volume() with one file added, one changed and one deleted in \users\kim\documents.
// All other content is at the same position.
ntfs_image later_volume();

// Writes sample_disk() as a virtual disk file to `base`, and the changes of later_volume() to
// `snapshot`. The snapshot names the base without its directory, so both must be in the same one.
void save_snapshot_chain(const std::string& base, const std::string& snapshot);

}  // namespace support
