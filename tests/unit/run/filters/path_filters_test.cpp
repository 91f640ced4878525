#include "run/filters/path_filters.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run/settings/cmd_params.h"
#include "support/temp_dir.h"

namespace {

using filter_list = std::vector<path_filter>;

filter_list parsed(const std::string& text) {
    filter_list filters;
    parse_filter_list(filters, text);
    return filters;
}

bool passes(const std::string& list, const std::wstring& path) {
    return path_passes_filters(cmd_params(), path, parsed(list), file_time_bounds(), false);
}

TEST(ParseFilterList, SplitsAtPipesOrCommas) {
    const struct {
        const char* name;
        const char* text;
        std::vector<std::wstring> texts;
    } cases[] = {
        {"one item", "*.exe", {L"*.exe"}},
        {"lowered", "*.EXE", {L"*.exe"}},
        {"pipes", "*.exe|*.dll", {L"*.exe", L"*.dll"}},
        {"commas", "*.exe,*.dll", {L"*.exe", L"*.dll"}},
        {"pieces are trimmed", " a | b ", {L"a", L"b"}},
        {"empty pieces are dropped", ",a,,b,", {L"a", L"b"}},
        {"a comma takes precedence, the pipe is kept", "a|b,c", {L"a|b", L"c"}},
        {"a single item is not trimmed", " a ", {L" a "}},
        {"an empty text is one item", "", {L""}},
        {"only separators", "||", {}},
        {"non-ASCII is decoded but not folded", "\xC3\x84.TXT", {L"\u00c4.txt"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        filter_list filters;
        EXPECT_EQ(parse_filter_list(filters, c.text), !c.texts.empty());
        std::vector<std::wstring> texts;
        for (const path_filter& item : filters)
            texts.push_back(item.text);
        EXPECT_EQ(texts, c.texts);
    }
}

TEST(ParseFilterList, AppendsToTheExistingItems) {
    filter_list filters = parsed("a");
    EXPECT_TRUE(parse_filter_list(filters, "b|c"));
    ASSERT_EQ(filters.size(), 3u);
    EXPECT_EQ(filters[0].text, L"a");
    EXPECT_EQ(filters[2].text, L"c");
}

TEST(ParseFilterList, StarAloneReplacesTheWholeList) {
    filter_list filters = parsed("a");
    EXPECT_TRUE(parse_filter_list(filters, "b|*|c"));
    ASSERT_EQ(filters.size(), 1u);
    EXPECT_EQ(filters[0].match_all, 1);
}

TEST(ParseFilterList, RecordsWildcards) {
    const struct {
        const char* item;
        const wchar_t* pattern;
        int match_all, wild_start, wild_end, in_path;
    } cases[] = {
        {"a.txt", L"a.txt", 0, 0, 0, 0},
        {"*.txt", L".txt", 0, 1, 0, 0},
        {"a*", L"a", 0, 0, 1, 0},
        {"*a*", L"a", 0, 1, 1, 0},
        {"a*b", L"ab", 0, 0, 0, 0},
        {"**", L"", 0, 1, 1, 0},
        {"*a*b*", L"ab", 0, 1, 1, 0},
        {"/windows", L"/windows", 0, 0, 0, 1},
        {"*/windows", L"/windows", 0, 1, 0, 1},
        {"\\windows", L"\\windows", 0, 0, 0, 0},
        {"*:zone", L"*", 1, 0, 0, 0},
        {"", L"", 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.item);
        const filter_list filters = parsed(c.item);
        ASSERT_EQ(filters.size(), 1u);
        EXPECT_EQ(filters[0].pattern, c.pattern);
        EXPECT_EQ(filters[0].match_all, c.match_all);
        EXPECT_EQ(filters[0].wild_start, c.wild_start);
        EXPECT_EQ(filters[0].wild_end, c.wild_end);
        EXPECT_EQ(filters[0].in_path, c.in_path);
    }
}

TEST(ParseFilterList, StreamPartStartsAtTheFirstColon) {
    const struct {
        const char* item;
        const wchar_t* pattern;
        const wchar_t* stream;
        int any, wild_start, wild_end;
    } cases[] = {
        {"a.txt:zone", L"a.txt", L"zone", 0, 0, 0},  {"a.txt:*", L"a.txt", L"*", 1, 0, 0},
        {"a.txt:*zone", L"a.txt", L"zone", 0, 1, 0}, {"a.txt:zone*", L"a.txt", L"zone", 0, 0, 1},
        {"a.txt:*z*e*", L"a.txt", L"ze", 0, 1, 1},   {"a.txt:b:c", L"a.txt", L"b:c", 0, 0, 0},
        {"a.txt:", L"a.txt", L"", 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.item);
        const filter_list filters = parsed(c.item);
        ASSERT_EQ(filters.size(), 1u);
        EXPECT_EQ(filters[0].has_stream, 1);
        EXPECT_EQ(filters[0].pattern, c.pattern);
        EXPECT_EQ(filters[0].stream_pattern, c.stream);
        EXPECT_EQ(filters[0].stream_any, c.any);
        EXPECT_EQ(filters[0].stream_wild_start, c.wild_start);
        EXPECT_EQ(filters[0].stream_wild_end, c.wild_end);
    }
    EXPECT_EQ(parsed("a.txt")[0].has_stream, 0);
}

TEST(ParseFilterSignature, ReadsBytesAndOffset) {
    const struct {
        const char* name;
        const char* text;
        std::vector<std::uint8_t> signature;
        std::uint64_t offset;
    } cases[] = {
        {"only digits", "4D5a", {0x4d, 0x5a}, 0},
        {"offset after a pipe", "4d5a|0x200", {0x4d, 0x5a}, 0x200},
        {"offset after a comma", "ff, 10", {0xff}, 10},
        {"odd digit at the end", "4d5", {0x4d}, 0},
        {"no digits", "zz", {}, 0},
        {"half a pair", "4d5z6e", {0x4d}, 0},
        {"every digit",
         "0123456789abcdef10",
         {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0x10},
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        filter_list filters;
        ASSERT_TRUE(parse_filter_signature(filters, c.text));
        ASSERT_EQ(filters.size(), 1u);
        EXPECT_EQ(filters[0].signature, c.signature);
        EXPECT_EQ(filters[0].signature_offset, c.offset);
        EXPECT_EQ(filters[0].pattern, L"");
    }
    filter_list filters;
    EXPECT_FALSE(parse_filter_signature(filters, "|"));
    EXPECT_TRUE(filters.empty());
}

TEST(SetFilterRoot, StoresTheLoweredPathInEveryItem) {
    filter_list filters = parsed("a|b");
    set_filter_root(filters, "\\Windows\\\xC3\x84");
    for (const path_filter& item : filters) {
        EXPECT_EQ(item.root, L"\\windows\\\u00c4");
        EXPECT_EQ(item.root_len, 10u);
    }
    filter_list none;
    set_filter_root(none, "x");
    EXPECT_TRUE(none.empty());
}

TEST(PathPassesFilters, NamesMatchByTheirPatterns) {
    const struct {
        const char* list;
        const wchar_t* path;
        bool pass;
    } cases[] = {
        {"a.txt", L"\\dir\\a.txt", true},
        {"A.TXT", L"\\dir\\a.txt", true},
        {"a.txt", L"\\DIR\\A.TXT", true},
        {"a.txt", L"\\dir\\b.txt", false},
        {"a.txt", L"\\dir\\aa.txt", false},
        {"a.txt", L"\\a.txt\\b", false},
        {"a.txt", L"\\\\a.txt", true},  // a file in the root
        {"a.txt", L".\\a.txt", true},   // a file that is itself the listed path
        {"a.txt", L"a.txt", true},
        {"*.txt", L"\\dir\\a.txt", true},
        {"*.txt", L"\\dir\\a.txt.txt", false},  // the first occurrence is not at the end
        {"*.txt", L"\\dir\\a.txtx", false},
        {"*.txt", L"\\dir\\.txt", true},
        {"a*", L"\\dir\\abc", true},
        {"a*", L"\\dir\\bac", false},
        {"*b*", L"\\dir\\abc", true},
        {"*b*", L"\\dir\\axc", false},
        {"a*c", L"\\dir\\abc", false},  // the inner star is dropped
        {"a*c", L"\\dir\\ac", true},
        {"**", L"\\dir\\anything", true},
        {"", L"\\dir\\a", false},
        {"*.exe|*.dll", L"\\dir\\a.dll", true},
        {"*.exe|*.dll", L"\\dir\\a.sys", false},
        {"*", L"\\dir\\a", true},
        {"*:zone", L"\\dir\\a", true},
        {"b|*:zone", L"\\dir\\a", true},
        {"a.txt:zone", L"\\dir\\a.txt", true},  // the stream part is ignored
        {"\xC3\xA4.txt", L"\\dir\\\u00e4.txt", true},
        {"\xC3\x84.txt", L"\\dir\\\u00e4.txt", false},
        {"\xFF", L"\\dir\\a", false},  // not UTF-8: an empty pattern
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.list) + " #" + std::to_string(&c - cases));
        EXPECT_EQ(passes(c.list, c.path), c.pass);
    }
}

TEST(PathPassesFilters, DirectoryPatternsMatchWholeComponents) {
    const struct {
        const char* list;
        const wchar_t* path;
        bool pass;
    } cases[] = {
        {"/windows", L"\\windows\\a.txt", true},
        {"/windows", L"\\windows\\sub\\a.txt", true},
        {"/windows", L"\\users\\windows\\a.txt", true},
        {"/windows", L"\\WINDOWS\\a.txt", true},
        {"/windows", L"\\windowsx\\a.txt", false},
        {"/windows", L"\\mywindows\\a.txt", false},
        {"/win", L"\\windows\\win\\a.txt", false},  // only the first occurrence is used
        {"/windows/sub", L"\\windows\\sub\\a.txt", true},
        {"/windows", L"c:/windows/a.txt", true},
        {"/windows", L"\\docs\\windows", false},  // a name is not a directory
        {"/abcd", L"\\abc\\def\\a.txt", false},
        {"/windows", L"\\windows\\/windowsx\\a.txt", false},  // slashes are searched for first
        {"*/windows", L"\\windows\\a.txt", true},
        {"\\windows", L"\\windows\\a.txt", false},  // a directory pattern starts with a slash
        {"/windows|a.txt", L"\\docs\\a.txt", true},
        {"/docs|/windows", L"\\windows\\a.txt", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.list) + " #" + std::to_string(&c - cases));
        EXPECT_EQ(passes(c.list, c.path), c.pass);
    }
}

TEST(PathFilter, IsInitiallyEmpty) {
    const path_filter item;
    EXPECT_EQ(item.root_len, 0u);
    EXPECT_EQ(item.signature_offset, 0u);
    for (const unsigned flag :
         {item.in_path, item.match_all, item.wild_start, item.wild_end, item.has_stream,
          item.stream_any, item.stream_wild_start, item.stream_wild_end})
        EXPECT_EQ(flag, 0u);
    const file_time_bounds bounds;
    EXPECT_EQ(bounds.modified, 0u);
    EXPECT_EQ(bounds.created, 0u);
    EXPECT_EQ(bounds.kind, 0u);
}

TEST(PathPassesFilters, EmptyPathNeverPasses) {
    EXPECT_FALSE(path_passes_filters(cmd_params(), L"", {}, file_time_bounds(), false));
    EXPECT_FALSE(passes("*", L""));
}

TEST(PathPassesFilters, EmptyListPassesEverything) {
    EXPECT_TRUE(path_passes_filters(cmd_params(), L"\\a", {}, file_time_bounds(), false));
}

TEST(PathPassesFilters, ActiveWindowRejectsRowsOfKindZero) {
    for (const bool start : {true, false}) {
        cmd_params params;
        (start ? params.time_from_on : params.time_to_on) = 1;
        file_time_bounds bounds;
        bounds.modified = bounds.created = 132000000000000000;
        EXPECT_FALSE(path_passes_filters(params, L"\\a", {}, bounds, false));
        for (const std::uint32_t kind : {1u, 8u}) {
            bounds.kind = kind;
            EXPECT_TRUE(path_passes_filters(params, L"\\a", {}, bounds, false));
        }
        bounds.kind = 2;
        EXPECT_FALSE(path_passes_filters(params, L"\\a", {}, bounds, false));
    }
}

TEST(PathPassesFilters, SignatureIsReadFromAFileOfTheHost) {
    const support::temp_dir dir;
    const std::string path = dir.write("a.bin", "xxMZyy");
    const std::wstring wide(path.begin(), path.end());
    const struct {
        const char* name;
        const char* text;
        bool pass;
    } cases[] = {
        {"found", "4d5a|2", true},        {"other offset", "4d5a|1", false},
        {"other bytes", "4d5b|2", false}, {"past the end", "7979|5", false},
        {"last bytes", "7979|4", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        filter_list filters;
        parse_filter_signature(filters, c.text);
        EXPECT_EQ(path_passes_filters(cmd_params(), wide, filters, file_time_bounds(), false),
                  c.pass);
        EXPECT_FALSE(path_passes_filters(cmd_params(), L"\\no such folder\\a.bin", filters,
                                         file_time_bounds(), false));
    }
}

// The system refuses to open the file of a running program for writing.
TEST(PathPassesFilters, FileOfASignatureIsOpenedForReadingOnly) {
    filter_list filters;
    parse_filter_signature(filters, "7f454c46");  // the start of an ELF file
    EXPECT_TRUE(
        path_passes_filters(cmd_params(), L"/proc/self/exe", filters, file_time_bounds(), false));
}

TEST(PathPassesFilters, TextWithoutASignatureMatchesNothing) {
    const support::temp_dir dir;
    const std::string path = dir.write("a.bin", "MZ");
    filter_list filters;
    parse_filter_signature(filters, "zz");
    EXPECT_FALSE(path_passes_filters(cmd_params(), std::wstring(path.begin(), path.end()), filters,
                                     file_time_bounds(), false));
}

TEST(PathPassesFilters, SignatureIsCheckedInAdditionToOtherItems) {
    const support::temp_dir dir;
    const std::string path = dir.write("a.bin", "MZ");
    const std::wstring wide(path.begin(), path.end());
    filter_list filters = parsed("b*|/none");
    EXPECT_FALSE(path_passes_filters(cmd_params(), wide, filters, file_time_bounds(), false));
    parse_filter_signature(filters, "4d5a");
    EXPECT_TRUE(path_passes_filters(cmd_params(), wide, filters, file_time_bounds(), false));
}

}  // namespace
