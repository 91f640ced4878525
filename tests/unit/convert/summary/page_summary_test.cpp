#include "convert/summary/page_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/formats/format_text.h"

namespace {

using convert::listing_row;
using convert::page_summary;
using convert::row_table;
using convert::row_type;
using format_text::plain_row;
using format_text::times_of;
using testing::ElementsAre;
using testing::IsEmpty;

listing_row row_of(row_type type, const std::string& path, std::uint64_t entry,
                   std::uint64_t bytes = 0) {
    listing_row row = plain_row();
    row.type = type;
    row.path = path;
    row.entry = entry;
    row.allocated_size = bytes;
    return row;
}

page_summary summary_of(const std::vector<listing_row>& rows) {
    page_summary summary;
    for (const listing_row& row : rows)
        summary.add(row);
    summary.finish();
    return summary;
}

std::vector<std::string> paths(const row_table& table) {
    std::vector<std::string> result;
    for (const auto& [row, note] : table.rows)
        result.push_back(row.path);
    return result;
}

TEST(PageSummary, CountsRowsAndBytesByKind) {
    listing_row gone = row_of(row_type::file, "\\gone", 42, 7);
    gone.flags = 0;
    listing_row stream_of_gone = row_of(row_type::stream, "\\gone:s", 42, 5);
    stream_of_gone.flags = 0;
    const page_summary summary = summary_of(
        {row_of(row_type::directory, "\\", 5), row_of(row_type::index, "\\:$I30", 5, 4096),
         row_of(row_type::file, "\\a", 41, 100), gone, stream_of_gone});
    EXPECT_EQ(summary.kind(row_type::directory).rows, 1u);
    EXPECT_EQ(summary.kind(row_type::index).bytes, 4096u);
    EXPECT_EQ(summary.kind(row_type::file).rows, 2u);
    EXPECT_EQ(summary.kind(row_type::file).deleted, 1u);
    EXPECT_EQ(summary.kind(row_type::file).bytes, 107u);
    EXPECT_EQ(summary.kind(row_type::stream).deleted, 1u);
    EXPECT_EQ(summary.kind(row_type::stream).bytes, 5u);
    EXPECT_EQ(summary.entries(), 3u);
    EXPECT_EQ(summary.without_time(), 3u);
    EXPECT_EQ(summary.more_paths(), 0u);
}

TEST(PageSummary, BytesOfAFileWithSeveralPathsAreCountedOnce) {
    std::vector<listing_row> rows = {row_of(row_type::directory, "\\", 5)};
    for (const char* name : {"\\a", "\\b"}) {
        rows.push_back(row_of(row_type::file, name, 41, 100));
        rows.push_back(row_of(row_type::stream, std::string(name) + ":s", 41, 10));
    }
    const page_summary summary = summary_of(rows);
    EXPECT_EQ(summary.kind(row_type::file).rows, 2u);
    EXPECT_EQ(summary.kind(row_type::file).bytes, 100u);
    EXPECT_EQ(summary.kind(row_type::stream).rows, 2u);
    EXPECT_EQ(summary.kind(row_type::stream).bytes, 10u);
    EXPECT_EQ(summary.more_paths(), 1u);
    EXPECT_EQ(summary.entries(), 2u);
    const auto largest = summary.directories().largest(1);
    EXPECT_EQ(largest[0].second.bytes, 220u) << "a directory counts each path";
    EXPECT_EQ(largest[0].second.entries, 2u);
}

TEST(PageSummary, CountsTimesOnceForEachEntry) {
    listing_row file = row_of(row_type::file, "\\a", 41);
    file.standard = times_of("2021");
    file.name = times_of("2000");
    listing_row link = file;
    link.path = "\\b";
    listing_row stream = file;
    stream.type = row_type::stream;
    stream.path = "\\b:s";
    listing_row next = file;
    next.sequence = 3;
    const page_summary summary = summary_of({file, link, stream, next});
    EXPECT_EQ(summary.times().total(), (convert::time_kind_counts{2, 2, 2, 2}));
    EXPECT_EQ(summary.times().by_month().counts.size(), 1u);
    EXPECT_EQ(summary.entries(), 2u);
    EXPECT_EQ(summary.without_time(), 0u);
}

TEST(PageSummary, CountsTheContentOfDirectories) {
    const page_summary summary = summary_of({
        row_of(row_type::directory, "\\", 5),
        row_of(row_type::directory, "\\d\\", 40),
        row_of(row_type::stream, "\\d:s", 40, 3),
        row_of(row_type::file, "\\d\\a", 41, 8),
        row_of(row_type::stream, "\\d\\a:x\\y:z", 41, 16),
        row_of(row_type::file, "\\d\\b\\c", 42, 32),
    });
    const auto all = summary.directories().largest(9);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].first, "\\d\\");
    EXPECT_EQ(all[0].second.bytes, 8u + 16 + 32);
    EXPECT_EQ(all[0].second.entries, 2u);
    EXPECT_EQ(all[1].first, "\\");
    EXPECT_EQ(all[1].second.bytes, 3u);
    EXPECT_EQ(all[1].second.entries, 1u);
    EXPECT_EQ(all[1].second.bytes_below, 3u + 8 + 16 + 32);
    EXPECT_EQ(all[1].second.entries_below, 3u);
}

// A directory with data of its own has a second row, which is neither an entry nor a directory.
TEST(PageSummary, TheOwnDataOfADirectoryHasBytesOnly) {
    listing_row directory = row_of(row_type::directory, "\\d\\", 40);
    directory.flags = 2;
    directory.set_back = true;
    directory.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    listing_row data = directory;
    data.path = "\\d\\<dir data entry>\\";
    data.allocated_size = 4096;
    const page_summary summary = summary_of({row_of(row_type::directory, "\\", 5), directory, data,
                                             row_of(row_type::stream, "\\d:s", 40, 3)});
    EXPECT_EQ(summary.kind(row_type::directory).rows, 3u);
    EXPECT_EQ(summary.kind(row_type::directory).bytes, 4096u);
    EXPECT_EQ(summary.directories().size(), 2u);
    EXPECT_EQ(summary.directories().largest(1)[0].second.bytes, 4099u);
    EXPECT_EQ(summary.directories().most_populated(9)[0].second.entries, 1u);
    EXPECT_EQ(summary.more_paths(), 0u);
    EXPECT_THAT(paths(summary.deleted()), ElementsAre("\\d\\"));
    EXPECT_THAT(paths(summary.set_back()), ElementsAre("\\d\\"));
    EXPECT_THAT(paths(summary.object_ids()), ElementsAre("\\d\\"));
    EXPECT_THAT(paths(summary.odd_names()), IsEmpty());
}

TEST(PageSummary, CollectsSpecialRows) {
    listing_row set_back = row_of(row_type::file, "\\set back", 41);
    set_back.set_back = true;
    listing_row stream = row_of(row_type::stream, "\\set back:s", 41);
    stream.set_back = true;  // as its entry
    listing_row gone = row_of(row_type::file, "\\gone", 42);
    gone.flags = 0;
    listing_row stream_of_gone = row_of(row_type::stream, "\\gone:s", 42);
    stream_of_gone.flags = 0;
    listing_row identified = row_of(row_type::file, "\\id", 43);
    identified.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    const page_summary summary = summary_of({set_back, stream, gone, stream_of_gone, identified,
                                             row_of(row_type::index, "\\:$I30", 5)});
    EXPECT_THAT(paths(summary.set_back()), ElementsAre("\\set back"));
    EXPECT_THAT(paths(summary.deleted()), ElementsAre("\\gone"));
    EXPECT_THAT(paths(summary.streams()), ElementsAre("\\set back:s", "\\gone:s"));
    EXPECT_THAT(paths(summary.object_ids()), ElementsAre("\\id"));
}

TEST(PageSummary, ChecksTheNameOfEachRow) {
    const page_summary summary = summary_of({
        row_of(row_type::directory, "\\", 5),
        row_of(row_type::directory, "\\odd.\\", 40),
        row_of(row_type::file, "\\odd.\\plain", 41),
        row_of(row_type::stream, "\\odd.\\plain:a:b", 41),
        row_of(row_type::stream, "\\odd.\\plain:c", 41),
        row_of(row_type::file, "\\odd.\\back\\slash", 42),
        row_of(row_type::stream, ":alone.", 43),
    });
    EXPECT_THAT(paths(summary.odd_names()),
                ElementsAre("\\odd.\\", "\\odd.\\plain:a:b", "\\odd.\\back\\slash", ":alone."));
    EXPECT_EQ(summary.odd_names().rows[0].note, "begins with a blank, or ends in a blank or dot");
    EXPECT_EQ(summary.odd_names().rows[2].note, "character that Windows refuses");
}

// The path on the command line need not be the root, or a directory.
TEST(PageSummary, APathWithoutAListedDirectoryIsItsLastName) {
    const page_summary summary = summary_of(
        {row_of(row_type::directory, "\\a.\\b\\", 40), row_of(row_type::file, "c\\d", 41, 9)});
    EXPECT_THAT(paths(summary.odd_names()), IsEmpty());
    EXPECT_EQ(summary.directories().size(), 1u);
    EXPECT_TRUE(summary.directories().largest(9).empty());
}

TEST(PageSummary, TablesKeepTheFirstRows) {
    page_summary summary;
    for (std::uint64_t i = 0; i < row_table::most_rows + 3; ++i) {
        listing_row row = row_of(row_type::file, "\\" + std::to_string(i), i);
        row.flags = 0;
        summary.add(row);
    }
    EXPECT_EQ(summary.deleted().total, row_table::most_rows + 3);
    EXPECT_EQ(summary.deleted().rows.size(), row_table::most_rows);
    EXPECT_EQ(summary.deleted().rows.back().row.path, "\\199");
}

TEST(PageSummary, ImpossibleSizesDoNotWrap) {
    const page_summary summary = summary_of({row_of(row_type::file, "\\a", 1, UINT64_MAX),
                                             row_of(row_type::file, "\\b", 2, UINT64_MAX)});
    EXPECT_EQ(summary.kind(row_type::file).bytes, UINT64_MAX);
}

}  // namespace
