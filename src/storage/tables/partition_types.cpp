#include "storage/tables/partition_types.h"

#include <algorithm>
#include <iterator>

#include "storage/tables/ql_disk_structs.h"

namespace {

// Type codes of partitions with content. A code of two families is in the first.
constexpr std::uint8_t known_types[] = {
    // extended and container
    0x05, 0x0f, 0x15, 0x1f, 0x91, 0x98, 0xc5, 0xcf, 0xd5,
    // FAT12
    0x01, 0x11,
    // FAT16
    0x04, 0x06, 0x08, 0x0e, 0x14, 0x16, 0x1e, 0x24, 0x56, 0x64, 0x66, 0x74, 0x76, 0x79, 0x7a, 0x7b,
    0x84, 0x86, 0x90, 0x92, 0x9a, 0xb6, 0xc4, 0xc6, 0xce, 0xd4, 0xd6, 0xde, 0xe4, 0xe5, 0xe6, 0xf2,
    0xf4, 0xf6,
    // FAT32
    0x0b, 0x0c, 0x12, 0x1b, 0x1c, 0x7c, 0x7d, 0x8b, 0x8c, 0x97, 0xbb, 0xbc, 0xcb, 0xcc, 0xd8,
    // NTFS
    0x07, 0x27, 0x87, 0xb7, 0xc7,
    // Linux and others
    0x41, 0x42, 0x43, 0x80, 0x81, 0x82, 0x83, 0x85, 0x88, 0x8e, 0x93, 0xc2, 0xc3, 0xcd, 0xe8, 0xf0,
    0xf9, 0xfd, 0xfe,
    // Darwin
    0xa8, 0xab, 0xac,
    // HFS, EFI
    0xaf, 0xef,
    // VMware
    0xfb, 0xfc};

struct type_name_row {
    std::uint16_t type;
    const char* name;
};

// Names in the list of volumes, by type code. They are independent of the known types: a code can
// have a name and not be known, or be known and have no name.
constexpr type_name_row type_names[] = {
    {0x00, "empty"},
    {0x01, "fat12"},
    {0x02, "xenix root"},
    {0x03, "xenix /usr"},
    {0x04, "fat16"},
    {0x05, "exten"},
    {0x06, "fat"},
    {0x07, "ntfs or exfat"},
    {0x08, "aix boot"},
    {0x09, "aix data"},
    {0x0a, "os/2 boot"},
    {0x0b, "fat32"},
    {0x0c, "fat32"},
    {0x0e, "fat16 LBA mapped"},
    {0x0f, "exten"},
    {0x11, "hidden fat16"},
    {0x14, "hidden fat16"},
    {0x16, "hidden fat16"},
    {0x17, "hidden ntfs"},
    {0x1b, "hidden fat32"},
    {0x1c, "hidden fat32"},
    {0x1e, "hidden fat16"},
    {0x27, "hidden ntfs"},
    {0x82, "linux swap"},
    {0x83, "linux"},
    {0x86, "fat16 volume set"},
    {0x87, "ntfs volume set"},
    {0x88, "linux partition table"},
    {0x8b, "fat32 fault tolerant"},
    {0x8c, "fat32 fault tolerant"},
    {0x8d, "fat12"},
    {0x8e, "linux Logical Volume Mgr"},
    {0x90, "hidden fat16"},
    {0x91, "hidden fat16"},
    {0x92, "hidden fat16"},
    {0x93, "hidden linux"},
    {0x97, "hidden fat32"},
    {0x98, "hidden fat32"},
    {0xa0, "hibernation partition"},
    {0xa1, "hibernation partition"},
    {0xa6, "openbsd"},
    {0xaf, "hfs"},
    {0xee, "gpt"},
};
static_assert(std::ranges::is_sorted(type_names, {}, &type_name_row::type), "searched by halves");

const char* type_name(std::uint16_t type) {
    const type_name_row* const row =
        std::ranges::lower_bound(type_names, type, {}, &type_name_row::type);
    return row != std::end(type_names) && row->type == type ? row->name : "unk";
}

}  // namespace

bool is_known_type(std::uint8_t type) {
    return std::ranges::find(known_types, type) != std::end(known_types);
}

std::string partition_type_name(std::uint16_t type) {
    const bool guessed = (type & partition_guess) != 0;
    std::string name = type_name(guessed ? type & 0xffu : type);
    if (guessed) name += " [guess]";
    return name;
}
