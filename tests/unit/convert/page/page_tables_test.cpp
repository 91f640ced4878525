#include "convert/page/page_tables.h"

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
using testing::HasSubstr;
using testing::Not;

row_table table_of(const listing_row& row, const std::string& note = {}) {
    row_table table;
    table.add(row, note);
    return table;
}

TEST(PageTables, FactsOfTheHead) {
    convert::listing_head head;
    head.version = "1.45";
    head.time = "2026-01-02 03:04:05 [UTC]";
    head.host = "<lab>";
    head.system = "Linux";
    head.command_line = "quorvel -image a";
    head.source = "a";
    std::string out;
    convert::append_facts(out, head);
    EXPECT_EQ(out,
              "<dt>Source</dt><dd><bdi>a</bdi></dd>\n"
              "<dt>Offset</dt><dd>not given</dd>\n"
              "<dt>Time</dt><dd><bdi>2026-01-02 03:04:05 [UTC]</bdi></dd>\n"
              "<dt>Host</dt><dd><bdi>&lt;lab&gt;</bdi></dd>\n"
              "<dt>System</dt><dd><bdi>Linux</bdi></dd>\n"
              "<dt>Command line</dt><dd><bdi>quorvel -image a</bdi></dd>\n"
              "<dt>Program</dt><dd><bdi>quorvel 1.45</bdi></dd>\n");
}

TEST(PageTables, FactsThatAreMissing) {
    std::string out;
    convert::append_facts(out, {});
    EXPECT_THAT(out, HasSubstr("<dt>Source</dt><dd>see the command line</dd>"));
    EXPECT_THAT(out, HasSubstr("<dt>Program</dt><dd>unknown</dd>"));
}

TEST(PageTables, CountsOfEachKind) {
    page_summary summary;
    listing_row file = plain_row();
    file.standard = times_of("2021");
    summary.add(file);
    file.path = "\\b";
    summary.add(file);
    listing_row gone = plain_row();
    gone.entry = 65;
    gone.flags = 0;
    gone.allocated_size = 1;
    summary.add(gone);
    std::string out;
    convert::append_kinds(out, summary);
    EXPECT_THAT(out, HasSubstr("<p>2 MFT entries. 1 entry has no timestamp of "
                               "$STANDARD_INFORMATION. 1 row is another path of a file.</p>"));
    EXPECT_THAT(out, HasSubstr("<td class=\"\">Files</td><td class=\"n\">3</td><td class=\"n\">1"
                               "</td><td class=\"b\">4,097 (4.0&nbsp;KiB)</td>"));
    EXPECT_THAT(out, HasSubstr("<td class=\"\">Alternate data streams</td><td class=\"n\">0</td>"));
    EXPECT_THAT(out, HasSubstr("<td class=\"\">All</td><td class=\"n\">3</td><td class=\"n\">1</td>"
                               "<td class=\"b\">4,097 (4.0&nbsp;KiB)</td>"));
}

TEST(PageTables, Directories) {
    page_summary summary;
    listing_row root = plain_row();
    root.type = row_type::directory;
    root.path = "\\";
    root.entry = 5;
    summary.add(root);
    summary.add(plain_row());
    summary.finish();
    std::string out;
    convert::append_directories(out, summary.directories());
    EXPECT_THAT(out, HasSubstr("<h3>Largest</h3>"));
    EXPECT_THAT(out, HasSubstr("<h3>Most populated</h3>"));
    EXPECT_THAT(out, HasSubstr("<caption>1 of 1 directory</caption>"));
    EXPECT_THAT(out, HasSubstr("<td class=\"p\"><bdi>\\<wbr></bdi></td><td class=\"b\">4,096 (4.0"
                               "&nbsp;KiB)</td><td class=\"n\">1</td><td class=\"b\">4,096 (4.0"
                               "&nbsp;KiB)</td><td class=\"n\">1</td>"));
}

TEST(PageTables, WithoutRowsThereIsASentence) {
    for (const auto append : {convert::append_set_back, convert::append_deleted,
                              convert::append_streams, convert::append_odd_names}) {
        std::string out;
        append(out, {});
        EXPECT_EQ(out, "<p>There are no rows.</p>\n");
    }
    std::string listed, not_listed;
    convert::append_object_ids(listed, {}, true);
    convert::append_object_ids(not_listed, {}, false);
    EXPECT_EQ(listed, "<p>There are no rows.</p>\n");
    EXPECT_EQ(not_listed, "<p>The listing was written without <code>-objid</code>.</p>\n");
}

TEST(PageTables, ATableSaysHowManyRowsItHas) {
    row_table table;
    table.add(plain_row());
    std::string out;
    convert::append_streams(out, table);
    EXPECT_THAT(out, HasSubstr("<caption>1 row</caption>"));
    for (std::uint64_t i = 1; i < 1234; ++i)
        table.add(plain_row());
    out.clear();
    convert::append_streams(out, table);
    EXPECT_THAT(out, HasSubstr("<caption>The first 200 of 1,234 rows, in the order of the listing"
                               "</caption>"));
    std::size_t rows = 0;
    for (std::size_t at = out.find("<tr><td"); at != std::string::npos;
         at = out.find("<tr><td", at + 1))
        ++rows;
    EXPECT_EQ(rows, 200u);
}

TEST(PageTables, RowsOfEachTable) {
    listing_row row = plain_row();
    row.path = "\\<b>";
    row.standard = times_of("2021");
    row.name = times_of("2022");
    row.name.changed.reset();
    row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    const std::string start = "<tr><td class=\"p\"><bdi>\\<wbr>&lt;b&gt;</bdi></td>";
    const std::string type = "<td class=\"t\">file</td>", entry = "<td class=\"n\">64-2</td>",
                      bytes = "<td class=\"n\">4,096</td>";
    const auto time = [](const std::string& day) {
        return "<td class=\"d\">" + day + " 01:02:03.4567890</td>";
    };
    std::string set_back, deleted, streams, ids, odd;
    convert::append_set_back(set_back, table_of(row));
    EXPECT_THAT(set_back, HasSubstr(start + type + entry + time("2021-01-01") + time("2022-01-01") +
                                    time("2021-01-03") + "<td class=\"d\"></td></tr>"));
    convert::append_deleted(deleted, table_of(row));
    EXPECT_THAT(deleted, HasSubstr(start + type + entry + bytes + time("2021-01-01") +
                                   time("2021-01-02") + time("2021-01-03") + "</tr>"));
    convert::append_streams(streams, table_of(row));
    EXPECT_THAT(streams, HasSubstr(start + entry + bytes + "</tr>"));
    convert::append_object_ids(ids, table_of(row), false);
    EXPECT_THAT(ids, HasSubstr(start + entry + "<td class=\"t\"><bdi>" + row.object_id +
                               "</bdi></td></tr>"));
    convert::append_odd_names(odd, table_of(row, "control character"));
    EXPECT_THAT(odd,
                HasSubstr(start + type + entry + "<td class=\"\">control character</td></tr>"));
}

TEST(PageTables, NamesCannotAddMarkup) {
    listing_row row = plain_row();
    row.path = "\\</td></table><script>alert(1)</script>\"'&lt;";
    row.object_id = "<script>";
    for (const auto append : {convert::append_set_back, convert::append_deleted,
                              convert::append_streams, convert::append_odd_names}) {
        std::string out;
        append(out, table_of(row));
        EXPECT_THAT(out, Not(HasSubstr("<script>")));
        EXPECT_THAT(out, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;&quot;&#39;&amp;lt;"));
    }
    std::string ids;
    convert::append_object_ids(ids, table_of(row), true);
    EXPECT_THAT(ids, Not(HasSubstr("<script>")));
}

}  // namespace
