#include "convert/process/child_process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "unit/convert/fake_programs.h"

namespace {

using convert::child_process;
using convert::find_program;
using fake_programs::search_path;
using fake_programs::write_script;

std::string read_output(const child_process& process) {
    std::string text;
    std::array<char, 256> buffer{};
    for (ssize_t count = 0; (count = ::read(process.output(), buffer.data(), buffer.size())) > 0;)
        text.append(buffer.data(), static_cast<std::size_t>(count));
    return text;
}

TEST(FindProgram, PrefersTheFolderOfThisProgram) {
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe");
    const support::temp_dir dir;
    write_script(dir, own.filename(), "exit 0");
    const search_path path(dir.path());
    EXPECT_EQ(find_program(own.filename()), own.string());
}

TEST(FindProgram, SearchesThePathForAProgramThatCanBeRun) {
    const support::temp_dir first, second;
    first.write("quorvel-test", "not executable");
    const std::string program = write_script(second, "quorvel-test", "exit 0");
    const search_path path("/none:" + first.path() + ":" + second.path());
    EXPECT_EQ(find_program("quorvel-test"), program);
    EXPECT_EQ(find_program("quorvel-none"), "");
}

TEST(ChildProcess, PassesArgumentsAndAnEmptyInput) {
    child_process process;
    ASSERT_TRUE(process.start("/bin/sh", {"-c", "cat; printf '<%s>' \"$@\"", "x", "a b", "", "*"}));
    EXPECT_EQ(read_output(process), "<a b><><*>");
    EXPECT_EQ(process.wait(), "");
}

TEST(ChildProcess, SaysHowTheProcessFailed) {
    const struct {
        const char* commands;
        const char* failure;
    } cases[] = {
        {"exit 0", ""},
        {"exit 1", "ended with status 1"},
        {"exit 255", "ended with status 255"},
        {"kill -9 $$", "ended by signal 9 (Killed)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.commands);
        child_process process;
        ASSERT_TRUE(process.start("/bin/sh", {"-c", c.commands}));
        EXPECT_EQ(process.wait(), c.failure);
    }
}

TEST(ChildProcess, ReportsAProgramThatCannotBeStarted) {
    child_process process;
    errno = 0;
    EXPECT_FALSE(process.start("/none/quorvel", {}));
    EXPECT_EQ(errno, ENOENT);
}

// As quorvel-convert does, this process ignores SIGPIPE; the new one must not.
TEST(ChildProcess, AClosedPipeEndsTheProcess) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    {
        child_process unread;
        EXPECT_TRUE(unread.start("/bin/sh", {"-c", "exec yes"}));
        EXPECT_EQ(unread.wait(), "ended by signal 13 (Broken pipe)");
        child_process dropped;  // the destructor waits for it
        EXPECT_TRUE(dropped.start("/bin/sh", {"-c", "exec yes"}));
    }
    std::signal(SIGPIPE, before);
}

}  // namespace
