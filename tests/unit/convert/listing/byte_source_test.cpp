#include "convert/listing/byte_source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/temp_dir.h"

namespace {

using convert::descriptor_source;

// A pipe whose ends are closed at the end of the test.
class test_pipe {
public:
    test_pipe() { EXPECT_EQ(::pipe(m_ends.data()), 0); }
    ~test_pipe() {
        close_input();
        ::close(m_ends[0]);
    }
    test_pipe(const test_pipe&) = delete;
    test_pipe& operator=(const test_pipe&) = delete;

    int output() const { return m_ends[0]; }
    void write(const std::string& bytes) const {
        EXPECT_EQ(::write(m_ends[1], bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    void close_input() {
        if (m_ends[1] >= 0) ::close(m_ends[1]);
        m_ends[1] = -1;
    }

private:
    std::array<int, 2> m_ends{-1, -1};
};

TEST(DescriptorSource, ReturnsTheBytesThatAPipeHas) {
    test_pipe pipe;
    pipe.write("abcde");
    descriptor_source source(pipe.output());
    std::array<char, 3> out{};
    ASSERT_EQ(source.read(out), 3u);
    EXPECT_EQ(std::string(out.data(), 3), "abc");
    ASSERT_EQ(source.read(out), 2u) << "the pipe is still open, and has two bytes";
    EXPECT_EQ(std::string(out.data(), 2), "de");
    pipe.close_input();
    EXPECT_EQ(source.read(out), 0u);
    EXPECT_EQ(source.read(out), 0u);
}

TEST(DescriptorSource, ReportsAFailure) {
    const support::temp_dir dir;
    const int folder = ::open(dir.path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(folder, 0);
    std::array<char, 1> out{};
    errno = 0;
    EXPECT_EQ(descriptor_source(folder).read(out), std::nullopt);
    EXPECT_EQ(errno, EISDIR);
    ::close(folder);
}

TEST(DescriptorSource, LeavesTheDescriptorOpen) {
    const test_pipe pipe;
    { const descriptor_source source(pipe.output()); }
    EXPECT_NE(::fcntl(pipe.output(), F_GETFD), -1);
}

}  // namespace
