#include "convert/listing/name_text.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

struct text_case {
    const char* name;
    std::string text;
    bool valid;
    std::string shown;
};

const std::string mark = "\xEF\xBF\xBD";

TEST(NameText, ReplacesWhatIsNotUnicode) {
    const text_case cases[] = {
        {"empty", "", true, ""},
        {"ASCII", "\\a\n\x7F", true, "\\a\n\x7F"},
        {"two bytes", "\xC2\x80\xDF\xBF", true, "\xC2\x80\xDF\xBF"},
        {"three bytes", "\xE0\xA0\x80\xEF\xBF\xBF", true, "\xE0\xA0\x80\xEF\xBF\xBF"},
        {"around surrogates", "\xED\x9F\xBF\xEE\x80\x80", true, "\xED\x9F\xBF\xEE\x80\x80"},
        {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", true,
         "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"high surrogate",
         "a\xED\xA0\x80"
         "b",
         false, "a" + mark + "b"},
        {"low surrogate", "\xED\xBF\xBF", false, mark},
        {"pair of three bytes each", "\xED\xA0\xBD\xED\xB8\x80", false, mark + mark},
        {"continuation", "\x80x", false, mark + "x"},
        {"overlong", "\xC0\xAFx", false, mark + mark + "x"},
        {"overlong of three bytes", "\xE0\x80\xAF", false, mark + mark + mark},
        {"above Unicode", "\xF4\x90\x80\x80", false, mark + mark + mark + mark},
        {"no lead byte", "\xFF", false, mark},
        {"truncated", "\xE2\x82", false, mark + mark},
        {"interrupted", "\xE2\x82z", false, mark + mark + "z"},
    };
    for (const text_case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(convert::is_valid_unicode(c.text), c.valid);
        std::string out = "=";
        convert::append_valid(out, c.text);
        EXPECT_EQ(out, "=" + c.shown);
    }
}

TEST(NameText, DecodesEachLength) {
    EXPECT_EQ(convert::decode_character("A").value, U'A');
    EXPECT_EQ(convert::decode_character("\xC3\xA9").value, U'\u00E9');
    EXPECT_EQ(convert::decode_character("\xE2\x82\xAC").value, U'\u20AC');
    EXPECT_EQ(convert::decode_character("\xF0\x9F\x98\x80").value, U'\U0001F600');
    EXPECT_EQ(convert::decode_character("\xF0\x9F\x98\x80").length, 4u);
    const convert::character lone = convert::decode_character("\xED\xA0\x81");
    EXPECT_EQ(lone.value, 0xD801u);
    EXPECT_EQ(lone.length, 3u);
    EXPECT_EQ(lone.what, convert::character::kind::surrogate);
}

TEST(NameText, HexadecimalHasTwoDigitsAByte) {
    std::string out;
    convert::append_hex_bytes(out, std::string("\0\x0F\xA0\xFF", 4));
    EXPECT_EQ(out, "000fa0ff");
}

TEST(NameText, PercentEscapesHaveUpperCaseDigits) {
    std::string out = "a";
    convert::append_percent_escape(out, std::string("\0\x0F\xA0\xFF|", 5));
    EXPECT_EQ(out, "a%00%0F%A0%FF%7C");
}

TEST(NameText, CharactersThatAreNotPrinted) {
    for (const char32_t value : {U'\x0', U'\x1F', U'\x7F', U'\x9F'})
        EXPECT_TRUE(convert::is_control(value)) << std::uint32_t{value};
    for (const char32_t value : {U'\x20', U'\x7E', U'\xA0'})
        EXPECT_FALSE(convert::is_control(value)) << std::uint32_t{value};
    for (const char32_t value :
         {U'\x61C', U'\x200E', U'\x200F', U'\x202A', U'\x202E', U'\x2066', U'\x2069'})
        EXPECT_TRUE(convert::is_direction_mark(value)) << std::uint32_t{value};
    for (const char32_t value : {U'\x200D', U'\x2010', U'\x2029', U'\x202F', U'\x2065', U'\x206A'})
        EXPECT_FALSE(convert::is_direction_mark(value)) << std::uint32_t{value};
    for (const char32_t value : {U'\xAD', U'\x200B', U'\x200D', U'\x2028', U'\x2029', U'\x2060',
                                 U'\x2064', U'\xFEFF', U'\xE0001'})
        EXPECT_TRUE(convert::is_invisible(value)) << std::uint32_t{value};
    for (const char32_t value : {U'\x20', U'\x200A', U'\x200E', U'\x2065', U'\xFEFE', U'\xE0080'})
        EXPECT_FALSE(convert::is_invisible(value)) << std::uint32_t{value};
}

}  // namespace
