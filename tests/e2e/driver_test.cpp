// Whole runs: the help, the report head, the order of the steps and the image.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "e2e/driver_volume.h"
#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "unit/run/usage_text.h"

namespace {

using e2e::Driver;
using e2e::file_row;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::text_header;
using e2e::whole_run;
using e2e::words;

// --- help ---

TEST_F(Driver, ProgramAlonePrintsTheHelpAndEndsWithStatusZero) {
    whole_run({}).expect_bare(0, "", usage_text);
}

TEST_F(Driver, HelpOptionsApplyAnywhereAndBeforeAnyFile) {
    const std::string old = m_dir.write("old.txt", "content");
    const std::string trace = m_dir.file("trace.txt");
    for (const char* word : {"-h", "-help", "/?", "--help", "-H", "--HELP"}) {
        whole_run({word}).expect_bare(0, "", usage_text);
        whole_run({"-image", m_image, "-filter", word}).expect_bare(0, "", usage_text);
        whole_run({"-out", old, "-xml", trace, "-diags", trace, word})
            .expect_bare(0, "", usage_text);
    }
    EXPECT_EQ(support::read_file(old), "content");
    EXPECT_FALSE(support::file_exists(trace));
}

TEST_F(Driver, QuestionMarkOfTheHelpIsAnUnknownArgument) {
    whole_run({"-?"}).expect(status_failed, "", usage_text + terminal_clearing);
}

// --- head ---

TEST_F(Driver, HeadQuotesArgumentsWithBlanksAndTheProgramsName) {
    if (!support::runner().empty()) GTEST_SKIP() << "a runner gives the program its path as name";
    support::program_options options;
    options.argument_zero = "my quorvel";
    const whole_run run({"\\no such directory", "", "-image", m_image}, options);
    run.expect(0, "", terminal_clearing);
    EXPECT_NE(run.out().find("\"command line: 'my quorvel' '\\no such directory'  -image " +
                             m_image + "\"\n\n"),
              std::string::npos);
}

TEST_F(Driver, HeadShowsTheDateInTheFormGiven) {
    const whole_run run({"\\none", "-image", m_image, "-dateformat", "dd-mm-yyyy"});
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.out(), run.head_in(run.out(), "%d-%m-%Y"));
    EXPECT_EQ(run.errors(), terminal_clearing);
}

TEST_F(Driver, HeadMarksAPipedList) {
    const whole_run run({"\\none", "-pipe", "-image", m_image});
    EXPECT_EQ(run.status(), 0);
    EXPECT_EQ(run.out(), run.head_in(run.out(), "%m/%d/%Y", "<filelist> ... | "));
    EXPECT_EQ(run.errors(), terminal_clearing);
}

TEST_F(Driver, LocaleOfTheUserChangesNothing) {
    support::program_options options;
    options.environment = {{"LC_ALL", "C.UTF-8"}, {"LANG", "de_DE.UTF-8"}, {"TZ", "Asia/Tokyo"}};
    whole_run({"\\DOCS", "-image", m_image}, options)
        .expect(0, docs_rows("\\DOCS\\"), terminal_clearing);
}

// --- the steps before the source ---

TEST_F(Driver, XmlWithoutAFileIsAnErrorAfterTheHead) {
    for (const words& arguments : {words{"-xml"}, words{"\\docs", "-image", m_image, "-XML"}}) {
        whole_run(arguments).expect(
            status_failed, "Error: option requires an output file: -xml <output file>\n", "");
    }
}

TEST_F(Driver, XmlWithoutAFileIsDetectedBeforeCommonOptions) {
    const std::string old = m_dir.write("old.txt", "content");
    whole_run({"-out", old, "-diags", m_dir.file("trace"), "-xml"})
        .expect(status_failed, "Error: option requires an output file: -xml <output file>\n", "");
    EXPECT_EQ(support::read_file(old), "content");
    EXPECT_FALSE(support::file_exists(m_dir.file("trace")));
}

TEST_F(Driver, NothingButOptionsPrintsTheHelpAfterTheHead) {
    whole_run({"-csv"}).expect(status_failed, "", usage_text + terminal_clearing);
    whole_run({"-quiet"}).expect(status_failed, "", usage_text);
    whole_run({"-filepath_only"}).expect_bare(status_failed, "", usage_text + terminal_clearing);
}

TEST_F(Driver, RunWithoutAnImagePrintsTheHelp) {
    for (const words& arguments :
         {words{m_image}, words{m_image, "-mft", "5"}, words{"\\docs", "-vss", "1"},
          words{"-mft", "5"}, words{"-offset", "512"}, words{"\\docs", "-drivenum"},
          words{"-image"}}) {
        whole_run(arguments).expect(status_failed, "", usage_text + terminal_clearing);
    }
}

// "-xml" is searched once: the second one is an argument like any other.
TEST_F(Driver, SecondXmlAsTheLastArgumentRemains) {
    const std::string xml = m_dir.file("out.xml");
    whole_run({"-xml", xml, "\\docs", "-image", m_image, "-xml"}).expect(0, "", terminal_clearing);
    EXPECT_TRUE(support::read_file(xml).ends_with("</logdata>\n"));
    const whole_run as_directory({"-xml", xml, "-image", m_image, "-xml"});
    as_directory.expect(0, "", terminal_clearing);
    EXPECT_EQ(support::read_file(xml), as_directory.head_in(support::read_file(xml)));
}

// --- both outputs on one terminal ---

// Returns the output of a run on a terminal: both streams in the order of writing.
struct terminal_run {
    explicit terminal_run(const words& arguments) {
        words line = {"-c", "exec \"$0\" \"$@\" 2>&1"};
        const words command = support::built_program(QUORVEL_PROGRAM);
        line.insert(line.end(), command.begin(), command.end());
        line.insert(line.end(), arguments.begin(), arguments.end());
        text = support::run_program("/bin/sh", line).standard_output;
        head = e2e::report_head(text, QUORVEL_PROGRAM, arguments);
    }

    std::string text;
    std::string head;
};

TEST_F(Driver, ListingIsBetweenTheHeadAndTheClearing) {
    const terminal_run text({"\\docs", "-image", m_image});
    EXPECT_EQ(text.text, text.head + docs_rows() + terminal_clearing);
    const terminal_run bare({"\\docs\\sub", "-filepath_only", "-image", m_image});
    EXPECT_EQ(bare.text, "\\docs\\sub\\\n\\docs\\sub\\deep\\\n" + terminal_clearing);
    const terminal_run xml({"\\docs", "-xml", "", "-image", m_image});
    EXPECT_TRUE(xml.text.starts_with(xml.head)) << xml.text;
    EXPECT_TRUE(xml.text.ends_with("</logdata>\n" + terminal_clearing)) << xml.text;
    const terminal_run csv({"\\docs\\sub\\deep", "-csv", "-base10", "-image", m_image});
    EXPECT_TRUE(csv.text.starts_with(csv.head + "type,")) << csv.text;
    EXPECT_TRUE(csv.text.ends_with("\n" + terminal_clearing)) << csv.text;
}

TEST_F(Driver, NoteOfSeveralPathsIsBetweenTheHeadAndTheListing) {
    const terminal_run run({"-image", m_image, "-mft", "51"});
    EXPECT_EQ(run.text, run.head + "\n[Note: this MFT entry has multiple possible paths]\n\n" +
                            text_header + file_row(51, 1, "\\docs\\two.txt") +
                            file_row(51, 1, "\\links\\two.txt") + terminal_clearing);
}

TEST_F(Driver, MessagesOfTheSourceAreAfterTheHead) {
    const terminal_run missing({"-image", "none.dd"});
    EXPECT_EQ(missing.text, missing.head + reported("invalid image: none.dd\n"));
    const terminal_run help({"\\docs"});
    EXPECT_EQ(help.text, help.head + usage_text + terminal_clearing);
}

TEST_F(Driver, MessagesOfCommonOptionsAreBeforeTheHead) {
    const terminal_run refused({"\\docs", "-sqlite", "x"});
    EXPECT_EQ(refused.text, "This option is not offered in this build\n" + refused.head);
    const terminal_run told({"\\docs", "-timeformat", "x", "-image", m_image});
    EXPECT_EQ(told.text,
              "invalid x, using default format\n" + told.head + docs_rows() + terminal_clearing);
}

// --- the image ---

TEST_F(Driver, ImageThatCannotBeOpenedIsInvalid) {
    const std::string fifo = m_dir.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& name : {m_dir.file("missing.dd"), fifo, std::string(), m_image + "/"}) {
        whole_run({"\\docs", "-image", name})
            .expect(status_failed, "", reported("invalid image: " + name + "\n"));
        whole_run({"\\docs", "-image", name, "-offset", "512"})
            .expect(status_failed, "", reported("invalid image: " + name + "\n"));
    }
}

TEST_F(Driver, ImageNameThatIsNotUtf8IsShownEmpty) {
    whole_run({"\\docs", "-image", "a\xFF"})
        .expect(status_failed, "", reported("invalid image: \n"));
}

TEST_F(Driver, MessageAboveTheLimitIsNotPrinted) {
    // The text, its line end and one more character are 4096 characters, then 4097.
    const std::string fits(4096 - 17, 'n');
    whole_run({"-image", fits})
        .expect(status_failed, "", reported("invalid image: " + fits + "\n"));
    whole_run({"-image", fits + "n"}).expect(status_failed, "", reported(""));
}

TEST_F(Driver, FolderAsImageHasNoVolume) {
    whole_run({"\\docs", "-image", m_dir.path()})
        .expect(status_failed, "", reported("couldn't find any partitions on disk\n"));
}

TEST_F(Driver, VolumeThatIsRefusedLaterEndsWithoutAMessage) {
    support::ntfs_image volume;
    const std::string path = volume.put(volume.record_pos(0), 0, 4).save(m_dir.file("torn.dd"));
    whole_run({"\\docs", "-image", path}).expect(0, "", terminal_clearing);
}

}  // namespace
