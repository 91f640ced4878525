// Whole runs: directories and files by the number of their MFT entry.
#include <gtest/gtest.h>

#include <string>

#include "e2e/driver_volume.h"
#include "e2e/whole_run.h"
#include "support/temp_dir.h"

namespace {

using e2e::directory_row;
using e2e::Driver;
using e2e::file_row;
using e2e::reported;
using e2e::status_failed;
using e2e::terminal_clearing;
using e2e::text_header;
using e2e::whole_run;

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

}  // namespace
