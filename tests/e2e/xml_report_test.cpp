// XML reports of whole runs.
#include <gtest/gtest.h>
#include <time.h>

#include <regex>

#include "e2e/report_head.h"
#include "e2e/rich_volume.h"

namespace {

// Returns the four timestamps of $STANDARD_INFORMATION or of a name, as date and time elements.
std::string stamps(const std::string& prefix, const std::vector<std::string>& texts) {
    const char* const names[] = {"create", "altered", "mft_changed", "accessed"};
    std::string elements;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string date = prefix + "_" + names[i] + "_date";
        const std::string time = prefix + "_" + names[i] + "_time";
        elements += "<" + date + ">" + texts[2 * i] + "</" + date + ">";
        elements += "<" + time + ">" + texts[2 * i + 1] + "</" + time + ">";
    }
    return elements;
}

const std::vector<std::string> usual = {"2021-03-04", "05:06:07.123", "2021-03-05", "06:07:08.234",
                                        "2021-03-06", "07:08:09.345", "2021-03-07", "08:09:10.456"};
const std::vector<std::string> set_back = {"2020-03-04",   "05:06:07.000", "2021-12-31",
                                           "23:59:59.999", "2020-02-29",   "12:00:00.000",
                                           "2000-02-29",   "00:00:00.000"};
const std::vector<std::string> short_stamps = {"2022-01-01",   "01:01:01.000", "2022-02-02",
                                               "02:02:02.000", "2022-03-03",   "03:03:03.000",
                                               "2022-04-04",   "04:04:04.000"};
const std::vector<std::string> far_stamps = {"", "", "", "", "", "", "1970-01-01", "00:00:01.000"};
const std::vector<std::string> no_stamps(8, "");
const std::string no_short_name =
    "<shortname_create_date/><shortname_create_time/>"
    "<shortname_altered_date/> <shortname_altered_time/>"
    "<shortname_mft_changed_date/><shortname_mft_changed_time/>"
    "<shortname_accessed_date/><shortname_accessed_time/>";

std::string directory_element(const std::string& path, const std::string& names = "",
                              const std::string& id = "<object_id/>") {
    return "<data_entry><directory>" + path +
           "</directory>\n<filename>.</filename><dir>true</dir><size/><sym_link/>" +
           stamps("file", usual) + names + "<time_discrepancy>false</time_discrepancy>" + id +
           "</data_entry>\n";
}

std::string file_element(const std::string& directory, const std::string& name,
                         const std::string& size, const std::vector<std::string>& info = usual,
                         const std::string& names = "", const std::string& discrepancy = "false",
                         const std::string& id = "<object_id/>") {
    return "<data_entry><directory>" + directory + "</directory>\n<filename>" + name +
           "</filename><dir/><size>" + size + "</size><sym_link/>" + stamps("file", info) + names +
           "<time_discrepancy>" + discrepancy + "</time_discrepancy>" + id + "</data_entry>\n";
}

std::string object_id(const std::string& text) { return "<object_id>" + text + "</object_id>"; }

// Returns the elements of \docs of the rich volume at the last level; with `all` also those that
// "-alldates" adds.
std::string docs_elements(bool all = false, bool decimal = false) {
    const std::string names = all ? stamps("name", usual) + no_short_name : "";
    const std::string both = all ? stamps("name", usual) + stamps("shortname", short_stamps) : "";
    const std::string discrepancy = all ? "true" : "false";
    const auto size = [decimal](const char* hex, const char* dec) { return decimal ? dec : hex; };
    return directory_element("\\docs\\", names, object_id(e2e::docs_id)) +
           directory_element("\\docs\\", names) +
           file_element("\\docs\\", "a,b|c.txt", size("00000003", "3"), usual, names) +
           file_element("\\docs\\", "far%09.dat", size("00000008", "8"), far_stamps, names) +
           file_element("\\docs\\", "linked.txt", size("00000004", "4"), usual, names) +
           file_element("\\docs\\", "Long Name.txt", size("00002000", "8192"), set_back, both,
                        discrepancy, object_id(e2e::long_name_id)) +
           file_element("\\docs\\", "Long Name.txt:zone", size("00000007", "7"), set_back, both,
                        discrepancy) +
           directory_element("\\docs\\sub\\", names);
}

class XmlReport : public testing::Test {
protected:
    // Runs with "-xml out.xml" and expects the head on standard output and in the file. Returns the
    // rest of the file.
    std::string run(const std::vector<std::string>& options, const std::string& path = "\\docs",
                    const char* head_date = "%m/%d/%Y") const {
        std::vector<std::string> arguments = {path, "-image", image.path(), "-xml", xml_path()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(e2e::list(arguments, head_date), "");
        const std::string written = support::read_file(xml_path());
        const std::string head = e2e::report_head(written, QUORVEL_PROGRAM, arguments, head_date);
        EXPECT_EQ(written.substr(0, head.size()), head);
        return written.substr(std::min(head.size(), written.size()));
    }

    std::string xml_path() const { return image.file("out.xml"); }

    // Returns the document around `elements`. Its date and time, which must be in the last minutes,
    // are those in `written`.
    std::string document(const std::string& written, const std::string& starting_path,
                         const std::string& elements) const {
        return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<logdata  umounted_image=\"" +
               image.path() + "\"\n starting_path=\"" + starting_path + "\" " + moment_of(written) +
               ">\n" + elements + "</logdata>\n";
    }

    static std::string moment_of(const std::string& written) {
        static const std::regex form(
            "date=\"([0-9]{4}-[0-9]{2}-[0-9]{2})\" "
            "time=\"([0-9]{2}:[0-9]{2}:[0-9]{2})\\.[0-9]{3}\"");
        std::smatch found;
        if (!std::regex_search(written, found, form)) return "no moment";
        std::tm fields{};
        const std::string text = found[1].str() + " " + found[2].str();
        if (strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &fields) == nullptr) return "no time";
        const double age = std::difftime(std::time(nullptr), timegm(&fields));
        return age >= -1 && age < 300 ? found[0].str() : "a moment that is not now: " + text;
    }

    e2e::rich_image image;
};

TEST_F(XmlReport, WholeDocument) {
    const std::string written = run({});
    EXPECT_EQ(written, document(written, "\\docs", docs_elements()));
}

TEST_F(XmlReport, DecimalSizes) {
    const std::string written = run({"-base10"});
    EXPECT_EQ(written, document(written, "\\docs", docs_elements(false, true)));
}

TEST_F(XmlReport, AlldatesAddsTheNamesAndIsNotCsv) {
    const std::string written = run({"-alldates"});
    EXPECT_EQ(written, document(written, "\\docs", docs_elements(true)));
}

TEST_F(XmlReport, OptionsOfOtherFormsChangeNothing) {
    const std::string written = run(
        {"-objid", "-split_pathfile", "-csv_separator", "|", "-no_whitespace", "-pair_datetime"});
    EXPECT_EQ(written, document(written, "\\docs", docs_elements()));
}

TEST_F(XmlReport, OneFrameEnclosesAllLevels) {
    const std::string written = run({"-level", "9"});
    EXPECT_EQ(
        written,
        document(written, "\\docs",
                 docs_elements() + file_element("\\docs\\sub\\", "other name.txt", "00000004") +
                     file_element("\\docs\\sub\\", "x&amp;&lt;y&gt;\".txt", "00000000", no_stamps) +
                     directory_element("\\docs\\sub\\deep\\") +
                     file_element("\\docs\\sub\\deep\\", "end.txt", "00000000")));
}

TEST_F(XmlReport, EachFileEscapesTheDirectoryOnceMore) {
    support::ntfs_image volume;
    volume.directory(5, u"a&b", 40);
    volume.file(40, u"1&", 64).data("");
    volume.file(40, u"2&", 65).data("");
    volume.directory(40, u"3&", 41);
    volume.save(image.path());
    const std::string written = run({}, "\\a&b");
    EXPECT_EQ(written, document(written, "\\a&b",
                                directory_element("\\a&amp;b\\") +
                                    file_element("\\a&amp;b\\", "1&amp;", "00000000") +
                                    file_element("\\a&amp;amp;b\\", "2&amp;", "00000000") +
                                    directory_element("\\a&amp;amp;amp;b\\3&amp;\\")));
}

TEST_F(XmlReport, NonAsciiNames) {
    support::ntfs_image volume;
    volume.directory(5, u"\u00e9", 40);
    volume.file(40, u"\u00fc\U0001F600", 64).data("");
    volume.save(image.path());
    const std::string written = run({}, "\\\xc3\xa9");
    EXPECT_EQ(written, document(written, "\\\xc3\xa9",
                                directory_element("\\%c3%a9\\") +
                                    file_element("\\%c3%a9\\", "%c3%bc%f0%9f%98%80", "00000000")));
}

TEST_F(XmlReport, IndexStreamsOfDirectoriesHaveTheDirectoryForm) {
    const std::string written = run({"-indx"}, "\\docs\\sub");
    EXPECT_EQ(written,
              document(written, "\\docs\\sub",
                       directory_element("\\docs\\sub\\") + directory_element("\\docs\\sub\\") +
                           directory_element("\\docs\\sub\\deep\\") +
                           file_element("\\docs\\sub\\", "other name.txt", "00000004") +
                           file_element("\\docs\\sub\\", "x&amp;&lt;y&gt;\".txt", "00000000",
                                        no_stamps)));
}

TEST_F(XmlReport, ZeroLevelsPrintOnlyTheFrame) {
    const std::string written = run({"-level", "-1"});
    EXPECT_EQ(written, document(written, "\\docs", ""));
}

TEST_F(XmlReport, EmptyListingPrintsNoDocument) {
    EXPECT_EQ(run({"-filter", "*.exe"}, "\\docs\\linked.txt"), "no items\n\n");
    EXPECT_EQ(run({}, "\\nowhere"), "");
}

TEST_F(XmlReport, FormatsApplyToTheFrameAndTheTimestamps) {
    const std::string written = run({"-dateformat", "dd/mm/yyyy", "-timeformat", "hh:mm:ss"},
                                    "\\docs\\linked.txt", "%d/%m/%Y");
    const std::string body = stamps("file", {"04/03/2021", "05:06:07", "05/03/2021", "06:07:08",
                                             "06/03/2021", "07:08:09", "07/03/2021", "08:09:10"});
    EXPECT_NE(written.find(body), std::string::npos) << written;
    EXPECT_TRUE(std::regex_search(
        written, std::regex(" starting_path=\"\\\\docs\" date=\"[0-9]{2}/[0-9]{2}/[0-9]{4}\" "
                            "time=\"[0-9]{2}:[0-9]{2}:[0-9]{2}\">\n<data_entry>")))
        << written;
}

TEST_F(XmlReport, DocumentIsPrintedIfTheFileCannotBeOpened) {
    const std::string written =
        e2e::list({"\\docs", "-image", image.path(), "-xml", image.file("no/such/folder.xml")});
    EXPECT_EQ(written, document(written, "\\docs", docs_elements()));
}

TEST_F(XmlReport, ResultsFileHasTheHeadAndTheXmlFileTheDocument) {
    const std::string out = image.file("out.txt");
    const std::vector<std::string> arguments = {"\\docs",   "-image", image.path(), "-xml",
                                                xml_path(), "-out",   out};
    const support::program_result run = support::run_built_program(QUORVEL_PROGRAM, arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, e2e::terminal_clearing);
    const std::string in_out = support::read_file(out);
    EXPECT_EQ(in_out, e2e::report_head(in_out, QUORVEL_PROGRAM, arguments));
    const std::string in_xml = support::read_file(xml_path());
    EXPECT_EQ(in_xml, e2e::report_head(in_xml, QUORVEL_PROGRAM, arguments) +
                          document(in_xml, "\\docs", docs_elements()));
}

TEST_F(XmlReport, CsvDisablesXml) {
    const std::string text =
        e2e::list({"\\docs\\linked.txt", "-image", image.path(), "-xml", xml_path(), "-csv"});
    EXPECT_EQ(text.substr(0, 14), "type,filename,");
    EXPECT_FALSE(support::file_exists(xml_path()));
}

}  // namespace
