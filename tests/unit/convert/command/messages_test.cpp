#include "convert/command/messages.h"

#include <gtest/gtest.h>

namespace {

std::string printed(const std::string& text) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    convert::print_message(text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return testing::internal::GetCapturedStderr();
}

TEST(Messages, AreOneLineAfterTheNameOfTheProgram) {
    EXPECT_EQ(printed("cannot open a b"), "quorvel-convert: cannot open a b\n");
    EXPECT_EQ(printed(""), "quorvel-convert: \n");
}

TEST(Messages, ControlCharactersBecomeQuestionMarks) {
    EXPECT_EQ(printed("a\nb\r\tc\x1B[31m\x7F"), "quorvel-convert: a?b??c?[31m?\n");
    EXPECT_EQ(printed(std::string("\x01\0\x1F", 3)), "quorvel-convert: ???\n");
}

TEST(Messages, OtherCharactersAreUnchanged) {
    // The neighbours of the control characters, and bytes of UTF-8 from 0x80 to 0xFF.
    EXPECT_EQ(printed(" ~?\x80\xC3\xA9\xFF"), "quorvel-convert:  ~?\x80\xC3\xA9\xFF\n");
}

}  // namespace
