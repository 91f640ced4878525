#include "report/writers/csv_listing.h"

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

class CsvListing : public writer_test {
protected:
    CsvListing() { set_separator(",", ',', ' '); }

    // Sets the separator and the replacement of `from` in names.
    void set_separator(const std::string& text, char from, char to) {
        opts.csv_separator = text;
        opts.path_sep_from = static_cast<std::uint8_t>(from);
        opts.path_sep_to = static_cast<std::uint8_t>(to);
    }
    void pair() {
        opts.pair_datetime = 1;
        set_formats(opts.date_format, opts.time_format);
    }
    // Applies "-no_whitespace".
    void strip_whitespace() {
        opts.csv_space_field = 0;
        ql::remove_char(opts.csv_separator, ' ');
    }

    std::string list() {
        write_csv_listing(out, recurse_list, opts, parent, dir_num);
        return written();
    }
    std::string rows() {
        csv_header_pending = false;
        return list();
    }
    std::string header() {
        csv_header_pending = true;
        const std::string text = list();
        return text.substr(0, text.find('\n'));
    }
};

// The file c:\data\report.txt.
dir_entry make_report() {
    dir_entry file = make_file("report.txt", 0x50a);
    file.seq_num = 2;
    file.flags = 1;
    return file;
}

// Numbers and timestamps of make_file() in the default "-csv" form.
const std::string numbers = "0x00001000,0x00000020,0x0000050a,0x0002,0x0001,";
const std::string stamps =
    "2021-03-04, 12:34:56.789,2021-03-04, 12:35:01.120,2021-03-04, 12:35:01.120,"
    "2021-03-04, 12:35:02.000,";

TEST_F(CsvListing, HeaderAndAFileRow) {
    add(make_report());
    EXPECT_EQ(
        list(),
        "type,filename,symbolic link,size,attributes,MFT entry,sequence #,flags,cdate "
        "(stdinfo),ctime (stdinfo),mdate (stdinfo),mtime (stdinfo),MFT date (stdinfo),MFT time "
        "(stdinfo),adate (stdinfo),atime (stdinfo),time discrepancy\n"
        R"(file,c:\data\report.txt,,0x00001000,0x00000020,0x0000050a,0x0002,0x0001,2021-03-04, 12:34:56.789,2021-03-04, 12:35:01.120,2021-03-04, 12:35:01.120,2021-03-04, 12:35:02.000,,)"
        "\n");
}

TEST_F(CsvListing, PairedDecimalRowWithoutWhitespace) {
    pair();
    opts.hex_numbers = 0;
    strip_whitespace();
    add(make_report());
    EXPECT_EQ(
        rows(),
        R"(file,c:\data\report.txt,,4096,32,1290,2,1,2021-03-04 12:34:56.789,2021-03-04 12:35:01.120,2021-03-04 12:35:01.120,2021-03-04 12:35:02.000,,)"
        "\n");
}

TEST_F(CsvListing, HeaderOfEveryColumnSet) {
    add(make_report());
    const std::string start = "type,filename,";
    const std::string split_start = "type,filename,path,";
    const std::string middle = "symbolic link,size,attributes,MFT entry,sequence #,flags,";
    const std::string plain =
        "cdate (stdinfo),ctime (stdinfo),mdate (stdinfo),mtime (stdinfo),MFT date (stdinfo),"
        "MFT time (stdinfo),adate (stdinfo),atime (stdinfo),";
    const std::string plain_names =
        "cdate (fn),ctime (fn),mdate (fn),mtime (fn),MFT date (fn),MFT time (fn),adate (fn),"
        "atime (fn),cdate (short fn),ctime (short fn),mdate (short fn),mtime (short fn),"
        "MFT date (short fn),MFT time (short fn),adate (short fn),atime (short fn),";
    const std::string paired =
        "cdate (stdinfo),mdate (stdinfo),MFT date (stdinfo),adate (stdinfo),";
    const std::string paired_names =
        "cdate (fn),mdate (fn),MFT date (fn),adate (fn),cdate (short fn),mdate (short fn),"
        "MFT date (short fn),adate (short fn),";
    for (unsigned set = 0; set < 16; ++set) {
        SCOPED_TRACE(set);
        const bool is_split = (set & 1) != 0, is_paired = (set & 2) != 0;
        const bool all = (set & 4) != 0, objid = (set & 8) != 0;
        opts.split_pathfile = is_split;
        opts.pair_datetime = is_paired;
        opts.alldates = all;
        opts.show_objid = objid;
        EXPECT_EQ(header(), (is_split ? split_start : start) + middle +
                                (is_paired ? paired : plain) +
                                (!all        ? ""
                                 : is_paired ? paired_names
                                             : plain_names) +
                                "time discrepancy" + (objid ? ",object ID" : ""));
    }
}

TEST_F(CsvListing, HeaderIsPrintedOnceAndEmptySetLeavesItPending) {
    recurse_list.insert(make_directory("old"));
    EXPECT_EQ(list(), "no items in directory\n");
    EXPECT_TRUE(recurse_list.empty());
    EXPECT_TRUE(csv_header_pending);
    EXPECT_EQ(opts.header_pending, 1);
    add(make_report());
    EXPECT_EQ(list().substr(0, 14), "type,filename,");
    EXPECT_FALSE(csv_header_pending);
    EXPECT_EQ(opts.header_pending, 0);
    EXPECT_EQ(list(), "file,c:\\data\\report.txt,," + numbers + stamps + ",\n");
}

TEST_F(CsvListing, HeaderDependsOnlyOnItsOwnFlag) {
    add(make_report());
    opts.header_pending = 0;
    EXPECT_EQ(list().substr(0, 14), "type,filename,");
    EXPECT_TRUE(text_header_pending);
    opts.header_pending = 1;
    EXPECT_EQ(list(), "file,c:\\data\\report.txt,," + numbers + stamps + ",\n");
    EXPECT_EQ(opts.header_pending, 1);
    EXPECT_FALSE(csv_header_pending);
}

TEST_F(CsvListing, TypesAndTheirPaths) {
    dir_entry own = make_own_row();
    add(own);
    add(make_own_stream(entry_type::data_stream, "data:zone"));
    add(make_own_stream(entry_type::index_stream, "data:$I30"));
    add(make_directory("sub"));
    add(make_row(entry_type::data_stream, "sub:s", 1290));
    add(make_row(entry_type::index_stream, "sub:t", 1290));
    add(make_row(2, "zz", 1290));
    dir_entry nameless = make_row(entry_type::data_stream, "", 1290);
    nameless.full_path = "c:\\data\\zzz";
    add(nameless);
    std::string starts;
    std::istringstream text(rows());
    for (std::string line; std::getline(text, line);) {
        starts += line.substr(0, line.find(",,")) + '\n';
    }
    EXPECT_EQ(starts,
              "dir,c:\\data\\\n"
              "indx,c:\\data:$I30\n"
              "ads,c:\\data:zone\n"
              "dir,c:\\data\\sub\\\n"
              "ads,c:\\data\\sub:s\n"
              "indx,c:\\data\\sub:t\n"
              "-\n"
              "ads,c:\\data\\sub\\\n");
}

TEST_F(CsvListing, RowOfUnknownTypeHasAnEmptyPath) {
    add(make_row(2, "zz", 0x50a));
    EXPECT_EQ(rows(), "-,,," + numbers + stamps + ",\n");
}

TEST_F(CsvListing, OwnStreamOfTheRootKeepsItsOnlyBackslash) {
    parent = L"\\";
    add(make_own_row());
    add(make_own_stream(entry_type::data_stream, ".:zone"));
    const std::string text = rows();
    EXPECT_NE(text.find("ads,\\:zone,,"), std::string::npos) << text;
}

TEST_F(CsvListing, SubdirectoryAboveTheLastLevelIsReturned) {
    opts.last_level = 0;
    add(make_directory("a,b"));
    EXPECT_EQ(rows(), "");
    ASSERT_EQ(recurse_list.size(), 1u);
    EXPECT_EQ(recurse_list.begin()->parent_path.text(), L"c:\\data\\a,b");  // as on disk
}

TEST_F(CsvListing, SeparatorIsReplacedOnlyInNamesAndPaths) {
    parent = L"c:\\d,a";
    dir_entry file = make_file("x,y|z,.txt", 0x50a);
    file.link_target = "l,k";
    add(file);
    EXPECT_EQ(rows(), "file,c:\\d a\\x y|z .txt,l,k," + numbers + stamps + ",\n");
}

TEST_F(CsvListing, SeparatorIsReplacedInTheRowsOfDirectories) {
    parent = L"c:\\d,a";
    add(make_own_row());
    add(make_directory("s,b"));
    const std::string text = rows();
    EXPECT_EQ(text.substr(0, 12), "dir,c:\\d a\\,");
    EXPECT_NE(text.find("\ndir,c:\\d a\\s b\\,"), std::string::npos) << text;
}

TEST_F(CsvListing, PipeBecomesASemicolonUnderTheDefaultSeparator) {
    set_separator(" | ", '|', ';');
    add(make_file("a|b,c", 0x50a));
    EXPECT_EQ(rows(),
              "file | c:\\data\\a;b,c |  | 0x00001000 | 0x00000020 | 0x0000050a | 0x0002 | 0x0001 "
              "| 2021-03-04 |  12:34:56.789 | 2021-03-04 |  12:35:01.120 | 2021-03-04 |  "
              "12:35:01.120 | 2021-03-04 |  12:35:02.000 |  | \n");
}

TEST_F(CsvListing, OtherSeparatorsAreKeptInNames) {
    set_separator(";", 0, 0);
    add(make_file("a;b,c|d", 0x50a));
    EXPECT_EQ(rows().substr(0, 23), "file;c:\\data\\a;b,c|d;;0");
}

TEST_F(CsvListing, NothingIsReplacedWithoutAReplacement) {
    set_separator(";", ',', 0);
    parent = L"c:\\d,a";
    add(make_file("a,b", 0x50a));
    EXPECT_EQ(rows().substr(0, 16), "file;c:\\d,a\\a,b;");
}

TEST_F(CsvListing, SeparatorCanBeATabOrNothing) {
    set_separator("\t", 0, 0);
    add(make_report());
    EXPECT_EQ(rows().substr(0, 36), "file\tc:\\data\\report.txt\t\t0x00001000\t");
    set_separator("", 0, 0);
    EXPECT_EQ(rows(),
              "filec:\\data\\report.txt0x000010000x000000200x0000050a0x00020x00012021-03-04 "
              "12:34:56.7892021-03-04 12:35:01.1202021-03-04 12:35:01.1202021-03-04 "
              "12:35:02.000\n");
}

TEST_F(CsvListing, NoWhitespaceLeavesThePipeOfTheDefaultSeparator) {
    set_separator(" | ", '|', ';');
    strip_whitespace();
    add(make_report());
    EXPECT_EQ(rows(),
              "file|c:\\data\\report.txt||0x00001000|0x00000020|0x0000050a|0x0002|0x0001|"
              "2021-03-04|12:34:56.789|2021-03-04|12:35:01.120|2021-03-04|12:35:01.120|2021-03-04|"
              "12:35:02.000||\n");
}

TEST_F(CsvListing, PaddingPrecedesThePairedFieldOrTheUnpairedTime) {
    add(make_report());
    EXPECT_NE(rows().find(",2021-03-04, 12:34:56.789,2021"), std::string::npos);
    pair();
    EXPECT_NE(rows().find(", 2021-03-04 12:34:56.789, 2021"), std::string::npos);
    strip_whitespace();
    EXPECT_NE(rows().find(",2021-03-04 12:34:56.789,2021"), std::string::npos);
}

TEST_F(CsvListing, InvalidTimestampLeavesItsFieldsEmpty) {
    dir_entry file = make_report();
    file.si_created = 0;
    file.si_modified = 1ull << 63;
    file.si_mft_changed = support::filetime(1969, 1, 1);
    file.si_accessed = support::filetime(3002, 1, 1);
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + ", ,, ,, ,, ,,\n");
    pair();
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + "  ,  ,  ,  ,,\n");
    strip_whitespace();
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + " , , , ,,\n");
}

TEST_F(CsvListing, NumbersGrowBeyondTheirWidth) {
    dir_entry file = make_file("a", 0x123456789ab);
    file.size = 0x1234567890;
    file.attributes = 0xFFFFFFFF;
    file.seq_num = 0xFFFF;
    file.flags = 0x8001;
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\a,,0x1234567890,0xffffffff,0x123456789ab,0xffff,0x8001," +
                          stamps + ",\n");
    opts.hex_numbers = 0;
    EXPECT_EQ(rows(), "file,c:\\data\\a,,78187493520,4294967295,1250999896491,65535,32769," +
                          stamps + ",\n");
}

TEST_F(CsvListing, PathWithoutASlashIsNotSplit) {
    opts.split_pathfile = 1;
    add(make_report());
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,,," + numbers + stamps + ",\n");
}

TEST_F(CsvListing, SplitsAtSlashes) {
    const struct {
        const wchar_t* given;
        const char* name;
        const char* fields;
    } cases[] = {
        {L"c:\\data", "a/b", "b,c:\\data\\a"},
        {L"c:\\data", "a/b/c", "c,c:\\data\\a/b"},
        {L"c:\\data", "a/", ".,c:\\data\\a"},
        {L"c:/data/", "a", "a,c:/data"},
        {L"/", "a", "a,"},
    };
    opts.split_pathfile = 1;
    for (const auto& c : cases) {
        opts.entries.clear();
        parent = c.given;
        add(make_file(c.name, 0x50a));
        EXPECT_EQ(rows(), "file," + std::string(c.fields) + ",," + numbers + stamps + ",\n");
    }
}

TEST_F(CsvListing, SplitsADirectoryThatEndsInASlash) {
    opts.split_pathfile = 1;
    parent = L"c:/data/";
    add(make_own_row());
    EXPECT_EQ(rows().substr(0, 16), "dir,.,c:/data,,0");
}

TEST_F(CsvListing, AlldatesShowsBothNames) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, created, modified, modified, accessed));
    file.fn_list.push_back(
        make_name(true, accessed, accessed, created, support::filetime(2022, 12, 31)));
    add(file);
    EXPECT_EQ(rows(),
              "file,c:\\data\\report.txt,," + numbers + stamps + stamps +
                  "2021-03-04, 12:35:02.000,2021-03-04, 12:35:02.000,2021-03-04, 12:34:56.789,"
                  "2022-12-31, 00:00:00.000,,\n");
}

TEST_F(CsvListing, AlldatesPairedHasTwelveTimeFields) {
    opts.alldates = 1;
    pair();
    strip_whitespace();
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, created, modified, modified, accessed));
    file.fn_list.push_back(make_name(true, created, modified, modified, accessed));
    add(file);
    const std::string four =
        "2021-03-04 12:34:56.789,2021-03-04 12:35:01.120,2021-03-04 12:35:01.120,"
        "2021-03-04 12:35:02.000,";
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + four + four + four + ",\n");
}

TEST_F(CsvListing, WithoutADosNameItsColumnsAreEmpty) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, created, modified, modified, accessed));
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps + stamps + ",,,,,,,,,\n");
    pair();
    const std::string text = rows();
    EXPECT_EQ(text.substr(text.size() - 8), "0,,,,,,\n");
    EXPECT_EQ(std::count(text.begin(), text.end(), ','), 8 + 12 + 1);
}

TEST_F(CsvListing, DosNameWithoutCreationTimeIsIgnored) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, created, modified, modified, accessed));
    file.fn_list.push_back(make_name(true, 0, modified, modified, accessed));
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps + stamps + ",,,,,,,,,\n");
}

TEST_F(CsvListing, LongNameWithoutCreationTimeShowsItsOtherTimestamps) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, 0, modified, 0, accessed));
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps +
                          ", ,2021-03-04, 12:35:01.120,, ,2021-03-04, 12:35:02.000,,,,,,,,,,\n");
}

TEST_F(CsvListing, OnlyADosNameLeavesTheLongColumnsEmpty) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(true, created, modified, modified, accessed));
    add(file);
    EXPECT_EQ(rows(),
              "file,c:\\data\\report.txt,," + numbers + stamps + ", ,, ,, ,, ," + stamps + ",\n");
}

TEST_F(CsvListing, AlldatesRowWithoutNamesOmitsTheNameColumns) {
    opts.alldates = 1;
    add(make_report());
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps + ",\n");
}

TEST_F(CsvListing, DiscrepancyIsShownOnlyWithAlldates) {
    dir_entry file = make_report();
    file.fn_list.push_back(
        make_name(false, created + day + 1, modified, modified + day + 1, accessed));
    add(file);
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps + ",\n");
    opts.alldates = 1;
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps +
                          "2021-03-05, 12:34:56.789,2021-03-04, 12:35:01.120,"
                          "2021-03-05, 12:35:01.120,2021-03-04, 12:35:02.000,,,,,,,,,true,\n");
}

TEST_F(CsvListing, DiscrepancyIgnoresTheShortName) {
    opts.alldates = 1;
    dir_entry file = make_report();
    file.fn_list.push_back(make_name(false, created, modified, modified, accessed));
    file.fn_list.push_back(
        make_name(true, created + 9 * day, modified, modified + 9 * day, accessed));
    add(file);
    EXPECT_EQ(rows().find("true"), std::string::npos);
}

TEST_F(CsvListing, ObjectIdEndsTheRowWithoutASeparator) {
    dir_entry file = make_report();
    for (std::uint8_t i = 0; i < 16; ++i)
        file.object_id[i] = i;
    add(file);
    dir_entry without = make_file("s", 0x50a);
    add(without);
    opts.show_objid = 1;
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps +
                          ",03020100-0504-0706-0809-0a0b0c0d0e0f\n"
                          "file,c:\\data\\s,," +
                          numbers + stamps + ",\n");
    opts.show_objid = 0;
    EXPECT_EQ(rows(), "file,c:\\data\\report.txt,," + numbers + stamps +
                          ",\n"
                          "file,c:\\data\\s,," +
                          numbers + stamps + ",\n");
}

}  // namespace
