// Path listings of whole runs.
#include <gtest/gtest.h>

#include "e2e/report_head.h"
#include "e2e/rich_volume.h"

namespace {

class PathReport : public testing::Test {
protected:
    std::string run(const std::vector<std::string>& options,
                    const std::string& path = "\\docs") const {
        std::vector<std::string> arguments = {path, "-image", image.path(), "-filepath_only"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return e2e::list_bare(arguments);
    }

    e2e::rich_image image;
};

const std::string docs =
    "\\docs\\\n"
    "\\docs:note\n"
    "\\docs\\a,b|c.txt\n"
    "\\docs\\far\t.dat\n"
    "\\docs\\linked.txt\n"
    "\\docs\\Long Name.txt\n"
    "\\docs\\Long Name.txt:zone\n";
const std::string sub =
    "\\docs\\sub\\other name.txt\n"
    "\\docs\\sub\\x&<y>\".txt\n";

TEST_F(PathReport, HasOnlyPathsWithoutHeadOrHeader) {
    EXPECT_EQ(run({}), docs + "\\docs\\sub\\\n");
}

TEST_F(PathReport, LevelsAreWalkedDepthFirst) {
    EXPECT_EQ(run({"-level", "1"}), docs + "\\docs\\sub\\\n\\docs\\sub\\deep\\\n" + sub);
    EXPECT_EQ(run({"-level", "9"}),
              docs + "\\docs\\sub\\\n" + sub + "\\docs\\sub\\deep\\\n\\docs\\sub\\deep\\end.txt\n");
}

TEST_F(PathReport, LineOfAnIndexStreamIsEmpty) {
    const std::string own = "\\docs\\\n";
    EXPECT_EQ(run({"-indx"}), own + "\n" + docs.substr(own.size()) + "\\docs\\sub\\\n\n");
}

TEST_F(PathReport, OtherFormsAreDisabled) {
    const std::string plain = docs + "\\docs\\sub\\\n";
    EXPECT_EQ(run({"-csv"}), plain);
    EXPECT_EQ(run({"-alldates", "-objid"}), plain);
    EXPECT_EQ(run({"-csv", "-csv_separator", "|", "-split_pathfile", "-pair_datetime"}), plain);
    const std::string xml = image.file("out.xml");
    EXPECT_EQ(run({"-xml", xml}), plain);
    EXPECT_FALSE(support::file_exists(xml));
}

TEST_F(PathReport, FormsWithoutAWriterPrintNothing) {
    EXPECT_EQ(run({"-bodyfile"}), "");
    EXPECT_EQ(run({"-csvl2t"}), "");
}

TEST_F(PathReport, FileAndItsStreams) {
    EXPECT_EQ(run({}, "\\docs\\long name.txt"), "\\docs\\Long Name.txt\n:zone\n");
    EXPECT_EQ(run({}, "\\docs\\long name.txt:zone"), ":zone\n");
}

TEST_F(PathReport, FiltersApplyToFiles) {
    EXPECT_EQ(run({"-filter", "*name*", "-level", "9"}),
              "\\docs\\\n\\docs:note\n\\docs\\Long Name.txt\n\\docs\\Long Name.txt:zone\n"
              "\\docs\\sub\\\n\\docs\\sub\\other name.txt\n\\docs\\sub\\deep\\\n");
}

TEST_F(PathReport, NothingToList) {
    EXPECT_EQ(run({"-filter", "*.exe"}, "\\docs\\linked.txt"), "no items\n\n");
    EXPECT_EQ(run({}, "\\nowhere"), "");
}

// One letter and a colon are a drive, whatever follows.
TEST_F(PathReport, StreamOfAOneLetterNameListsTheRoot) {
    EXPECT_EQ(run({}, "\\d:note"), "\\d:note\\\n\\d:note\\docs\\\n\\d:note\\docs:note\n");
    EXPECT_EQ(run({}, "d:note"), "d:note\\\nd:note\\docs\\\nd:note\\docs:note\n");
}

TEST_F(PathReport, RootShowsOneBackslash) {
    EXPECT_EQ(run({}, "\\"), "\\\n\\docs\\\n\\docs:note\n");
    EXPECT_EQ(e2e::list_bare({"-image", image.path(), "-filepath_only"}),
              "\\\n\\docs\\\n\\docs:note\n");
}

}  // namespace
