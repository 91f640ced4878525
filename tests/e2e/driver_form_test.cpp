// Whole runs: forms of a report that exclude each other, and the XML file.
#include <gtest/gtest.h>

#include <string>

#include "e2e/driver_volume.h"
#include "e2e/whole_run.h"
#include "support/temp_dir.h"

namespace {

using e2e::Driver;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::whole_run;
using e2e::words;

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

}  // namespace
