// A volume of a few MiB with a sample of everything, for end-to-end tests, the demo and fuzzing
// seeds.
#pragma once

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/ntfs_image.h"

namespace support {

// Entry numbers of sample_volume(). Entries 0 to 11, the system files, are in the root's index,
// too. "@" marks unusual features.
namespace sample {
inline constexpr std::uint64_t windows = 40,  // \windows
    system32 = 41,                            // \windows\system32
    notepad = 42,  // \windows\notepad.exe, non-resident, two runs; same DOS and Win32 name
    config = 43,   // \windows\system32\config, a directory with a stream "note"
    sam = 44,      // \windows\system32\config\SAM, a sparse attribute header
    drivers = 45,  // \windows\system32\drivers: @ $INDEX_ROOT in extension record 46
    drivers_extension = 46,  //
    hal = 47,                // \windows\system32\hal.dll = \windows\hal link.dll: @ a hard link
    log = 48,                // \windows\setup.log: @ compressed
    users = 50,              // \users
    kim = 51,                // \users\kim, with an object id
    report = 52,             // \users\kim\quarterly report.docx, DOS name QUARTE~1.DOC; streams
                             // "Zone.Identifier" (resident) and "big" (non-resident); object id
    set_back = 53,      // \users\kim\setback.exe: @ $STANDARD_INFORMATION older than $FILE_NAME
    zero_times = 54,    // \users\kim\zero.dat: @ all timestamps 0
    far_times = 55,     // \users\kim\far.dat: @ timestamps outside any plausible range
    comma = 56,         // \users\kim\a,b|c&d<e"f.txt: @ separators and markup in the name
    control = 57,       // \users\kim\tab<U+0009>bell<U+0007>.txt: @ control characters
    umlaut = 58,        // \users\kim\Größe öäü.txt
    emoji = 59,         // \users\kim\<U+1F600>.txt: @ a surrogate pair
    lone = 60,          // \users\kim\<U+D800>x.txt: @ a broken surrogate
    documents = 61,     // \users\kim\documents
    junction = 62,      // \users\kim\my documents -> \??\C:\users\kim\documents
    symlink = 63,       // \users\kim\docs -> documents, relative
    deleted = 64,       // \users\kim\gone.txt: @ not in use, stale index entry in \users\kim
    letter = 65,        // \users\kim\documents\letter.txt, read only and hidden
    empty = 66,         // \users\kim\documents\empty.txt
    many = 70,          // \many: 300 files in several INDX blocks
    driver_first = 80,  // \windows\system32\drivers\driver0.sys to driver4.sys
    driver_count = 5,
                               many_first = 100,  // \many\file 000.txt; 001 is 101, and so on
    many_count = 300;
}  // namespace sample

ntfs_image sample_volume();

// The same volume as the second of two partitions of an MBR disk: sectors 63 (FAT16, boot sector
// only) and 2048 (NTFS), which is byte offset 0x100000.
inline constexpr std::uint64_t sample_volume_offset = 0x100000;
byte_image sample_disk();
// Returns such a disk with the given volume.
byte_image disk_around(const ntfs_image& ntfs_volume);

// An MBR disk with two NTFS volumes, as an installation of Windows leaves it: the sample volume at
// sector 2048, and after it, 1 MiB aligned, a small one with \Recovery\WindowsRE\Winre.wim.
byte_image disk_with_recovery_volume();

// An MBR disk with an NTFS volume of one file, \letter.txt (entry 64), at sector 63, and an
// extended partition that contains a Linux partition.
byte_image disk_with_extended_partition();

// A volume of many files for save_many_files_volume.
struct many_files_options {
    std::uint64_t directories = 0;
    std::uint64_t files = 0;          // in each directory
    std::uint64_t streams = 0;        // named streams of each file: "s0", "s1" ...
    std::uint64_t mft_fragments = 1;  // minimum, with the records of directories and files
    // Makes each block of a directory's index a separate fragment. Requires at least two
    // directories, each with at most about 140 blocks.
    bool scattered_indexes = false;
    // Above 1: $MFT has this many times as many records as are in use, at random places. The others
    // are those of deleted files.
    std::uint64_t scatter = 1;
};

// Writes such a volume directly to `path`, with little memory regardless of the counts. Directory d
// is \dir<d> (at least 5 digits), entry 64 + d * (files + 1) unless records are scattered; its
// files follow it as file<f>.txt (at least 4 digits). All share the only descriptor of $Secure.
// Throws std::runtime_error if the file cannot be written, and std::length_error if a record is too
// small.
void save_many_files_volume(const std::string& path, const many_files_options& options);

}  // namespace support
