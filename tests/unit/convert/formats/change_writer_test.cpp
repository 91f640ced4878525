#include "convert/formats/change_writer.h"

#include "convert/formats/jsonl_format.h"
#include "unit/convert/formats/format_text.h"

namespace {

using convert::change_jsonl;
using convert::change_table;
using convert::listing_row;
using convert::row_change;
using format_text::plain_row;

const std::string heading =
    "change           type      entry sequence      old bytes      new bytes SI   FN   path\n";

template <typename Writer>
std::string written(const row_change& change) {
    format_text::text_sink sink;
    Writer writer(sink);
    EXPECT_TRUE(writer.begin());
    EXPECT_TRUE(writer.write(change));
    return sink.text;
}

std::string line_of(const row_change& change) {
    return written<change_table>(change).substr(heading.size());
}

TEST(ChangeWriter, TableOfEachKind) {
    const listing_row row = plain_row();
    listing_row other = plain_row();
    other.path = "\\b.txt";
    other.allocated_size = 1234567890123;
    other.entry = 0xFFFF'FFFF'FFFF;
    EXPECT_EQ(written<change_table>({nullptr, &row}).substr(0, heading.size()), heading);
    EXPECT_EQ(line_of({nullptr, &row}),
              "created          file         64        2              -           4096 .... .... "
              "\\a.txt\n");
    EXPECT_EQ(line_of({&row, nullptr}),
              "deleted          file         64        2           4096              - .... .... "
              "\\a.txt\n");
    EXPECT_EQ(line_of({&row, &other, true, false, true, 0}),
              "renamed,resized  file 281474976710655        2           4096  1234567890123 .... "
              ".... \\a.txt -> \\b.txt\n");
    EXPECT_EQ(line_of({&row, &other, false, true, false, 0}).substr(0, 6), "moved ");
    EXPECT_EQ(line_of({&row, &row, true, true, true, 1}).substr(0, 28),
              "renamed,moved,resized,times ");
}

TEST(ChangeWriter, TableOfTimes) {
    const listing_row row = plain_row();
    const auto letters = [&row](unsigned times) {
        return line_of({&row, &row, false, false, false, times}).substr(72, 9);
    };
    EXPECT_EQ(letters(0x001), "...B ....");
    EXPECT_EQ(letters(0x002), "M... ....");
    EXPECT_EQ(letters(0x004), "..C. ....");
    EXPECT_EQ(letters(0x008), ".A.. ....");
    EXPECT_EQ(letters(0x010), ".... ...B");
    EXPECT_EQ(letters(0x080), ".... .A..");
    EXPECT_EQ(letters(0x200), ".... M...") << "of a DOS name";
    EXPECT_EQ(letters(0xFFF), "MACB MACB");
}

// No name can end the line, write to the terminal or look like a second path.
TEST(ChangeWriter, TableEscapesPaths) {
    listing_row row = plain_row();
    const std::string start = line_of({&row, nullptr});
    const struct {
        std::string path, shown;
    } cases[] = {
        {"\\a\nb", "\\a%0Ab"},
        {"\\\x1B[31m", "\\%1B[31m"},
        {"\\\xC2\x9B", "\\%C2%9B"},
        {"\\a -> \\b", "\\a -%3E \\b"},
        {"\\100%", "\\100%25"},
        {"\\\xE2\x80\xAEgnp.exe", "\\%E2%80%AEgnp.exe"},
        {"\\\xEF\xBB\xBF", "\\%EF%BB%BF"},
        {"\\\xED\xA0\x80\xFF", "\\\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\\\xC3\xA9 <", "\\\xC3\xA9 <"},
    };
    for (const auto& c : cases) {
        row.path = c.path;
        EXPECT_EQ(line_of({&row, nullptr}), start.substr(0, start.find('\\')) + c.shown + "\n");
    }
}

TEST(ChangeWriter, JsonHasBothRows) {
    const listing_row row = plain_row();
    listing_row other = plain_row();
    other.path = "\\\xED\xA0\x80\"";
    std::string old_object, new_object;
    convert::append_json_row(old_object, row);
    convert::append_json_row(new_object, other);
    EXPECT_EQ(old_object.front(), '{');
    EXPECT_EQ(old_object.back(), '}');
    EXPECT_EQ(written<change_jsonl>({&row, &other, true, true, true, 0x811}),
              "{\"change\":[\"renamed\",\"moved\",\"resized\",\"times\"],\"type\":\"file\","
              "\"entry\":64,\"sequence\":2,"
              "\"times\":[\"si_created\",\"fn_created\",\"short_fn_accessed\"],\"old\":" +
                  old_object + ",\"new\":" + new_object + "}\n");
    EXPECT_EQ(written<change_jsonl>({nullptr, &row}),
              "{\"change\":[\"created\"],\"type\":\"file\",\"entry\":64,\"sequence\":2,"
              "\"times\":[],\"old\":null,\"new\":" +
                  old_object + "}\n");
    EXPECT_EQ(written<change_jsonl>({&row, nullptr}),
              "{\"change\":[\"deleted\"],\"type\":\"file\",\"entry\":64,\"sequence\":2,"
              "\"times\":[],\"old\":" +
                  old_object + ",\"new\":null}\n");
}

}  // namespace
