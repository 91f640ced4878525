#include "storage/tables/partition_types.h"

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

// Names in the list of volumes. They are independent of the known types: a code can have a name and
// not be known, or be known and have no name.
const char* type_name(std::uint16_t code) {
    switch (code) {
        case 0x00:
            return "empty";
        case 0x01:
        case 0x8d:
            return "fat12";
        case 0x02:
            return "xenix root";
        case 0x03:
            return "xenix /usr";
        case 0x04:
            return "fat16";
        case 0x05:
        case 0x0f:
            return "exten";
        case 0x06:
            return "fat";
        case 0x07:
            return "ntfs or exfat";
        case 0x08:
            return "aix boot";
        case 0x09:
            return "aix data";
        case 0x0a:
            return "os/2 boot";
        case 0x0b:
        case 0x0c:
            return "fat32";
        case 0x0e:
            return "fat16 LBA mapped";
        case 0x11:
        case 0x14:
        case 0x16:
        case 0x1e:
        case 0x90:
        case 0x91:
        case 0x92:
            return "hidden fat16";
        case 0x17:
        case 0x27:
            return "hidden ntfs";
        case 0x1b:
        case 0x1c:
        case 0x97:
        case 0x98:
            return "hidden fat32";
        case 0x82:
            return "linux swap";
        case 0x83:
            return "linux";
        case 0x86:
            return "fat16 volume set";
        case 0x87:
            return "ntfs volume set";
        case 0x88:
            return "linux partition table";
        case 0x8b:
        case 0x8c:
            return "fat32 fault tolerant";
        case 0x8e:
            return "linux Logical Volume Mgr";
        case 0x93:
            return "hidden linux";
        case 0xa0:
        case 0xa1:
            return "hibernation partition";
        case 0xa6:
            return "openbsd";
        case 0xaf:
            return "hfs";
        case 0xee:
            return "gpt";
        default:
            return "unk";
    }
}

}  // namespace

bool is_known_type(std::uint8_t type) {
    for (const std::uint8_t known : known_types) {
        if (known == type) return true;
    }
    return false;
}

std::string partition_type_name(std::uint16_t type) {
    const bool guessed = (type & partition_guess) != 0;
    std::string name = type_name(guessed ? type & 0xff : type);
    if (guessed) name += " [guess]";
    return name;
}
