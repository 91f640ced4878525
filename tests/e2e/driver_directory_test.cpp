// Whole runs: the directory argument and the number of levels.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "e2e/driver_volume.h"
#include "e2e/whole_run.h"

namespace {

using e2e::Driver;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::whole_run;
using e2e::words;

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

}  // namespace
