#include "convert/formats/jsonl_format.h"

#include "unit/convert/formats/format_text.h"

namespace {

using convert::jsonl_writer;
using convert::listing_row;
using format_text::plain_row;
using format_text::times_of;
using format_text::written;

TEST(JsonlFormat, WritesEveryField) {
    listing_row row = plain_row();
    row.type = convert::row_type::directory;
    row.path = "\\a\\";
    row.allocated_size = 18446744073709551615u;
    row.flags = 2;
    row.standard = times_of("2021");
    row.name = times_of("2022");
    row.short_name = times_of("2023");
    row.set_back = true;
    row.object_id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    std::string times;
    const char* const years[] = {"2021", "2022", "2023"};
    const char* const sources[] = {"si", "fn", "short_fn"};
    const char* const names[] = {"created", "modified", "changed", "accessed"};
    for (std::size_t source = 0; source < 3; ++source) {
        for (std::size_t i = 0; i < 4; ++i)
            times += std::string("\"") + sources[source] + "_" + names[i] + "\":\"" +
                     years[source] + "-01-0" + std::to_string(i + 1) + "T01:02:03.4567890Z\",";
    }
    EXPECT_EQ(written<jsonl_writer>({row}),
              "{\"type\":\"dir\",\"path\":\"\\\\a\\\\\",\"path_hex\":null,\"link_target\":null,"
              "\"allocated_size\":18446744073709551615,\"attributes\":32,\"entry\":64,"
              "\"sequence\":2,\"flags\":2,\"deleted\":true," +
                  times +
                  "\"set_back\":true,\"object_id\":\"03020100-0504-0706-0809-0a0b0c0d0e0f\"}\n");
}

TEST(JsonlFormat, BlankFieldsAreNull) {
    EXPECT_EQ(written<jsonl_writer>({plain_row()}),
              "{\"type\":\"file\",\"path\":\"\\\\a.txt\",\"path_hex\":null,\"link_target\":null,"
              "\"allocated_size\":4096,\"attributes\":32,\"entry\":64,\"sequence\":2,\"flags\":1,"
              "\"deleted\":false,\"si_created\":null,\"si_modified\":null,\"si_changed\":null,"
              "\"si_accessed\":null,\"fn_created\":null,\"fn_modified\":null,\"fn_changed\":null,"
              "\"fn_accessed\":null,\"short_fn_created\":null,\"short_fn_modified\":null,"
              "\"short_fn_changed\":null,\"short_fn_accessed\":null,\"set_back\":false,"
              "\"object_id\":null}\n");
}

TEST(JsonlFormat, EscapesText) {
    const struct {
        const char* name;
        std::string text, escaped;
    } cases[] = {
        {"plain", "a,|<script>%=", "a,|<script>%="},
        {"quote and backslash", "\"\\", "\\\"\\\\"},
        {"line end", "a\r\nb", "a\\u000d\\u000ab"},
        {"ESC and DEL", "\x1B\x7F", "\\u001b\\u007f"},
        {"C1", "\xC2\x9B", "\\u009b"},
        {"after C1", "\xC2\xA0", "\xC2\xA0"},
        {"four bytes", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
        {"lone surrogates", "x\xED\xA0\x80\xED\xBF\xBF", "x\\ud800\\udfff"},
        {"invalid byte", "\xFFz", "\xEF\xBF\xBDz"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string out;
        convert::append_json_text(out, c.text);
        EXPECT_EQ(out, "\"" + c.escaped + "\"");
    }
}

TEST(JsonlFormat, AnInvalidPathIsAlsoInHexadecimal) {
    listing_row row = plain_row();
    row.path = "\\\xED\xA0\x80";
    EXPECT_NE(
        written<jsonl_writer>({row}).find("\"path\":\"\\\\\\ud800\",\"path_hex\":\"5ceda080\","),
        std::string::npos);
}

}  // namespace
