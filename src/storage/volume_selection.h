// Checks the volume offset of a run against what the disk holds.
#pragma once

#include <cstdint>
#include <ostream>

class CRawDisk;

// Confirms that an NTFS volume starts at `offset` of `disk`, or writes to `out` which volumes there
// are and which offset to use.
//
// found_ntfs         out: an NTFS volume was seen
// offset             in: bytes from the start of the disk, 0 when none was given; out: as left by
//                    the listing, the offset of the last NTFS volume or of the last record
// ignore_image_size  a volume that ends behind the end of the image is accepted
//
// True when `offset` can be used. The stream may be left in hexadecimal mode.
bool select_volume(std::ostream& out, bool& found_ntfs, std::uint64_t& offset, CRawDisk& disk,
                   bool ignore_image_size);
