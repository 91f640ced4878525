#include "report/writers/xml_listing.h"

#include "unit/report/listing_fixture.h"

namespace {

using namespace listing;

const std::string file_stamps =
    "<file_create_date>2021-03-04</file_create_date>"
    "<file_create_time>12:34:56.789</file_create_time>"
    "<file_altered_date>2021-03-04</file_altered_date>"
    "<file_altered_time>12:35:01.120</file_altered_time>"
    "<file_mft_changed_date>2021-03-04</file_mft_changed_date>"
    "<file_mft_changed_time>12:35:01.120</file_mft_changed_time>"
    "<file_accessed_date>2021-03-04</file_accessed_date>"
    "<file_accessed_time>12:35:02.000</file_accessed_time>";
const std::string plain_end =
    "<time_discrepancy>false</time_discrepancy><object_id/></data_entry>\n";

std::string file_element(const std::string& directory, const std::string& name,
                         const std::string& size = "00001000") {
    return "<data_entry><directory>" + directory + "</directory>\n<filename>" + name +
           "</filename><dir/><size>" + size + "</size><sym_link/>" + file_stamps + plain_end;
}

std::string directory_element(const std::string& directory) {
    return "<data_entry><directory>" + directory +
           "</directory>\n<filename>.</filename><dir>true</dir><size/><sym_link/>" + file_stamps +
           plain_end;
}

class XmlListing : public writer_test {
protected:
    std::string list() {
        write_xml_listing(out, recurse_list, opts, parent, dir_num);
        return written();
    }
};

TEST_F(XmlListing, FileElement) {
    add(make_file("report.txt"));
    EXPECT_EQ(
        list(),
        R"(<data_entry><directory>c:\data\</directory>)"
        "\n"
        R"(<filename>report.txt</filename><dir/><size>00001000</size><sym_link/><file_create_date>2021-03-04</file_create_date><file_create_time>12:34:56.789</file_create_time><file_altered_date>2021-03-04</file_altered_date><file_altered_time>12:35:01.120</file_altered_time><file_mft_changed_date>2021-03-04</file_mft_changed_date><file_mft_changed_time>12:35:01.120</file_mft_changed_time><file_accessed_date>2021-03-04</file_accessed_date><file_accessed_time>12:35:02.000</file_accessed_time><time_discrepancy>false</time_discrepancy><object_id/></data_entry>)"
        "\n");
}

TEST_F(XmlListing, DirectoryElements) {
    add(make_own_row());
    add(make_directory("sub"));
    EXPECT_EQ(list(), directory_element("c:\\data\\") + directory_element("c:\\data\\sub\\"));
}

TEST_F(XmlListing, OwnRowOfTheRoot) {
    parent = L"\\";
    add(make_own_row());
    add(make_file("a"));
    EXPECT_EQ(list(), directory_element("\\") + file_element("\\", "a"));
}

TEST_F(XmlListing, StreamOfAFileIsShownByItsWholeName) {
    add(make_row(entry_type::data_stream, "a.txt:zone", 1290));
    EXPECT_EQ(list(), file_element("c:\\data\\", "a.txt:zone"));
}

TEST_F(XmlListing, StreamsOfDirectoriesHaveTheDirectoryForm) {
    add(make_own_row());
    add(make_own_stream(entry_type::data_stream, "data:zone"));
    dir_entry stream = make_row(entry_type::data_stream, "sub:zone", 1234);
    stream.flags = 3;
    add(stream);
    EXPECT_EQ(list(), directory_element("c:\\data\\") + directory_element("c:\\data\\") +
                          directory_element("c:\\data\\sub:zone\\"));
}

TEST_F(XmlListing, TypeSequenceNumberAndAttributesAreIgnored) {
    dir_entry odd = make_file("a");
    odd.type = 77;
    odd.seq_num = 9;
    odd.attributes = 9;
    add(odd);
    EXPECT_EQ(list(), file_element("c:\\data\\", "a"));
}

TEST_F(XmlListing, EachFileEscapesTheDirectoryOnceMore) {
    parent = L"c:\\a&b";
    add(make_own_row());
    add(make_file("1"));
    add(make_file("2"));
    add(make_directory("3"));
    add(make_file("4"));
    EXPECT_EQ(list(), directory_element("c:\\a&amp;b\\") + file_element("c:\\a&amp;b\\", "1") +
                          file_element("c:\\a&amp;amp;b\\", "2") +
                          directory_element("c:\\a&amp;amp;amp;b\\3\\") +
                          file_element("c:\\a&amp;amp;amp;b\\", "4"));
}

TEST_F(XmlListing, EachListingStartsWithTheUnescapedPath) {
    parent = L"c:\\a&b";
    add(make_file("1"));
    EXPECT_EQ(list(), file_element("c:\\a&amp;b\\", "1"));
    EXPECT_EQ(list(), file_element("c:\\a&amp;b\\", "1"));
}

TEST_F(XmlListing, NamesAreEscapedOnce) {
    const struct {
        const char* name;
        const char* shown;
    } cases[] = {
        {"a<b>c&d", "a&lt;b&gt;c&amp;d"},   {"\u00e9", "%c3%a9"},
        {"\U0001F600", "%f0%9f%98%80"},     {"q\"'%", "q\"'%"},
        {"\t\x01\x1f\x7f", "%09%01%1f%7f"}, {"a\r\nb", "a\r\nb"},
    };
    for (const auto& c : cases) {
        opts.entries.clear();
        add(make_file("0"));
        add(make_file(c.name));
        const std::string text = list();
        EXPECT_NE(text.find("<filename>" + std::string(c.shown) + "</filename>"), std::string::npos)
            << text;
    }
}

TEST_F(XmlListing, DirectoryPathsAreEscapedToo) {
    parent = L"c:\\\u00e9";
    add(make_own_row());
    add(make_directory("<x>"));
    EXPECT_EQ(list(),
              directory_element("c:\\%c3%a9\\") + directory_element("c:\\%c3%a9\\&lt;x&gt;\\"));
}

TEST_F(XmlListing, SizeIsHexadecimalOrDecimal) {
    const struct {
        std::uint64_t size;
        const char* hex;
        const char* decimal;
    } cases[] = {
        {0, "00000000", "0"},
        {0xABCDEF, "00abcdef", "11259375"},
        {0x123456789A, "123456789a", "78187493530"},
    };
    for (const auto& c : cases) {
        opts.entries.clear();
        dir_entry file = make_file("a");
        file.size = c.size;
        add(file);
        opts.hex_numbers = 1;
        EXPECT_EQ(list(), file_element("c:\\data\\", "a", c.hex));
        opts.hex_numbers = 0;
        EXPECT_EQ(list(), file_element("c:\\data\\", "a", c.decimal));
    }
}

TEST_F(XmlListing, LinkTargetIsNotEscaped) {
    dir_entry file = make_file("a");
    file.link_target = "<\u00e9&>";
    add(file);
    EXPECT_NE(list().find("</size><sym_link><\xc3\xa9&></sym_link><file_create_date>"),
              std::string::npos);
}

TEST_F(XmlListing, InvalidTimestampsLeaveEmptyElementsInTheLongForm) {
    dir_entry file = make_file("a");
    file.si_created = file.si_modified = file.si_mft_changed = file.si_accessed = 0;
    add(file);
    EXPECT_EQ(list(),
              "<data_entry><directory>c:\\data\\</directory>\n<filename>a</filename><dir/>"
              "<size>00001000</size><sym_link/>"
              "<file_create_date></file_create_date><file_create_time></file_create_time>"
              "<file_altered_date></file_altered_date><file_altered_time></file_altered_time>"
              "<file_mft_changed_date></file_mft_changed_date>"
              "<file_mft_changed_time></file_mft_changed_time>"
              "<file_accessed_date></file_accessed_date>"
              "<file_accessed_time></file_accessed_time>" +
                  plain_end);
}

const std::string long_name_stamps =
    "<name_create_date>2021-03-04</name_create_date>"
    "<name_create_time>12:34:56.789</name_create_time>"
    "<name_altered_date>2021-03-04</name_altered_date>"
    "<name_altered_time>12:35:01.120</name_altered_time>"
    "<name_mft_changed_date>2021-03-05</name_mft_changed_date>"
    "<name_mft_changed_time>12:35:01.120</name_mft_changed_time>"
    "<name_accessed_date>2021-03-04</name_accessed_date>"
    "<name_accessed_time>12:35:02.000</name_accessed_time>";
const std::string no_short_name =
    "<shortname_create_date/><shortname_create_time/>"
    "<shortname_altered_date/> <shortname_altered_time/>"
    "<shortname_mft_changed_date/><shortname_mft_changed_time/>"
    "<shortname_accessed_date/><shortname_accessed_time/>";

const std::string report_head =
    "<data_entry><directory>c:\\data\\</directory>\n<filename>a</filename><dir/>"
    "<size>00001000</size><sym_link/>";

TEST_F(XmlListing, AlldatesAddsTheTimestampsOfTheLongName) {
    opts.alldates = 1;
    dir_entry file = make_file("a");
    file.fn_list.push_back(make_name(false, created, modified, modified + day, accessed));
    file.fn_list.push_back(make_name(true, 0, modified, modified, accessed));
    add(file);
    EXPECT_EQ(list(), report_head + file_stamps + long_name_stamps + no_short_name + plain_end);
}

TEST_F(XmlListing, AlldatesAddsTheTimestampsOfTheShortName) {
    opts.alldates = 1;
    dir_entry file = make_file("a");
    file.fn_list.push_back(make_name(false, created, modified, modified + day, accessed));
    file.fn_list.push_back(
        make_name(true, accessed, created, modified, support::filetime(2022, 12, 31)));
    add(file);
    EXPECT_EQ(list(), report_head + file_stamps + long_name_stamps +
                          "<shortname_create_date>2021-03-04</shortname_create_date>"
                          "<shortname_create_time>12:35:02.000</shortname_create_time>"
                          "<shortname_altered_date>2021-03-04</shortname_altered_date>"
                          "<shortname_altered_time>12:34:56.789</shortname_altered_time>"
                          "<shortname_mft_changed_date>2021-03-04</shortname_mft_changed_date>"
                          "<shortname_mft_changed_time>12:35:01.120</shortname_mft_changed_time>"
                          "<shortname_accessed_date>2022-12-31</shortname_accessed_date>"
                          "<shortname_accessed_time>00:00:00.000</shortname_accessed_time>" +
                          plain_end);
}

TEST_F(XmlListing, AlldatesWithoutNamesAddsNothing) {
    opts.alldates = 1;
    add(make_file("a"));
    EXPECT_EQ(list(), file_element("c:\\data\\", "a"));
}

TEST_F(XmlListing, AlldatesWithOnlyADosNameLeavesTheLongTimestampsEmpty) {
    opts.alldates = 1;
    dir_entry file = make_file("a");
    file.fn_list.push_back(make_name(true, created, modified, modified, accessed));
    add(file);
    const std::string text = list();
    EXPECT_NE(text.find("<name_create_date></name_create_date><name_create_time></name_create_time>"
                        "<name_altered_date></name_altered_date>"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("<shortname_create_date>2021-03-04</shortname_create_date>"),
              std::string::npos)
        << text;
}

TEST_F(XmlListing, DiscrepancyIsReportedOnlyWithAlldates) {
    dir_entry file = make_file("a");
    file.fn_list.push_back(
        make_name(false, created + 2 * day, modified, modified + 2 * day, accessed));
    add(file);
    EXPECT_NE(list().find("<time_discrepancy>false</time_discrepancy>"), std::string::npos);
    opts.alldates = 1;
    EXPECT_NE(list().find("<time_discrepancy>true</time_discrepancy>"), std::string::npos);
}

TEST_F(XmlListing, ObjectIdIsWrittenWithoutBeingRequested) {
    dir_entry file = make_file("a");
    for (std::uint8_t i = 0; i < 16; ++i)
        file.object_id[i] = i;
    add(file);
    EXPECT_EQ(list(), report_head + file_stamps +
                          "<time_discrepancy>false</time_discrepancy>"
                          "<object_id>03020100-0504-0706-0809-0a0b0c0d0e0f</object_id>"
                          "</data_entry>\n");
}

TEST_F(XmlListing, OptionsOfOtherReportsChangeNothing) {
    add(make_file("a|b,c"));
    opts.csv_separator = ",";
    opts.path_sep_from = ',';
    opts.path_sep_to = ' ';
    opts.split_pathfile = 1;
    opts.pair_datetime = 1;
    opts.csv_space_field = 0;
    opts.show_objid = 1;
    EXPECT_EQ(list(), file_element("c:\\data\\", "a|b,c"));
}

TEST_F(XmlListing, SubdirectoryAboveTheLastLevelIsReturned) {
    opts.last_level = 0;
    recurse_list.insert(make_directory("old"));
    add(make_directory("a&b"));
    EXPECT_EQ(list(), "");
    ASSERT_EQ(recurse_list.size(), 1u);
    EXPECT_EQ(recurse_list.begin()->parent_path.text(), L"c:\\data\\a&b");
}

TEST_F(XmlListing, EmptySetPrintsItsLine) { EXPECT_EQ(list(), "no items in directory\n"); }

// Checks the opening with its date and time removed; they must be the current ones.
class XmlFrame : public writer_test {
protected:
    std::string opening() {
        const ql::time before = ql::time::now();
        write_xml_opening(out, opts);
        const ql::time after = ql::time::now();
        std::string text = written();
        const std::string from = stamp(before);
        const std::string to = stamp(after);
        for (const std::string& candidate : {from, to}) {
            const std::size_t at = text.find(candidate);
            if (at != std::string::npos) return text.replace(at, candidate.size(), "NOW");
        }
        return text + " has no time of now, such as " + from;
    }

    // Rounds to whole seconds, so that only a few candidates are possible.
    std::string stamp(const ql::time& t) const {
        std::string date;
        std::string time;
        ql::date_time_strings(date, time, t, opts.date_style);
        return " date=\"" + date + "\" time=\"" + time + "\"";
    }
};

TEST_F(XmlFrame, OpeningHasImagePathDateAndTime) {
    set_formats("mm/dd/yyyy", "hh:mm:ss");
    opts.image_path = L"my \u00e9&\"disk.dd";
    dir_entry first = make_own_row();
    first.parent_path = shared_path(L"c:\\<d\u00e4ta>");
    add(first);
    add(make_file("a"));
    EXPECT_EQ(opening(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "\n"
              "<logdata  umounted_image=\"my \xc3\xa9&\"disk.dd\"\n"
              " starting_path=\"c:\\<d\xc3\xa4ta>\"NOW>\n");
}

TEST_F(XmlFrame, OpeningWithoutAnImage) {
    set_formats("yyyy-mm-dd", "hh:mm:ss");
    add(make_own_row());
    EXPECT_EQ(opening(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n"
              "<logdata  starting_path=\"c:\\data\"NOW>\n");
}

TEST_F(XmlFrame, Closing) {
    write_xml_closing(out);
    EXPECT_EQ(written(), "</logdata>\n");
}

}  // namespace
