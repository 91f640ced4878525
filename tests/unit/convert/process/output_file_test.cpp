#include "convert/process/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/temp_dir.h"

namespace {

using convert::existing_file;
using convert::output_file;
using support::file_exists;
using support::read_file;
using testing::HasSubstr;

TEST(OutputFile, AppearsWhenItIsComplete) {
    const support::temp_dir dir;
    const std::string path = dir.file("out");
    const std::string large(600'000, 'x');  // more than is buffered
    output_file file(path, existing_file::keep);
    ASSERT_TRUE(file.open());
    const std::string temporary = file.temporary_path();
    EXPECT_EQ(std::filesystem::path(temporary).parent_path(), dir.path());
    EXPECT_TRUE(file.write("first "));
    EXPECT_TRUE(file.write(large));
    EXPECT_TRUE(file.write(" last"));
    EXPECT_FALSE(file_exists(path));
    EXPECT_TRUE(file_exists(temporary));
    ASSERT_TRUE(file.commit()) << file.failure();
    EXPECT_EQ(read_file(path), "first " + large + " last");
    EXPECT_FALSE(file_exists(temporary));
}

TEST(OutputFile, IsDeletedWithoutACommit) {
    const support::temp_dir dir;
    {
        output_file file(dir.file("out"), existing_file::keep);
        ASSERT_TRUE(file.open());
        EXPECT_TRUE(file.write("x"));
        EXPECT_FALSE(std::filesystem::is_empty(dir.path()));
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(OutputFile, KeepsOrReplacesAFileThatAppearedDuringTheRun) {
    for (const existing_file existing : {existing_file::keep, existing_file::replace}) {
        const bool replace = existing == existing_file::replace;
        SCOPED_TRACE(replace);
        const support::temp_dir dir;
        const std::string path = dir.file("out");
        output_file file(path, existing);
        ASSERT_TRUE(file.open());
        dir.write("out", "old");
        EXPECT_TRUE(file.write("new"));
        EXPECT_EQ(file.commit(), replace);
        EXPECT_EQ(read_file(path), replace ? "new" : "old");
        EXPECT_EQ(file.failure().empty(), replace);
    }
}

TEST(OutputFile, ReportsAFolderThatIsMissing) {
    output_file file("/none/out", existing_file::keep);
    EXPECT_FALSE(file.open());
    EXPECT_THAT(file.failure(), HasSubstr("/none/out"));
    EXPECT_THAT(file.failure(), HasSubstr("No such file or directory"));
}

// Runs a test of the standard output with another file in its place.
class redirected_output {
public:
    explicit redirected_output(const char* path) {
        const int other = ::open(path, O_WRONLY | O_CLOEXEC);
        EXPECT_GE(other, 0);
        ::dup2(other, STDOUT_FILENO);
        ::close(other);
    }
    ~redirected_output() {
        ::dup2(m_before, STDOUT_FILENO);
        ::close(m_before);
    }
    redirected_output(const redirected_output&) = delete;
    redirected_output& operator=(const redirected_output&) = delete;

private:
    int m_before = ::dup(STDOUT_FILENO);
};

TEST(OutputFile, AnEmptyPathIsStandardOutput) {
    testing::internal::CaptureStdout();
    {
        output_file file("", existing_file::keep);
        EXPECT_TRUE(file.open());
        EXPECT_EQ(file.temporary_path(), "");
        EXPECT_TRUE(file.write("a row\n"));
        EXPECT_TRUE(file.commit());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a row\n");

    output_file file("", existing_file::keep);
    bool committed = true;
    {
        const redirected_output full("/dev/full");  // every write fails
        committed = file.open() && file.write("x") && file.commit();
    }
    EXPECT_FALSE(committed);
    EXPECT_THAT(file.failure(), HasSubstr("No space left on device"));
}

TEST(OutputFileDeathTest, ASignalDeletesTheTemporaryFile) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(number);
        const support::temp_dir dir;
        const auto end_within_a_run = [&] {
            output_file file(dir.file("out"), existing_file::keep);
            const bool opened = file.open() && !std::filesystem::is_empty(dir.path());
            ::raise(opened ? number : SIGKILL);
        };
        EXPECT_EXIT(end_within_a_run(), testing::KilledBySignal(number), "");
        EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    }
}

}  // namespace
