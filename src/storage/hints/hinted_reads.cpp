#include "storage/hints/hinted_reads.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>

namespace {

// A copy from the system's cache takes a microsecond, a read from the fastest disks at least this.
constexpr std::chrono::microseconds slow_read{50};

// Linux fetches no more than its read-ahead size, usually 128 KiB, for one hint.
constexpr std::uint64_t largest_hint = 0x20000;

constexpr std::uint64_t last_offset = std::numeric_limits<off_t>::max();

// Returns the result of a read, and remembers whether it has failed.
ssize_t noted(ssize_t brought) {
    if (brought == -1) source_read_has_failed = true;
    return brought;
}

}  // namespace

bool source_read_has_failed = false;

ssize_t hinted_reads::read(int fd, void* buffer, std::size_t count, std::uint64_t offset) {
    if (offset > last_offset) {
        // Past the end of every file: an error, but not one of the device. For preadv2, an offset
        // of -1 would be the current position.
        m_has_waited = false;
        return ::pread(fd, buffer, count, static_cast<off_t>(offset));
    }
    if (!m_can_ask) return read_timed(fd, buffer, count, offset);
    const iovec target{buffer, count};
    const ssize_t cached = ::preadv2(fd, &target, 1, static_cast<off_t>(offset), RWF_NOWAIT);
    m_has_waited = false;
    if (cached == static_cast<ssize_t>(count)) return cached;
    if (cached == -1 && errno != EAGAIN) {
        m_can_ask = false;
        return read_timed(fd, buffer, count, offset);
    }
    // Not in the cache, or only in part. The result is that of one read that may wait.
    m_has_waited = true;
    return noted(::pread(fd, buffer, count, static_cast<off_t>(offset)));
}

ssize_t hinted_reads::read_timed(int fd, void* buffer, std::size_t count, std::uint64_t offset) {
    const auto start = std::chrono::steady_clock::now();
    const ssize_t brought = ::pread(fd, buffer, count, static_cast<off_t>(offset));
    m_has_waited = std::chrono::steady_clock::now() - start >= slow_read;
    return noted(brought);
}

void hinted_reads::announce(int fd, std::uint64_t offset, std::uint64_t count) {
    while (m_takes_hints && !source_read_has_failed && count != 0) {
        const std::uint64_t step = std::min(count, largest_hint);
        m_takes_hints = ::posix_fadvise(fd, static_cast<off_t>(offset), static_cast<off_t>(step),
                                        POSIX_FADV_WILLNEED) == 0;
        offset += step;
        count -= step;
    }
}
