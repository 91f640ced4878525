#include "convert/listing/row_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/listing_text.h"

namespace {

using convert::listing_row;
using convert::parse_result;
using convert::row_parser;
using convert::row_type;
using listing_text::row_fields;
using kind = parse_result::kind;

const row_parser plain(listing_text::separator, false);
const row_parser with_ids(listing_text::separator, true);
const std::string guid = "03020100-0504-0706-0809-0a0b0c0d0e0f";

listing_row parsed(const std::string& text, const row_parser& parser = plain) {
    listing_row row;
    const parse_result result = parser.parse(text, row);
    EXPECT_EQ(result.what, kind::row) << result.reason;
    EXPECT_EQ(result.length, text.size());
    return row;
}

std::optional<convert::utc_time> at(const char* date, const char* time) {
    return convert::parse_utc_time(date, time);
}

TEST(RowParser, ReadsEveryField) {
    row_fields fields;
    fields.short_name = {"2022-01-01", "01:01:01.0000001", "2022-02-02", "02:02:02.0000002",
                         "2022-03-03", "03:03:03.0000003", "2022-04-04", "04:04:04.0000004"};
    fields.name[0] = "2021-12-31";
    fields.discrepancy = "true";
    fields.object_id = guid;
    const listing_row row = parsed(listing_text::row(fields), with_ids);
    EXPECT_EQ(row.type, row_type::file);
    EXPECT_EQ(row.path, "\\a.txt");
    EXPECT_EQ(row.link_target, "");
    EXPECT_EQ(row.allocated_size, 4096u);
    EXPECT_EQ(row.attributes, 32u);
    EXPECT_EQ(row.entry, 64u);
    EXPECT_EQ(row.sequence, 2u);
    EXPECT_EQ(row.flags, 1u);
    EXPECT_EQ(row.standard.created, at("2021-03-04", "05:06:07.1234567"));
    EXPECT_EQ(row.standard.modified, at("2021-03-05", "06:07:08.2345678"));
    EXPECT_EQ(row.standard.changed, at("2021-03-06", "07:08:09.3456789"));
    EXPECT_EQ(row.standard.accessed, at("2021-03-07", "08:09:10.4567890"));
    EXPECT_EQ(row.name.created, at("2021-12-31", "05:06:07.1234567"));
    EXPECT_EQ(row.name.accessed, at("2021-03-07", "08:09:10.4567890"));
    EXPECT_EQ(row.short_name.created, at("2022-01-01", "01:01:01.0000001"));
    EXPECT_EQ(row.short_name.modified, at("2022-02-02", "02:02:02.0000002"));
    EXPECT_EQ(row.short_name.changed, at("2022-03-03", "03:03:03.0000003"));
    EXPECT_EQ(row.short_name.accessed, at("2022-04-04", "04:04:04.0000004"));
    EXPECT_TRUE(row.set_back);
    EXPECT_EQ(row.object_id, guid);
}

TEST(RowParser, ReadsEachTypeAndTheLargestNumbers) {
    const struct {
        const char* name;
        row_type type;
    } types[] = {{"file", row_type::file},
                 {"dir", row_type::directory},
                 {"indx", row_type::index},
                 {"ads", row_type::stream}};
    for (const auto& type : types) {
        row_fields fields;
        fields.type = type.name;
        EXPECT_EQ(parsed(listing_text::row(fields)).type, type.type);
        EXPECT_STREQ(convert::type_name(type.type), type.name);
    }
    row_fields fields;
    fields.size = "18446744073709551615";
    fields.attributes = "4294967295";
    fields.entry = "281474976710655";
    fields.sequence = fields.flags = "65535";
    const listing_row row = parsed(listing_text::row(fields));
    EXPECT_EQ(row.allocated_size, 0xFFFF'FFFF'FFFF'FFFFu);
    EXPECT_EQ(row.attributes, 0xFFFF'FFFFu);
    EXPECT_EQ(row.entry, 0xFFFF'FFFF'FFFFu);
    EXPECT_EQ(row.sequence, 0xFFFFu);
    EXPECT_EQ(row.flags, 0xFFFFu);
}

TEST(RowParser, BlankTimesAreNone) {
    row_fields fields;
    fields.standard = fields.name = std::vector<std::string>(8);
    fields.standard[6] = "1970-01-01";
    fields.standard[7] = "00:00:01.0000000";
    const listing_row row = parsed(listing_text::row(fields));
    EXPECT_FALSE(row.standard.created || row.standard.modified || row.standard.changed);
    EXPECT_EQ(row.standard.accessed, at("1970-01-01", "00:00:01.0000000"));
    EXPECT_FALSE(row.standard.blank());
    EXPECT_TRUE(row.name.blank());
    EXPECT_TRUE(row.short_name.blank());
}

TEST(RowParser, KeepsAnyByteOfANameExceptZero) {
    std::string all;
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    for (const std::string& name :
         {all, std::string("a\nfile"), std::string("@"), std::string("x@0123456789"),
          std::string("\nno items\n\n"), std::string("\n"), std::string(255, '@')}) {
        row_fields fields;
        fields.path = "\\" + name;
        EXPECT_EQ(parsed(listing_text::row(fields)).path, fields.path);
    }
}

TEST(RowParser, AnEntryWithoutFileNameHasNoNameColumns) {
    row_fields fields;
    fields.name.clear();
    fields.short_name.clear();
    const std::string text = listing_text::row(fields);
    const listing_row row = parsed(text);
    EXPECT_TRUE(row.name.blank() && row.short_name.blank());
    EXPECT_FALSE(row.set_back);
    EXPECT_EQ(parsed(text, with_ids).object_id, "");
    fields.object_id = guid;
    EXPECT_EQ(parsed(listing_text::row(fields), with_ids).object_id, guid);
}

TEST(RowParser, EveryPrefixOfARowIsIncomplete) {
    row_fields fields;
    fields.discrepancy = "true";
    fields.object_id = guid;
    fields.path = "\\line\nfeed";
    const std::string text = listing_text::row(fields);
    listing_row row;
    for (std::size_t length = 0; length < text.size(); ++length) {
        EXPECT_EQ(with_ids.parse(text.substr(0, length), row).what, kind::incomplete) << length;
    }
}

TEST(RowParser, StopsAfterOneRow) {
    const std::string text = listing_text::row();
    listing_row row;
    const parse_result result = plain.parse(text + text, row);
    EXPECT_EQ(result.what, kind::row);
    EXPECT_EQ(result.length, text.size());
}

struct malformed_case {
    const char* name;
    const char* reason;
    void (*damage)(row_fields&);
};

const malformed_case malformed_cases[] = {
    {"other type", "unknown type", [](row_fields& f) { f.type = "-"; }},
    {"no type", "unknown type", [](row_fields& f) { f.type = ""; }},
    {"longer type", "unknown type", [](row_fields& f) { f.type = "files"; }},
    {"hexadecimal", "size", [](row_fields& f) { f.size = "0x00001000"; }},
    {"no size", "size", [](row_fields& f) { f.size = ""; }},
    {"leading zero", "size", [](row_fields& f) { f.size = "01"; }},
    {"65 bits", "size", [](row_fields& f) { f.size = "18446744073709551616"; }},
    {"33 bits", "attributes", [](row_fields& f) { f.attributes = "4294967296"; }},
    {"sign", "MFT entry", [](row_fields& f) { f.entry = "-1"; }},
    {"17 bits", "sequence", [](row_fields& f) { f.sequence = "65536"; }},
    {"flags", "flags", [](row_fields& f) { f.flags = "1 "; }},
    {"zero in the path", "zero byte", [](row_fields& f) { f.path = std::string("\\a\0b", 4); }},
    {"zero in the link", "zero byte", [](row_fields& f) { f.link = std::string(1, '\0'); }},
    {"date without time", "$STANDARD_INFORMATION", [](row_fields& f) { f.standard[1] = ""; }},
    {"time without date", "$STANDARD_INFORMATION", [](row_fields& f) { f.standard[0] = ""; }},
    {"no such day", "$STANDARD_INFORMATION", [](row_fields& f) { f.standard[2] = "2021-02-30"; }},
    {"milliseconds", "$FILE_NAME", [](row_fields& f) { f.name[3] = "06:07:08.234"; }},
    {"short name", "short $FILE_NAME", [](row_fields& f) { f.short_name[0] = "2021-01-0x"; }},
    {"discrepancy", "discrepancy", [](row_fields& f) { f.discrepancy = "trut"; }},
    {"more fields", "after its last field",
     [](row_fields& f) { f.object_id = listing_text::separator; }},
};

TEST(RowParser, ReportsTheFieldThatDoesNotFit) {
    for (const malformed_case& c : malformed_cases) {
        SCOPED_TRACE(c.name);
        row_fields fields;
        c.damage(fields);
        listing_row row;
        const parse_result result = plain.parse(listing_text::row(fields), row);
        EXPECT_EQ(result.what, kind::malformed);
        EXPECT_THAT(result.reason, testing::HasSubstr(c.reason));
    }
}

TEST(RowParser, AnObjectIdNeedsItsColumnAndItsForm) {
    for (const std::string& id : {guid.substr(1) + "g", "0" + guid.substr(0, 35),
                                  std::string("03020100-0504-0706-0809-0A0B0C0D0E0F")}) {
        row_fields fields;
        fields.object_id = id;
        listing_row row;
        EXPECT_EQ(with_ids.parse(listing_text::row(fields), row).what, kind::malformed) << id;
    }
    row_fields fields;
    fields.object_id = guid;
    listing_row row;
    EXPECT_EQ(plain.parse(listing_text::row(fields), row).what, kind::malformed);
}

TEST(RowParser, RecognisesAPathWithoutRows) {
    listing_row row;
    const parse_result result = plain.parse("no items\n\nfile", row);
    EXPECT_EQ(result.what, kind::no_items);
    EXPECT_EQ(result.length, 10u);
    EXPECT_EQ(plain.parse("no items\n", row).what, kind::incomplete);
    EXPECT_EQ(plain.parse("no items\nx", row).what, kind::malformed);
}

TEST(RowParser, FindsTheNextRow) {
    const std::string row = "\n" + listing_text::row();
    EXPECT_EQ(plain.find_next_row("junk" + row), 4u);
    EXPECT_EQ(plain.find_next_row("ju\nnk\nfile" + row), 10u);
    EXPECT_EQ(plain.find_next_row("ju\nnk"), 5u);
    EXPECT_EQ(plain.find_next_row("junk\nfile@01234"), 4u);
    EXPECT_EQ(plain.find_next_row("junk\n"), 4u);
}

TEST(RowParser, ARowOfMoreThanTheLimitIsMalformed) {
    const std::string text =
        "file" + listing_text::separator + std::string(row_parser::most_bytes, 'a');
    listing_row row;
    const parse_result result = plain.parse(text, row);
    EXPECT_EQ(result.what, kind::malformed);
    EXPECT_STREQ(result.reason, "the row is too long");
}

}  // namespace
