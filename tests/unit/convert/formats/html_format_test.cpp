#include "convert/formats/html_format.h"

#include <gmock/gmock.h>

#include "unit/convert/formats/format_text.h"
#include "unit/convert/listing_text.h"

namespace {

using convert::html_writer;
using format_text::plain_row;
using testing::HasSubstr;
using testing::StartsWith;

TEST(HtmlFormat, WritesTheHeadAndTheRows) {
    format_text::text_sink sink;
    html_writer writer(sink);
    writer.set_head(listing_text::head());
    ASSERT_TRUE(writer.begin());
    ASSERT_TRUE(writer.write(plain_row()));
    EXPECT_EQ(sink.text, "");
    ASSERT_TRUE(writer.finish());
    EXPECT_THAT(sink.text, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(sink.text, HasSubstr("<dt>Source</dt><dd><bdi>disk.dd</bdi></dd>"));
    EXPECT_THAT(sink.text, HasSubstr("<p>1 MFT entry. 1 entry has no timestamp of"));
    EXPECT_EQ(writer.note(), "");
}

TEST(HtmlFormat, AFailureOfTheSinkIsReported) {
    class broken_sink : public convert::byte_sink {
        bool write(std::string_view) override { return false; }
    };
    broken_sink sink;
    html_writer writer(sink);
    EXPECT_TRUE(writer.write(plain_row()));
    EXPECT_FALSE(writer.finish());
    EXPECT_EQ(writer.failure(), "");
}

}  // namespace
