#include "foundation/streams/print_error.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

const std::string clearing = "\x1b[2K\r    \r";

// Redirects standard error of this process to a temporary file during its lifetime.
class captured_stderr {
public:
    captured_stderr() : m_file(std::tmpfile()), m_saved(::dup(2)) {
        std::fflush(stderr);
        ::dup2(::fileno(m_file), 2);
    }
    ~captured_stderr() {
        ::dup2(m_saved, 2);
        ::close(m_saved);
        std::fclose(m_file);
    }
    captured_stderr(const captured_stderr&) = delete;
    captured_stderr& operator=(const captured_stderr&) = delete;

    // Returns the bytes that have reached the descriptor, without those still in a stream's buffer.
    std::string text() const {
        std::string content;
        char block[4096];
        off_t at = 0;
        for (ssize_t got; (got = ::pread(::fileno(m_file), block, sizeof block, at)) > 0; at += got)
            content.append(block, static_cast<std::size_t>(got));
        return content;
    }

private:
    std::FILE* m_file;
    int m_saved;
};

TEST(ClearLine, WritesItsTenBytes) {
    EXPECT_EQ(clear_line_bytes, clearing);
    EXPECT_EQ(clearing.size(), 10u);
    const captured_stderr screen;
    clear_line();
    EXPECT_EQ(screen.text(), clearing);
}

TEST(PrintError, LosesTheLastCharacterOfEachMessage) {
    const captured_stderr screen;
    print_error("prob opening results file: %s for writing\n", "a b.txt");
    EXPECT_EQ(screen.text(), clearing + "prob opening results file: a b.txt for writing");
}

TEST(PrintError, LosesALetterIfThereIsNoLineEnd) {
    const captured_stderr screen;
    print_error("%s%d", "ab", 12);
    EXPECT_EQ(screen.text(), clearing + "ab1");
}

TEST(PrintError, KeepsALineEndBeforeTheLastOne) {
    const captured_stderr screen;
    print_error("%s\n", "first\nsecond\n");
    EXPECT_EQ(screen.text(), clearing + "first\nsecond\n");
}

TEST(PrintError, PrintsNothingForMessagesOfAtMostOneCharacter) {
    const captured_stderr screen;
    print_error("%s", "");
    EXPECT_EQ(screen.text(), clearing);
    print_error("\n");
    EXPECT_EQ(screen.text(), clearing + clearing);
}

TEST(PrintError, NullFormatOnlyClearsTheLine) {
    const captured_stderr screen;
    const char* const no_format = nullptr;
    print_error(no_format);
    EXPECT_EQ(screen.text(), clearing);
}

TEST(PrintError, DropsAMessageOfMoreThan4096Characters) {
    const std::string longest(4096, 'x');
    {
        const captured_stderr screen;
        print_error("%s", longest.c_str());
        EXPECT_EQ(screen.text(), clearing + longest.substr(1));
    }
    {
        const captured_stderr screen;
        print_error("%s\n", longest.c_str());
        EXPECT_EQ(screen.text(), clearing);
    }
    {
        const captured_stderr screen;
        print_error("%s", (longest + "x").c_str());
        EXPECT_EQ(screen.text(), clearing);
    }
}

TEST(PrintError, DropsAMessageThatCannotBeFormatted) {
    const captured_stderr screen;
    print_error("before %ls after\n", L"\x4E00");  // no such character in the C locale
    EXPECT_EQ(screen.text(), clearing);
}

// Ends the process without the flush of a normal exit, after printing to a buffered stream.
[[noreturn]] void print_and_vanish(const char* format, const char* word) {
    std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
    print_error(format, word);
    ::_exit(0);
}

TEST(PrintErrorDeathTest, ReachesTheScreenAtOnce) {
    EXPECT_EXIT(print_and_vanish("%s\n", "kept"), testing::ExitedWithCode(0), "    \rkept$");
    EXPECT_EXIT(print_and_vanish(nullptr, ""), testing::ExitedWithCode(0), "    \r$");
}

TEST(PrintError, PassesBytesOutsideAsciiThrough) {
    const captured_stderr screen;
    print_error("invalid image: %s\n", "\xC3\xA9\xFF");
    EXPECT_EQ(screen.text(), clearing + "invalid image: \xC3\xA9\xFF");
}

}  // namespace
