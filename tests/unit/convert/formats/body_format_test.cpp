#include "convert/formats/body_format.h"

#include "unit/convert/formats/format_text.h"

namespace {

using convert::body_writer;
using convert::listing_row;
using convert::row_type;
using format_text::plain_row;
using format_text::times_of;
using format_text::written;

// 2021-01-01 01:02:03 and 2022-01-01 01:02:03.
constexpr std::uint64_t seconds_2021 = 18628ull * 86400 + 3723;
constexpr std::uint64_t seconds_2022 = 18993ull * 86400 + 3723;

// Returns accessed, modified, changed and created for times_of().
std::string body_times(std::uint64_t created) {
    std::string text;
    for (const std::uint64_t day : {3u, 1u, 2u, 0u})
        text += "|" + std::to_string(created + day * 86400);
    return text + "\n";
}

TEST(BodyFormat, AFileHasALineForEachSourceOfTimes) {
    listing_row row = plain_row();
    row.standard = times_of("2021");
    row.name = times_of("2022");
    row.short_name = times_of("2023");
    EXPECT_EQ(written<body_writer>({row}),
              "0|/a.txt|64|r/rrwxrwxrwx|0|0|4096" + body_times(seconds_2021) +
                  "0|/a.txt ($FILE_NAME)|64|r/rrwxrwxrwx|0|0|4096" + body_times(seconds_2022));
}

TEST(BodyFormat, AStreamHasOneLine) {
    for (const row_type type : {row_type::stream, row_type::index}) {
        listing_row row = plain_row();
        row.type = type;
        row.path = "\\a.txt:s";
        row.standard = times_of("2021");
        row.name = times_of("2022");
        EXPECT_EQ(written<body_writer>({row}),
                  "0|/a.txt:s|64|r/rrwxrwxrwx|0|0|4096" + body_times(seconds_2021));
    }
}

TEST(BodyFormat, ADeletedReadOnlyDirectory) {
    listing_row row = plain_row();
    row.type = row_type::directory;
    row.path = "\\a\\";
    row.attributes = 1;
    row.flags = 2;
    EXPECT_EQ(written<body_writer>({row}),
              "0|/a (deleted)|64|d/dr-xr-xr-x|0|0|4096|0|0|0|0\n"
              "0|/a ($FILE_NAME) (deleted)|64|d/dr-xr-xr-x|0|0|4096|0|0|0|0\n");
}

TEST(BodyFormat, CountsLinesWithoutTime) {
    format_text::text_sink sink;
    body_writer writer(sink);
    EXPECT_EQ(writer.note(), "");
    listing_row row = plain_row();
    row.standard.accessed = format_text::at("1970-01-01", "00:00:01.0000000");
    EXPECT_TRUE(writer.write(row));
    EXPECT_EQ(writer.note(), "lines without a time, which mactime skips: 1");
    EXPECT_TRUE(writer.write(plain_row()));
    EXPECT_EQ(writer.note(), "lines without a time, which mactime skips: 3");
}

TEST(BodyFormat, EscapesPaths) {
    const struct {
        const char* name;
        row_type type;
        std::string path, shown;
    } cases[] = {
        {"root", row_type::directory, "\\", "/"},
        {"directory", row_type::directory, "\\a\\b\\", "/a/b"},
        {"file that ends in a backslash", row_type::file, "\\a\\", "/a/"},
        {"percent and pipe", row_type::file, "\\100%|x", "/100%25%7Cx"},
        {"slash in a name", row_type::file, "\\a/b", "/a%2Fb"},
        {"controls", row_type::file, "\\a\n\r\x1B\x7F", "/a\\x0a\\x0d\\x1b\\x7f"},
        {"C1", row_type::file, "\\\xC2\x9B", "/\\x9b"},
        {"other text", row_type::file, "\\<script>\"',=1+1\xC3\xA9", "/<script>\"',=1+1\xC3\xA9"},
        {"surrogate", row_type::file, "\\\xED\xA0\x80", "/\xEF\xBF\xBD"},
        {"looks deleted", row_type::file, "\\a (deleted)", "/a%20(deleted)"},
        {"looks like a name", row_type::file, "\\a ($FILE_NAME)", "/a%20($FILE_NAME)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        listing_row row;
        row.type = c.type;
        row.path = c.path;
        std::string out;
        convert::append_body_path(out, row);
        EXPECT_EQ(out, c.shown);
    }
}

}  // namespace
