// The sample disk of sample_volume.h some days later, as a disk and as a snapshot.
#pragma once

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/ntfs_image.h"

namespace support {

namespace sample {
inline constexpr std::uint64_t plan = 67;  // \users\kim\documents\plan.txt, the added file
}  // namespace sample

// Returns sample_volume() with one file added, one changed and one deleted in \users\kim\documents.
// All other content is at the same position.
ntfs_image changed_sample_volume();

// Writes sample_disk() as a virtual disk file to `base`, and the grains of changed_sample_volume()
// that differ from it to `snapshot`. The snapshot names the base without its directory, so both
// must be in the same one.
void save_snapshot_chain(const std::string& base, const std::string& snapshot);

}  // namespace support
