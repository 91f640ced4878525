#include "report/writers/text_listing.h"

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

// Columns 23, 17, 12 and 7 wide, the name, then an empty line.
const std::string header =
    "  last modified [UTC]  "
    "    MFT & seq num"
    "       size "
    "       "
    "  name\n\n";

// Returns the fixed fields of a row with the fixture's modification time, computed from the widths.
std::string fixed_fields(const std::string& entry, const std::string& seq) {
    return "2021-03-04 12:35:01.120" + std::string(12 - entry.size(), ' ') + entry + ' ' +
           std::string(4 - seq.size(), ' ') + seq + ' ';
}
std::string file_row(const std::string& entry, const std::string& path) {
    return fixed_fields(entry, "2") + "        4096 " + "       " + path + '\n';
}
std::string dir_row(const std::string& entry, const std::string& path) {
    return fixed_fields(entry, "2") + "             " + "  dir  " + path + '\n';
}

class TextListing : public writer_test {
protected:
    std::string list(bool show_objid = false) {
        write_text_listing(out, recurse_list, opts, parent, dir_num, show_objid);
        return written();
    }
    // Returns the listing without its header.
    std::string rows(bool show_objid = false) {
        text_header_pending = false;
        return list(show_objid);
    }
};

TEST_F(TextListing, HeaderAndTypicalRows) {
    dir_entry directory = make_directory("sub", 1234);
    directory.si_modified = created;
    directory.seq_num = 5;
    add(directory);
    dir_entry file = make_file("sub\\report.txt", 1290);
    add(file);
    EXPECT_EQ(
        list(),
        header +
            R"(2021-03-04 12:34:56.789        1234    5                dir  c:\data\sub\)"
            "\n"
            R"(2021-03-04 12:35:01.120        1290    2         4096        c:\data\sub\report.txt)"
            "\n");
}

TEST_F(TextListing, HeaderLineWithDefaultFormats) {
    add(make_file("a"));
    const std::string text = list();
    EXPECT_EQ(text.substr(0, text.find('\n') + 2),
              "  last modified [UTC]      MFT & seq num       size          name\n\n");
}

TEST_F(TextListing, HeaderIsPrintedOnceForAllListings) {
    add(make_file("a"));
    EXPECT_EQ(opts.header_pending, 1);
    EXPECT_EQ(list(), header + file_row("1290", "c:\\data\\a"));
    EXPECT_EQ(opts.header_pending, 0);
    EXPECT_FALSE(text_header_pending);
    EXPECT_EQ(list(), file_row("1290", "c:\\data\\a"));
}

TEST_F(TextListing, HeaderDependsOnlyOnItsOwnFlag) {
    add(make_file("a"));
    opts.header_pending = 0;
    EXPECT_EQ(list(), header + file_row("1290", "c:\\data\\a"));
    EXPECT_TRUE(csv_header_pending);
    opts.header_pending = 1;
    EXPECT_EQ(list(), file_row("1290", "c:\\data\\a"));
    EXPECT_EQ(opts.header_pending, 1);
    EXPECT_FALSE(text_header_pending);
}

TEST_F(TextListing, EmptySetPrintsItsLineAndLeavesTheHeaderPending) {
    recurse_list.insert(make_directory("old"));
    EXPECT_EQ(list(), "no items in directory\n");
    EXPECT_TRUE(recurse_list.empty());
    EXPECT_TRUE(text_header_pending);
    EXPECT_EQ(opts.header_pending, 1);
    add(make_file("a"));
    EXPECT_EQ(list(), header + file_row("1290", "c:\\data\\a"));
}

TEST_F(TextListing, ShortFormatsNarrowTheRowsButNotTheHeader) {
    set_formats("mm/dd/yy", "hh:mm:ss");
    add(make_file("a"));
    // 8 + 8 + 1 is 17, but the date has the full year: 19.
    EXPECT_EQ(list(), header + "03/04/2021 12:35:01" + "        1290    2         4096        " +
                          "c:\\data\\a\n");
}

TEST_F(TextListing, LongFormatsWidenTheRowsAndTheHeader) {
    set_formats("yyyy-mm-dd", "hh:mm:ss.xxxxxxxxx");  // 10 + 18 + 1 = 29
    add(make_file("a"));
    dir_entry undated = make_file("b");
    undated.si_modified = 0;
    add(undated);
    EXPECT_EQ(list(),
              "  last modified [UTC]        "
              "    MFT & seq num       size          name\n\n"
              "2021-03-04 12:35:01.120000000        1290    2         4096        c:\\data\\a\n" +
                  std::string(29, ' ') + "        1290    2         4096        c:\\data\\b\n");
}

TEST_F(TextListing, InvalidTimestampLeavesTheColumnBlank) {
    const std::uint64_t stamps[] = {0, 1ull << 63, support::filetime(1969, 12, 31, 23, 59, 59),
                                    support::filetime(3001, 1, 2)};
    for (const std::uint64_t stamp : stamps) {
        SCOPED_TRACE(stamp);
        opts.entries.clear();
        dir_entry file = make_file("a");
        file.si_modified = stamp;
        add(file);
        EXPECT_EQ(rows(),
                  std::string(23, ' ') + "        1290    2         4096        c:\\data\\a\n");
    }
}

TEST_F(TextListing, DateFormatWithoutSeparatorPrintsNulBytes) {
    set_formats("yyyymmdd", "hh:mm:ss.xxx");  // 8 + 12 + 1 = 21, the cell has 23
    add(make_file("a"));
    using namespace std::string_literals;
    EXPECT_EQ(rows(), "2021\0"s + "03\0"s + "04 12:35:01.120" +
                          "        1290    2         4096        c:\\data\\a\n");
}

TEST_F(TextListing, NulBytesAddToTheColumnWidth) {
    set_formats("yyyymmdd", "hh:mm:ss.xxxxxx");  // 8 + 15 + 1 = 24, the cell has 26
    opts.time_format = "hh:mm:ss.xxxxxxxxx";     // 8 + 18 + 1 = 27
    add(make_file("a"));
    using namespace std::string_literals;
    EXPECT_EQ(rows(), "2021\0"s + "03\0"s + "04 12:35:01.120000 " +
                          "        1290    2         4096        c:\\data\\a\n");
}

TEST_F(TextListing, FormatsThatCompileToNothingKeepTheirWidth) {
    set_formats("abcdefgh", "hh:mm:ss");  // the default rendering, 23, in a column of 17
    add(make_file("a"));
    EXPECT_EQ(rows(), "2021-03-04 12:35:01.120        1290    2         4096        c:\\data\\a\n");
}

TEST_F(TextListing, SubdirectoryAboveTheLastLevelIsReturnedInsteadOfPrinted) {
    opts.last_level = 0;
    add(make_own_row());
    add(make_directory("Sub"));
    add(make_file("z"));
    recurse_list.insert(make_directory("old"));
    EXPECT_EQ(rows(), dir_row("40", "c:\\data\\") + file_row("1290", "c:\\data\\z"));
    ASSERT_EQ(recurse_list.size(), 1u);
    EXPECT_EQ(recurse_list.begin()->parent_path.text(), L"c:\\data\\Sub");
    EXPECT_EQ(recurse_list.begin()->mft_entry, 1234u);
    EXPECT_EQ(recurse_list.begin()->name, "Sub");
}

TEST_F(TextListing, SubdirectoryPathIsJoinedWithoutDoublingTheSeparator) {
    const struct {
        const wchar_t* parent_path;
        const wchar_t* joined;
    } cases[] = {
        {L"c:\\data", L"c:\\data\\sub"}, {L"\\", L"\\sub"}, {L"c:/data", L"c:/data\\sub"},
        {L"c:/data/", L"c:/data/sub"},   {L"", L"\\sub"},
    };
    opts.last_level = 0;
    for (const auto& c : cases) {
        opts.entries.clear();
        dir_entry directory = make_directory("sub");
        directory.parent_path = shared_path(c.parent_path);
        add(directory);
        EXPECT_EQ(rows(), "");
        ASSERT_EQ(recurse_list.size(), 1u);
        EXPECT_EQ(recurse_list.begin()->parent_path.text(), c.joined);
    }
}

TEST_F(TextListing, StreamOfASubdirectoryIsReturnedWithIt) {
    opts.last_level = 0;
    dir_entry stream = make_row(entry_type::data_stream, "sub:zone", 1234);
    stream.flags = 3;
    add(stream);
    EXPECT_EQ(rows(), "");
    ASSERT_EQ(recurse_list.size(), 1u);
    EXPECT_EQ(recurse_list.begin()->type, entry_type::data_stream);
}

TEST_F(TextListing, OnTheLastLevelSubdirectoriesAreRows) {
    add(make_directory("sub"));
    EXPECT_EQ(rows(), dir_row("1234", "c:\\data\\sub\\"));
    EXPECT_TRUE(recurse_list.empty());
}

TEST_F(TextListing, OwnRowShowsTheGivenPathWithATrailingBackslash) {
    const struct {
        const wchar_t* given;
        const char* shown;
    } cases[] = {
        {L"c:\\data", "c:\\data\\"}, {L"\\", "\\"}, {L"c:/data", "c:/data\\"},
        {L"c:/data/", "c:/data/"},   {L"", "\\"},   {L".", ".\\"},
        {L"\u00fc", "\xc3\xbc\\"},
    };
    add(make_own_row());
    for (const auto& c : cases) {
        parent = c.given;
        EXPECT_EQ(rows(), dir_row("40", c.shown));
    }
}

TEST_F(TextListing, SlashesOfTheGivenPathAreKeptAndBackslashesFollow) {
    parent = L"c:/data";
    add(make_own_row());
    add(make_file("a"));
    add(make_directory("b"));
    EXPECT_EQ(rows(), dir_row("40", "c:/data\\") + file_row("1290", "c:/data\\a") +
                          dir_row("1234", "c:/data\\b\\"));
}

TEST_F(TextListing, DirectoryRowShowsNoSizeEvenWithData) {
    dir_entry with_data = make_own_row();
    with_data.name = "data<dir data entry>";
    with_data.size = 123456;
    add(make_own_row());
    add(with_data);
    EXPECT_EQ(rows(), dir_row("40", "c:\\data\\") + dir_row("40", "c:\\data\\"));
}

TEST_F(TextListing, StreamRows) {
    add(make_own_row());
    add(make_own_stream(entry_type::data_stream, "data:zone"));
    add(make_own_stream(entry_type::index_stream, "data:$I30"));
    add(make_row(entry_type::data_stream, "a.txt:b:c", 1290));
    add(make_row(entry_type::index_stream, "sub:$O", 1234));
    const std::string ads = "        4096   ads  ";
    const std::string indx = "        4096  indx  ";
    EXPECT_EQ(rows(), dir_row("40", "c:\\data\\") +  //
                          fixed_fields("40", "2") + indx + "c:\\data:$I30\n" +
                          fixed_fields("40", "2") + ads + "c:\\data:zone\n" +
                          fixed_fields("1290", "2") + ads + "c:\\data\\a.txt:b:c\n" +
                          fixed_fields("1234", "2") + indx + "c:\\data\\sub:$O\n");
}

TEST_F(TextListing, OwnStreamWithoutAColonShowsItsWholeName) {
    add(make_own_row());
    add(make_own_stream(entry_type::index_stream, "$I30"));
    EXPECT_EQ(rows(), dir_row("40", "c:\\data\\") + fixed_fields("40", "2") +
                          "        4096  indx  c:\\data$I30\n");
}

TEST_F(TextListing, OwnStreamShowsItsNameFromTheLastColon) {
    add(make_own_row());
    add(make_own_stream(entry_type::data_stream, "data:a:b"));
    EXPECT_EQ(rows(), dir_row("40", "c:\\data\\") + fixed_fields("40", "2") +
                          "        4096   ads  c:\\data:b\n");
}

TEST_F(TextListing, OwnStreamDropsAllTrailingBackslashesUnlessThePathIsEmptyThen) {
    const struct {
        const wchar_t* given;
        const char* own;
        const char* stream;
    } cases[] = {
        {L"c:\\data\\\\", "c:\\data\\\\", "c:\\data:zone"},
        {L"\\", "\\", "\\:zone"},
        {L"\\\\", "\\\\", "\\\\:zone"},
        {L"c:/data/", "c:/data/", "c:/data/:zone"},
    };
    for (const auto& c : cases) {
        opts.entries.clear();
        parent = c.given;
        add(make_own_row());
        add(make_own_stream(entry_type::data_stream, "data:zone"));
        EXPECT_EQ(rows(), dir_row("40", c.own) + fixed_fields("40", "2") + "        4096   ads  " +
                              c.stream + "\n");
    }
}

TEST_F(TextListing, StreamOfASingleListedFileHasNoPath) {
    dir_entry stream = make_row(entry_type::data_stream, "a.txt:zone", dir_num);
    add(stream);
    EXPECT_EQ(rows(), fixed_fields("40", "2") + "        4096   ads  :zone\n");
}

TEST_F(TextListing, NamelessStreamShowsTheLatestDirectoryRow) {
    dir_entry nameless = make_row(entry_type::data_stream, "", 1300);
    nameless.full_path = "c:\\data\\a";
    add(nameless);  // before any directory row
    add(make_directory("b"));
    nameless.full_path = "c:\\data\\c";
    add(nameless);
    add(make_file("d"));
    nameless.full_path = "c:\\data\\e";
    add(nameless);
    const std::string stream = fixed_fields("1300", "2") + "        4096   ads  ";
    EXPECT_EQ(rows(), stream + "\n" + dir_row("1234", "c:\\data\\b\\") + stream +
                          "c:\\data\\b\\\n" + file_row("1290", "c:\\data\\d") + stream +
                          "c:\\data\\b\\\n");
}

TEST_F(TextListing, UnknownTypeShowsNeitherSizeNorPath) {
    dir_entry odd = make_row(2, "a", 1290);
    odd.link_target = "target";
    odd.object_id = {1};
    add(odd);
    EXPECT_EQ(rows(true), fixed_fields("1290", "2") +
                              " -> target  [objid 00000001-0000-0000-0000-000000000000]\n");
}

TEST_F(TextListing, LinkTargetFollowsThePathOfAnyType) {
    dir_entry file = make_file("a");
    file.link_target = "\\t\u00e4rget";
    add(file);
    dir_entry directory = make_directory("b");
    directory.link_target = "x";
    add(directory);
    dir_entry stream = make_row(entry_type::data_stream, "c:s", 1300);
    stream.link_target = "y";
    add(stream);
    EXPECT_EQ(rows(), fixed_fields("1290", "2") +
                          "        4096        c:\\data\\a -> \\t\xc3\xa4rget\n" +
                          fixed_fields("1234", "2") + "               dir  c:\\data\\b\\ -> x\n" +
                          fixed_fields("1300", "2") + "        4096   ads  c:\\data\\c:s -> y\n");
}

TEST_F(TextListing, ObjectIdIsPrintedOnlyIfPresentAndRequested) {
    dir_entry file = make_file("a");
    for (std::uint8_t i = 0; i < 16; ++i)
        file.object_id[i] = i;
    add(file);
    add(make_file("b"));
    const std::string plain = file_row("1290", "c:\\data\\a");
    const std::string with_id =
        plain.substr(0, plain.size() - 1) + "  [objid 03020100-0504-0706-0809-0a0b0c0d0e0f]\n";
    EXPECT_EQ(rows(true), with_id + file_row("1290", "c:\\data\\b"));
    EXPECT_EQ(rows(false), plain + file_row("1290", "c:\\data\\b"));
}

TEST_F(TextListing, OneNonZeroByteMakesAnObjectId) {
    for (std::size_t place = 0; place < 16; ++place) {
        SCOPED_TRACE(place);
        opts.entries.clear();
        dir_entry file = make_file("a");
        file.object_id[place] = 1;
        add(file);
        EXPECT_NE(rows(true).find("a  [objid 0"), std::string::npos);
    }
}

TEST_F(TextListing, LargeNumbersShiftTheColumns) {
    dir_entry file = make_file("a", 1234567890123);
    file.seq_num = 65535;
    file.size = 0xFFFFFFFFFFFFFFFFu;
    add(file);
    EXPECT_EQ(rows(),
              "2021-03-04 12:35:01.1201234567890123 65535 18446744073709551615        "
              "c:\\data\\a\n");
}

TEST_F(TextListing, OptionsOfOtherReportsChangeNothing) {
    add(make_own_row());
    dir_entry file = make_file("a|b,c");
    file.fn_list.push_back(make_name(false, created + 3 * day, modified, modified + 3 * day, 1));
    add(file);
    const std::string plain = rows();
    EXPECT_EQ(plain, dir_row("40", "c:\\data\\") + file_row("1290", "c:\\data\\a|b,c"));
    opts.hex_numbers = 0;
    opts.alldates = 1;
    opts.split_pathfile = 1;
    opts.no_whitespace = 1;
    opts.csv_space_field = 0;
    opts.csv_separator = ",";
    opts.pair_datetime = 1;
    opts.show_objid = 1;
    ql::parse_date_style(opts.date_style, opts.date_format, opts.time_format, true);
    EXPECT_EQ(rows(), plain);
}

TEST_F(TextListing, NamesArePrintedInUtf8) {
    add(make_file("1\u00e9\u20ac\U0001F600"));
    add(make_file("2x\xed\xa0\x80y"));  // a lone surrogate
    EXPECT_EQ(rows(), file_row("1290", "c:\\data\\1\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80") +
                          file_row("1290", "c:\\data\\2x\xed\xa0\x80y"));
}

TEST_F(TextListing, PathIsPrintedInUtf8UpToAnInvalidCharacter) {
    const struct {
        std::wstring given;
        const char* shown;
    } cases[] = {
        {L"1\u00e9\u20ac\U0001F600", "1\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\\"},
        {std::wstring(L"2x") + static_cast<wchar_t>(0xD800) + L"y", "2x\xed\xa0\x80y\\"},
        {std::wstring(L"3x") + static_cast<wchar_t>(0x110000) + L"y", "3x\\"},
    };
    add(make_own_row());
    for (const auto& c : cases) {
        parent = c.given;
        EXPECT_EQ(rows(), dir_row("40", c.shown));
    }
}

TEST_F(TextListing, RowsAreOrderedByCodePointAndEqualKeysByInsertion) {
    add(make_file("b", 1));
    add(make_file("B", 2));
    add(make_file("a!", 3));
    add(make_file("a", 4));
    add(make_file("\u00e4", 5));
    add(make_file("\U0001F600", 6));
    add(make_file("\ue000", 7));
    const std::string text = rows();
    std::string order;
    for (std::size_t at = 34; at < text.size(); at = text.find('\n', at) + 1 + 34) {
        order += text[at];
    }
    EXPECT_EQ(order, "4312576");
}

}  // namespace
