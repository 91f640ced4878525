#include "convert/page/html_text.h"

#include <gtest/gtest.h>

#include "unit/convert/formats/format_text.h"

namespace {

std::string text_of(std::string_view text) {
    std::string out = "x";
    convert::append_html_text(out, text);
    return out.substr(1);
}

std::string name_of(std::string_view text) {
    std::string out;
    convert::append_html_name(out, text);
    return out;
}

TEST(HtmlText, EscapesCharactersOfHtml) {
    const struct {
        const char* name;
        std::string text, html;
    } cases[] = {
        {"plain", "\\a b.txt", "\\a b.txt"},
        {"empty", "", ""},
        {"markup", "<script>&amp;", "&lt;script&gt;&amp;amp;"},
        {"quotes", "\"'", "&quot;&#39;"},
        {"line feed", "a\nb", "a\\x0ab"},
        {"ESC", "\x1B", "\\x1b"},
        {"delete", "\x7F", "\\x7f"},
        {"C1", "\xC2\x9B", "\\x9b"},
        {"no-break space", "\xC2\xA0", "\xC2\xA0"},
        {"to the left", "\xE2\x80\xAE", "\\u202e"},
        {"no width", "\xEF\xBB\xBF", "\\ufeff"},
        {"not a character", "\xEF\xBF\xBE\xEF\xB7\x90", "\\ufffe\\ufdd0"},
        {"not a character, plane 16", "\xF4\x8F\xBF\xBF", "\\u10ffff"},
        {"next to those", "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xBF\xBD",
         "\xEF\xB7\x8F\xEF\xB7\xB0\xEF\xBF\xBD"},
        {"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD"},
        {"not UTF-8", "\xFF", "\xEF\xBF\xBD"},
        {"other planes", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(text_of(c.text), c.html);
    }
}

TEST(HtmlText, MarksTheEscapesOfANameAndBreaksItAfterBackslashes) {
    EXPECT_EQ(name_of("\\a\\<\n\xE2\x80\xAE"),
              "<bdi>\\<wbr>a\\<wbr>&lt;<span class=\"esc\">\\x0a</span>"
              "<span class=\"esc\">\\u202e</span></bdi>");
    EXPECT_EQ(name_of("\xED\xA0\x80"), "<bdi>\xEF\xBF\xBD</bdi>");
}

// No text of one or two bytes becomes markup.
TEST(HtmlText, NoByteBecomesMarkup) {
    for (unsigned value = 0; value < 0x10000; ++value) {
        const std::string bytes = {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
        const std::string html = text_of(bytes);
        for (const char c : html) {
            EXPECT_TRUE(c != '<' && c != '>' && c != '"' && c != '\'') << value;
            EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) << value;
        }
    }
}

TEST(HtmlText, GroupsDigits) {
    const struct {
        std::uint64_t value;
        std::string text;
    } cases[] = {
        {0, "0"},
        {999, "999"},
        {1000, "1,000"},
        {123456, "123,456"},
        {1234567, "1,234,567"},
        {UINT64_MAX, "18,446,744,073,709,551,615"},
    };
    for (const auto& c : cases) {
        std::string out = "9";
        convert::append_count(out, c.value);
        EXPECT_EQ(out, "9" + c.text);
    }
}

TEST(HtmlText, BytesHaveAUnit) {
    const struct {
        std::uint64_t value;
        std::string text;
    } cases[] = {
        {0, "0"},
        {1023, "1,023"},
        {1024, "1,024 (1.0&nbsp;KiB)"},
        {1536, "1,536 (1.5&nbsp;KiB)"},
        {2047, "2,047 (1.9&nbsp;KiB)"},
        {1048575, "1,048,575 (1,023.9&nbsp;KiB)"},
        {1048576, "1,048,576 (1.0&nbsp;MiB)"},
        {5ull << 30, "5,368,709,120 (5.0&nbsp;GiB)"},
        {1ull << 60, "1,152,921,504,606,846,976 (1.0&nbsp;EiB)"},
        {UINT64_MAX, "at least 18,446,744,073,709,551,615 (15.9&nbsp;EiB)"},
    };
    for (const auto& c : cases) {
        std::string out;
        convert::append_bytes(out, c.value);
        EXPECT_EQ(out, c.text);
    }
}

TEST(HtmlText, TimesHaveABlank) {
    std::string out = "T";
    convert::append_html_time(out, *format_text::at("2021-03-05", "06:07:08.2340000"));
    EXPECT_EQ(out, "T2021-03-05 06:07:08.2340000");
}

}  // namespace
