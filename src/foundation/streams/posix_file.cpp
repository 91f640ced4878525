#include "foundation/streams/posix_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ql {

static_assert(O_NONBLOCK == 0x800 && sizeof(off_t) == 8);

int open_file(const std::string& path_utf8, int flags) {
    if (path_utf8.empty()) return -1;
    const bool reads_only = (flags & O_ACCMODE) == O_RDONLY;
    const int fd = ::open(path_utf8.c_str(), flags | O_NONBLOCK, reads_only ? 0404 : 0606);
    if (fd == -1) return -1;

    struct stat status {};
    if (::fstat(fd, &status) == 0 && !S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode))
        return fd;
    const int reason = errno;
    ::close(fd);
    errno = reason;
    return -1;
}

std::int64_t seek_size(int fd) {
    const off_t size = ::lseek(fd, 0, SEEK_END);
    if (size != -1) ::lseek(fd, 0, SEEK_SET);
    return size;
}

void keep_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) == -1) ::open("/dev/null", O_RDWR);
    }
}

}  // namespace ql
