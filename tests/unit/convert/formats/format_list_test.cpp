#include "convert/formats/format_list.h"

#include <gmock/gmock.h>

#include "convert/formats/body_format.h"
#include "convert/formats/csv_format.h"
#include "convert/formats/html_format.h"
#include "convert/formats/jsonl_format.h"
#include "convert/formats/timeline_format.h"
#include "support/temp_dir.h"
#include "unit/convert/formats/format_text.h"

namespace {

using convert::format;
using format_text::plain_row;
using format_text::text_sink;
using format_text::times_of;
using testing::StartsWith;
using testing::UnorderedElementsAre;

convert::listing_row dated_row() {
    convert::listing_row row = plain_row();
    row.standard = times_of("2021");
    row.name = times_of("2022");
    return row;
}

// Returns the text that the writer of a format writes, with `path` for a format that needs a file.
std::string written_by(const std::string& name, const std::string& path) {
    text_sink sink;
    for (const format& known : convert::formats()) {
        if (name != known.name) continue;
        const auto writer = convert::make_writer(known, sink, path);
        EXPECT_TRUE(writer->begin());
        EXPECT_TRUE(writer->write(dated_row()));
        EXPECT_TRUE(writer->finish()) << writer->failure();
    }
    return sink.text;
}

TEST(FormatList, HasEachFormatOnce) {
    std::vector<std::string> names, need_a_file;
    for (const format& known : convert::formats()) {
        names.emplace_back(known.name);
        if (known.needs_file) need_a_file.emplace_back(known.name);
    }
    EXPECT_THAT(names, UnorderedElementsAre("csv", "jsonl", "body", "timeline", "sqlite", "html"));
    EXPECT_THAT(need_a_file, UnorderedElementsAre("sqlite"));
}

TEST(FormatList, AWriterOfATextFormatWritesToTheSink) {
    const std::vector<convert::listing_row> rows = {dated_row()};
    EXPECT_EQ(written_by("csv", ""), format_text::written<convert::csv_writer>(rows));
    EXPECT_EQ(written_by("jsonl", ""), format_text::written<convert::jsonl_writer>(rows));
    EXPECT_EQ(written_by("body", ""), format_text::written<convert::body_writer>(rows));
    EXPECT_EQ(written_by("timeline", ""), format_text::written<convert::timeline_writer>(rows));
    EXPECT_EQ(written_by("html", ""), format_text::written<convert::html_writer>(rows));
}

TEST(FormatList, TheWriterOfADatabaseWritesToTheFile) {
    const support::temp_dir dir;
    const std::string path = dir.write("out.db", "");
    EXPECT_EQ(written_by("sqlite", path), "");
    // Every database begins with these 16 bytes.
    EXPECT_THAT(support::read_file(path), StartsWith(std::string("SQLite format 3\0", 16)));
}

}  // namespace
