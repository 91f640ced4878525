#include "run/options/results_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/temp_dir.h"

namespace {

TEST(ResultsFileName, ExpandsAndTurnsBackslashes) {
    setenv("QL_RESULTS", "c:\\out", 1);
    EXPECT_EQ(results_file_name("%QL_RESULTS%\\a.txt"), "c:/out/a.txt");
    EXPECT_EQ(results_file_name("a/b.txt"), "a/b.txt");
    EXPECT_EQ(results_file_name("%vss%1"), "%vss%1");
    unsetenv("QL_RESULTS");
}

TEST(TestResultsFile, LeavesNothingBehind) {
    const support::temp_dir dir;
    for (const bool append : {false, true}) {
        EXPECT_TRUE(test_results_file(dir.file("new"), append));
        EXPECT_FALSE(support::file_exists(dir.file("new")));
        const std::string old = dir.write("old", "content");
        EXPECT_TRUE(test_results_file(old, append));
        EXPECT_FALSE(support::file_exists(old));
    }
}

// A second link to the file shows its content after the test.
TEST(TestResultsFile, TruncatesUnlessAppending) {
    const support::temp_dir dir;
    for (const bool append : {false, true}) {
        const std::string old = dir.write("old", "content");
        const std::string link = dir.file(append ? "appended" : "truncated");
        ASSERT_EQ(::link(old.c_str(), link.c_str()), 0);
        EXPECT_TRUE(test_results_file(old, append));
        EXPECT_EQ(support::read_file(link), append ? "content" : "");
    }
}

// Returns the descriptor of the next file that is opened.
int next_descriptor() {
    const int fd = ::open("/dev/null", O_RDONLY);
    ::close(fd);
    return fd;
}

TEST(TestResultsFile, ClosesTheFile) {
    const support::temp_dir dir;
    const int before = next_descriptor();
    for (const bool append : {false, true}) {
        EXPECT_TRUE(test_results_file(dir.write("old", "content"), append));
        EXPECT_EQ(next_descriptor(), before);
    }
}

TEST(TestResultsFile, RefusesFilesThatCannotBeOpened) {
    const support::temp_dir dir;
    const std::string fifo = dir.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string not_utf8 = dir.write("out\xFF", "content");
    for (const std::string& name : {dir.file("missing/a"), std::string(), std::string("/"),
                                    dir.path(), dir.path() + "/", fifo, not_utf8}) {
        SCOPED_TRACE(testing::PrintToString(name));
        for (const bool append : {false, true}) {
            testing::internal::CaptureStderr();
            EXPECT_FALSE(test_results_file(name, append));
            EXPECT_EQ(testing::internal::GetCapturedStderr(),
                      "prob opening file " + name + " for output, aborting\n");
        }
    }
    EXPECT_TRUE(support::file_exists(fifo));
    EXPECT_EQ(support::read_file(not_utf8), "content");
}

// The file opens without the separators, and remove() fails with them.
TEST(TestResultsFile, FileNamedWithClosingSeparatorsRemains) {
    const support::temp_dir dir;
    for (const bool append : {false, true}) {
        SCOPED_TRACE(append);
        EXPECT_TRUE(test_results_file(dir.file("new") + "/", append));
        EXPECT_EQ(support::read_file(dir.file("new")), "");
        std::remove(dir.file("new").c_str());

        const std::string old = dir.write("old", "content");
        EXPECT_TRUE(test_results_file(old + "//", append));
        EXPECT_EQ(support::read_file(old), append ? "content" : "");
    }
}

// An overlong form opens the file of the decoded name; remove() receives the bytes unchanged.
TEST(TestResultsFile, FileNamedInOverlongFormRemains) {
    const support::temp_dir dir;
    const std::string old = dir.write("a", "content");
    EXPECT_TRUE(test_results_file(dir.file("\xE0\x81\xA1"), false));
    EXPECT_EQ(support::read_file(old), "");
}

TEST(TestResultsFile, StripsBackslashesToo) {
    const support::temp_dir dir;
    EXPECT_TRUE(test_results_file(dir.file("new") + "\\", false));
    EXPECT_EQ(support::read_file(dir.file("new")), "");
}

}  // namespace
