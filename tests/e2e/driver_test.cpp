// Whole runs: the report head, the order of the steps, the directory argument and MFT entries.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
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

// A volume with these entries:
//
//   40  \docs                  50  \links
//   41  \docs\a.txt            51  \links\one.txt = \docs\two.txt
//   42  \docs\sub              52  \links\pair = \docs\pair, a directory
//   43  \docs\sub\deep         60  an orphan, whose parent 61 has no name
//   44  \docs\sub\deep\b.txt   62  a record without a name
class Driver : public testing::Test {
protected:
    Driver() {
        support::ntfs_image volume;
        volume.directory(5, u"docs", 40);
        volume.file(40, u"a.txt", 41).data("abc");
        volume.directory(40, u"sub", 42);
        volume.directory(42, u"deep", 43);
        volume.file(43, u"b.txt", 44).data("12345");
        volume.directory(5, u"links", 50);
        volume.file(50, u"one.txt", 51).data("1");
        volume.link(51, 40, u"two.txt");
        volume.directory(50, u"pair", 52);
        volume.link(52, 40, u"pair");
        volume.entry(61).standard_information();
        volume.entry(60).standard_information().file_name(61, u"orphan.txt").data("x");
        volume.entry(62).standard_information().data("x");
        m_image = volume.save(m_dir.file("volume.dd"));
    }

    // Returns the listing of the root, one level.
    static std::string root_rows() {
        return text_header + directory_row(5, "\\") + directory_row(40, "\\docs\\") +
               directory_row(50, "\\links\\");
    }

    // Returns the listing of \docs, one level; `path` ends in a backslash.
    static std::string docs_rows(const std::string& path = "\\docs\\") {
        return text_header + directory_row(40, path) + file_row(41, 3, path + "a.txt") +
               directory_row(52, path + "pair\\") + directory_row(42, path + "sub\\") +
               file_row(51, 1, path + "two.txt");
    }

    // Returns the output of a run with bare paths.
    std::string bare_paths(words arguments) {
        arguments.insert(arguments.end(), {"-filepath_only", "-image", m_image});
        const whole_run run(arguments);
        EXPECT_EQ(run.status(), 0);
        EXPECT_EQ(run.errors(), terminal_clearing);
        return run.out();
    }

    support::temp_dir m_dir;
    std::string m_image;
};

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

// --- the directory argument ---

TEST_F(Driver, WithoutADirectoryTheRootIsListed) {
    whole_run({"-image", m_image}).expect(0, root_rows(), terminal_clearing);
}

TEST_F(Driver, FormsOfOneDirectoryListTheSame) {
    for (const char* directory : {"\\docs", "c:\\docs", "c:\\docs\\", "/docs/", "\\docs\\"}) {
        whole_run({directory, "-image", m_image}).expect(0, docs_rows(), terminal_clearing);
    }
}

TEST_F(Driver, DirectoryIsShownAsOnTheCommandLine) {
    whole_run({"DOCS", "-image", m_image}).expect(0, docs_rows("DOCS\\"), terminal_clearing);
    whole_run({"c:/docs", "-image", m_image}).expect(0, docs_rows("c:\\docs\\"), terminal_clearing);
}

TEST_F(Driver, FormsOfTheRoot) {
    for (const char* directory : {"\\", "/", "c:\\"}) {
        whole_run({directory, "-image", m_image}).expect(0, root_rows(), terminal_clearing);
    }
}

TEST_F(Driver, OptionsMatchInAnyCaseAndPosition) {
    whole_run({"-IMAGE", m_image, "\\docs", "-LeVeL", "0"})
        .expect(0, docs_rows(), terminal_clearing);
    whole_run({"-level", "0", "-quiet", "\\docs", "-image", m_image}).expect(0, docs_rows(), "");
}

TEST_F(Driver, MisspeltFirstOptionIsTheDirectory) {
    whole_run({"-levle", "\\docs", "-image", m_image}).expect(0, "", terminal_clearing);
    whole_run({"\\docs", "-levle", "-image", m_image}).expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, SecondOccurrenceOfAFlagIsTheDirectory) {
    whole_run({"-quiet", "-quiet", "\\docs", "-image", m_image}).expect(0, "", "");
}

TEST_F(Driver, ValueOptionAtTheEndIsTheDirectory) {
    whole_run({"-image", m_image, "-offset"}).expect(0, "", terminal_clearing);
    whole_run({"\\docs", "-image", m_image, "-offset"}).expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, ShadowCopyOptionIsNotRemoved) {
    whole_run({"\\docs", "-vss", "1", "-image", m_image}).expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, SizeOptionWithoutAnOffsetIsTheDirectory) {
    whole_run({"-ignore_image_size", "\\docs", "-image", m_image}).expect(0, "", terminal_clearing);
    whole_run({"\\docs", "-ignore_image_size", "-image", m_image})
        .expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, LaterDriveRemovesMoreThanItsLetter) {
    // A colon at position p removes p + 1 characters, starting with the one before it.
    whole_run({"\\docs:\\sub", "-image", m_image}).expect(0, "", terminal_clearing);  // "\doc"
    whole_run({"\\docsx:\\sub", "-image", m_image}).expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, DirectoryThatBeginsWithAColonEndsAbnormally) {
    for (const char* directory : {":\\", ":\\docs"}) {
        SCOPED_TRACE(directory);
        const whole_run run({directory, "-image", m_image});
        EXPECT_EQ(run.status(), -SIGABRT);
        EXPECT_EQ(run.out(), run.head());
        EXPECT_NE(run.errors().find("out_of_range"), std::string::npos) << run.errors();
        EXPECT_EQ(run.errors().find(terminal_clearing), std::string::npos);
    }
}

TEST_F(Driver, DirectoryThatDoesNotExistEndsWithoutAMessage) {
    whole_run({"\\nothing", "-image", m_image}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, EnvironmentReferencesAreExpanded) {
    support::program_options options;
    options.environment = {{"QL_DIRECTORY", "%QL_REST%"}, {"QL_REST", "c:/docs"}};
    const whole_run run({"%QL_DIRECTORY%/", "-image", m_image}, options);
    run.expect(0, docs_rows("c:\\docs\\"), terminal_clearing);
    whole_run({"%QL_NOT_SET%\\docs", "-image", m_image}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, ShadowCopyNameIsStrippedByTheLookupAndShown) {
    const std::string device = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1";
    support::program_options options;
    options.environment = {{"PATH", "/"}};
    options.clear_environment = true;
    const whole_run run({"%vss%1\\docs", "-image", m_image}, options);
    run.expect(0, docs_rows(device + "\\docs\\"), terminal_clearing);
}

TEST_F(Driver, DirectoryThatIsNotUtf8IsTheRoot) {
    whole_run({"\xFF", "-image", m_image}).expect(0, root_rows(), terminal_clearing);
}

// --- values that look like options ---

TEST_F(Driver, OptionInPlaceOfAValueBelongsToTheOptionThatIsReadFirst) {
    // "-indx" has been removed when the offset is read: the offset is the argument after it.
    whole_run({"-offset", "-indx", "512", "\\docs", "-image", m_image})
        .expect(status_failed, "",
                reported("\nvolume offset [ 0x0 ] : ntfs or exfat\n\n"
                         "prob detecting ntfs partition\n"));
    // "-objid" is still present when the entry is read: it means entry 0, and "44" is the
    // directory.
    whole_run({"-mft", "-objid", "44", "-image", m_image}).expect(0, "", terminal_clearing);
}

// --- levels ---

TEST_F(Driver, LevelsCountBelowTheDirectory) {
    const std::string level_0 =
        "\\docs\\\n\\docs\\a.txt\n\\docs\\pair\\\n\\docs\\sub\\\n\\docs\\two.txt\n";
    // A directory below the first one that has two names has two rows at the start of its listing.
    const std::string level_1 =
        "\\docs\\\n\\docs\\a.txt\n\\docs\\two.txt\n\\docs\\pair\\\n\\docs\\pair\\\n\\docs\\sub\\\n"
        "\\docs\\sub\\deep\\\n";
    const std::string level_2 = level_1 + "\\docs\\sub\\deep\\b.txt\n";
    const struct {
        words options;
        std::string paths;
    } cases[] = {
        {{}, level_0},
        {{"-level", "0"}, level_0},
        {{"-level", "1"}, level_1},
        {{"-recurse", "1"}, level_1},
        {{"-level", "0x2"}, level_2},
        {{"-level", "99"}, level_2},
        {{"-level", "zz"}, level_0},
        {{"-recurse", "5", "-level", "1"}, level_1},  // "-level" is read last
        {{"-level", "1", "-recurse", "5"}, level_1},
        {{"-recurse", "5", "-level", "zz"}, level_0},
        {{"-level", "-recurse", "1", "2"}, level_2},  // "-recurse" was removed with its value
        {{"-level", "-1"}, ""},                       // no level
        {{"-level", "0xffffffff"}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options));
        words arguments = {"\\docs"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        EXPECT_EQ(bare_paths(arguments), c.paths);
    }
}

TEST_F(Driver, LevelsThatAreNotANumberAreRemoved) {
    for (const char* option : {"-recurse", "-level"}) {
        whole_run({option, "zz", "\\docs", "-image", m_image})
            .expect(0, docs_rows(), terminal_clearing);
        whole_run({option, "\\links", "-image", m_image}).expect(0, root_rows(), terminal_clearing);
    }
}

TEST_F(Driver, RecurseAsTheLastArgumentRemains) {
    whole_run({"\\docs", "-image", m_image, "-recurse"}).expect(0, docs_rows(), terminal_clearing);
    whole_run({"-image", m_image, "-recurse"}).expect(0, "", terminal_clearing);
}

// --- forms that exclude each other ---

TEST_F(Driver, BarePathsHaveNoHeadAndNoXmlFile) {
    const std::string xml = m_dir.file("out.xml");
    whole_run({"\\docs\\sub", "-filepath_only", "-xml", xml, "-image", m_image})
        .expect_bare(0, "\\docs\\sub\\\n\\docs\\sub\\deep\\\n", terminal_clearing);
    EXPECT_FALSE(support::file_exists(xml));
}

TEST_F(Driver, BarePathsOverrideCsv) {
    EXPECT_EQ(bare_paths({"\\docs\\sub", "-csv", "-alldates", "-objid"}),
              "\\docs\\sub\\\n\\docs\\sub\\deep\\\n");
}

TEST_F(Driver, FormsWithoutRowsPrintTheHeadOnly) {
    for (const char* form : {"-bodyfile", "-csvl2t"}) {
        whole_run({"\\docs", form, "-image", m_image}).expect(0, "", terminal_clearing);
        whole_run({"\\docs", form, "-filepath_only", "-image", m_image})
            .expect_bare(0, "", terminal_clearing);
    }
}

TEST_F(Driver, FormsOfTheVocabularyAreTextOtherwise) {
    for (const char* form : {"-csvgen", "-multiline"}) {
        whole_run({"\\docs", form, "-image", m_image}).expect(0, docs_rows(), terminal_clearing);
    }
}

TEST_F(Driver, AllDatesIsCsvWithTheSeparatorThatIsSet) {
    const struct {
        words options;
        std::string separator;
    } cases[] = {
        {{}, " | "},
        {{"-csv"}, ","},
        {{"-csvgen"}, ","},
        {{"-bodyfile"}, "|"},
        {{"-csvl2t"}, ","},
        {{"-multiline"}, ""},
        {{"-no_whitespace"}, "|"},
        {{"-csv_separator", "tab"}, "\t"},
    };
    for (const auto& c : cases) {
        words arguments = {"\\docs", "-image", m_image, "-alldates"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const whole_run run(arguments);
        const std::string start = run.head() + "type" + c.separator + "filename" + c.separator;
        EXPECT_EQ(run.out().substr(0, start.size()), start);
        EXPECT_NE(run.out().find("\ndir" + c.separator + "\\docs\\" + c.separator),
                  std::string::npos)
            << run.out();
    }
}

TEST_F(Driver, FormsThatClearXmlCreateNoFile) {
    const std::string xml = m_dir.file("out.xml");
    for (const char* form : {"-csvgen", "-csvl2t", "-bodyfile", "-multiline"}) {
        const bool text = std::string(form) == "-csvgen" || std::string(form) == "-multiline";
        whole_run({"\\docs", "-xml", xml, form, "-image", m_image})
            .expect(0, text ? docs_rows() : "", terminal_clearing);
        EXPECT_FALSE(support::file_exists(xml));
    }
}

TEST_F(Driver, CsvOverridesXmlAndCreatesNoFile) {
    const std::string xml = m_dir.file("out.xml");
    const whole_run csv({"\\docs", "-xml", xml, "-csv", "-image", m_image});
    const whole_run plain({"\\docs", "-csv", "-image", m_image});
    EXPECT_EQ(csv.status(), 0);
    EXPECT_EQ(csv.out().substr(csv.head().size()), plain.out().substr(plain.head().size()));
    EXPECT_GT(csv.out().size(), csv.head().size());
    EXPECT_FALSE(support::file_exists(xml));
}

// --- XML file ---

const std::string xml_start = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<logdata ";

TEST_F(Driver, XmlFileHasAHeadOfItsOwn) {
    const std::string xml = m_dir.write("out.xml", std::string(100000, 'x'));
    const whole_run run({"\\docs", "-xml", xml, "-image", m_image, "-alldates"});
    run.expect(0, "", terminal_clearing);
    const std::string content = support::read_file(xml);
    const std::string head = run.head_in(content);
    EXPECT_EQ(content.substr(0, head.size() + xml_start.size()), head + xml_start);
    EXPECT_TRUE(content.ends_with("</logdata>\n"));
}

TEST_F(Driver, XmlGoesToStandardOutputIfItsFileCannotBeOpened) {
    for (const std::string& xml : {m_dir.file("missing/out.xml"), std::string()}) {
        const whole_run run({"\\docs", "-xml", xml, "-image", m_image});
        EXPECT_EQ(run.status(), 0);
        EXPECT_EQ(run.errors(), terminal_clearing);
        const std::string start = run.head() + xml_start;
        EXPECT_EQ(run.out().substr(0, start.size()), start);
    }
}

TEST_F(Driver, XmlFileContainsOnlyTheHeadIfNothingIsFound) {
    const std::string xml = m_dir.file("out.xml");
    const whole_run run({"\\nothing", "-xml", xml, "-image", m_image});
    run.expect(0, "", terminal_clearing);
    const std::string content = support::read_file(xml);
    EXPECT_EQ(content, run.head_in(content));
}

TEST_F(Driver, XmlUsesTheNextArgumentWhateverItIs) {
    support::program_options options;
    options.working_directory = m_dir.path();
    const whole_run run({"-xml", "-csv", "-image", m_image, "\\docs"}, options);
    run.expect(0, "", terminal_clearing);
    EXPECT_TRUE(support::read_file(m_dir.file("-csv")).ends_with("</logdata>\n"));
}

TEST_F(Driver, FailedEntryCreatesNoXmlFile) {
    const std::string xml = m_dir.file("out.xml");
    whole_run({"-mft", "62", "-xml", xml, "-image", m_image})
        .expect(status_failed, "", reported("couldn't resolve MFT entry to filepath"));
    EXPECT_FALSE(support::file_exists(xml));
}

// --- MFT entries ---

TEST_F(Driver, FileEntryIsListedUnderItsPath) {
    whole_run({"-image", m_image, "-mft", "44"})
        .expect(0, text_header + file_row(44, 5, "\\docs\\sub\\deep\\b.txt"), terminal_clearing);
    whole_run({"-image", m_image, "-mft", "0x2C"})
        .expect(0, text_header + file_row(44, 5, "\\docs\\sub\\deep\\b.txt"), terminal_clearing);
}

TEST_F(Driver, DirectoryEntryIsListedWithItsChildren) {
    whole_run({"-image", m_image, "-mft", "40"}).expect(0, docs_rows(), terminal_clearing);
}

TEST_F(Driver, RootEntryIsListed) {
    whole_run({"-image", m_image, "-mft", "5"}).expect(0, root_rows(), terminal_clearing);
}

const std::string note = "\n[Note: this MFT entry has multiple possible paths]\n\n";

TEST_F(Driver, FileWithTwoPathsIsListedUnderBothAfterANote) {
    // Each path shows the entry's first name, that of the parent with the lower number.
    const std::string rows =
        file_row(51, 1, "\\docs\\two.txt") + file_row(51, 1, "\\links\\two.txt");
    whole_run({"-image", m_image, "-mft", "51"})
        .expect(0, text_header + rows, note + terminal_clearing);
}

TEST_F(Driver, DirectoryWithTwoPathsIsListedUnderTheFirst) {
    whole_run({"-image", m_image, "-mft", "52"})
        .expect(0, text_header + directory_row(52, "\\docs\\pair\\"),
                note + "\\docs\\pair\n\\links\\pair\n\nWill output only first path\n" +
                    terminal_clearing);
}

TEST_F(Driver, FileWithoutAPathIsListedNowhere) {
    whole_run({"-image", m_image, "-mft", "60"}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, EntryWithoutANameOrARecordIsAnError) {
    for (const char* entry : {"62", "63", "100000", "-1"}) {
        whole_run({"-image", m_image, "-mft", entry})
            .expect(status_failed, "", reported("couldn't resolve MFT entry to filepath"));
    }
}

TEST_F(Driver, EntryThatIsNotANumberIsTheMft) {
    // A value that is not a number means entry 0, which is not found because it is not in the
    // root's index here.
    whole_run({"-image", m_image, "-mft", "zz"}).expect(0, "", terminal_clearing);
    whole_run({"-image", m_image, "-mft", "0"}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, PathOfAnEntryThatIsNotANumberIsThatOfTheMft) {
    const std::string trace = m_dir.file("trace.txt");
    whole_run({"-image", m_image, "-mft", "zz", "-diags", trace}).expect(0, "", terminal_clearing);
    const std::string text = support::read_file(trace);
    EXPECT_NE(text.find("\n->anal: \\$MFT\n"), std::string::npos) << text;
}

TEST_F(Driver, EmptyEntryNumberIsNotAnEntry) {
    whole_run({"-image", m_image, "-mft", ""}).expect(0, root_rows(), terminal_clearing);
}

TEST_F(Driver, DirectoryArgumentPrecedesTheEntrysPath) {
    whole_run({"\\docs", "-image", m_image, "-mft", "44"}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, DrivePrecedesTheEntrysPath) {
    whole_run({"c:/", "-image", m_image, "-mft", "44"})
        .expect(0, text_header + file_row(44, 5, "c:\\docs\\sub\\deep\\b.txt"), terminal_clearing);
    whole_run({"x:/y", "-image", m_image, "-mft", "44"})
        .expect(0, text_header + file_row(44, 5, "x:\\docs\\sub\\deep\\b.txt"), terminal_clearing);
    whole_run({"c:", "-image", m_image, "-mft", "44"}).expect(0, "", terminal_clearing);
}

TEST_F(Driver, DirectoryThatIsNotUtf8DoesNotChangeTheEntrysPath) {
    for (const char* directory : {"\xFF", "", "\\"}) {
        whole_run({directory, "-image", m_image, "-mft", "44"})
            .expect(0, text_header + file_row(44, 5, "\\docs\\sub\\deep\\b.txt"),
                    terminal_clearing);
    }
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
