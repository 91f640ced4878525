// Whole runs with the common options: their messages, their files and their effect on the rows.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "unit/run/usage_text.h"

namespace {

using e2e::directory_row;
using e2e::file_row;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::text_header;
using e2e::whole_run;
using words = std::vector<std::string>;

// A volume with \docs (40), \docs\a.txt (41, with a stream "zone"), \docs\b.exe (42) and
// \docs\sub (43).
class Options : public testing::Test {
protected:
    Options() {
        support::ntfs_image volume;
        volume.directory(5, u"docs", 40);
        volume.file(40, u"a.txt", 41).data("abc").stream(u"zone", "12");
        volume.file(40, u"b.exe", 42).data("MZ");
        volume.directory(40, u"sub", 43);
        m_image = volume.save(m_dir.file("volume.dd"));
    }

    words listing_of_docs(const words& options) const {
        words arguments = {"\\docs", "-image", m_image};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    }

    static std::string directories() {
        return text_header + directory_row(40, "\\docs\\") + directory_row(43, "\\docs\\sub\\");
    }
    static std::string a_rows() {
        return file_row(41, 3, "\\docs\\a.txt") +
               e2e::text_row(41, "2", "  ads  ", "\\docs\\a.txt:zone");
    }
    static std::string b_rows() { return file_row(42, 2, "\\docs\\b.exe"); }
    static std::string rows(const std::string& files) {
        return text_header + directory_row(40, "\\docs\\") + files +
               directory_row(43, "\\docs\\sub\\");
    }
    static std::string all_rows() { return rows(a_rows() + b_rows()); }

    support::temp_dir m_dir;
    std::string m_image;
};

// --- options that end the run ---

TEST_F(Options, DatabasesAreNotOffered) {
    for (const char* word : {"-sqlite", "-sqlite_log", "-SQLITE"}) {
        whole_run(listing_of_docs({word, "x"}))
            .expect(status_failed, "", "This option is not offered in this build\n");
    }
}

TEST_F(Options, UnpairedAliasesEndTheRun) {
    for (const words& options :
         {words{"-alias", "a|b|c"}, words{"-alias", "a"}, words{"-aliaspath", "/a|/b|/c"}}) {
        whole_run(listing_of_docs(options))
            .expect(status_failed, "", "imbalanced alias to true pathfiles, aborting\n");
    }
    whole_run(listing_of_docs({"-alias", "a|b", "-aliaspath", "/a/"}))
        .expect(0, all_rows(), terminal_clearing);
}

TEST_F(Options, DateWithoutSeparatorEndsTheRunSilently) {
    for (const char* word : {"-cmd_start_time", "-cmd_stop_time"}) {
        whole_run(listing_of_docs({word, "20200101"})).expect(status_failed, "", "");
    }
}

TEST_F(Options, RejectedRunHasNeitherClearingNorProfile) {
    whole_run(listing_of_docs({"-profile", "-sqlite", "x"}))
        .expect(status_failed, "", "This option is not offered in this build\n");
}

// --- options without effect ---

TEST_F(Options, OptionsWithoutEffectAreRemoved) {
    whole_run({"-gzip",
               "-zlib",
               "-zlibex",
               "a",
               "-threads",
               "2",
               "-signal",
               "b",
               "-hostname",
               "c",
               "-username",
               "d",
               "-cpuinst",
               "1",
               "-cpu",
               "2",
               "-fragment_files",
               "3",
               "-separate_files",
               "-outdir",
               "e",
               "-enumdir",
               "f",
               "-num_subdirs",
               "4",
               "-verbose",
               "-v",
               "\\docs",
               "-image",
               m_image})
        .expect(0, all_rows(), terminal_clearing);
}

TEST_F(Options, TraceLevelWithoutATraceIsTheDirectory) {
    whole_run({"-l2", "\\docs", "-image", m_image}).expect(0, "", terminal_clearing);
}

TEST_F(Options, AppendIsNeverRemoved) {
    whole_run({"-append", "\\docs", "-image", m_image}).expect(0, "", terminal_clearing);
}

// --- results file ---

TEST_F(Options, ReportGoesToTheResultsFile) {
    for (const char* word : {"-out", "-outfile"}) {
        const std::string file = m_dir.write("out.txt", std::string(10000, 'x'));
        const whole_run run(listing_of_docs({word, file}));
        run.expect_bare(0, "", terminal_clearing);
        const std::string content = support::read_file(file);
        EXPECT_EQ(content, run.head_in(content) + all_rows());
    }
}

TEST_F(Options, ResultsFileIsRecreatedEvenWithAppend) {
    const std::string file = m_dir.write("out.txt", "old");
    const whole_run run(listing_of_docs({"-out", file, "-append"}));
    run.expect_bare(0, "", terminal_clearing);
    const std::string content = support::read_file(file);
    EXPECT_EQ(content, run.head_in(content) + all_rows());
}

TEST_F(Options, ResultsFileNameIsExpandedAndItsBackslashesReplaced) {
    support::program_options options;
    options.environment = {{"QL_FOLDER", m_dir.path()}};
    const whole_run run(listing_of_docs({"-out", "%QL_FOLDER%\\out.txt"}), options);
    run.expect_bare(0, "", terminal_clearing);
    const std::string content = support::read_file(m_dir.file("out.txt"));
    EXPECT_EQ(content, run.head_in(content) + all_rows());
}

// "-csv" has already been removed when the file name is read, so the name is the argument after it.
TEST_F(Options, ResultsFileIsTheNextRemainingArgument) {
    const std::string file = m_dir.file("out.csv");
    const whole_run run({"-out", "-csv", file, "\\docs", "-image", m_image});
    run.expect_bare(0, "", terminal_clearing);
    const std::string content = support::read_file(file);
    EXPECT_TRUE(content.starts_with(run.head_in(content) + "type,filename,")) << content;
}

TEST_F(Options, ResultsFileOfBarePathsHasNoHead) {
    const std::string file = m_dir.file("out.txt");
    whole_run(listing_of_docs({"-out", file, "-filepath_only", "-filter", "*.exe"}))
        .expect_bare(0, "", terminal_clearing);
    EXPECT_EQ(support::read_file(file), "\\docs\\\n\\docs\\b.exe\n\\docs\\sub\\\n");
}

TEST_F(Options, ResultsFileHasOnlyTheHeadIfThereIsAnXmlFile) {
    const std::string file = m_dir.file("out.txt");
    const std::string xml = m_dir.file("out.xml");
    const whole_run run(listing_of_docs({"-out", file, "-xml", xml}));
    run.expect_bare(0, "", terminal_clearing);
    const std::string content = support::read_file(file);
    EXPECT_EQ(content, run.head_in(content));
    EXPECT_TRUE(support::read_file(xml).starts_with(run.head_in(content) + "<?xml "));
}

TEST_F(Options, ResultsFileOfARunThatEndsEarlyHasTheHead) {
    const std::string file = m_dir.file("out.txt");
    const whole_run run({"\\docs", "-out", file});
    run.expect_bare(status_failed, "", usage_text + terminal_clearing);
    const std::string content = support::read_file(file);
    EXPECT_EQ(content, run.head_in(content));
}

TEST_F(Options, ResultsFileOfAnAbnormalEndHasTheHead) {
    const std::string file = m_dir.file("out.txt");
    const whole_run run({":\\", "-image", m_image, "-out", file});
    EXPECT_LT(run.status(), 0);
    EXPECT_EQ(run.out(), "");
    const std::string content = support::read_file(file);
    EXPECT_EQ(content, run.head_in(content));
}

TEST_F(Options, ResultsFileThatCannotBeOpenedEndsTheRun) {
    for (const std::string& file : {m_dir.file("missing/out.txt"), m_dir.path(), m_dir.path() + "/",
                                    std::string("/"), std::string()}) {
        for (const bool append : {false, true}) {
            words options = {"-out", file};
            if (append) options.emplace_back("-append");
            whole_run(listing_of_docs(options))
                .expect(status_failed, "", "prob opening file " + file + " for output, aborting\n");
        }
    }
}

TEST_F(Options, ResultsFileWhoseNameIsNotUtf8IsRefusedAndKept) {
    const std::string file = m_dir.write("out\xFF.txt", "old");
    for (const char* word : {"-out", "-outfile"}) {
        whole_run(listing_of_docs({word, file}))
            .expect(status_failed, "", "prob opening file " + file + " for output, aborting\n");
    }
    EXPECT_EQ(support::read_file(file), "old");
}

TEST_F(Options, ResultsFileIsWrittenWithoutTheClosingSeparators) {
    const std::string file = m_dir.file("r1");
    for (const char* closing : {"/", "//", "\\", "/\\"}) {
        for (const bool append : {false, true}) {
            SCOPED_TRACE(closing);
            m_dir.write("r1", std::string(10000, 'x'));
            words options = {"-out", file + closing};
            if (append) options.emplace_back("-append");
            const whole_run run(listing_of_docs(options));
            run.expect_bare(0, "", terminal_clearing);
            const std::string content = support::read_file(file);
            EXPECT_EQ(content, run.head_in(content) + all_rows());
            std::remove(file.c_str());
        }
    }
}

// The test has opened the file and could not delete it under the given name.
TEST_F(Options, ResultsFileWithAClosingSeparatorStaysEmptyIfTheScanFailsLater) {
    whole_run(listing_of_docs({"-out", m_dir.file("r1") + "/", "-cmd_start_time", "x"}))
        .expect(status_failed, "", "");
    EXPECT_EQ(support::read_file(m_dir.file("r1")), "");

    whole_run(listing_of_docs({"-out", m_dir.file("r2"), "-cmd_start_time", "x"}))
        .expect(status_failed, "", "");
    EXPECT_FALSE(support::file_exists(m_dir.file("r2")));
}

// --- trace ---

// Returns the first line of the trace for `arguments`, none of which contains a blank.
std::string trace_start(const words& arguments) {
    std::string line = std::string("->") + QUORVEL_PROGRAM;
    for (const std::string& word : arguments)
        line += " " + word;
    return line + "\n";
}

TEST_F(Options, TraceContainsThePathLookup) {
    const std::string trace = m_dir.write("trace.txt", "old");
    const words arguments = {"\\docs\\a.txt", "-image", m_image, "-diags", trace};
    whole_run(arguments).expect(
        0,
        text_header + file_row(41, 3, "\\docs\\a.txt") + e2e::text_row(41, "2", "  ads  ", ":zone"),
        terminal_clearing);
    // The root's index names the root itself and \docs.
    EXPECT_EQ(support::read_file(trace),
              trace_start(arguments) +
                  "->anal: \\docs\\a.txt\n->root dir\n->seg: docs\n->info: get children nodes\n"
                  "->info: # children [2]\n->info: get children names\n"
                  "->info: inode found for seg: docs : 0x28\n->seg: a.txt\n"
                  "->info: get children nodes\n->info: # children [3]\n"
                  "->info: get children names\n->info: inode found for seg: a.txt : 0x29\n");
}

TEST_F(Options, TraceContainsTheSegmentThatWasNotFound) {
    const std::string trace = m_dir.file("trace.txt");
    const words arguments = {"\\none", "-image", m_image, "-diags", trace, "-l3"};
    whole_run(arguments).expect(0, "", terminal_clearing);
    EXPECT_EQ(support::read_file(trace),
              trace_start(arguments) +
                  "->anal: \\none\n->root dir\n->seg: none\n->info: get children nodes\n"
                  "->info: # children [2]\n->info: get children names\n->err: no child nodes\n"
                  "->inode not found for \\none\n");
}

TEST_F(Options, TraceOfANonAsciiPathOmitsThePath) {
    const std::string trace = m_dir.file("trace.txt");
    const words arguments = {"\\Gr\303\266\303\237e", "-image", m_image, "-diags", trace};
    support::program_options options;
    options.environment = {{"LC_ALL", "C.UTF-8"}};
    whole_run(arguments, options).expect(0, "", terminal_clearing);
    EXPECT_EQ(support::read_file(trace),
              trace_start(arguments) +
                  "->anal: \n->root dir\n->seg: gr\303\266\303\237e\n"
                  "->info: get children nodes\n->info: # children [2]\n"
                  "->info: get children names\n->err: no child nodes\n->inode not found for \n");
}

TEST_F(Options, TraceOfTheRootHasNoSegment) {
    const std::string trace = m_dir.file("trace.txt");
    const words arguments = {"-image", m_image, "-diags", trace};
    EXPECT_EQ(whole_run(arguments).status(), 0);
    EXPECT_EQ(support::read_file(trace),
              trace_start(arguments) + "->anal: \\\n->root dir\n->path empty\n");
    EXPECT_EQ(whole_run({".", "-image", m_image, "-diags", trace}).status(), 0);
    EXPECT_EQ(support::read_file(trace), trace_start({".", "-image", m_image, "-diags", trace}));
}

TEST_F(Options, TraceQuotesArgumentsAndOmitsTheXmlFile) {
    const std::string trace = m_dir.file("my trace.txt");
    EXPECT_EQ(whole_run({"-xml", m_dir.file("x"), "-image", m_image, "-diags", trace}).status(), 0);
    EXPECT_TRUE(support::read_file(trace).starts_with(std::string("->") + QUORVEL_PROGRAM +
                                                      " -image " + m_image + " -diags \"" + trace +
                                                      "\"\n->anal: "));
}

TEST_F(Options, TraceThatCannotBeOpenedIsSilent) {
    whole_run(listing_of_docs({"-diags", m_dir.file("missing/trace"), "-l2"}))
        .expect(0, all_rows(), terminal_clearing);
}

// --- end of the run ---

// Returns true for "->", a number and " secs", without a line end.
bool is_elapsed_time(const std::string& text) {
    if (!text.starts_with("->") || !text.ends_with(" secs") || text.size() < 8) return false;
    const std::string number = text.substr(2, text.size() - 7);
    char* end = nullptr;
    const double seconds = std::strtod(number.c_str(), &end);
    return *end == '\0' && seconds >= 0 && seconds < 120;
}

TEST_F(Options, ProfileEndsStandardErrorAndTheTrace) {
    const std::string trace = m_dir.file("trace.txt");
    const whole_run run(listing_of_docs({"-profile", "-diags", trace}));
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.out(), run.head() + all_rows());
    ASSERT_TRUE(run.errors().starts_with(terminal_clearing)) << run.errors();
    const std::string elapsed = run.errors().substr(terminal_clearing.size());
    EXPECT_TRUE(is_elapsed_time(elapsed)) << elapsed;
    EXPECT_TRUE(support::read_file(trace).ends_with(": 0x28\n" + elapsed));
}

TEST_F(Options, FailedRunsPrintTheProfile) {
    const whole_run run({"\\docs", "-profile", "-image", m_dir.file("none")});
    EXPECT_EQ(run.status(), status_failed);
    const std::string before = reported("invalid image: " + m_dir.file("none") + "\n");
    ASSERT_TRUE(run.errors().starts_with(before)) << run.errors();
    EXPECT_TRUE(is_elapsed_time(run.errors().substr(before.size()))) << run.errors();
}

TEST_F(Options, QuietOmitsOnlyTheLastClearing) {
    whole_run(listing_of_docs({"-quiet"})).expect(0, all_rows(), "");
    whole_run({"-image", m_dir.file("none"), "-quiet"})
        .expect(status_failed, "",
                terminal_clearing + "invalid image: " + m_dir.file("none") + "\n");
    const whole_run run(listing_of_docs({"-quiet", "-profile"}));
    EXPECT_TRUE(is_elapsed_time(run.errors())) << run.errors();
}

// --- formats ---

TEST_F(Options, RejectedFormatsKeepTheDefaults) {
    whole_run(listing_of_docs({"-timeformat", "hhmmss"}))
        .expect(0, all_rows(), "invalid hhmmss, using default format\n" + terminal_clearing);
    const whole_run run(listing_of_docs({"-dateformat", "m/d/yy"}));
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.out(), run.head_in(run.out(), "%m/%d/%y") + all_rows());
    EXPECT_EQ(run.errors(), "invalid m/d/yy, using default format\n" + terminal_clearing);
}

TEST_F(Options, AcceptedFormatsChangeTheRows) {
    const whole_run run(listing_of_docs(
        {"-filter", "b.exe", "-dateformat", "DD/MM/YYYY", "-timeformat", "hh:mm:ss.xxxxxxxxx"}));
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.errors(), terminal_clearing);
    // The column is as wide as both formats plus a blank: 10 + 18 + 1.
    const std::string stamp = "05/03/2021 06:07:08.234567800";
    std::string expected = rows(b_rows());
    expected.insert(23, std::string(6, ' '));
    for (std::size_t at = 0;
         (at = expected.find("2021-03-05 06:07:08.234", at)) != std::string::npos;
         at += stamp.size()) {
        expected.replace(at, 23, stamp);
    }
    // Upper-case letters are not fields in the date of the head.
    EXPECT_EQ(run.out(), run.head_in(run.out(), "%m/%d/%Y") + expected);
}

// --- filters and the date window ---

TEST_F(Options, FiltersKeepDirectoriesAndMatchingFiles) {
    const struct {
        words options;
        std::string rows;
    } cases[] = {
        {{"-filter", "*.txt"}, rows(a_rows())},
        {{"-filter", "*.TXT|*.EXE"}, all_rows()},
        {{"-filter", "*.dll", "-filter", "b.exe"}, rows(b_rows())},
        {{"-filter", "*"}, all_rows()},
        {{"-filter", ""}, directories()},
        {{"-filter", "*.dll"}, directories()},
        {{"-filter", "/docs"}, all_rows()},
        {{"-filter", "/doc"}, directories()},
        {{"-filter_sig", "4d5a"}, directories()},
        {{"-filter_sig", "4d5a", "-filter", "b*"}, rows(b_rows())},
        {{"-filter", "b*", "-filter_path", "/other"}, rows(b_rows())},
        {{"-filter_path", "/other"}, all_rows()},
    };
    for (const auto& c : cases) {
        whole_run(listing_of_docs(c.options)).expect(0, c.rows, terminal_clearing);
    }
}

// The path inside the volume is opened as a file of the host: only a file of that very name
// matches.
TEST_F(Options, SignatureIsReadFromAFileOfTheHost) {
    m_dir.write("\\docs\\b.exe", "xMZ");
    support::program_options options;
    options.working_directory = m_dir.path();
    whole_run(listing_of_docs({"-filter_sig", "4d5a|1"}), options)
        .expect(0, rows(b_rows()), terminal_clearing);
    whole_run(listing_of_docs({"-filter_sig", "4d5a"}), options)
        .expect(0, directories(), terminal_clearing);
}

TEST_F(Options, SignatureIsReadFromTheLowerCasePath) {
    support::ntfs_image volume;
    volume.directory(5, u"DOCS", 40);
    volume.file(40, u"B.EXE", 42).data("MZ");
    const std::string image = volume.save(m_dir.file("upper.dd"));
    support::program_options options;
    options.working_directory = m_dir.path();
    const words listing = {"\\DOCS", "-image", image, "-filter_sig", "4d5a"};
    const std::string directory = text_header + directory_row(40, "\\DOCS\\");
    m_dir.write("\\DOCS\\B.EXE", "MZ");
    whole_run(listing, options).expect(0, directory, terminal_clearing);
    m_dir.write("\\docs\\b.exe", "MZ");
    whole_run(listing, options)
        .expect(0, directory + file_row(42, 2, "\\DOCS\\B.EXE"), terminal_clearing);
}

TEST_F(Options, DateWindowRemovesAllFiles) {
    for (const words& options :
         {words{"-cmd_start_time", "2020-01-01"}, words{"-cmd_stop_time", "2030/01/01 10:00"},
          words{"-cmd_start_time", "2020-01-01", "-cmd_stop_time", "2030-01-01"}}) {
        whole_run(listing_of_docs(options)).expect(0, directories(), terminal_clearing);
    }
}

TEST_F(Options, InvalidWindowIsReportedAndIgnored) {
    whole_run(listing_of_docs({"-cmd_start_time", "2020-13-01"}))
        .expect(0, all_rows(), "invalid start time, ignoring\n" + terminal_clearing);
    whole_run(listing_of_docs({"-cmd_stop_time", "2020-01-32"}))
        .expect(0, all_rows(), "invalid stop time, ignoring\n" + terminal_clearing);
}

TEST_F(Options, StopBeforeTheStartKeepsTheStart) {
    whole_run(listing_of_docs({"-cmd_start_time", "2020-01-02", "-cmd_stop_time", "2020-01-01"}))
        .expect(0, directories(), "invalid stop time, ignoring\n" + terminal_clearing);
}

}  // namespace
