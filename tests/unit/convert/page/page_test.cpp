#include "convert/page/page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "convert/page/page_text.h"
#include "unit/convert/formats/format_text.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string drawn(const convert::listing_head& head, const convert::page_summary& summary) {
    std::string page;
    EXPECT_TRUE(convert::draw_page(head, summary, [&page](std::string_view part) {
        page += part;
        return true;
    }));
    return page;
}

// Returns the part of a section between its id and its end.
std::string section(const std::string& page, const std::string& id) {
    const std::size_t at = page.find("<section id=\"" + id + "\">");
    EXPECT_NE(at, std::string::npos) << id;
    return page.substr(at, page.find("</section>", at) - at);
}

convert::page_summary one_row() {
    convert::page_summary summary;
    convert::listing_row row = format_text::plain_row();
    row.standard = format_text::times_of("2021");
    summary.add(row);
    summary.finish();
    return summary;
}

TEST(Page, EachPlaceholderIsDrawn) {
    EXPECT_THAT(std::string(convert::page_layout()), HasSubstr("{{facts}}"));
    convert::listing_head head;
    head.source = "disk.dd";
    const std::string page = drawn(head, one_row());
    EXPECT_THAT(page, Not(HasSubstr("{{")));
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>\n<html lang=\"en\">\n"));
    EXPECT_THAT(page, HasSubstr("<title>NTFS listing of disk.dd</title>"));
    EXPECT_THAT(page, HasSubstr("<dt>Source</dt><dd><bdi>disk.dd</bdi></dd>"));
    EXPECT_THAT(page, HasSubstr("<style>\n" + std::string(convert::page_style()) + "</style>"));
    EXPECT_THAT(section(page, "counts"), HasSubstr("<p>1 MFT entry.</p>"));
    EXPECT_THAT(section(page, "months"), HasSubstr("by month</title>"));
    EXPECT_THAT(section(page, "days"), HasSubstr("by day</title>"));
    EXPECT_THAT(section(page, "hours"), HasSubstr("by weekday and hour in UTC</title>"));
    EXPECT_THAT(section(page, "directories"), HasSubstr("<h3>Most populated</h3>"));
    EXPECT_THAT(section(page, "object-ids"), HasSubstr("without <code>-objid</code>"));
    for (const char* id : {"set-back", "deleted", "streams", "odd-names"})
        EXPECT_THAT(section(page, id), HasSubstr("There are no rows.")) << id;
}

TEST(Page, EachTableIsInItsSection) {
    convert::listing_row row = format_text::plain_row();
    row.path = "\\name.";
    row.flags = 0;
    row.set_back = true;
    row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    convert::page_summary summary;
    summary.add(row);
    row.type = convert::row_type::stream;
    row.path = "\\name.:s";
    summary.add(row);
    const std::string page = drawn({}, summary);
    EXPECT_THAT(page, HasSubstr("<title>NTFS listing of a volume</title>"));
    EXPECT_THAT(section(page, "set-back"),
                HasSubstr("<th scope=\"col\" class=\"d\">Created, $FILE"));
    EXPECT_THAT(section(page, "deleted"), HasSubstr("<th scope=\"col\" class=\"d\">Modified"));
    EXPECT_THAT(section(page, "streams"), HasSubstr("name.:s</bdi>"));
    EXPECT_THAT(section(page, "object-ids"), HasSubstr(row.object_id));
    EXPECT_THAT(section(page, "odd-names"), HasSubstr("blank or dot"));
}

// A placeholder in a name is not one of the layout.
TEST(Page, NamesAreNotPlaceholders) {
    convert::listing_head head;
    head.source = "{{style}}</title><script>";
    const std::string page = drawn(head, one_row());
    EXPECT_THAT(page, HasSubstr("<title>NTFS listing of {{style}}&lt;/title&gt;&lt;script&gt;"));
    EXPECT_THAT(page, Not(HasSubstr("<script>")));
}

// A failure of the sink at any part ends the drawing.
TEST(Page, EndsWithItsSink) {
    int parts = 0;
    ASSERT_TRUE(
        convert::draw_page({}, one_row(), [&parts](std::string_view) { return ++parts > 0; }));
    for (int failing = 1; failing <= parts; ++failing) {
        int calls = 0;
        EXPECT_FALSE(
            convert::draw_page({}, one_row(), [&](std::string_view) { return ++calls < failing; }));
        EXPECT_EQ(calls, failing);
    }
}

// Nothing on the page loads anything or runs.
TEST(Page, IsSelfContained) {
    const std::string page = drawn({}, one_row());
    for (const char* part : {"http:", "https:", "//", "url(", "@import", "<script", "<link", "<img",
                             "<iframe", "<object", "src=", " onclick", "javascript:"})
        EXPECT_THAT(page, Not(HasSubstr(part)));
}

}  // namespace
