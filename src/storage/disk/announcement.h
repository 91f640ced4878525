// A batch of hints about reads that follow.
#pragma once

#include <cstdint>

class CRawDisk;

// Collects the pieces of a source that will be read next, and announces them, neighbours as one.
class announcement {
public:
    explicit announcement(CRawDisk& disk) : m_disk(disk) {}
    ~announcement();  // announces the last pieces
    announcement(const announcement&) = delete;
    announcement& operator=(const announcement&) = delete;

    // Adds `count` bytes at `offset` of the source. Pieces in the same or in adjacent pages of
    // memory, which the system fetches whole, are joined if they are added in ascending order.
    void add(std::uint64_t offset, std::uint64_t count);

private:
    CRawDisk& m_disk;
    std::uint64_t m_start = 0;  // of the pieces that are not yet announced
    std::uint64_t m_end = 0;
};
