// A volume with one directory for each kind of behaviour that an examiner must know before relying
// on a listing. docs/behaviour.md describes them.
#pragma once

#include <cstdint>

#include "support/ntfs_image.h"

namespace support {

// Entry numbers of behaviour_volume().
namespace behaviour {
inline constexpr std::uint64_t sizes = 40,  // \sizes: a resident, a non-resident, a sparse file
    stamps = 50,      // \stamps: on both sides of 1970-01-01 and 3001-01-01, and 0
    deleted = 60,     // \deleted: names of deleted files that are still in its index
    gone = 61,        // \deleted\gone.txt: @ not in use, record unchanged
    reused = 62,      // \elsewhere\newcomer.txt: @ was \deleted\reused.txt
    elsewhere = 63,   // \elsewhere, with a stream "note"
    in_slack = 64,    // \deleted\slack.txt: @ not in use, named only in the slack of the index
    names = 70,       // \names: a DOS name, two links to one file, separators, non-ASCII letters
    ampersand = 80,   // \R&D: markup in a directory's name
    links = 90,       // \links: a junction, and links that cannot be followed
    loop_left = 100,  // @ two directories without index entries, each the other's parent
    loop_right = 101,
                               terminal = 104,  // \terminal: @ control characters in names
    timestomping = 110;  // \timestomping: $STANDARD_INFORMATION older than $FILE_NAME, or not
}  // namespace behaviour

ntfs_image behaviour_volume();

// A volume of 1 MiB and a sector, with runs that state 2^32 - 1 clusters: those of the index of
// \index, whose three blocks are the last clusters of the volume, and of the attribute list of
// \list\b.txt.
ntfs_image damaged_volume();

}  // namespace support
