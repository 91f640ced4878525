#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "storage/tables/partition_table.h"
#include "storage/tables/partition_types.h"
#include "storage/tables/ql_disk_structs.h"

namespace {

const std::map<int, std::string> names = {
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
    {0x0A, "os/2 boot"},
    {0x0B, "fat32"},
    {0x0C, "fat32"},
    {0x0E, "fat16 LBA mapped"},
    {0x0F, "exten"},
    {0x11, "hidden fat16"},
    {0x14, "hidden fat16"},
    {0x16, "hidden fat16"},
    {0x17, "hidden ntfs"},
    {0x1B, "hidden fat32"},
    {0x1C, "hidden fat32"},
    {0x1E, "hidden fat16"},
    {0x27, "hidden ntfs"},
    {0x82, "linux swap"},
    {0x83, "linux"},
    {0x86, "fat16 volume set"},
    {0x87, "ntfs volume set"},
    {0x88, "linux partition table"},
    {0x8B, "fat32 fault tolerant"},
    {0x8C, "fat32 fault tolerant"},
    {0x8D, "fat12"},
    {0x8E, "linux Logical Volume Mgr"},
    {0x90, "hidden fat16"},
    {0x91, "hidden fat16"},
    {0x92, "hidden fat16"},
    {0x93, "hidden linux"},
    {0x97, "hidden fat32"},
    {0x98, "hidden fat32"},
    {0xA0, "hibernation partition"},
    {0xA1, "hibernation partition"},
    {0xA6, "openbsd"},
    {0xAF, "hfs"},
    {0xEE, "gpt"},
};

const std::set<int> known = {
    0x01, 0x04, 0x05, 0x06, 0x07, 0x08, 0x0B, 0x0C, 0x0E, 0x0F, 0x11, 0x12, 0x14, 0x15, 0x16, 0x1B,
    0x1C, 0x1E, 0x1F, 0x24, 0x27, 0x41, 0x42, 0x43, 0x56, 0x64, 0x66, 0x74, 0x76, 0x79, 0x7A, 0x7B,
    0x7C, 0x7D, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x8B, 0x8C, 0x8E, 0x90, 0x91,
    0x92, 0x93, 0x97, 0x98, 0x9A, 0xA8, 0xAB, 0xAC, 0xAF, 0xB6, 0xB7, 0xBB, 0xBC, 0xC2, 0xC3, 0xC4,
    0xC5, 0xC6, 0xC7, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF, 0xD4, 0xD5, 0xD6, 0xD8, 0xDE, 0xE4, 0xE5, 0xE6,
    0xE8, 0xEF, 0xF0, 0xF2, 0xF4, 0xF6, 0xF9, 0xFB, 0xFC, 0xFD, 0xFE,
};

TEST(PartitionTypes, EveryCodeHasItsName) {
    for (int code = 0; code < 256; ++code) {
        const auto named = names.find(code);
        const std::string expected = named != names.end() ? named->second : "unk";
        EXPECT_EQ(partition_type_name(static_cast<std::uint16_t>(code)), expected) << code;
    }
}

TEST(PartitionTypes, GuessIsNamedByItsLowByte) {
    for (int code = 0; code < 256; ++code) {
        const auto named = names.find(code);
        const std::string expected = named != names.end() ? named->second : "unk";
        EXPECT_EQ(partition_type_name(static_cast<std::uint16_t>(code | 0x8000)),
                  expected + " [guess]")
            << code;
    }
    EXPECT_EQ(partition_type_name(0x8107), "ntfs or exfat [guess]");
}

TEST(PartitionTypes, WholeValueIsUsedWithoutTheGuessBit) {
    EXPECT_EQ(partition_type_name(0x0107), "unk");
    EXPECT_EQ(partition_type_name(0x4007), "unk");
}

TEST(PartitionTypes, KnownTypesDifferFromNamedOnes) {
    for (int code = 0; code < 256; ++code) {
        EXPECT_EQ(is_known_type(static_cast<std::uint8_t>(code)), known.count(code) != 0) << code;
    }
    EXPECT_FALSE(is_known_type(0x17));  // "hidden ntfs"
    EXPECT_TRUE(is_known_type(0xB7));   // "unk"
    EXPECT_TRUE(is_known_type(0xC7));
    EXPECT_FALSE(is_known_type(0xEE));  // the disk scan handles it first
}

}  // namespace
