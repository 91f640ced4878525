#include "convert/formats/csv_format.h"

#include "unit/convert/formats/format_text.h"

namespace {

using convert::csv_writer;
using convert::listing_row;
using format_text::plain_row;
using format_text::times_of;
using format_text::written;

const std::string heading =
    "type,path,path_hex,link_target,allocated_size,attributes,entry,sequence,flags,deleted,"
    "si_created,si_modified,si_changed,si_accessed,fn_created,fn_modified,fn_changed,fn_accessed,"
    "short_fn_created,short_fn_modified,short_fn_changed,short_fn_accessed,set_back,object_id\r\n";

TEST(CsvFormat, WritesEveryColumn) {
    listing_row row = plain_row();
    row.type = convert::row_type::stream;
    row.flags = 0;
    row.standard = times_of("2021");
    row.name = times_of("2022");
    row.short_name = times_of("2023");
    row.set_back = true;
    row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    std::string times;
    for (const char* year : {"2021", "2022", "2023"}) {
        for (const char* day : {"1", "2", "3", "4"})
            times += std::string(year) + "-01-0" + day + "T01:02:03.4567890Z,";
    }
    EXPECT_EQ(written<csv_writer>({row}), heading + "ads,\\a.txt,,,4096,32,64,2,0,true," + times +
                                              "true,03020100-0504-0706-0809-0a0b0c0d0e0f\r\n");
}

TEST(CsvFormat, BlankFieldsAreEmpty) {
    EXPECT_EQ(written<csv_writer>({plain_row()}),
              heading + "file,\\a.txt,,,4096,32,64,2,1,false,,,,,,,,,,,,,false,\r\n");
}

TEST(CsvFormat, AListingWithoutRowsHasAHeading) { EXPECT_EQ(written<csv_writer>({}), heading); }

TEST(CsvFormat, QuotesAndMarksText) {
    const struct {
        const char* name;
        std::string text, field;
    } cases[] = {
        {"plain", "\\a b;c|d", "\\a b;c|d"},
        {"comma", "\\a,b", "\"\\a,b\""},
        {"quotes", "\\\"a\"\"", "\"\\\"\"a\"\"\"\"\""},
        {"line feed", "\\a\nb", "\"\\a\nb\""},
        {"carriage return", "\\a\rb", "\"\\a\rb\""},
        {"ESC is kept", "\\\x1B[31m", "\\\x1B[31m"},
        {"sum", "=1+1", "'=1+1"},
        {"plus", "+1", "'+1"},
        {"minus", "-1", "'-1"},
        {"at", "@a", "'@a"},
        {"tab", "\ta", "'\ta"},
        {"first line feed", "\na", "\"'\na\""},
        {"sum with a comma", "=a,b", "\"'=a,b\""},
        {"sum in a path", "\\=1+1", "\\=1+1"},
        {"apostrophe", "'a", "''a"},
        {"surrogate", "\\\xED\xA0\x80,", "\"\\\xEF\xBF\xBD,\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string out = "\"x\",";  // quotes that are already in the row are not doubled
        convert::append_csv_text(out, c.text);
        EXPECT_EQ(out, "\"x\"," + c.field);
    }
}

TEST(CsvFormat, AnInvalidPathIsAlsoInHexadecimal) {
    listing_row row = plain_row();
    row.path = "\\\xED\xA0\x80";
    EXPECT_EQ(written<csv_writer>({row}).substr(heading.size(), 25),
              "file,\\\xEF\xBF\xBD,5ceda080,,4096,");
}

}  // namespace
