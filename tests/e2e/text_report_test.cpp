// Text reports of whole runs.
#include <gtest/gtest.h>

#include "e2e/report_head.h"
#include "e2e/rich_volume.h"
#include "support/ntfs_image.h"
#include "support/sample_volume.h"
#include "support/temp_dir.h"

namespace {

using e2e::joined_lines;
using e2e::list;

constexpr std::uint64_t root = 5;

const std::string header = "  last modified [UTC]      MFT & seq num       size          name\n\n";

// Rows of the rich volume.
const std::string docs_row =
    R"(2021-03-05 06:07:08.234          40    1                dir  \docs\)";
const std::string docs_indx_row =
    R"(2021-03-05 06:07:08.234          40    1         4096  indx  \docs:$I30)";
const std::string note_row =
    R"(2021-03-05 06:07:08.234          40    1            5   ads  \docs:note)";
const std::string comma_row =
    R"(2021-03-05 06:07:08.234          41    1            3        \docs\a,b|c.txt)";
const std::string far_row =
    "                                 45    1            8        \\docs\\far\t.dat";
const std::string linked_row =
    R"(2021-03-05 06:07:08.234          48    1            4        \docs\linked.txt)";
const std::string long_row =
    R"(2021-12-31 23:59:59.999          42    3         8192        \docs\Long Name.txt)";
const std::string zone_row =
    R"(2021-12-31 23:59:59.999          42    3            7   ads  \docs\Long Name.txt:zone)";
const std::string sub_row =
    R"(2021-03-05 06:07:08.234          43    1                dir  \docs\sub\)";
const std::string sub_indx_row =
    R"(2021-03-05 06:07:08.234          43    1         4096  indx  \docs\sub:$I30)";
const std::string deep_row =
    R"(2021-03-05 06:07:08.234          46    1                dir  \docs\sub\deep\)";
const std::string other_row =
    R"(2021-03-05 06:07:08.234          48    1            4        \docs\sub\other name.txt)";
const std::string zero_row =
    R"(                                 44    1            0        \docs\sub\x&<y>".txt)";
const std::string end_row =
    R"(2021-03-05 06:07:08.234          47    1            0        \docs\sub\deep\end.txt)";

class TextReport : public testing::Test {
protected:
    // Returns the rows of \docs with these options. Expects the header exactly once.
    std::string docs(std::vector<std::string> options = {}, const std::string& path = "\\docs") {
        std::vector<std::string> arguments = {path, "-image", image.path()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const std::string text = list(arguments);
        EXPECT_EQ(text.substr(0, header.size()), header);
        return text.substr(std::min(header.size(), text.size()));
    }

    e2e::rich_image image;
};

TEST_F(TextReport, DirectoryWithItsStreamsAndChildren) {
    const std::string rows = joined_lines(
        {docs_row, note_row, comma_row, far_row, linked_row, long_row, zone_row, sub_row});
    EXPECT_EQ(docs(), rows);
    EXPECT_EQ(docs({"-level", "0"}), rows);
    EXPECT_EQ(docs({"-base10", "-pair_datetime", "-split_pathfile", "-no_whitespace"}), rows);
}

TEST_F(TextReport, OneLevelMoreListsTheSubdirectories) {
    EXPECT_EQ(docs({"-level", "1"}),
              joined_lines({docs_row, note_row, comma_row, far_row, linked_row, long_row, zone_row,
                            sub_row, deep_row, other_row, zero_row}));
}

TEST_F(TextReport, EnoughLevelsListEverything) {
    const std::string all =
        joined_lines({docs_row, note_row, comma_row, far_row, linked_row, long_row, zone_row,
                      sub_row, other_row, zero_row, deep_row, end_row});
    for (const char* levels : {"2", "3", "99", "0x10"})
        EXPECT_EQ(docs({"-level", levels}), all);
    EXPECT_EQ(docs({"-recurse", "2"}), all);
}

TEST_F(TextReport, IndexStreamsAreShownOnRequest) {
    EXPECT_EQ(
        docs({"-indx", "-level", "1"}),
        joined_lines({docs_row, docs_indx_row, note_row, comma_row, far_row, linked_row, long_row,
                      zone_row, sub_row, sub_indx_row, deep_row, other_row, zero_row}));
    // The stream of a child directory is shown as a suffix of its name.
    EXPECT_EQ(docs({"-indx"}),
              joined_lines({docs_row, docs_indx_row, note_row, comma_row, far_row, linked_row,
                            long_row, zone_row, sub_row, sub_indx_row}));
}

TEST_F(TextReport, ObjectIdsAreShownOnRequest) {
    EXPECT_EQ(docs({"-objid"}),
              joined_lines({docs_row + "  [objid " + e2e::docs_id + "]", note_row, comma_row,
                            far_row, linked_row, long_row + "  [objid " + e2e::long_name_id + "]",
                            zone_row, sub_row}));
}

TEST_F(TextReport, StreamSuffixListsOnlyTheStream) {
    EXPECT_EQ(docs({}, "\\docs\\long name.TXT:ZONE"),
              "2021-12-31 23:59:59.999          42    3            7   ads  :zone\n");
    // The name of a directory loses its last letter.
    EXPECT_EQ(docs({}, "\\docs:note"),
              "2021-03-05 06:07:08.234          40    1            5   ads  \\doc:note\n");
}

TEST_F(TextReport, StreamSuffixWithoutAStreamListsTheFile) {
    EXPECT_EQ(docs({}, "\\docs\\long name.txt:none"),
              joined_lines({long_row,
                            "2021-12-31 23:59:59.999          42    3            7   ads "
                            " :zone"}));
    EXPECT_EQ(docs({}, "\\docs\\linked.txt:none"), joined_lines({linked_row}));
}

TEST_F(TextReport, FileIsListedUnderItsDirectory) {
    EXPECT_EQ(docs({}, "/DOCS/LINKED.TXT"),
              R"(2021-03-05 06:07:08.234          48    1            4        \DOCS\linked.txt)"
              "\n");
}

TEST_F(TextReport, PathsStartWithTheArgumentAsTyped) {
    EXPECT_EQ(docs({}, "c:\\docs\\sub\\deep\\"),
              joined_lines({R"(2021-03-05 06:07:08.234          46    1                dir  )"
                            R"(\docs\sub\deep\)",
                            end_row}));
    EXPECT_EQ(docs({}, "DOCS/Sub/deep"),
              joined_lines({R"(2021-03-05 06:07:08.234          46    1                dir  )"
                            R"(DOCS\Sub\deep\)",
                            R"(2021-03-05 06:07:08.234          47    1            0        )"
                            R"(DOCS\Sub\deep\end.txt)"}));
}

TEST_F(TextReport, FormatsApplyToDatesAndTheirColumn) {
    using namespace std::string_literals;
    const struct {
        std::vector<std::string> options;
        const char* head_date;
        std::string cell;
        std::size_t width;  // of both formats plus a blank
    } cases[] = {
        {{"-dateformat", "mm/dd/yyyy"}, "%m/%d/%Y", "03/05/2021 06:07:08.234", 23},
        {{"-dateformat", "MM/DD/YY", "-timeformat", "hh:mm:ss"},
         "%m/%d/%Y",  // upper-case letters have no effect in the head
         "03/05/2021 06:07:08",
         17},
        {{"-dateformat", "dd/mm/yy"}, "%d/%m/%y", "05/03/2021 06:07:08.234", 21},
        {{"-dateformat", "yyyymmdd"}, "%Y%m%d", "2021\0"s + "03\0"s + "05 06:07:08.234", 21},
        {{"-dateformat", "xx/yy/zz"}, "%m/%d/%y", " 06:07:08", 21},
        {{"-dateformat", "abcdefgh"}, "%m/%d/%Y", "2021-03-05 06:07:08.234", 21},
        {{"-dateformat", "dd-mmm-yyy"}, "%d-%b-%y", "05-Mar-2021 06:07:08.234", 23},
        {{"-timeformat", "hh:mm:ss"}, "%m/%d/%Y", "2021-03-05 06:07:08", 19},
        {{"-timeformat", "hh:mm:ss.xxxx"}, "%m/%d/%Y", "2021-03-05 06:07:08.2345", 24},
        {{"-timeformat", "hh:mm:ss.xxxxxxx"}, "%m/%d/%Y", "2021-03-05 06:07:08.2345678", 27},
        {{"-timeformat", "hh:mm:ss.xxxxxxxxx"}, "%m/%d/%Y", "2021-03-05 06:07:08.234567800", 29},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(e2e::joined_words(c.options));
        std::vector<std::string> arguments = {"\\docs\\linked.txt", "-image", image.path()};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const auto filled = [&](std::string text) {
            text.append(text.size() < c.width ? c.width - text.size() : 0, ' ');
            return text;
        };
        EXPECT_EQ(list(arguments, c.head_date),
                  filled("  last modified [UTC]  ") +
                      "    MFT & seq num       size          name\n\n" + filled(c.cell) +
                      R"(          48    1            4        \docs\linked.txt)" + "\n");
    }
}

TEST_F(TextReport, FiltersApplyToFilesButNotToDirectories) {
    EXPECT_EQ(docs({"-filter", "*.dat"}), joined_lines({docs_row, note_row, far_row, sub_row}));
    EXPECT_EQ(docs({"-filter", "l*|*.DAT"}),
              joined_lines({docs_row, note_row, far_row, linked_row, long_row, zone_row, sub_row}));
    EXPECT_EQ(docs({"-filter", "/sub", "-level", "9"}),
              joined_lines({docs_row, note_row, sub_row, other_row, zero_row, deep_row, end_row}));
    EXPECT_EQ(docs({"-filter", "*"}), joined_lines({docs_row, note_row, comma_row, far_row,
                                                    linked_row, long_row, zone_row, sub_row}));
    EXPECT_EQ(docs({"-cmd_start_time", "2020-01-01"}), joined_lines({docs_row, note_row, sub_row}));
}

TEST_F(TextReport, RejectedFileLeavesNoItems) {
    EXPECT_EQ(list({"\\docs\\linked.txt", "-image", image.path(), "-filter", "*.exe"}),
              "no items\n\n");
}

TEST_F(TextReport, MissingPathIsNotListed) {
    EXPECT_EQ(list({"\\nowhere", "-image", image.path()}), "");
}

TEST_F(TextReport, FormsWithoutAWriterPrintNoRows) {
    for (const char* form : {"-bodyfile", "-csvl2t"}) {
        EXPECT_EQ(list({"\\docs", "-image", image.path(), form, "-level", "9"}), "");
    }
    EXPECT_EQ(docs({"-csvgen"}), docs());
    EXPECT_EQ(docs({"-multiline"}), docs());
}

TEST_F(TextReport, LevelThatWrapsPrintsNoRows) {
    EXPECT_EQ(list({"\\docs", "-image", image.path(), "-level", "-1"}), "");
    EXPECT_EQ(list({"\\docs", "-image", image.path(), "-level", "0xffffffff"}), "");
}

TEST_F(TextReport, ReportGoesToTheResultsFile) {
    const std::string file = image.file("out.txt");
    const std::vector<std::string> arguments = {"\\docs\\linked.txt", "-image", image.path(),
                                                "-out", file};
    const support::program_result run = support::run_built_program(QUORVEL_PROGRAM, arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, e2e::terminal_clearing);
    const std::string written = support::read_file(file);
    EXPECT_EQ(written,
              e2e::report_head(written, QUORVEL_PROGRAM, arguments) + header + linked_row + "\n");
}

// --- names ---

TEST(TextReportNames, NamesOfAnyKind) {
    support::temp_dir dir;
    support::ntfs_image volume;
    volume.directory(root, u"n", 40);
    const std::u16string lone_high = u"a\xD800z";
    const std::u16string lone_low = u"b\xDC00z";
    const std::u16string mixed = u"c\U0001F600\xD83Dz";  // a broken pair also splits the valid one
    const std::u16string cut = std::u16string(u"d") + u'\0' + u"hidden";
    volume.file(40, lone_high, 64).data("");
    volume.file(40, lone_low, 65).data("");
    volume.file(40, mixed, 66).data("");
    volume.file(40, cut, 67).data("");
    volume.file(40, u"e\u00e9\u4e2d\U0001F600", 68).data("");
    volume.file(40, std::u16string(255, u'f'), 69).data("");
    volume.file(40, std::u16string(255, u'\u4e2d'), 70).data("");
    const std::string image = volume.save(dir.file("names.dd"));
    std::string rows =
        header + R"(2021-03-05 06:07:08.234          40    1                dir  \n\)" + "\n";
    std::string long_chinese;
    for (int i = 0; i < 255; ++i)
        long_chinese += "\xe4\xb8\xad";
    const std::string names[] = {
        "a\xed\xa0\x80z",
        "b\xed\xb0\x80z",
        "c\xed\xa0\xbd\xed\xb8\x80\xed\xa0\xbdz",
        "d",
        "e\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80",
        std::string(255, 'f'),
        long_chinese,
    };
    for (std::size_t i = 0; i < std::size(names); ++i) {
        rows += "2021-03-05 06:07:08.234          " + std::to_string(64 + i) +
                "    1            0        \\n\\" + names[i] + "\n";
    }
    EXPECT_EQ(list({"\\n", "-image", image}), rows);
}

TEST(TextReportNames, NamesAreFoundByTheirUtf8Form) {
    support::temp_dir dir;
    support::ntfs_image volume;
    volume.directory(root, u"\u00e4\U0001F600", 40);
    volume.file(40, u"File", 64).data("");
    const std::string image = volume.save(dir.file("names.dd"));
    EXPECT_EQ(list({"\\\xc3\xa4\xf0\x9f\x98\x80\\fILE", "-image", image}),
              header +
                  "2021-03-05 06:07:08.234          64    1            0        "
                  "\\\xc3\xa4\xf0\x9f\x98\x80\\File\n");
}

TEST(TextReportNames, RowsAreOrderedByCodePointRegardlessOfAsciiCase) {
    support::temp_dir dir;
    support::ntfs_image volume;
    volume.directory(root, u"o", 40);
    const std::u16string names[] = {u"Z",      u"_",      u"a",      u"B",
                                    u"\u00c4", u"\u00e4", u"\uffff", u"\U0001F600"};
    for (std::uint64_t i = 0; i < std::size(names); ++i)
        volume.file(40, names[i], 64 + i);
    const std::string image = volume.save(dir.file("order.dd"));
    std::string expected = "\\o\\\n";
    for (const char* name :
         {"_", "a", "B", "Z", "\xc3\x84", "\xc3\xa4", "\xef\xbf\xbf", "\xf0\x9f\x98\x80"}) {
        expected += std::string("\\o\\") + name + "\n";
    }
    EXPECT_EQ(e2e::list_bare({"\\o", "-image", image, "-filepath_only"}), expected);
}

// --- links ---

TEST(TextReportLinks, JunctionIsListedLikeADirectory) {
    support::temp_dir dir;
    support::ntfs_image volume;
    volume.directory(root, u"target", 40);
    volume.file(40, u"f", 64).data("");
    volume.directory(root, u"links", 41);
    volume.directory(41, u"junction", 42)
        .reparse(support::mount_point_tag, u"\\??\\C:\\target", {.print = u"C:\\target"});
    const std::string image = volume.save(dir.file("links.dd"));
    const std::string links =
        R"(2021-03-05 06:07:08.234          41    1                dir  \links\)";
    const std::string junction =
        R"(2021-03-05 06:07:08.234          42    1                dir  \links\junction\)";
    EXPECT_EQ(list({"\\links", "-image", image}), header + joined_lines({links, junction}));
    EXPECT_EQ(list({"\\links", "-image", image, "-level", "5"}),
              header + joined_lines({links, junction}));
    // The lookup follows it, and the listing keeps the path as typed.
    EXPECT_EQ(
        list({"\\links\\junction\\f", "-image", image}),
        header +
            R"(2021-03-05 06:07:08.234          64    1            0        \links\junction\f)" +
            "\n");
}

// --- geometry ---

struct geometry_case {
    std::uint32_t sector, cluster, record;
};

class TextReportGeometry : public testing::TestWithParam<geometry_case> {};

// A directory of 70 files (several index blocks), every tenth with two clusters of data.
TEST_P(TextReportGeometry, ListsADirectoryOfSeveralBlocks) {
    const geometry_case& g = GetParam();
    support::temp_dir dir;
    support::ntfs_image volume{{.sector = g.sector, .cluster = g.cluster, .record = g.record}};
    volume.directory(root, u"dir", 40).stream(u"s", "12");
    std::string expected =
        header + joined_lines({
                     R"(2021-03-05 06:07:08.234          40    1                dir  \dir\)",
                     R"(2021-03-05 06:07:08.234          40    1            2   ads  \dir:s)",
                 });
    for (unsigned i = 0; i < 70; ++i) {
        const std::string digits = {static_cast<char>('0' + i / 10),
                                    static_cast<char>('0' + i % 10)};
        const std::string name = "a file with a longer name " + digits;
        support::record_builder& file =
            volume.file(40, std::u16string(name.begin(), name.end()), 100 + i);
        std::string size = "1";
        if (i % 10 == 0) {
            file.data_runs(volume.store(support::pattern(2 * g.cluster), 2),
                           {.real = g.cluster + 1});
            size = std::to_string(2 * g.cluster);
        } else {
            file.data("x");
        }
        expected += "2021-03-05 06:07:08.234         " + std::to_string(100 + i) + "    1 " +
                    std::string(12 - size.size(), ' ') + size + "        \\dir\\" + name + "\n";
    }
    const std::string image = volume.save(dir.file("geometry.dd"));
    EXPECT_EQ(list({"\\dir", "-image", image}), expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, TextReportGeometry,
    testing::Values(geometry_case{512, 512, 1024}, geometry_case{512, 1024, 1024},
                    geometry_case{512, 4096, 1024}, geometry_case{512, 4096, 4096},
                    geometry_case{512, 65536, 1024}, geometry_case{512, 2048, 4096},
                    geometry_case{1024, 1024, 1024}, geometry_case{1024, 8192, 4096},
                    geometry_case{2048, 2048, 4096}, geometry_case{2048, 16384, 1024},
                    geometry_case{4096, 4096, 4096}, geometry_case{4096, 65536, 4096},
                    geometry_case{4096, 4096, 1024}),
    [](const testing::TestParamInfo<geometry_case>& tested) {
        return "Sector" + std::to_string(tested.param.sector) + "Cluster" +
               std::to_string(tested.param.cluster) + "Record" +
               std::to_string(tested.param.record);
    });

}  // namespace
