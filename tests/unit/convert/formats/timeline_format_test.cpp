#include "convert/formats/timeline_format.h"

#include "unit/convert/formats/format_text.h"

namespace {

using convert::listing_row;
using convert::row_type;
using convert::timeline_writer;
using format_text::at;
using format_text::plain_row;
using format_text::times_of;
using format_text::written;

const std::string heading =
    "time,macb,source,type,path,path_hex,allocated_size,entry,sequence,deleted\r\n";
const std::string plain_end = "file,\\a.txt,,4096,64,2,false\r\n";

std::string event(const std::string& day, const std::string& letters, const std::string& rest) {
    return day + "T01:02:03.4567890Z," + letters + "," + rest;
}

TEST(TimelineFormat, SortsTheTimesOfARow) {
    listing_row row = plain_row();
    row.standard = times_of("2022");
    row.name = times_of("2021");
    row.short_name = times_of("2020");  // not in a timeline
    std::string expected = heading;
    for (const std::string& source : {std::string("FN"), std::string("SI")}) {
        const std::string year = source == "SI" ? "2022" : "2021";
        expected += event(year + "-01-01", "...B", source + "," + plain_end) +
                    event(year + "-01-02", "M...", source + "," + plain_end) +
                    event(year + "-01-03", "..C.", source + "," + plain_end) +
                    event(year + "-01-04", ".A..", source + "," + plain_end);
    }
    EXPECT_EQ(written<timeline_writer>({row}), expected);
}

TEST(TimelineFormat, MergesEqualTimesOfASource) {
    listing_row row = plain_row();
    const auto first = at("2021-01-01", "01:02:03.4567890");
    const auto second = at("2021-01-02", "01:02:03.4567890");
    row.standard = {first, second, first, second};
    row.name = {first, first, first, first};
    EXPECT_EQ(written<timeline_writer>({row}), heading +
                                                   event("2021-01-01", "..CB", "SI," + plain_end) +
                                                   event("2021-01-01", "MACB", "FN," + plain_end) +
                                                   event("2021-01-02", "MA..", "SI," + plain_end));
}

TEST(TimelineFormat, StreamsAddNoRows) {
    listing_row file = plain_row();
    file.standard.created = at("2021-01-01", "01:02:03.4567890");
    listing_row stream = file;
    stream.type = row_type::stream;
    stream.path = "\\a.txt:s";
    listing_row index = stream;
    index.type = row_type::index;
    const std::string expected = heading + event("2021-01-01", "...B", "SI," + plain_end);
    EXPECT_EQ(written<timeline_writer>({file, stream, index}), expected);
    EXPECT_EQ(written<timeline_writer>({index, stream, file}), expected);
    // A stream that is listed alone represents its entry.
    EXPECT_EQ(written<timeline_writer>({stream}),
              heading + event("2021-01-01", "...B", "SI,ads,\\a.txt:s,,4096,64,2,false\r\n"));
}

TEST(TimelineFormat, EachPathOfAnEntryHasARow) {
    listing_row first = plain_row();
    first.standard.created = at("2021-01-01", "01:02:03.4567890");
    listing_row second = first;
    second.path = "\\b.txt";
    listing_row next_sequence = first;
    next_sequence.sequence = 3;
    next_sequence.flags = 0;
    EXPECT_EQ(written<timeline_writer>({next_sequence, second, first, first}),
              heading + event("2021-01-01", "...B", "SI," + plain_end) +
                  event("2021-01-01", "...B", "SI,file,\\b.txt,,4096,64,2,false\r\n") +
                  event("2021-01-01", "...B", "SI,file,\\a.txt,,4096,64,3,true\r\n"));
}

TEST(TimelineFormat, LargeNumbersAreSortedByValue) {
    std::vector<listing_row> rows;
    std::string expected = heading;
    for (const std::uint64_t entry : {0xFFFF'FFFF'FFFFull, 0x100ull, 0xFFull, 0x80ull, 5ull}) {
        listing_row row = plain_row();
        row.entry = entry;
        row.allocated_size = 0xFFFF'FFFF'FFFF'FFFF;
        row.standard.modified = at("2021-01-01", "01:02:03.4567890");
        rows.push_back(row);
    }
    for (const std::string entry : {"5", "128", "255", "256", "281474976710655"})
        expected += event("2021-01-01", "M...",
                          "SI,file,\\a.txt,,18446744073709551615," + entry + ",2,false\r\n");
    EXPECT_EQ(written<timeline_writer>(rows), expected);
}

TEST(TimelineFormat, CountsRowsWithoutTime) {
    format_text::text_sink sink;
    timeline_writer writer(sink);
    EXPECT_TRUE(writer.write(plain_row()));
    listing_row row = plain_row();
    row.name = times_of("2021");
    EXPECT_TRUE(writer.write(row));
    EXPECT_EQ(writer.note(), "rows without a time, which the timeline does not contain: 1");
}

TEST(TimelineFormat, EscapesPaths) {
    listing_row row = plain_row();
    row.path = "\\a,\"\n\xED\xA0\x80";
    row.standard.modified = at("2021-01-01", "01:02:03.4567890");
    EXPECT_EQ(written<timeline_writer>({row}),
              heading + event("2021-01-01", "M...",
                              "SI,file,\"\\a,\"\"\n\xEF\xBF\xBD\",5c612c220aeda080,4096,64,2,"
                              "false\r\n"));
}

}  // namespace
