#include "foundation/streams/posix_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "support/temp_dir.h"

namespace {

class PosixFile : public testing::Test {
protected:
    // Creates `name` through open_file with a umask of 0 and returns the mode bits of the new file.
    mode_t created_mode(const char* name, int flags) {
        const mode_t old_mask = ::umask(0);
        const int fd = ql::open_file(m_dir.file(name), flags);
        ::umask(old_mask);
        EXPECT_NE(fd, -1);
        struct stat status {};
        EXPECT_EQ(::fstat(fd, &status), 0);
        ::close(fd);
        return status.st_mode & 0777;
    }

    support::temp_dir m_dir;
};

TEST_F(PosixFile, OpensAFileForReadingWithoutBlocking) {
    const std::string path = m_dir.write("file", "hello");
    const int fd = ql::open_file(path, 0);
    ASSERT_NE(fd, -1);
    const int flags = ::fcntl(fd, F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(flags & 0x800, 0x800);
    char text[8] = {};
    EXPECT_EQ(::read(fd, text, sizeof text), 5);
    EXPECT_STREQ(text, "hello");
    ::close(fd);
}

TEST_F(PosixFile, OpensForWritingWithTheGivenFlags) {
    const std::string path = m_dir.write("file", "hello");
    const int fd = ql::open_file(path, 2);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & 0x800, 0x800);
    ::close(fd);
    EXPECT_EQ(support::read_file(path), "hello");

    const int emptied = ql::open_file(path, 578);
    ASSERT_NE(emptied, -1);
    ::close(emptied);
    EXPECT_EQ(support::read_file(path), "");
}

TEST_F(PosixFile, CreatesFilesForOwnerAndOthers) {
    EXPECT_EQ(created_mode("written", O_RDWR | O_CREAT), 0606u);
    EXPECT_EQ(created_mode("read", O_RDONLY | O_CREAT), 0404u);
}

TEST_F(PosixFile, RejectsTheEmptyPathAndAMissingFile) {
    EXPECT_EQ(ql::open_file("", 0), -1);
    errno = 0;
    EXPECT_EQ(ql::open_file(m_dir.file("missing"), 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(support::file_exists(m_dir.file("missing")));
}

TEST_F(PosixFile, RejectsAFifoWithoutBlocking) {
    const std::string path = m_dir.file("fifo");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(ql::open_file(path, 0), -1);
    EXPECT_EQ(ql::open_file(path, 2), -1);
}

TEST_F(PosixFile, RejectedFifoLeavesNoDescriptorOpen) {
    const std::string path = m_dir.file("fifo");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int next = ::dup(0);
    ASSERT_NE(next, -1);
    ::close(next);
    EXPECT_EQ(ql::open_file(path, 0), -1);
    const int after = ::dup(0);
    EXPECT_EQ(after, next);
    ::close(after);
}

TEST_F(PosixFile, RejectsASocket) {
    const std::string path = m_dir.file("s");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::copy(path.begin(), path.end(), address.sun_path);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_NE(listener, -1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(ql::open_file(path, 0), -1);
    ::close(listener);
}

TEST_F(PosixFile, OpensDirectoriesAndDevices) {
    const int folder = ql::open_file(m_dir.path(), 0);
    EXPECT_NE(folder, -1);
    ::close(folder);
    const int device = ql::open_file("/dev/null", 0);
    EXPECT_NE(device, -1);
    ::close(device);
}

TEST_F(PosixFile, SizeIsTheOffsetOfTheEnd) {
    const std::string path = m_dir.write("file", "hello");
    const int fd = ql::open_file(path, 0);
    ASSERT_NE(fd, -1);
    ::lseek(fd, 3, SEEK_SET);
    EXPECT_EQ(ql::seek_size(fd), 5);
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 0);
    ::close(fd);

    const std::string huge = m_dir.write("huge", "");
    ASSERT_EQ(::truncate(huge.c_str(), 0x200000001), 0);
    const int huge_fd = ql::open_file(huge, 0);
    EXPECT_EQ(ql::seek_size(huge_fd), 0x200000001);
    ::close(huge_fd);
}

TEST_F(PosixFile, SizeIsMinusOneIfSeekFails) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    EXPECT_EQ(ql::seek_size(ends[0]), -1);
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(ql::seek_size(-1), -1);
}

}  // namespace
