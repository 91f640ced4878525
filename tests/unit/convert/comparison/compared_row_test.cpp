#include "convert/comparison/compared_row.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "unit/convert/formats/format_text.h"

namespace {

using convert::append_record;
using convert::compared_row;
using convert::entry_id;
using convert::listing_side;
using convert::parse_record;
using convert::row_locator;
using convert::row_type;

std::string record_of(const compared_row& row) {
    std::string record;
    append_record(record, row);
    return record;
}

compared_row row_of(std::uint64_t entry, std::uint16_t sequence, listing_side side, row_type type,
                    const std::string& path) {
    compared_row row;
    row.row.entry = entry;
    row.row.sequence = sequence;
    row.side = side;
    row.row.type = type;
    row.row.path = path;
    return row;
}

TEST(ComparedRow, ARecordKeepsEachField) {
    compared_row row = row_of(0xFEDC'BA98'7654'3210, 0xFFFE, listing_side::new_listing,
                              row_type::stream, "\\a\n\xED\xA0\x80:s");
    row.row.allocated_size = 0x8000'0000'0000'0001;
    row.row.attributes = 0x8000'0020;
    row.row.flags = 3;
    row.row.set_back = true;
    row.row.standard = format_text::times_of("2020");
    row.row.name = format_text::times_of("2021");
    row.row.short_name = format_text::times_of("2022");
    row.row.short_name.changed.reset();
    row.row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    row.directory = entry_id{0x1122'3344'5566'7788, 0x99AA};
    row.name_begin = 1;
    row.name_end = 6;
    const compared_row parsed = parse_record(record_of(row));
    EXPECT_EQ(parsed.row, row.row);
    EXPECT_EQ(parsed.side, row.side);
    EXPECT_EQ(parsed.directory, row.directory);
    EXPECT_EQ(parsed.name(), "a\n\xED\xA0\x80");
    EXPECT_EQ(parsed.stream_name(), ":s");
    EXPECT_EQ(parsed.directory_path(), "\\");
    EXPECT_EQ(parsed.entry_path(), "\\a\n\xED\xA0\x80");
}

TEST(ComparedRow, ARecordKeepsBlankFields) {
    const compared_row row = row_of(0, 0, listing_side::old_listing, row_type::file, "");
    const compared_row parsed = parse_record(record_of(row));
    EXPECT_EQ(parsed.row, row.row);
    EXPECT_FALSE(parsed.directory.has_value());
}

TEST(ComparedRow, RecordsAreSortedByEntrySequenceListingTypeAndPath) {
    const listing_side before = listing_side::old_listing, after = listing_side::new_listing;
    const std::vector<std::string> sorted = {
        record_of(row_of(1, 9, after, row_type::stream, "\\z")),
        record_of(row_of(200, 1, after, row_type::stream, "\\z")),
        record_of(row_of(200, 256, before, row_type::stream, "\\z")),
        record_of(row_of(200, 256, after, row_type::file, "\\a")),
        record_of(row_of(200, 256, after, row_type::file, "\\a\\b")),
        record_of(row_of(200, 256, after, row_type::file, "\\\xC3\xA9")),
        record_of(row_of(200, 256, after, row_type::stream, "\\a")),
        record_of(row_of(256, 0, before, row_type::file, "\\a")),
    };
    const auto less = [](const std::string& a, const std::string& b) {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
                return static_cast<unsigned char>(x) < static_cast<unsigned char>(y);
            });
    };
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), less));
}

TEST(ComparedRow, TheLocatorFindsDirectoriesAndNames) {
    row_locator locator;
    const auto located = [&locator](row_type type, const std::string& path, std::uint64_t entry) {
        compared_row row = row_of(entry, 1, listing_side::old_listing, type, path);
        locator.locate(row);
        return row;
    };
    const entry_id root{5, 1}, directory{40, 1};
    compared_row row = located(row_type::directory, "\\", 5);
    EXPECT_FALSE(row.directory.has_value());
    EXPECT_EQ(row.name(), "");
    row = located(row_type::directory, "\\d\\", 40);
    EXPECT_EQ(row.directory, root);
    EXPECT_EQ(row.name(), "d");
    EXPECT_EQ(row.directory_path(), "\\");
    row = located(row_type::stream, "\\d:s", 40);
    EXPECT_EQ(row.directory, root);
    EXPECT_EQ(row.name(), "d");
    EXPECT_EQ(row.stream_name(), ":s");
    row = located(row_type::directory, "\\d\\<dir data entry>\\", 40);
    EXPECT_EQ(row.directory, directory);
    row = located(row_type::file, "\\d\\a\\b", 41);
    EXPECT_EQ(row.directory, directory);
    EXPECT_EQ(row.name(), "a\\b");
    row = located(row_type::stream, "\\d\\a\\b:x\\y:z", 41);
    EXPECT_EQ(row.name(), "a\\b");
    EXPECT_EQ(row.stream_name(), ":x\\y:z");
    row = located(row_type::file, "other\\c", 42);
    EXPECT_FALSE(row.directory.has_value());
    EXPECT_EQ(row.name(), "c");
    EXPECT_EQ(row.directory_path(), "other\\");
}

}  // namespace
