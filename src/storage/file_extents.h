// Which parts of a sparse file are stored.
#pragma once

#include <cstdint>

// Finds the holes of an open file. The system is asked once for each extent of data or hole; a file
// system that has no answer, and a device, count as stored whole.
class file_extents {
public:
    // Returns the first byte position from `offset` on, and before `end`, that is not in a hole;
    // `end` if there is none. Every byte before it reads as zero. `offset` is below `end`. All
    // calls are for the same file `fd`; its file position is lost.
    std::uint64_t next_data(int fd, std::uint64_t offset, std::uint64_t end);

private:
    std::uint64_t m_data_start = 0;  // of the extent that was found last
    std::uint64_t m_data_end = 0;
};
