#include "ntfs/volume/name_entry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

TEST(NameKey, IsParentNameAndNumber) {
    const struct {
        const char* name;
        std::uint64_t parent;
        std::wstring file;
        std::uint64_t number;
        std::string key;
    } cases[] = {
        {"at least 8 digits", 5, L"a.txt", 64, "00000005_a.txt_00000040"},
        {"no name", 0, L"", 0, "00000000__00000000"},
        {"48 bits", 0xFEDCBA987654, L"x", 0x123456789ABC, "fedcba987654_x_123456789abc"},
        {"9 digits", 0x100000000, L"x", 0xFFFFFFFF, "100000000_x_ffffffff"},
        {"the name as it is", 5, L"Read_Me ", 64, "00000005_Read_Me _00000040"},
        {"two bytes in UTF-8", 5, L"\u00e9", 64, "00000005_\xc3\xa9_00000040"},
        {"three bytes in UTF-8", 5, L"\u20ac", 64, "00000005_\xe2\x82\xac_00000040"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(name_key(c.parent, c.file, c.number), c.key);
    }
}

// Keys are compared byte by byte, so the order is that of the parents only up to 8 digits.
TEST(NameKey, SortsByParentThenNameThenNumber) {
    EXPECT_LT(name_key(5, L"z", 64), name_key(64, L"a", 64));
    EXPECT_LT(name_key(0x1F, L"z", 64), name_key(0x20, L"a", 64));
    EXPECT_LT(name_key(5, L"B", 65), name_key(5, L"a", 64)) << "upper case first";
    EXPECT_LT(name_key(5, L"a", 64), name_key(5, L"a", 65));
    EXPECT_LT(name_key(0x100000000, L"a", 64), name_key(0x20000000, L"a", 64)) << "9 digits";
}

TEST(NameKey, MapContainsEachKeyOnce) {
    name_entry_map names;
    for (const std::uint64_t number : {64u, 65u, 64u}) {
        NTFS_NAME_ENTRY entry;
        entry.record_number = static_cast<std::uint32_t>(number);
        names.emplace(name_key(5, L"a", number), entry);
    }
    EXPECT_EQ(names.size(), 2u);
    EXPECT_EQ(names.begin()->second.record_number, 64u);
}

}  // namespace
