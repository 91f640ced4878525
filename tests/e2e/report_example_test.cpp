// One file in every report form, with the complete output.
#include <gtest/gtest.h>

#include "e2e/report_head.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace {

using support::filetime;

const support::file_times report_times{.created = filetime(2021, 3, 4, 12, 34, 56, 7890000),
                                       .modified = filetime(2021, 3, 4, 12, 35, 1, 1200000),
                                       .mft_changed = filetime(2021, 3, 4, 12, 35, 1, 1200000),
                                       .accessed = filetime(2021, 3, 4, 12, 35, 2)};

// \data (40), and report.txt (1290) with one cluster, in \data or in \data\sub (1234).
class ReportExample : public testing::Test {
protected:
    void make(bool in_sub) {
        volume.directory(5, u"data", 40);
        std::uint64_t parent = 40;
        if (in_sub) {
            parent = 1234;
            const support::file_times times{.modified = filetime(2021, 3, 4, 12, 34, 56, 7890000)};
            volume.directory(40, u"sub", parent, {}, {.times = times}).sequence(5);
        }
        volume.file(parent, u"report.txt", 1290, {.times = report_times}, {.times = report_times})
            .sequence(2)
            .data_runs(volume.store(support::pattern(4096)));
        image = volume.save(dir.file("report.dd"));
    }

    support::temp_dir dir;
    support::ntfs_image volume;
    std::string image;
};

TEST_F(ReportExample, Text) {
    make(true);
    EXPECT_EQ(
        e2e::list({"c:/data/sub", "-image", image}),
        "  last modified [UTC]      MFT & seq num       size          name\n\n"
        R"(2021-03-04 12:34:56.789        1234    5                dir  c:\data\sub\)"
        "\n"
        R"(2021-03-04 12:35:01.120        1290    2         4096        c:\data\sub\report.txt)"
        "\n");
}

TEST_F(ReportExample, Csv) {
    make(false);
    EXPECT_EQ(e2e::list({"c:/data/report.txt", "-image", image, "-csv"}),
              "type,filename,symbolic link,size,attributes,MFT entry,sequence #,flags,"
              "cdate (stdinfo),ctime (stdinfo),mdate (stdinfo),mtime (stdinfo),MFT date (stdinfo),"
              "MFT time (stdinfo),adate (stdinfo),atime (stdinfo),time discrepancy\n"
              R"(file,c:\data\report.txt,,0x00001000,0x00000020,0x0000050a,0x0002,0x0001,)"
              "2021-03-04, 12:34:56.789,2021-03-04, 12:35:01.120,2021-03-04, 12:35:01.120,"
              "2021-03-04, 12:35:02.000,,\n");
}

TEST_F(ReportExample, CsvPairedDecimalWithoutWhitespace) {
    make(false);
    const std::string text = e2e::list({"c:/data/report.txt", "-image", image, "-csv",
                                        "-pair_datetime", "-base10", "-no_whitespace"});
    EXPECT_EQ(text.substr(text.find('\n') + 1),
              R"(file,c:\data\report.txt,,4096,32,1290,2,1,)"
              "2021-03-04 12:34:56.789,2021-03-04 12:35:01.120,2021-03-04 12:35:01.120,"
              "2021-03-04 12:35:02.000,,\n");
}

TEST_F(ReportExample, Xml) {
    make(false);
    const std::string xml = dir.file("out.xml");
    EXPECT_EQ(e2e::list({"c:/data/report.txt", "-image", image, "-xml", xml}), "");
    const std::string written = support::read_file(xml);
    const std::size_t start = written.find("<data_entry>");
    ASSERT_NE(start, std::string::npos) << written;
    EXPECT_EQ(written.substr(start),
              R"(<data_entry><directory>c:\data\</directory>)"
              "\n<filename>report.txt</filename><dir/><size>00001000</size><sym_link/>"
              "<file_create_date>2021-03-04</file_create_date>"
              "<file_create_time>12:34:56.789</file_create_time>"
              "<file_altered_date>2021-03-04</file_altered_date>"
              "<file_altered_time>12:35:01.120</file_altered_time>"
              "<file_mft_changed_date>2021-03-04</file_mft_changed_date>"
              "<file_mft_changed_time>12:35:01.120</file_mft_changed_time>"
              "<file_accessed_date>2021-03-04</file_accessed_date>"
              "<file_accessed_time>12:35:02.000</file_accessed_time>"
              "<time_discrepancy>false</time_discrepancy><object_id/></data_entry>\n"
              "</logdata>\n");
}

TEST_F(ReportExample, BarePath) {
    make(true);
    EXPECT_EQ(e2e::list_bare({"c:/data", "-image", image, "-filepath_only", "-level", "1"}),
              "c:\\data\\\nc:\\data\\sub\\\nc:\\data\\sub\\report.txt\n");
}

}  // namespace
