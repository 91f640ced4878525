#include "convert/command/user_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(UserOptions, RefusesWordsInAnyCaseAndPosition) {
    EXPECT_THAT(convert::refused_words({"-image", "x", "-CSV", "\\a", "-Base16"}),
                ElementsAre("-CSV", "-Base16"));
    EXPECT_THAT(convert::refused_words({"-image", "csv", "\\-csv", "-csvx", "-level", "9", "-objid",
                                        "-indx", "-mft", "5", "-vmdk", "a|b", "-offset", "1"}),
                IsEmpty());
}

TEST(UserOptions, TheCommandHasItsOwnWordsBeforeThoseOfTheUser) {
    const std::vector<std::string> command = convert::quorvel_command({"-image", "x"});
    ASSERT_EQ(command.size(), 14u);
    EXPECT_EQ(command[0], "quorvel");
    EXPECT_EQ(command[1], "-csv");
    EXPECT_EQ(command[10], "-csv_separator");
    EXPECT_EQ(command[11].size(), 12u);
    EXPECT_EQ(command[12], "-image");
    EXPECT_NE(convert::quorvel_command({})[11], command[11]) << "a new separator";
}

TEST(UserOptions, QuotesWordsForAShell) {
    EXPECT_EQ(
        convert::shell_command({"quorvel", "-image", "a b", "it's", "", "$x", "\\dir", "a|b"}),
        "quorvel -image 'a b' 'it'\\''s' '' '$x' '\\dir' 'a|b'");
    EXPECT_EQ(convert::shell_command({"hh:mm:ss.xxx", "@aZ09", "0x10", "~", "=ls"}),
              "hh:mm:ss.xxx @aZ09 0x10 '~' '=ls'");
}

}  // namespace
