// Tests the sort keys of rows, and the paths that filters match.
#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "report/walk/entry_rows.h"
#include "run/filters/path_filters.h"
#include "unit/report/listed_volume.h"
#include "unit/report/walk/rows_of_entry.h"

namespace {

using listing::add;
using listing::EntryRows;
using listing::root;

// A name in UTF-16 and in UTF-8.
struct encoded_name {
    std::u16string units;
    std::string utf8;
};

// Names in the order of their code points. In UTF-16, those from U+10000 on sort before U+E000.
const std::vector<encoded_name> names_in_order = {
    {u"a", "a"},
    {u"z", "z"},
    {u"\u0080", "\xc2\x80"},
    {u"\u00e9", "\xc3\xa9"},
    {u"\u07ff", "\xdf\xbf"},
    {u"\u0800", "\xe0\xa0\x80"},
    {u"\ud7ff", "\xed\x9f\xbf"},
    {{0xD800}, "\xed\xa0\x80"},
    {{0xD800, u'x'}, "\xed\xa0\x80x"},
    {{0xDBFF}, "\xed\xaf\xbf"},
    {{0xDC00}, "\xed\xb0\x80"},
    {{0xDFFF}, "\xed\xbf\xbf"},
    {u"\ue000", "\xee\x80\x80"},
    {u"\uffff", "\xef\xbf\xbf"},
    {u"\U00010000", "\xf0\x90\x80\x80"},
    {u"\U0001F600", "\xf0\x9f\x98\x80"},
    {u"\U0010FFFF", "\xf4\x8f\xbf\xbf"},
};

class EntryRowKeys : public EntryRows {
protected:
    // Returns the rows of the entries from 64 on, under the path `path`.
    std::vector<dir_entry> rows_of_all(std::size_t count, const std::wstring& path) {
        const std::unique_ptr<CNtfs> ntfs = open();
        entry_rows maker(*ntfs, opts);
        const shared_path directory(path);
        dir_entry_set entries;
        for (std::size_t i = 0; i < count; ++i)
            add(maker, *ntfs, 64 + i, directory, entries);
        return {entries.begin(), entries.end()};
    }
};

void expect_names_in_order(const std::vector<dir_entry>& rows, const std::string& before) {
    ASSERT_EQ(rows.size(), names_in_order.size());
    std::vector<std::wstring> wide_keys;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rows[i].name, before + names_in_order[i].utf8);
        EXPECT_EQ(rows[i].full_path, "\\dir\\" + before + names_in_order[i].utf8);
        wide_keys.push_back(ql::to_wide(rows[i].full_path));
    }
    EXPECT_TRUE(std::is_sorted(wide_keys.begin(), wide_keys.end())) << "the order of wide text";
}

TEST_F(EntryRowKeys, RowsAreOrderedByCodePoint) {
    const std::size_t count = names_in_order.size();
    for (std::size_t i = 0; i < count; ++i)  // 7 has no common factor with the number of names
        volume.file(root, names_in_order[i * 7 % count].units, 64 + i).data("");
    expect_names_in_order(rows_of_all(count, L"\\Dir"), "");
}

TEST_F(EntryRowKeys, StreamRowsAreOrderedByCodePoint) {
    const std::size_t count = names_in_order.size();
    support::record_builder& file = volume.file(root, u"f", 64).data("");
    for (std::size_t i = 0; i < count; ++i)
        file.stream(names_in_order[i * 7 % count].units, "");
    std::vector<dir_entry> rows = rows_of_all(1, L"\\Dir");
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.front().full_path, "\\dir\\f");
    rows.erase(rows.begin());
    ASSERT_EQ(rows.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(rows[i].name, "f:" + names_in_order[i].utf8);
        EXPECT_EQ(rows[i].full_path, "\\dir\\f:" + names_in_order[i].utf8);
    }
}

TEST_F(EntryRowKeys, OnlyAsciiLettersAreLowered) {
    volume.file(root, u"\u00c4\u0416Z", 64).data("").stream(u"\u00d6S", "");
    const std::vector<dir_entry> rows = rows_of_all(1, L"\\D\u00c4TA");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].name, "\u00c4\u0416Z");
    EXPECT_EQ(rows[0].full_path, "\\d\u00c4ta\\\u00c4\u0416z");
    EXPECT_EQ(rows[1].name, "\u00c4\u0416Z:\u00d6S");
    EXPECT_EQ(rows[1].full_path, "\\d\u00c4ta\\\u00c4\u0416z:\u00d6s");
}

TEST_F(EntryRowKeys, KeyFollowsThePathOfEachEntry) {
    volume.file(root, u"F", 64).data("");
    const std::unique_ptr<CNtfs> ntfs = open();
    entry_rows maker(*ntfs, opts);
    const shared_path first(L"\\First");
    const shared_path same_text(L"\\First");
    const shared_path second(L"\\S\u00e9cond directory");
    const auto text = [&](const shared_path& path) {
        dir_entry_set entries;
        add(maker, *ntfs, 64, path, entries);
        EXPECT_EQ(entries.size(), 1u);
        const dir_entry& row = *entries.begin();
        EXPECT_TRUE(row.parent_path.is_shared_with(path));
        return row.full_path;
    };
    EXPECT_EQ(text(first), "\\first\\f");
    EXPECT_EQ(text(first), "\\first\\f");
    EXPECT_EQ(text(second), "\\s\u00e9cond directory\\f");
    EXPECT_EQ(text(same_text), "\\first\\f");
    EXPECT_EQ(text(second), "\\s\u00e9cond directory\\f");
    EXPECT_EQ(text(shared_path(L"")), "\\f");
    EXPECT_EQ(text(first), "\\first\\f");
    EXPECT_EQ(text(shared_path()), "\\f");
}

TEST_F(EntryRowKeys, RowsOfADirectoryShareItsPath) {
    volume.file(root, u"a", 64).data("").stream(u"s", "");
    volume.directory(root, u"b", 65);
    const std::vector<dir_entry> rows = rows_of_all(2, L"\\Dir");
    ASSERT_EQ(rows.size(), 3u);
    for (const dir_entry& row : rows)
        EXPECT_EQ(&row.parent_path.text(), &rows[0].parent_path.text());
    EXPECT_EQ(rows[0].parent_path.text(), L"\\Dir");
}

TEST_F(EntryRowKeys, FiltersMatchNamesOutsideAscii) {
    const std::array<std::u16string, 4> names = {
        u"Gr\u00f6\u00dfe.TXT", u"\U0001F600 X.txt", u"plain.txt", {0xD800, u'A', u'\u00f6'}};
    for (std::size_t i = 0; i < names.size(); ++i)
        volume.file(root, names[i], 64 + i).data("");
    const struct {
        const char* filter;
        std::vector<std::uint64_t> entries;  // in the order of the rows
    } cases[] = {
        {"gr\u00f6\u00dfe.txt", {64}},
        {"GR\u00f6\u00dfE.txt", {64}},
        {"gr\u00d6\u00dfe.txt", {}},  // only ASCII letters are case-folded
        {"*\u00dfe.txt", {64}},
        {"gr\u00f6*", {64}},
        {"*\u00f6*", {64, 67}},
        {"*\u00f6", {67}},
        {"\U0001F600*", {65}},
        {"\U0001F600 x.txt", {65}},
        {"\xed\xa0\x80*", {67}},
        {"\xed\xa0\x80"
         "a\u00f6",
         {67}},
        {"*.txt", {64, 66, 65}},
        {"*\xc3", {}},  // not UTF-8
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.filter);
        opts.filters.clear();
        ASSERT_TRUE(parse_filter_list(opts.filters, c.filter));
        std::vector<std::uint64_t> passed;
        for (const dir_entry& row : rows_of_all(names.size(), L"\\D\u00e4ta"))
            passed.push_back(row.mft_entry);
        EXPECT_EQ(passed, c.entries);
    }
}

TEST_F(EntryRowKeys, FiltersMatchDirectoriesOutsideAscii) {
    volume.file(root, u"f", 64).data("");
    const struct {
        const char* filter;
        bool passes;
    } cases[] = {
        {"/d\u00e4ta", true},
        {"/d\u00e4ta/\U0001F600", true},
        {"/\U0001F600", true},
        {"/D\u00e4TA", true},
        {"/d\u00e4t", false},
        {"/d\u00c4ta", false},
        {"/d\u00e4ta/\U0001F601", false},
        {"/ta", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.filter);
        opts.filters.clear();
        ASSERT_TRUE(parse_filter_list(opts.filters, c.filter));
        EXPECT_EQ(rows_of_all(1, L"\\D\u00e4ta\\\U0001F600").size(), c.passes ? 1u : 0u);
    }
}

// The signature is searched in a file of this host, whose name is the lower-cased path.
TEST_F(EntryRowKeys, SignatureIsThatOfTheLowerCasedPath) {
    volume.file(root, u"\u00e9A.EXE", 64).data("");
    ASSERT_TRUE(parse_filter_signature(opts.filters, "4d5a"));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    EXPECT_EQ(rows_of_all(1, L"Dir").size(), 0u);
    dir.write("Dir\\\u00e9A.EXE", "MZ");
    EXPECT_EQ(rows_of_all(1, L"Dir").size(), 0u);
    dir.write("dir\\\u00e9a.exe", "MZ");
    EXPECT_EQ(rows_of_all(1, L"Dir").size(), 1u);
    std::filesystem::current_path(before);
}

}  // namespace
