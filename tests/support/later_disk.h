// The sample disk of sample_volume.h some days later, for comparisons and for snapshots.
#pragma once

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/ntfs_image.h"

namespace support {

// \users\kim\documents\plan.txt, which only the later volume has.
inline constexpr std::uint64_t later_new_file = 67;

// sample_volume() with one file more, one changed and one removed in \users\kim\documents. All else
// lies where it lay.
ntfs_image later_volume();

// Writes sample_disk() as a virtual disk file to `base`, and to `snapshot` what later_volume() has
// changed on it. The snapshot names the base without its folder: keep both in one.
void save_snapshot_chain(const std::string& base, const std::string& snapshot);

}  // namespace support
