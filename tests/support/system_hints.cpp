#include "support/system_hints.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace {

support::system_hints* in_control = nullptr;

ssize_t read_now(int fd, const iovec* parts, int count, off64_t offset, int flags) {
    return ::syscall(SYS_preadv2, fd, parts, count, offset, 0L, flags);
}

}  // namespace

namespace support {

bool reads_cached_bytes(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char byte = 0;
    const iovec part{&byte, 1};
    const ssize_t done = read_now(fd, &part, 1, 0, RWF_NOWAIT);
    const bool is_supported = done != -1 || errno == EAGAIN;
    ::close(fd);
    return is_supported;
}

system_hints::system_hints(cache wanted) : state(wanted) {
    if (in_control != nullptr) throw std::logic_error("two objects answer the system calls");
    in_control = this;
}

system_hints::~system_hints() { in_control = nullptr; }

}  // namespace support

// The definitions of the program come before those of the C library.
extern "C" ssize_t preadv64v2(int fd, const iovec* parts, int count, off64_t offset, int flags) {
    using cache = support::system_hints::cache;
    if (in_control == nullptr) return read_now(fd, parts, count, offset, flags);
    ++in_control->questions;
    switch (in_control->state) {
        case cache::empty:
            errno = EAGAIN;
            return -1;
        case cache::not_asked:
            errno = EOPNOTSUPP;
            return -1;
        case cache::half:
            return ::pread(fd, parts[0].iov_base, parts[0].iov_len / 2, offset);
        case cache::full:
            break;
    }
    return ::pread(fd, parts[0].iov_base, parts[0].iov_len, offset);
}

extern "C" int posix_fadvise64(int fd, off64_t offset, off64_t size, int advice) noexcept {
    if (in_control == nullptr) {
        return ::syscall(SYS_fadvise64, fd, offset, size, advice) == 0 ? 0 : errno;
    }
    if (in_control->refusal != 0) return in_control->refusal;
    if (advice != POSIX_FADV_WILLNEED) return EINVAL;
    in_control->given.push_back(
        {static_cast<std::uint64_t>(offset), static_cast<std::uint64_t>(size)});
    return 0;
}
