#include "convert/command/output_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_dir.h"

namespace {

using convert::command_line;
using convert::find_wrong_output;
using testing::HasSubstr;

command_line line_to(const std::string& output, bool force) {
    command_line line;
    line.output = output;
    line.force = force;
    return line;
}

TEST(OutputCheck, AcceptsANewNameAndStandardOutput) {
    const support::temp_dir dir;
    EXPECT_EQ(find_wrong_output(line_to(dir.file("new"), false)), "");
    EXPECT_EQ(find_wrong_output(line_to(dir.file("new"), true)), "");
    EXPECT_EQ(find_wrong_output(line_to("", false)), "");
}

TEST(OutputCheck, AnExistingFileMustBeReplacedOnPurpose) {
    const support::temp_dir dir;
    const std::string path = dir.write("old", "x");
    EXPECT_THAT(find_wrong_output(line_to(path, false)), HasSubstr(path));
    EXPECT_EQ(find_wrong_output(line_to(path, true)), "");
}

TEST(OutputCheck, OnlyRegularFilesAreReplaced) {
    const support::temp_dir dir;
    const std::string link = dir.file("link");
    std::filesystem::create_symlink(dir.write("target", "x"), link);
    for (const std::string& path : {dir.path(), std::string("/dev/null"), link})
        EXPECT_THAT(find_wrong_output(line_to(path, true)), HasSubstr(path));
}

TEST(OutputCheck, TheListingIsNotReplaced) {
    const support::temp_dir dir;
    const std::string path = dir.write("listing", "x");
    command_line line = line_to(path, true);
    line.input = path;
    EXPECT_NE(find_wrong_output(line), "");
    line.input = dir.path() + "/./listing";
    EXPECT_NE(find_wrong_output(line), "") << "another name of the same file";
    line.input = dir.write("other", "x");
    EXPECT_EQ(find_wrong_output(line), "");
}

TEST(OutputCheck, ComparedListingsAreNotReplaced) {
    const support::temp_dir dir;
    const std::string path = dir.write("listing", "x");
    const std::string other = dir.write("other", "x");
    command_line line = line_to(path, true);
    line.old_listing = other;
    line.new_listing = other;
    EXPECT_EQ(find_wrong_output(line), "");
    line.new_listing = path;
    EXPECT_NE(find_wrong_output(line), "");
    line.old_listing = path;
    line.new_listing = other;
    EXPECT_NE(find_wrong_output(line), "");
}

TEST(OutputCheck, AnImageIsNotReplaced) {
    const support::temp_dir dir;
    const std::string path = dir.write("disk.dd", "x");
    const std::string other = dir.write("other.dd", "x");
    const std::string hard_link = dir.file("second name");
    std::filesystem::create_hard_link(path, hard_link);
    command_line line = line_to(path, true);
    for (const std::string& word :
         {path, hard_link, other + "|" + path, path + " | " + other, other + ";" + hard_link}) {
        SCOPED_TRACE(word);
        line.user_words = {"-image", word};
        EXPECT_NE(find_wrong_output(line), "");
    }
    line.user_words = {"-vmdk", other + "|" + dir.file("missing"), "disk.dd.old"};
    EXPECT_EQ(find_wrong_output(line), "");
}

}  // namespace
