// A volume whose names mislead programs that read a listing: line ends, quotes, separators, markup,
// formulas, marks of body files, lone surrogates, and names of 255 units.
//
//   40 \hostile<LF>=1         a directory with a stream "s<LF>,1"
//   41 ...                    in it: a file for each name of hostile_names(), with a stream
//                             "Zone|%7C.\"<ESC>"
#pragma once

#include <string>
#include <vector>

#include "support/ntfs_image.h"

namespace support {

std::vector<std::u16string> hostile_names();
ntfs_image hostile_volume();

}  // namespace support
