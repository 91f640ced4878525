// Checks the volume offset of a run against the volumes of the disk.
#pragma once

#include <cstdint>
#include <ostream>

class CRawDisk;

// Confirms that an NTFS volume starts at `offset` of `disk`, or writes the volumes and the offset
// to use to `out`.
//
// found_ntfs         out: an NTFS volume was found
// offset             in: bytes from the start of the disk, or 0; out: after a list of volumes, the
//                    offset of the last NTFS volume or of the last record
// ignore_image_size  accepts a volume that extends past the end of the image
//
// Returns true if `offset` can be used. The stream may remain in hexadecimal mode.
bool select_volume(std::ostream& out, bool& found_ntfs, std::uint64_t& offset, CRawDisk& disk,
                   bool ignore_image_size);
