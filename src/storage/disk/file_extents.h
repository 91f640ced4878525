// The parts of a sparse file that are stored.
#pragma once

#include <cstdint>

// Finds the holes of an open file, with one system call for each extent of data or hole. If the
// file system does not support this, or for a device, all bytes are treated as stored.
class file_extents {
public:
    // Returns the first byte position in [`offset`, `end`) that is not in a hole, or `end` if all
    // of them are. Every byte before it reads as zero. `offset` is below `end`. All calls are for
    // the same file `fd`, whose file position is changed.
    std::uint64_t next_data(int fd, std::uint64_t offset, std::uint64_t end);

private:
    std::uint64_t m_data_start = 0;  // of the last extent that was found
    std::uint64_t m_data_end = 0;
};
