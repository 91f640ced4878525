// Reads of a file or device that notice whether the device has to be waited for, and hints to the
// system about the reads that follow.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

// Process-wide: true after the first failed read of a source, which may be opened several times.
extern bool source_read_has_failed;

// The reads of one open descriptor. The caller owns the descriptor and passes it to each call.
//
// If reads have to wait for the device, the caller announces the pieces that it reads next, and the
// system fetches them at the same time instead of one after the other. Hints never change what a
// read returns. After a failed read of any source, a run gives no hints: they would make a dying
// disk do more work.
class hinted_reads {
public:
    // Reads up to `count` bytes at `offset` like pread(2), with the same result.
    ssize_t read(int fd, void* buffer, std::size_t count, std::uint64_t offset);

    // Returns true if the last read had to wait for the device. Where the system does not say so,
    // a read that takes long is taken for one that waits.
    bool has_waited() const { return m_has_waited; }

    // Asks the system to fetch `count` bytes at `offset`, which will be read soon. Does nothing
    // after a failed read, or once the system has refused a hint for this descriptor.
    void announce(int fd, std::uint64_t offset, std::uint64_t count);

private:
    ssize_t read_timed(int fd, void* buffer, std::size_t count, std::uint64_t offset);

    bool m_can_ask = true;  // the system can read what is cached without waiting
    bool m_has_waited = false;
    bool m_takes_hints = true;
};
