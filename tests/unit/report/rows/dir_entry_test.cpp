#include "report/rows/dir_entry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(DirEntry, IsInitiallyEmpty) {
    const dir_entry row;
    EXPECT_TRUE(row.fn_list.empty());
    EXPECT_EQ(row.parent_path.text(), L"");
    EXPECT_EQ(row.type, 0u);
    EXPECT_FALSE(has_object_id(row));
    EXPECT_EQ(row.size, 0u);
    EXPECT_EQ(row.mft_entry, 0u);
    EXPECT_EQ(row.seq_num, 0u);
    EXPECT_EQ(row.flags, 0u);
    EXPECT_EQ(row.parent_entry, 0u);
    for (const std::uint64_t stamp :
         {row.si_created, row.si_modified, row.si_mft_changed, row.si_accessed})
        EXPECT_EQ(stamp, 0u);
    EXPECT_EQ(row.attributes, 0u);
}

TEST(DirEntry, NamesAreInitiallyEmpty) {
    const fn_entry name;
    for (const std::uint64_t field :
         {name.parent_ref, name.created, name.modified, name.mft_changed, name.accessed})
        EXPECT_EQ(field, 0u);
    EXPECT_EQ(name.is_short, 0u);
    EXPECT_EQ(name.time_null, 0u);
    EXPECT_EQ(name.comment(), "");
}

TEST(DirEntry, DirectoryBitMakesADirectory) {
    for (std::uint32_t flags = 0; flags < 16; ++flags) {
        dir_entry row;
        row.flags = static_cast<std::uint16_t>(flags);
        EXPECT_EQ(is_of_directory(row), flags / 2 % 2 == 1) << flags;
    }
}

TEST(DirEntry, AnyNonZeroByteMakesAnObjectId) {
    for (std::size_t i = 0; i < 16; ++i) {
        dir_entry row;
        row.object_id[i] = 1;
        EXPECT_TRUE(has_object_id(row)) << i;
    }
}

TEST(DirEntry, RowsAreOrderedByKeyAndEqualKeysByInsertion) {
    dir_entry_set rows;
    std::uint64_t arrival = 0;
    for (const char* key :
         {"\\b", "\\a\\c", "\\b", "\\a", "\\\xf0\x9f\x98\x80", "\\\xc3\xa9", "\\b"}) {
        dir_entry row;
        row.full_path = key;
        row.mft_entry = arrival++;
        rows.insert(row);
    }
    std::vector<std::uint64_t> order;
    for (const dir_entry& row : rows)
        order.push_back(row.mft_entry);
    EXPECT_EQ(order, (std::vector<std::uint64_t>{3, 1, 0, 2, 6, 5, 4}));
}

// The order differs from that of UTF-16, in which a surrogate pair sorts before U+E000.
TEST(DirEntry, RowsAreOrderedByCodePoint) {
    const std::vector<std::string> in_order = {
        "\\",                  // a prefix
        "\\z",                 // U+007A
        "\\\xc2\x80",          // U+0080
        "\\\xdf\xbf",          // U+07FF
        "\\\xe0\xa0\x80",      // U+0800
        "\\\xed\x9f\xbf",      // U+D7FF
        "\\\xed\xa0\x80",      // U+D800, a lone surrogate
        "\\\xed\xbf\xbf",      // U+DFFF
        "\\\xee\x80\x80",      // U+E000
        "\\\xef\xbf\xbf",      // U+FFFF
        "\\\xf0\x90\x80\x80",  // U+10000
        "\\\xf4\x8f\xbf\xbf",  // U+10FFFF
    };
    dir_entry_set rows;
    for (std::size_t i = in_order.size(); i-- > 0;) {
        dir_entry row;
        row.full_path = in_order[i];
        rows.insert(row);
    }
    std::vector<std::string> keys;
    for (const dir_entry& row : rows)
        keys.push_back(row.full_path);
    EXPECT_EQ(keys, in_order);
}

TEST(FnEntry, CommentSaysWhetherATimestampIsZero) {
    fn_entry name;
    name.time_null = 1;
    EXPECT_EQ(name.comment(), "fn:time null");
    name.time_null = 0;
    EXPECT_EQ(name.comment(), "");
}

TEST(SharedPath, IsEmptyUnlessAPathIsGiven) {
    EXPECT_EQ(shared_path().text(), L"");
    EXPECT_EQ(shared_path(L"").text(), L"");
    EXPECT_EQ(shared_path(L"c:\\d\u00e4ta").text(), L"c:\\d\u00e4ta");
}

TEST(SharedPath, CopiesHaveOneText) {
    const shared_path path(L"c:\\data");
    shared_path copy = path;
    EXPECT_TRUE(copy.is_shared_with(path));
    EXPECT_EQ(&copy.text(), &path.text());
    copy = shared_path(L"\\");
    EXPECT_FALSE(copy.is_shared_with(path));
    EXPECT_EQ(copy.text(), L"\\");
    EXPECT_EQ(path.text(), L"c:\\data");
}

TEST(SharedPath, EqualPathsAreNotShared) {
    EXPECT_FALSE(shared_path(L"c:\\data").is_shared_with(shared_path(L"c:\\data")));
    EXPECT_FALSE(shared_path(L"").is_shared_with(shared_path()));
    EXPECT_FALSE(shared_path().is_shared_with(shared_path(L"")));
    EXPECT_TRUE(shared_path().is_shared_with(shared_path()));
}

TEST(SharedPath, OutlivesTheObjectThatItWasCopiedFrom) {
    dir_entry row;
    {
        const shared_path path(std::wstring(100, L'x'));
        row.parent_path = path;
    }
    EXPECT_EQ(row.parent_path.text(), std::wstring(100, L'x'));
}

}  // namespace
